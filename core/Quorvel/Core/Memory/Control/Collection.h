#pragma once

#include <Quorvel/Core/Export.h>
#include <Quorvel/Core/Memory/Control/Detail/Attribute.h>
#include <Quorvel/Core/Memory/Control/Detail/Group.h>
#include <Quorvel/Core/Memory/Control/Offsetter.h>
#include <Quorvel/Core/Memory/Control/Run.h>

#include <Kro/OrderedEntities.h>
#include <Kro/OrderedMap.h>
#include <Orvo/Ptr.h>
#include <Orvo/String.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <type_traits>

namespace Quorvel::Core::Memory::Control {

/// A live table of entries in DMA memory: for an entry and a field, the bus address for the device and the virtual
/// address for software.
///
/// The mounted entity makes it, with its attributes and synchronizer; the mount adds groups and chunks.
/// Ownership: keeps its attributes and groups. Threads: const operations may run together on any thread while nobody
/// changes the collection; the caller serialises changes.
class QUORVEL_CORE_EXPORT Collection final : public Orvo::Node, public Kro::SlabAllocated<Collection> {
public:
   class QUORVEL_CORE_EXPORT KroGroup final
      : public Kro::OrderedNode<KroGroup, std::uint32_t, Orvo::Ptr<Detail::Group>> {
   public:
      using OrderedNode::OrderedNode;
      /// Makes a group and the node that will hold it.
      static Orvo::Ptr<KroGroup> groupIs(std::uint32_t id, std::uint32_t head, std::uint32_t size);
      static Kro::AllocTrackTypeInfo memAllocationTracker_;
   };

   using Attributes = Kro::OrderedEntities<Detail::Attribute, std::int32_t>;
   using Groups = Kro::OrderedMap<KroGroup>;

   /// @param rule the layout rule of every field, for life; null means densely packed
   explicit Collection(Offsetter rule) : offsetter_(rule) {}

   ~Collection() override;

   /// The fields, ascending by number.
   Attributes const& attribute() const noexcept { return attribute_; }

   /// @return the field, or null (borrowed)
   Detail::Attribute* attribute(std::int32_t id) const;
   /// Finds or makes the field of `size` bytes.
   /// @throws Kro::ReinstantiatingException when it exists with another size; nothing has changed
   Orvo::Ptr<Detail::Attribute> attributeIs(std::int32_t id, std::uint32_t size);
   /// Makes one field for each that the type of the entries declares: its number, its size in bytes. Inherited
   /// fields count.
   /// @throws Kro::ReinstantiatingException like `attributeIs`; the fields made before it stay
   void attributesIs(Kro::KroType const& entryType);
   /// @return the removed field, or null
   Orvo::Ptr<Detail::Attribute> attributeDel(std::int32_t id);
   /// @return the iterator behind the removed field
   Attributes::const_iterator attributeDel(Attributes::const_iterator at);
   void attributeDelAll();

   /// The groups, ascending by id.
   Groups const& group() const noexcept { return group_; }

   /// @return the group, or null (borrowed)
   Detail::Group* group(std::uint32_t id) const;
   /// Finds or makes the group.
   /// @throws Kro::ReinstantiatingException when it exists with another head (looked at first) or size; nothing has
   ///         changed
   Orvo::Ptr<Detail::Group> groupIs(std::uint32_t id, std::uint32_t head, std::uint32_t size);
   /// @return the removed group, or null. Fields that have storage in it keep it.
   Orvo::Ptr<Detail::Group> groupDel(std::uint32_t id);
   /// @return the iterator behind the removed group
   Groups::const_iterator groupDel(Groups::const_iterator at);
   void groupDelAll();

   /// What `synchronizeAll` calls for every entry, with its index. Empty at first. One object for all walks: what it keeps
   /// in itself stays from one to the next, and walks on several threads call it together.
   /// @throws std::bad_alloc; nothing has changed
   void synchronizerIs(std::function<void(std::uint32_t)> synchronizer);

   /// Number of entries of the mounted collection; kept for clients.
   std::uint32_t capacity() const noexcept { return capacity_; }

   void capacityIs(std::uint32_t capacity) noexcept { capacity_ = capacity; }

   Offsetter offsetter() const noexcept { return offsetter_; }

   /// @param attribute number of the field; an unknown one stops the process
   /// @param index     number of the entry
   /// @return the bus address to give a device; 0 where the memory is not DMA capable
   /// @throws Kro::RangeException when no group covers the entry
   std::uint64_t addressBus(std::int32_t attribute, std::uint32_t index) const;
   /// Like addressBus, but the address through which software reads and writes, for every kind of memory.
   std::uint64_t addressVirtual(std::int32_t attribute, std::uint32_t index) const;

   /// The memory of a field, run by run, so that a hot loop need not ask for each entry:
   ///
   ///     for (auto const run : ring.runs<Descriptor>(number)) { // run.first, run.count, run.addressBus, run.memory
   ///
   /// Not for a collection with an offsetter: its entries lie where the offsetter says.
   ///
   /// @tparam T what the field holds, or std::byte
   /// @param attribute number of the field; an unknown one stops the process
   /// @throws std::invalid_argument when T has another size than the field, or the collection has an offsetter
   template <class T>
   Runs<T> runs(std::int32_t attribute) const
   {
      return Runs<T>(denseAttribute(attribute, std::is_same_v<std::remove_cv_t<T>, std::byte> ? 0 : sizeof(T)));
   }

   /// Sets every field of the entry to zero, ascending by number.
   /// @throws Kro::RangeException when no group of a field covers the entry; fields before it stay cleared
   void reset(std::uint32_t index) const;

   /// Calls the synchronizer for every entry of every group, ascending by group id, then by index. Groups may come and
   /// go meanwhile; the one at hand is finished. The synchronizer may set another one, for the next walk, and let go of this
   /// collection. What it throws passes through and ends the walk.
   /// @throws std::bad_function_call when there is an entry and no synchronizer
   void synchronizeAll() const;

   /// @return the name under which the live collection of the described collection `name` is found: `name` + "Control"
   static Orvo::String composeName(Orvo::String const& name);

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   Kro::KroType const& fwkType() const noexcept { return kroType; }

   static Kro::KroType const kroType;
   static Kro::AllocTrackTypeInfo memAllocationTracker_;

private:
   struct Declaration;

   /// @param size bytes that the field must have; 0: any number
   Detail::Attribute const& denseAttribute(std::int32_t id, std::size_t size) const;

   /// @return null and 0 where `lookUp` has to be asked
   inline std::pair<Detail::Chunk*, std::uint32_t> lookUpQuickly(std::int32_t attribute, std::uint32_t index) const;
   [[gnu::visibility("hidden"), gnu::noinline]] std::pair<Detail::Chunk*, std::uint32_t>
   lookUp(std::int32_t attribute, std::uint32_t index) const;

   Attributes attribute_;
   Groups group_;
   std::shared_ptr<std::function<void(std::uint32_t)> const> synchronizer_; ///< shared with walks; null: none was set
   Offsetter offsetter_;
   std::uint32_t capacity_ = 0;
};

} // namespace Quorvel::Core::Memory::Control
