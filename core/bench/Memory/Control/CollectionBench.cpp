#include <Quorvel/Core/Memory/Control/Collection.h>
#include <Quorvel/Core/Memory/Control/Detail/StoreChunk.h>

#include <benchmark/benchmark.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

// The addresses of an entry, ns a call, in a collection of four fields with 1 to 65 536 groups of 64 entries, beside their
// floors: finding the field in a bare ordered collection of four, then the group among as many numbers, by halves and by a
// table of buckets, then one load from the chunk. Meant to be: at most 1.5 times the better floor.
//
// `Sequential`: entries ascend; `Random`: they do not; `Dependent`: nor do they, and each call waits for the one before.
// `Mixed`: groups have 40 to 87 entries, for which no table as simple as the floor's will do.
// The fields take turns. The pinned-memory library is a stand-in.

namespace {

using namespace Quorvel::Core::Memory::Control;

constexpr std::uint32_t entriesOfGroup = 64;
// Their two lowest bits differ.
constexpr std::int32_t fields[] = {-4, -3, 6, 7};

enum class Sizes { equal, mixed };

std::uint32_t sizeOf(std::uint32_t group, Sizes sizes)
{
   return sizes == Sizes::equal ? entriesOfGroup : 40 + group * 7 % 48;
}

/// One collection for each number of groups and kind of sizes, made once.
Collection const& collectionOf(std::uint32_t groups, Sizes sizes)
{
   static std::map<std::pair<std::uint32_t, Sizes>, Orvo::Ptr<Collection>> all;
   auto& collection = all[{groups, sizes}];
   if (collection == nullptr) {
      collection = Orvo::make<Collection>(nullptr);
      auto const store = Detail::StoreChunk::instance();
      for (auto const field : fields) {
         auto const attribute = collection->attributeIs(field, 8);
         for (std::uint32_t id = 0, head = 0; id < groups; ++id) {
            auto const size = sizeOf(id, sizes);
            attribute->groupIs(collection->groupIs(id, head, size));
            auto const name = Orvo::join(std::to_string(field), " of ", groups, ".", id);
            attribute->chunkIs(id, store->chunkIs(name, 8 * 2 * entriesOfGroup, false));
            head += size;
         }
      }
   }
   return *collection;
}

using Entries = std::vector<std::uint32_t>;

enum class Order { ascending, random };

Entries entriesOf(std::uint32_t groups, Sizes sizes, Order order)
{
   std::uint32_t count = 0;
   for (std::uint32_t id = 0; id < groups; ++id) {
      count += sizeOf(id, sizes);
   }
   std::mt19937 random(1);
   Entries entries(1U << 14U);
   for (std::uint32_t i = 0; i < entries.size(); ++i) {
      entries[i] = (order == Order::random ? static_cast<std::uint32_t>(random()) : i) % count;
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
void independent(benchmark::State& state, Entries const& entries, Lookup const& lookup)
{
   std::size_t i = 0;
   for (auto _ : state) {
      benchmark::DoNotOptimize(lookup(fields[i & 3U], entries[i]));
      i = (i + 1) & (entries.size() - 1);
   }
}

template <class Lookup>
void dependent(benchmark::State& state, Entries const& entries, Lookup const& lookup)
{
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
void addressBus(std::uint32_t groups, Sizes sizes, Measure const& measure)
{
   auto const& collection = collectionOf(groups, sizes);
   measure([&](std::int32_t field, std::uint32_t entry) { return collection.addressBus(field, entry); });
}

template <class Measure>
void addressVirtual(std::uint32_t groups, Sizes sizes, Measure const& measure)
{
   auto const& collection = collectionOf(groups, sizes);
   measure([&](std::int32_t field, std::uint32_t entry) { return collection.addressVirtual(field, entry); });
}

template <class Measure>
void floorByHalves(std::uint32_t groups, Sizes sizes, Measure const& measure)
{
   Floor const floor(collectionOf(groups, sizes));
   measure([&](std::int32_t field, std::uint32_t entry) { return floor.byHalves(field, entry); });
}

template <class Measure>
void floorByBucket(std::uint32_t groups, Sizes sizes, Measure const& measure)
{
   Floor const floor(collectionOf(groups, sizes));
   measure([&](std::int32_t field, std::uint32_t entry) { return floor.byBucket(field, entry); });
}

#define MEASURE_ONE(function, name, sizes, order, calls)                                                               \
   void name(benchmark::State& state)                                                                                  \
   {                                                                                                                   \
      auto const groups = static_cast<std::uint32_t>(state.range(0));                                                  \
      auto const entries = entriesOf(groups, sizes, order);                                                            \
      function(groups, sizes, [&](auto const& lookup) { calls(state, entries, lookup); });                             \
   }                                                                                                                   \
   BENCHMARK(name)->Arg(1)->Arg(16)->Arg(256)->Arg(4096)->Arg(65536)

#define MEASURE(function)                                                                                              \
   MEASURE_ONE(function, function##Sequential, Sizes::equal, Order::ascending, independent);                           \
   MEASURE_ONE(function, function##Random, Sizes::equal, Order::random, independent);                                  \
   MEASURE_ONE(function, function##Dependent, Sizes::equal, Order::random, dependent)

MEASURE(addressBus);
MEASURE(addressVirtual);
MEASURE(floorByHalves);
MEASURE(floorByBucket);
MEASURE_ONE(addressBus, addressBusMixedRandom, Sizes::mixed, Order::random, independent);
MEASURE_ONE(addressBus, addressBusMixedDependent, Sizes::mixed, Order::random, dependent);
MEASURE_ONE(floorByHalves, floorByHalvesMixedRandom, Sizes::mixed, Order::random, independent);
MEASURE_ONE(floorByHalves, floorByHalvesMixedDependent, Sizes::mixed, Order::random, dependent);

/// Walks a field's memory run by run, ns an entry.
void runs(benchmark::State& state)
{
   auto const& collection = collectionOf(static_cast<std::uint32_t>(state.range(0)), Sizes::equal);
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

} // namespace
