#pragma once

#include <Quorvel/Core/Export.h>
#include <Quorvel/Core/Memory/Info/Collection.h>

#include <Kro/HashMap.h>
#include <Kro/OrderedMap.h>
#include <Orvo/String.h>

#include <cstdint>
#include <iosfwd>

namespace Quorvel::Core::Memory::Info {

/// The whole description that an agent hands to its entity manager: where to mount, which type the mounted entity has,
/// and one Info::Collection for each of that type's collections that memory is to back.
///
/// The collections are held twice: by name, as given, and by the number of the collection attribute in the mounted
/// type; every change of the first is carried into the second, which the manager reads. A plain value with deep copies;
/// `Mount("", "")` is the default. Threads: like any value.
class QUORVEL_CORE_EXPORT Mount {
   struct NameOf {
      Orvo::String const& operator()(Collection const& collection) const noexcept { return collection.name(); }
   };

public:
   struct HN_Collection {};

   class QUORVEL_CORE_EXPORT KroCollectionInternal final
      : public Kro::OrderedNode<KroCollectionInternal, std::int32_t, Collection> {
   public:
      using OrderedNode::OrderedNode;
      static Kro::AllocTrackTypeInfo memAllocationTracker_;
   };

   using Collections = Kro::HashMap<HN_Collection, Orvo::String, Collection, NameOf>;
   using CollectionsInternal = Kro::OrderedMap<KroCollectionInternal>;

   /// @param path where to mount, below the manager's directory; its pieces are taken literally
   /// @param type name of a registered entity type
   Mount(Orvo::String const& path, Orvo::String const& type) : path_(path), type_(type) {}

   /// Cannot be read from text: ends the process with "No String constructor for Mount - has collection".
   explicit Mount(Kro::CharRange& text);

   Orvo::String const& path() const noexcept { return path_; }

   Orvo::String const& type() const noexcept { return type_; }

   /// Whether the memory is zeroed when the description is mounted. Takes no part in equality.
   bool isZeroedMemoryOnMounting() const noexcept { return isZeroedMemoryOnMounting_; }

   void isZeroedMemoryOnMountingIs(bool isZeroed) noexcept { isZeroedMemoryOnMounting_ = isZeroed; }

   /// The collections by name, in hash order.
   Collections const& collection() const noexcept { return collection_; }

   /// @return a copy of the collection, or a default one
   Collection collection(Orvo::String const& name) const;
   /// Inserts or replaces the collection under its name and derives its view by number; an equal one is left alone, also one
   /// that was refused before.
   ///
   /// @throws std::invalid_argument when a group lacks a chunk for a declared name attribute;
   ///         Kro::TypeNotFoundException, Kro::AttrNotFoundException when the mounted type, the collection or a field is
   ///         unknown. The new value is stored by name then, while the view by number keeps what it had.
   void collectionIs(Collection const& collection);
   /// @return the removed collection, or a default one. Throws like `collectionIs`; the collection is removed then.
   Collection collectionDel(Orvo::String const& name);
   /// Like `collectionDel` for each; what it throws leaves those that it has not come to.
   void collectionDelAll();
   /// Brings the view by number in step with the collection of that name. Called by the mutators above.
   void handleCollection(Orvo::String const& name);

   /// The derived view: collections by attribute number, ascending, each group's `chunkInternal` filled.
   CollectionsInternal const& collectionInternal() const noexcept { return collectionInternal_; }

   /// @return a copy of the collection under that number, or a default one
   Collection collectionInternal(int number) const;
   void collectionInternalIs(int number, Collection const& collection);
   /// @return the removed collection, or a default one
   Collection collectionInternalDel(int number);
   /// @return the iterator behind the removed collection
   CollectionsInternal::const_iterator collectionInternalDel(CollectionsInternal::const_iterator at);
   void collectionInternalDelAll();

   /// True when this mount differs from `Mount("", "")`; the zeroing flag alone makes no difference.
   explicit operator bool() const;

   /// The framework's equality hook: both point to a Mount.
   static bool isEq(void const* a, void const* b);
   friend QUORVEL_CORE_EXPORT bool operator==(Mount const& a, Mount const& b);

   Kro::TypeData const& typeData() const noexcept { return kroType; }

   static Kro::KroType const kroType;

private:
   struct Declaration;

   /// The mounted type, resolved on first use.
   struct TypeCache {
      Kro::KroType const* type = nullptr;
      std::uint16_t index = 0;
   };

   Kro::KroType const& mountedType();

   Collections collection_;
   CollectionsInternal collectionInternal_;
   TypeCache typeCache_;
   Orvo::String path_;
   Orvo::String type_;
   bool isZeroedMemoryOnMounting_ = false;
};

/// Writes the framework's text form.
QUORVEL_CORE_EXPORT std::ostream& operator<<(std::ostream& stream, Mount const& mount);

} // namespace Quorvel::Core::Memory::Info
