#include <Quorvel/Core/Memory/Control/Detail/Attribute.h>
#include <Quorvel/Core/Memory/Control/Detail/StoreChunk.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

// Giving 65 536 groups of 64 entries, each with a chunk, to one field; items are groups. `build/0`: ids ascend, `/1`: they
// descend, `/2`: they come at random. Floor: `buildBare`, the same inserts into the field's two bare ordered collections.
// Meant to be: at most 3 times the floor ascending, 10 times at random. The pinned-memory library is a stand-in.

namespace {

using namespace Quorvel::Core::Memory::Control;

constexpr std::uint32_t entriesOfGroup = 64;

enum class Ids { ascending, descending, random };

std::vector<Orvo::Ptr<Detail::Group>> groupsInOrder(Ids order)
{
   std::vector<Orvo::Ptr<Detail::Group>> groups;
   for (std::uint32_t id = 0; id < 65536; ++id) {
      groups.push_back(Orvo::make<Detail::Group>(id, id * entriesOfGroup, entriesOfGroup));
   }
   if (order == Ids::descending) {
      std::reverse(groups.begin(), groups.end());
   } else if (order == Ids::random) {
      std::shuffle(groups.begin(), groups.end(), std::mt19937(1));
   }
   return groups;
}

void build(benchmark::State& state)
{
   auto const groups = groupsInOrder(static_cast<Ids>(state.range(0)));
   auto const chunk = Detail::StoreChunk::instance()->chunkIs("build", 4096, false);
   for (auto _ : state) {
      auto const attribute = Orvo::make<Detail::Attribute>(1, 8U);
      for (auto const& group : groups) {
         attribute->groupIs(group);
         attribute->chunkIs(group->id(), chunk);
      }
   }
   state.SetItemsProcessed(state.iterations() * 65536);
}

void buildBare(benchmark::State& state)
{
   auto const groups = groupsInOrder(static_cast<Ids>(state.range(0)));
   auto const chunk = Detail::StoreChunk::instance()->chunkIs("build", 4096, false);
   for (auto _ : state) {
      Detail::Attribute::Groups bareGroups;
      Detail::Attribute::Chunks bareChunks;
      for (auto const& group : groups) {
         bareGroups.is(group->id(), group);
         bareChunks.is(group->id(), chunk);
      }
   }
   state.SetItemsProcessed(state.iterations() * 65536);
}

BENCHMARK(build)->Arg(0)->Arg(1)->Arg(2);
BENCHMARK(buildBare)->Arg(0)->Arg(1)->Arg(2);

} // namespace
