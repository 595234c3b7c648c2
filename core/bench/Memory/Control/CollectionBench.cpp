#include <Quorvel/Core/Memory/Control/Collection.h>
#include <Quorvel/Core/Memory/Control/Detail/StoreChunk.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <map>
#include <memory>
#include <random>
#include <vector>

// The bus address of an entry, ns a call, in a collection of four fields with 1 to 65 536 groups of 64 entries, beside its floors:
// finding the field in a bare ordered collection of four, then the group among as many numbers, by halves and by a
// table of buckets, then one load from the chunk. Random entries; `Dependent`: each call waits for the one before.
// The pinned-memory library is a stand-in.

namespace {

using namespace Quorvel::Core::Memory::Control;

constexpr std::uint32_t entriesOfGroup = 64;
// Their two lowest bits differ.
constexpr std::int32_t fields[] = {-4, -3, 6, 7};

/// One collection for each number of groups, made once.
Collection const& collectionOf(std::uint32_t groups)
{
   static std::map<std::uint32_t, Orvo::Ptr<Collection>> all;
   auto& collection = all[groups];
   if (collection == nullptr) {
      collection = Orvo::make<Collection>(nullptr);
      auto const store = Detail::StoreChunk::instance();
      for (auto const field : fields) {
         auto const attribute = collection->attributeIs(field, 8);
         for (std::uint32_t id = 0; id < groups; ++id) {
            attribute->groupIs(collection->groupIs(id, id * entriesOfGroup, entriesOfGroup));
            attribute->chunkIs(
               id,
               store->chunkIs(Orvo::join(std::to_string(field), " of ", groups, ".", id), 8 * entriesOfGroup, false));
         }
      }
   }
   return *collection;
}

std::vector<std::uint32_t> const& randomEntries(std::uint32_t groups)
{
   static std::map<std::uint32_t, std::vector<std::uint32_t>> all;
   auto& entries = all[groups];
   if (entries.empty()) {
      std::mt19937 random(1);
      entries.resize(1U << 14U);
      for (auto& entry : entries) {
         entry = static_cast<std::uint32_t>(random() % (groups * entriesOfGroup));
      }
   }
   return entries;
}

/// The same groups as bare numbers, for each field its own.
class Floor {
public:
   explicit Floor(Collection const& collection) : collection_(collection)
   {
      for (std::size_t field = 0; field < std::size(fields); ++field) {
         auto const& attribute = *collection.attribute(fields[field]);
         for (auto at = attribute.chunk().begin(); at != attribute.chunk().end(); ++at) {
            groups_[static_cast<std::uint32_t>(fields[field]) & 3U].begins.push_back(attribute.group(at.key())->head());
            groups_[static_cast<std::uint32_t>(fields[field]) & 3U].buckets.push_back(
               static_cast<std::uint32_t>(groups_[static_cast<std::uint32_t>(fields[field]) & 3U].buckets.size()));
            groups_[static_cast<std::uint32_t>(fields[field]) & 3U].chunks.push_back(at->get());
         }
      }
   }

   std::uint64_t byHalves(std::int32_t field, std::uint32_t entry) const
   {
      auto const& groups = groupsOf(field);
      auto const* at = groups.begins.data();
      for (auto size = groups.begins.size(); size > 1;) {
         auto const half = size / 2;
         at += at[half] <= entry ? half : 0;
         size -= half;
      }
      return addressOf(groups, static_cast<std::size_t>(at - groups.begins.data()), entry);
   }

   std::uint64_t byBucket(std::int32_t field, std::uint32_t entry) const
   {
      auto const& groups = groupsOf(field);
      return addressOf(groups, groups.buckets[entry / entriesOfGroup], entry);
   }

private:
   struct Groups {
      std::vector<std::uint32_t> begins;
      std::vector<std::uint32_t> buckets;
      std::vector<Detail::Chunk*> chunks;
   };

   /// A field's groups stand at the two lowest bits of its number.
   Groups const& groupsOf(std::int32_t field) const
   {
      auto const& attribute = *collection_.attribute().find(field);
      return groups_[static_cast<std::uint32_t>(attribute.id()) & 3U];
   }

   static std::uint64_t addressOf(Groups const& groups, std::size_t position, std::uint32_t entry)
   {
      return groups.chunks[position]->addressBus() + (entry - groups.begins[position]) * 8;
   }

