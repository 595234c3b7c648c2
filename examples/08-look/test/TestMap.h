#pragma once

#include "look/MemoryMap.h"

#include <string>
#include <utility>
#include <vector>

namespace Look::Test {

/// A chunk at bus address 0x8000000000001000 and virtual address 0x7f0000001000, or, of ordinary memory, at the latter alone.
inline Chunk chunk(std::string name, std::uint32_t size, bool isIncapableDma = false)
{
   return {std::move(name), size, isIncapableDma, isIncapableDma ? 0 : 0x8000000000001000, 0x7f0000001000};
}

/// A collection "ring" of one field, "command" with number 2, whose group i lies densely packed in chunk i of the map.
inline Collection ring(std::vector<Group> groups, std::uint32_t fieldSize = 16)
{
   Collection ring;
   ring.name = "ring";
   ring.fields = {{2, "command", fieldSize}};
   for (auto const& group : groups) {
      ring.capacity += group.size;
      std::vector<Span> spans;
      if (group.count() != 0) {
         spans = {{0, std::uint64_t{group.size} * fieldSize}};
      }
      ring.parts.push_back({0, group.id, group, ring.parts.size(), spans});
   }
   ring.groups = std::move(groups);
   return ring;
}

inline Entity mount(std::string name, std::vector<Collection> collections)
{
   Entity mount;
   mount.name = mount.path = std::move(name);
   mount.type = "Queue";
   mount.collections = std::move(collections);
   return mount;
}

inline Entity directory(std::string name, std::vector<Entity> entities)
{
   Entity directory;
   directory.name = directory.path = std::move(name);
   directory.type = "Kro::Dir";
   directory.isDirectory = true;
   directory.entities = std::move(entities);
   return directory;
}

inline MemoryMap mapOf(std::vector<Entity> entities, std::vector<Chunk> chunks)
{
   return {"m", "/m/zumem", std::move(entities), std::move(chunks)};
}

} // namespace Look::Test
