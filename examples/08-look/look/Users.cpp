#include "look/Users.h"

#include "look/Wording.h"

#include <algorithm>
#include <array>

namespace Look {
namespace {

/// Colours that stay apart for every kind of colour blindness; from the eighth field on they come again.
constexpr std::array<std::string_view, 7> palette{"#0072b2", "#e69f00", "#009e73", "#cc79a7",
                                                  "#56b4e9", "#d55e00", "#f0e442"};

std::string kindText(User const& user)
{
   return printable(user.collection->name) + "." + fieldText(user.field());
}

} // namespace

Users::Users(MemoryMap const& map) : byChunk_(map.chunks.size())
{
   collect(map.entities);
}

void Users::collect(std::vector<Entity> const& entities)
{
   for (auto const& entity : entities) {
      entities_.push_back(&entity);
      for (auto const& collection : entity.collections) {
         for (auto const& part : collection.parts) {
            User const user{&entity, &collection, &part};
            byChunk_[part.chunk].push_back(user);
            if (kindByText_.try_emplace(kindText(user), kinds_.size()).second) {
               kinds_.push_back({kindText(user), palette[kinds_.size() % palette.size()]});
            }
         }
      }
      collect(entity.entities);
   }
}

bool Users::isShared(std::size_t chunk) const
{
   auto const& users = byChunk_[chunk];
   return std::any_of(
      users.begin(), users.end(), [&](User const& user) { return user.collection != users.front().collection; });
}

std::string_view Users::colour(User const& user) const
{
   return kinds_[kindByText_.at(kindText(user))].colour;
}

} // namespace Look
