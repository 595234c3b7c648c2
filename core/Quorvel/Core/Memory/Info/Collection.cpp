#include <Quorvel/Core/Memory/Info/Collection.h>

#include <Quorvel/Utility/Raise.h>

#include <stdexcept>
#include <string>
#include <utility>

namespace Quorvel::Core::Memory::Info {
namespace {

[[noreturn]] void refuse(Orvo::String const& text)
{
   Utility::raise(std::invalid_argument(std::string(text)));
}

} // namespace

constinit Kro::AllocTrackTypeInfo Collection::KroGroup::memAllocationTracker_{
   sizeof(KroGroup), "Quorvel::Core::Memory::Info::Collection::KroGroup"};

void Collection::addNameAttribute(Orvo::String const& nameAttribute)
{
   if (nameAttribute_.contains(nameAttribute)) {
      refuse(Orvo::join("nameAttribute='", nameAttribute, "' already exists."));
   }
   nameAttributeIs(nameAttribute);
}

void Collection::addGroup(std::uint32_t idGroup, std::uint32_t size, std::uint32_t head)
{
   if (group_.contains(idGroup)) {
      refuse(Orvo::join("group with id=", idGroup, " already exists."));
   }
   if (idGroup != 0) {
      auto const* previous = group_.find(idGroup - 1);
      if (previous == nullptr) {
         refuse(Orvo::join("group with id=", idGroup - 1, " does not exist."));
      }
      // 32-bit wrap intended, as everywhere in the numbering of entries.
      std::uint32_t const end = previous->head() + previous->size();
      if (head == 0) {
         head = end;
      } else if (end > head) {
         refuse(Orvo::join(
            "head=", head, " for group with id=", idGroup, " is overlapping with previous group's entries."));
      }
   }
   groupIs(Detail::Group(idGroup, head, size));
}

void Collection::addGroup(std::uint32_t idGroup, std::uint32_t size)
{
   addGroup(idGroup, size, 0);
}

void Collection::createChunk(
   std::uint32_t idGroup, Orvo::String const& nameAttribute, Orvo::String const& name, std::uint32_t size,
   bool isIncapableDma)
{
   auto* group = group_.find(idGroup);
   if (group == nullptr) {
      refuse(Orvo::join("group for id=", idGroup, " does not exist."));
   }
   if (!nameAttribute_.contains(nameAttribute)) {
      refuse(Orvo::join("nameAttribute='", nameAttribute, "' does not exist."));
   }
   if (group->chunk().contains(nameAttribute)) {
      refuse(
         Orvo::join("chunk for nameAttribute='", nameAttribute, "' in group with id=", idGroup, " already exists."));
   }
   Detail::Chunk chunk;
   chunk.nameAttributeIs(nameAttribute);
   chunk.nameIs(name);
   chunk.sizeIs(size);
   chunk.isIncapableDmaIs(isIncapableDma);
   group->chunkIs(chunk); // adds it or, without memory, throws and leaves the group as it was
}

Detail::Group Collection::group(std::uint32_t idGroup) const
{
   auto const* found = group_.find(idGroup);
   return found != nullptr ? *found : Detail::Group(0, 0, 0);
}

void Collection::groupIs(Detail::Group group)
{
   auto const id = group.id();
   group_.is(id, std::move(group));
}

Detail::Group Collection::groupDel(std::uint32_t idGroup)
{
   return group_.take(idGroup).value_or(Detail::Group(0, 0, 0));
}

Collection::Groups::const_iterator Collection::groupDel(Groups::const_iterator at)
{
   return group_.erase(at);
}

void Collection::groupDelAll()
{
   group_.clear();
}

bool Collection::nameAttribute(Orvo::String const& nameAttribute) const
{
   return nameAttribute_.contains(nameAttribute);
}

void Collection::nameAttributeIs(Orvo::String const& nameAttribute)
{
   nameAttribute_.is(nameAttribute);
}

bool Collection::nameAttributeDel(Orvo::String const& nameAttribute)
{
   return nameAttribute_.erase(nameAttribute);
}

void Collection::nameAttributeDelAll()
{
   nameAttribute_.clear();
}

Collection::operator bool() const
{
   return !(*this == Collection(""));
}

} // namespace Quorvel::Core::Memory::Info
