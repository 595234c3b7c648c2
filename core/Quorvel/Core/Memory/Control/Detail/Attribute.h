#pragma once

#include <Quorvel/Core/Export.h>
#include <Quorvel/Core/Memory/Control/Detail/Chunk.h>
#include <Quorvel/Core/Memory/Control/Detail/Group.h>
#include <Quorvel/Core/Memory/Control/Offsetter.h>

#include <Kro/OrderedEntities.h>
#include <Kro/OrderedMap.h>
#include <Orvo/Ptr.h>

#include <cstdint>
#include <utility>

namespace Quorvel::Core::Memory::Control::Detail {

/// One field of a collection's entries: where, group by group, its bytes live.
///
/// Ownership: keeps a reference to every group and chunk it is given. Itself the node of its collection's tree.
/// Threads: const operations may run together; the caller serialises changes.
class QUORVEL_CORE_EXPORT Attribute final : public Orvo::Node,
                                            public Kro::RbTreeNode<std::int32_t>,
                                            public Kro::SlabAllocated<Attribute> {
public:
   class QUORVEL_CORE_EXPORT KroGroup final : public Kro::OrderedNode<KroGroup, std::uint32_t, Orvo::Ptr<Group>> {
   public:
      using OrderedNode::OrderedNode;
      static Kro::AllocTrackTypeInfo memAllocationTracker_;
   };

   class QUORVEL_CORE_EXPORT KroChunk final : public Kro::OrderedNode<KroChunk, std::uint32_t, Orvo::Ptr<Chunk>> {
   public:
      using OrderedNode::OrderedNode;
      static Kro::AllocTrackTypeInfo memAllocationTracker_;
   };

   using Groups = Kro::OrderedMap<KroGroup>;
   using Chunks = Kro::OrderedMap<KroChunk>;

   /// @param id   the field's number in its collection
   /// @param size bytes of the field in one entry
   Attribute(std::int32_t id, std::uint32_t size) : RbTreeNode(id), size_(size) {}

   ~Attribute() override;

   std::int32_t id() const noexcept { return key(); }

   std::uint32_t size() const noexcept { return size_; }

   /// The groups in which this field has storage, ascending by id.
   Groups const& group() const noexcept { return group_; }

   /// @return the group, or null (borrowed)
   Group* group(std::uint32_t id) const;
   /// Adds the group under its id, or replaces the one that is there.
   /// @throws Kro::ArgNullPointerException when `group` is null; nothing has changed
   void groupIs(Orvo::Ptr<Group> const& group);
   /// @return the removed group, or null
   Orvo::Ptr<Group> groupDel(std::uint32_t id);
   /// @return the iterator behind the removed group
   Groups::const_iterator groupDel(Groups::const_iterator at);
   void groupDelAll();

   /// For each group id the chunk that holds this field of that group's entries, ascending.
   Chunks const& chunk() const noexcept { return chunk_; }

   /// @return the chunk under the key, or null (borrowed)
   Chunk* chunk(std::uint32_t key) const;
   /// Sets or replaces the chunk under the key; a null `chunk` removes it. A group of that id is not asked for.
   void chunkIs(std::uint32_t key, Orvo::Ptr<Chunk> const& chunk);
   /// @return the removed chunk, or null
   Orvo::Ptr<Chunk> chunkDel(std::uint32_t key);
   /// @return the iterator behind the removed chunk
   Chunks::const_iterator chunkDel(Chunks::const_iterator at);
   void chunkDelAll();

   /// Finds the chunk and the byte offset that hold this field of one entry: of the groups that have a chunk the first,
   /// by ascending id, that covers the entry.
   ///
   /// @param index     number of the entry in the collection (entries, not bytes)
   /// @param offsetter layout rule; null means densely packed
   /// @return the chunk (borrowed: valid while this attribute keeps it) and the offset in it, in bytes
   /// @throws Kro::RangeException when no such group covers `index`; nothing has changed
   /// A chunk key whose group is missing stops the process when the search reaches it.
   /// Cost: O(chunks * log groups); allocates only to build the error text, touches no reference count.
   std::pair<Chunk*, std::uint32_t> obtainChunkAndOffset(std::uint32_t index, Offsetter offsetter) const;

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   Kro::KroType const& fwkType() const noexcept { return kroType; }

   static Kro::KroType const kroType;
   static Kro::AllocTrackTypeInfo memAllocationTracker_;

private:
   struct Declaration;

   Groups group_;
   Chunks chunk_;
   std::uint32_t size_;
};

} // namespace Quorvel::Core::Memory::Control::Detail
