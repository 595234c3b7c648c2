#include <Quorvel/Core/Memory/Info/Mount.h>

#include <Kro/Exception.h>
#include <Kro/KroModule.h>
#include <Quorvel/Utility/Raise.h>

#include <stdexcept>
#include <string>
#include <utility>

namespace Quorvel::Core::Memory::Info {
namespace {

/// Every declared name attribute needs a chunk in every group.
void checkChunks(Detail::Group const& group, Collection::NameAttributes const& nameAttributes)
{
   for (auto const& nameAttribute : nameAttributes) {
      if (!group.chunk().contains(nameAttribute)) {
         Utility::raise(std::invalid_argument(std::string(
            Orvo::join("nameAttribute='", nameAttribute, "' does not exist for group with id=", group.id()))));
      }
   }
}

Kro::KroType const& entryType(Kro::KroType const& type, Kro::KroAttr const& collection)
{
   if (collection.kind != Kro::Kind::collection) {
      Utility::raise(Kro::AttrNotFoundException(
         Orvo::join("attribute '", collection.name, "' of type '", type.name, "' is no collection")));
   }
   return static_cast<Kro::KroType const&>(*collection.type.type);
}

} // namespace

constinit Kro::AllocTrackTypeInfo Mount::KroCollectionInternal::memAllocationTracker_{
   sizeof(KroCollectionInternal), "Quorvel::Core::Memory::Info::Mount::KroCollectionInternal"};

Collection Mount::collection(Orvo::String const& name) const
{
   auto const* found = collection_.find(name);
   return found != nullptr ? *found : Collection("");
}

void Mount::collectionIs(Collection const& collection)
{
   auto const* found = collection_.find(collection.name());
   if (found != nullptr && *found == collection) {
      return;
   }
   auto const name = collection.name();
   collection_.is(collection);
   handleCollection(name);
}

Collection Mount::collectionDel(Orvo::String const& name)
{
   auto taken = collection_.take(name);
   if (!taken) {
      return Collection("");
   }
   handleCollection(taken->name());
   return *std::move(taken);
}

void Mount::collectionDelAll()
{
   // Deleting advances nothing: the iterator finds its place again by key.
   for (auto at = collection_.begin(); at != collection_.end(); ++at) {
      collectionDel(Orvo::String(at.key()));
   }
}

void Mount::handleCollection(Orvo::String const& name)
{
   auto const& type = mountedType();
   auto const& attribute = type.attr(name);
   auto const* given = collection_.find(name);
   if (given == nullptr) {
      collectionInternal_.erase(attribute.number);
      return;
   }
   // A copy of the collection, made group by group: each is completed before it moves in.
   Collection derived(given->name());
   for (auto const& nameAttribute : given->nameAttribute()) {
      derived.nameAttributeIs(nameAttribute);
   }
   for (auto const& groupGiven : given->group()) {
      checkChunks(groupGiven, given->nameAttribute());
      auto group = groupGiven;
      for (auto const& chunk : groupGiven.chunk()) {
         group.chunkInternalIs(entryType(type, attribute).attr(chunk.nameAttribute()).number, chunk);
      }
      derived.groupIs(std::move(group));
   }
   collectionInternal_.is(attribute.number, std::move(derived));
}

Kro::KroType const& Mount::mountedType()
{
   if (typeCache_.type == nullptr) {
      auto const& type = Kro::typeNode(type_);
      typeCache_ = {&type, type.index()};
   }
   return *typeCache_.type;
}

Collection Mount::collectionInternal(int number) const
{
   auto const* found = collectionInternal_.find(number);
   return found != nullptr ? *found : Collection("");
}

void Mount::collectionInternalIs(int number, Collection const& collection)
{
   collectionInternal_.is(number, collection);
}

Collection Mount::collectionInternalDel(int number)
{
   return collectionInternal_.take(number).value_or(Collection(""));
}

Mount::CollectionsInternal::const_iterator Mount::collectionInternalDel(CollectionsInternal::const_iterator at)
{
   return collectionInternal_.erase(at);
}

void Mount::collectionInternalDelAll()
{
   collectionInternal_.clear();
}

Mount::operator bool() const
{
   return !(*this == Mount("", ""));
}

} // namespace Quorvel::Core::Memory::Info