   Collection const& collection_;
   std::array<Groups, std::size(fields)> groups_;
};

template <class Lookup>
void independent(benchmark::State& state, Lookup const& lookup)
{
   auto const& entries = randomEntries(static_cast<std::uint32_t>(state.range(0)));
   std::size_t i = 0;
   for (auto _ : state) {
      benchmark::DoNotOptimize(lookup(fields[i & 3U], entries[i]));
      i = (i + 1) & (entries.size() - 1);
   }
}

template <class Lookup>
void dependent(benchmark::State& state, Lookup const& lookup)
{
   auto const& entries = randomEntries(static_cast<std::uint32_t>(state.range(0)));
   std::size_t i = 0;
   std::uint64_t address = 0;
   for (auto _ : state) {
      // The highest bit of no address is set, which the compiler cannot know.
      address = lookup(fields[i & 3U], entries[i] + static_cast<std::uint32_t>(address >> 63U));
      i = (i + 1) & (entries.size() - 1);
   }
   benchmark::DoNotOptimize(address);
}

template <class Measure>
void addressBus(benchmark::State& state, Measure const& measure)
{
   auto const& collection = collectionOf(static_cast<std::uint32_t>(state.range(0)));
   measure(state, [&](std::int32_t field, std::uint32_t entry) { return collection.addressBus(field, entry); });
}

template <class Measure>
void floorByHalves(benchmark::State& state, Measure const& measure)
{
   Floor const floor(collectionOf(static_cast<std::uint32_t>(state.range(0))));
   measure(state, [&](std::int32_t field, std::uint32_t entry) { return floor.byHalves(field, entry); });
}

template <class Measure>
void floorByBucket(benchmark::State& state, Measure const& measure)
{
   Floor const floor(collectionOf(static_cast<std::uint32_t>(state.range(0))));
   measure(state, [&](std::int32_t field, std::uint32_t entry) { return floor.byBucket(field, entry); });
}

#define MEASURE(function)                                                                                              \
   void function##Independent(benchmark::State& state)                                                                 \
   {                                                                                                                   \
      function(state, [](auto& s, auto const& lookup) { independent(s, lookup); });                                    \
   }                                                                                                                   \
   void function##Dependent(benchmark::State& state)                                                                   \
   {                                                                                                                   \
      function(state, [](auto& s, auto const& lookup) { dependent(s, lookup); });                                      \
   }                                                                                                                   \
   BENCHMARK(function##Independent)->Arg(1)->Arg(16)->Arg(256)->Arg(4096)->Arg(65536);                                 \
   BENCHMARK(function##Dependent)->Arg(1)->Arg(16)->Arg(256)->Arg(4096)->Arg(65536)

MEASURE(addressBus);
MEASURE(floorByHalves);
MEASURE(floorByBucket);

/// Walks a field's memory run by run, ns an entry.
void runs(benchmark::State& state)
{
   auto const& collection = collectionOf(static_cast<std::uint32_t>(state.range(0)));
   for (auto _ : state) {
      std::uint64_t sum = 0;
      for (auto const run : collection.runs<std::uint64_t>(fields[0])) {
         for (std::uint32_t i = 0; i < run.count; ++i) {
            sum += run.addressBus + i * 8;
         }
      }
      benchmark::DoNotOptimize(sum);
   }
   state.SetItemsProcessed(state.iterations() * state.range(0) * entriesOfGroup);
}

BENCHMARK(runs)->Arg(16)->Arg(4096);

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

/// Gives 65 536 groups to a field, ns a group.
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

/// The same into the bare ordered collections.
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

std::vector<Orvo::String> storeNames(std::uint32_t count)
{
   std::vector<Orvo::String> names;
   for (std::uint32_t i = 0; i < count; ++i) {
      names.push_back(Orvo::join("controller0.ring.data.", i));
      Detail::StoreChunk::instance()->chunkIs(names.back(), 4096, false);
   }
   return names;
}

/// Asks the store for a chunk that it has.
void knownChunk(benchmark::State& state)
{
   auto const names = storeNames(static_cast<std::uint32_t>(state.range(0)));
   auto const store = Detail::StoreChunk::instance();
   std::size_t i = 0;
   for (auto _ : state) {
      benchmark::DoNotOptimize(store->chunkIs(names[i], 4096, false));
      i = i + 1 < names.size() ? i + 1 : 0;
   }
}

/// Finds it in the store's bare collection and copies the pointer.
void knownChunkBare(benchmark::State& state)
{
   auto const names = storeNames(static_cast<std::uint32_t>(state.range(0)));
   auto const store = Detail::StoreChunk::instance();
   std::size_t i = 0;
   for (auto _ : state) {
      auto const found = *store->chunk().find(names[i]);
      benchmark::DoNotOptimize(found);
      i = i + 1 < names.size() ? i + 1 : 0;
   }
}

BENCHMARK(knownChunk)->Arg(10)->Arg(10000);
BENCHMARK(knownChunkBare)->Arg(10)->Arg(10000);

} // namespace
