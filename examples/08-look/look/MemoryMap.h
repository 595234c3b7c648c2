#pragma once

#include <Quorvel/Core/Memory/Entity/Manager.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// What a manager's live memory looks like at one moment, as plain values: gathered once, then written as text
/// (TextMap.h) or drawn (SvgMap.h). Nothing here points into the live tree.
namespace Look {

/// One field of a collection's entries.
struct Field {
   std::int32_t number = 0;
   std::string name;       ///< empty: the mount type does not say
   std::uint32_t size = 0; ///< bytes in each entry

   friend bool operator==(Field const&, Field const&) = default;
};

/// Consecutive entries: `head` up to but not including `head` + `size`.
struct Group {
   std::uint32_t id = 0;
   std::uint32_t head = 0;
   std::uint32_t size = 0;

   /// @return how many entries the group covers: `size`, or 0 where its end wraps
   std::uint32_t count() const noexcept
   {
      // 32-bit wrap intended: a group that ends past 2^32 covers nothing.
      return head < static_cast<std::uint32_t>(head + size) ? size : 0;
   }

   friend bool operator==(Group const&, Group const&) = default;
};

/// Bytes of a chunk, from `begin` up to but not including `end`; nothing keeps them from lying beyond the chunk.
struct Span {
   std::uint64_t begin = 0;
   std::uint64_t end = 0;

   friend bool operator==(Span const&, Span const&) = default;
};

/// One field of one group's entries, and the chunk that holds them.
struct Part {
   std::size_t field = 0; ///< position in the collection's `fields`
   std::uint32_t groupId = 0;
   std::optional<Group> group; ///< nothing: the field has a chunk under `groupId`, but no such group
   std::size_t chunk = 0;      ///< position in the map's `chunks`
   std::vector<Span> spans;    ///< ascending, apart from each other

   friend bool operator==(Part const&, Part const&) = default;
};

/// A live collection, under the name of its description.
struct Collection {
   std::string name;
   bool isLive = true; ///< false: the mount type declares it, the entity holds none; then all that follows is empty
   bool hasOffsetter = false;
   std::uint32_t capacity = 0; ///< in entries
   std::vector<Field> fields;  ///< ascending by number
   std::vector<Group> groups;  ///< ascending by id
   std::vector<Part> parts;    ///< ascending by field, then by group

   friend bool operator==(Collection const&, Collection const&) = default;
};

/// An entity below the manager's directory.
struct Entity {
   std::string name;
   std::string path; ///< below the manager's directory
   std::string type;
   bool isDirectory = false;
   bool isOrphan = false;
   std::vector<Collection> collections; ///< in the order in which the type declares them, inherited ones first
   std::vector<Entity> entities;        ///< of a directory: what is in it, by name

   friend bool operator==(Entity const&, Entity const&) = default;
};

/// A block of memory, once, however many parts it holds.
struct Chunk {
   std::string name;
   std::uint32_t size = 0; ///< bytes
   bool isIncapableDma = false;
   std::uint64_t addressBus = 0; ///< 0 where the memory is not DMA capable
   std::uint64_t addressVirtual = 0;

   friend bool operator==(Chunk const&, Chunk const&) = default;
};

struct MemoryMap {
   std::string manager;
   std::optional<std::string> directory; ///< its full name; nothing: the manager has none
   std::vector<Entity> entities;         ///< by name
   std::vector<Chunk> chunks;            ///< in the order in which the parts name them

   friend bool operator==(MemoryMap const&, MemoryMap const&) = default;
};

/// Entries of one group for which a collection's offsetter is asked where they lie; the parts of a larger group are taken to
/// fill their chunks.
inline constexpr std::uint32_t mostAskedEntries = 65536;

/// Looks at everything below the manager's directory, of whatever types: by reflection it finds the attributes N + "Control"
/// that hold a live collection, and the names of the fields where the type declares the entries N.
///
/// Threads: like a change of the tree and its collections, so on the agent's framework thread.
/// Cost: linear in all that it finds; copies names and numbers, reads no memory of a chunk.
MemoryMap gather(Quorvel::Core::Memory::Entity::Manager const& manager);

} // namespace Look
