#pragma once

#include "look/MemoryMap.h"

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace Look {

/// A part, and what it is part of. Borrowed from a map.
struct User {
   Entity const* entity;
   Collection const* collection;
   Part const* part;

   Field const& field() const { return collection->fields[part->field]; }
};

/// Who uses which chunk, and the colour of each field: fields of one name in collections of one name have one colour.
///
/// Ownership: borrows the map, which must live and stay as it is.
class Users {
public:
   struct Kind {
      std::string text; ///< "submission.command (2)"
      std::string_view colour;
   };

   explicit Users(MemoryMap const& map);

   /// The entities of the map, each before what is in it.
   std::vector<Entity const*> const& entities() const noexcept { return entities_; }

   /// The parts that a chunk holds, in the order of the entities.
   std::vector<User> const& of(std::size_t chunk) const { return byChunk_[chunk]; }

   /// @return whether more than one collection uses the chunk
   bool isShared(std::size_t chunk) const;

   /// The kinds of fields that have parts, in the order in which they were first met.
   std::vector<Kind> const& kinds() const noexcept { return kinds_; }

   std::string_view colour(User const& user) const;

private:
   void collect(std::vector<Entity> const& entities);

   std::vector<Entity const*> entities_;
   std::vector<std::vector<User>> byChunk_;
   std::vector<Kind> kinds_;
   std::map<std::string, std::size_t> kindByText_;
};

} // namespace Look
