#include "look/MemoryMap.h"

#include <Quorvel/Core/Memory/Control/Collection.h>

#include <Kro/Dir.h>
#include <Kro/GenericIf.h>

#include <algorithm>
#include <map>
#include <set>
#include <string_view>
#include <utility>

namespace Look {
namespace {

namespace Control = Quorvel::Core::Memory::Control;

/// Whether the attribute can be read as a live collection.
bool holdsCollection(Kro::KroAttr const& attribute)
{
   return attribute.get != nullptr && attribute.type.type == &Control::Collection::kroType &&
          attribute.type.form != Kro::Form::plain;
}

/// @return the live collection that the attribute holds, or null
Orvo::Ptr<Control::Collection> read(Kro::GenericIf const& object, Kro::KroAttr const& attribute)
{
   if (attribute.type.form == Kro::Form::raw) {
      Control::Collection* borrowed = nullptr;
      attribute.genericIfGet(object, Kro::GenericIf::of(borrowed));
      return borrowed;
   }
   Orvo::Ptr<Control::Collection> live;
   attribute.genericIfGet(object, Kro::GenericIf::of(live));
   return live;
}

/// @return the name of the field with that number in the entries N that the mount type declares; empty when it does not
std::string fieldName(Kro::KroType const& mountType, std::string_view collection, std::int32_t number)
{
   auto const* const entries = mountType.findAttr(collection);
   if (entries == nullptr || entries->kind != Kro::Kind::collection || entries->type.type == nullptr) {
      return {};
   }
   // Every record is defined as a KroType.
   auto const* const field = static_cast<Kro::KroType const*>(entries->type.type)->findAttr(number);
   return field != nullptr ? std::string(field->name) : std::string();
}

/// @return where a group's fields of `size` bytes lie in their chunk of `room` bytes
std::vector<Span> place(Group const& group, std::uint32_t size, Control::Offsetter offsetter, std::uint32_t room)
{
   auto const count = group.count();
   if (count == 0 || size == 0) {
      return {};
   }
   if (offsetter == nullptr) {
      return {{0, std::uint64_t{count} * size}};
   }
   if (count > mostAskedEntries) {
      return {{0, room}};
   }
   std::set<std::uint32_t> offsets;
   for (std::uint32_t entry = 0; entry < count; ++entry) {
      offsets.insert(offsetter(group.head, group.head + entry, size));
   }
   std::vector<Span> spans;
   for (std::uint64_t const begin : offsets) {
      if (!spans.empty() && begin <= spans.back().end) {
         spans.back().end = begin + size;
      } else {
         spans.push_back({begin, begin + size});
      }
   }
   return spans;
}

class Gatherer {
public:
   Gatherer(Quorvel::Core::Memory::Entity::Manager const& manager, MemoryMap& map) : map_(map)
   {
      for (auto const& orphan : manager.orphan()) {
         orphans_.insert(orphan);
      }
   }

   /// @param prefix path of the directory below the manager's, with a '/' behind it, or empty
   std::vector<Entity> look(Kro::Dir const& directory, std::string const& prefix)
   {
      std::map<std::string, Orvo::Ptr<Kro::Entity>> byName;
      for (auto const& entity : directory.entity()) {
         byName.emplace(entity->name(), entity);
      }
      std::vector<Entity> entities;
      for (auto const& [name, live] : byName) {
         auto& entity = entities.emplace_back();
         entity.name = name;
         entity.path = prefix + name;
         entity.type = live->fwkType().name;
         entity.isOrphan = orphans_.contains(live.get());
         entity.collections = collectionsOf(*live);
         if (auto const* const below = dynamic_cast<Kro::Dir const*>(live.get())) {
            entity.isDirectory = true;
            entity.entities = look(*below, entity.path + "/");
         }
      }
      return entities;
   }

private:
   std::vector<Collection> collectionsOf(Kro::Entity& entity)
   {
      static std::string const suffix(Control::Collection::composeName(""));
      auto const& type = entity.fwkType();
      auto const object = Kro::GenericIf::ofNode(entity);
      std::vector<Kro::TypeData const*> lineage;
      for (Kro::TypeData const* declaring = &type; declaring != nullptr; declaring = declaring->base) {
         lineage.push_back(declaring);
      }
      std::reverse(lineage.begin(), lineage.end());
      std::vector<Collection> collections;
      for (auto const* declaring : lineage) {
         for (auto const& attribute : declaring->attrs) {
            bool const isHidden = type.findAttr(attribute.name) != &attribute;
            if (attribute.name.ends_with(suffix) && holdsCollection(attribute) && !isHidden) {
               auto const name = attribute.name.substr(0, attribute.name.size() - suffix.size());
               collections.push_back(look(read(object, attribute).get(), name, type));
            }
         }
      }
      return collections;
   }

   Collection look(Control::Collection const* live, std::string_view name, Kro::KroType const& mountType)
   {
      Collection collection;
      collection.name = name;
      collection.isLive = live != nullptr;
      if (live == nullptr) {
         return collection;
      }
      collection.hasOffsetter = live->offsetter() != nullptr;
      collection.capacity = live->capacity();
      for (auto const& group : live->group()) {
         collection.groups.push_back({group->id(), group->head(), group->size()});
      }
      for (auto const& attribute : live->attribute()) {
         collection.fields.push_back({attribute.id(), fieldName(mountType, name, attribute.id()), attribute.size()});
         for (auto at = attribute.chunk().begin(); at != attribute.chunk().end(); ++at) {
            auto& part = collection.parts.emplace_back();
            part.field = collection.fields.size() - 1;
            part.groupId = at.key();
            part.chunk = positionOf(**at);
            if (auto const* const group = attribute.group(at.key())) {
               part.group = {group->id(), group->head(), group->size()};
               part.spans = place(*part.group, attribute.size(), live->offsetter(), (*at)->size());
            }
         }
      }
      return collection;
   }

   std::size_t positionOf(Control::Detail::Chunk const& chunk)
   {
      auto const [known, isNew] = positions_.try_emplace(&chunk, map_.chunks.size());
      if (isNew) {
         map_.chunks.push_back(
            {std::string(chunk.name()), chunk.size(), chunk.isIncapableDma(),
             chunk.isIncapableDma() ? 0 : chunk.addressBus(), chunk.addressVirtual()});
      }
      return known->second;
   }

   MemoryMap& map_;
   std::set<Kro::Entity const*> orphans_;
   std::map<Control::Detail::Chunk const*, std::size_t> positions_;
};

} // namespace

MemoryMap gather(Quorvel::Core::Memory::Entity::Manager const& manager)
{
   MemoryMap map;
   map.manager = manager.sysname();
   if (auto const& directory = manager.directory()) {
      map.directory = directory->fullName();
      map.entities = Gatherer(manager, map).look(*directory, "");
   }
   return map;
}

} // namespace Look
