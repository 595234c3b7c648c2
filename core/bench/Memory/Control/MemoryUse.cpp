#include <Quorvel/Core/Memory/Control/Collection.h>
#include <Quorvel/Core/Memory/Control/Detail/StoreChunk.h>

#include <TolSlab/Slab.h>
#include <benchmark/benchmark.h>

#include <malloc.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

// Bytes of live memory that an object of each kind costs, in `bytesEach`: its own, its nodes', its share of arrays and what
// the allocators round up, without what these keep in reserve. Times are those of making and destroying. Floor for a group of
// a field: `standardMaps`, a number and a pointer in each of two standard maps. The pinned-memory library is a stand-in.

namespace {

using namespace Quorvel::Core::Memory::Control;

/// Bytes in use in slabs and from the standard allocator.
std::size_t bytesInUse()
{
   std::size_t bytes = 0;
   for (std::size_t size = 16; size <= TolSlab::largestSlabSize; size += 16) {
      bytes += size * TolSlab::slabCounters(size).live;
   }
   auto const standard = mallinfo2();
   return bytes + standard.uordblks + standard.hblkhd;
}

/// Makes `count` objects and destroys them, once in each iteration.
/// @param make  returns what keeps them
template <class Make>
void measure(benchmark::State& state, std::int64_t count, Make const& make)
{
   std::size_t bytes = 0;
   for (auto _ : state) {
      auto const before = bytesInUse();
      auto const kept = make();
      bytes = bytesInUse() - before;
   }
   state.counters["bytesEach"] = static_cast<double>(bytes) / static_cast<double>(count);
   state.SetItemsProcessed(state.iterations() * count);
}

Orvo::String nameOf(std::uint64_t number)
{
   return Orvo::join("controller0.ring.data.", 100000 + number);
}

/// Keeps chunks in the store.
class StoredChunks {
public:
   explicit StoredChunks(std::uint64_t count)
   {
      auto const store = Detail::StoreChunk::instance();
      for (std::uint64_t i = 0; i < count; ++i) {
         store->chunkIs(nameOf(i), 4096, false);
      }
   }

   StoredChunks(StoredChunks const&) = delete;
   StoredChunks& operator=(StoredChunks const&) = delete;

   ~StoredChunks() { Detail::StoreChunk::instance()->chunkDelAll(); }
};

std::uint32_t countOf(benchmark::State const& state)
{
   return static_cast<std::uint32_t>(state.range(0));
}

/// A chunk in the store, its name of 28 characters included.
void chunk(benchmark::State& state)
{
   measure(state, state.range(0), [&] { return StoredChunks(countOf(state)); });
}

/// A collection without fields or groups.
void collection(benchmark::State& state)
{
   measure(state, state.range(0), [&] {
      std::vector<Orvo::Ptr<Collection>> kept;
      kept.reserve(countOf(state));
      for (std::uint32_t i = 0; i < countOf(state); ++i) {
         kept.push_back(Orvo::make<Collection>(nullptr));
      }
      return kept;
   });
}

/// A field without groups, in its collection.
void attribute(benchmark::State& state)
{
   measure(state, state.range(0), [&] {
      auto kept = Orvo::make<Collection>(nullptr);
      for (std::uint32_t id = 0; id < countOf(state); ++id) {
         kept->attributeIs(static_cast<std::int32_t>(id), 8);
      }
      return kept;
   });
}

/// A group in its collection.
void group(benchmark::State& state)
{
   measure(state, state.range(0), [&] {
      auto kept = Orvo::make<Collection>(nullptr);
      for (std::uint32_t id = 0; id < countOf(state); ++id) {
         kept->groupIs(id, id * 64, 64);
      }
      return kept;
   });
}

/// A group and a chunk that are there already, in a field: of 64 entries each, or of 40 to 87.
template <bool isMixed>
void groupOfAttribute(benchmark::State& state)
{
   std::vector<Orvo::Ptr<Detail::Group>> groups;
   for (std::uint32_t id = 0, head = 0; id < countOf(state); ++id) {
      groups.push_back(Orvo::make<Detail::Group>(id, head, isMixed ? 40 + id * 7 % 48 : 64));
      head += groups.back()->size();
   }
   auto const any = Detail::StoreChunk::instance()->chunkIs("any", 4096, false);
   measure(state, state.range(0), [&] {
      auto kept = Orvo::make<Detail::Attribute>(1, 8U);
      for (auto const& each : groups) {
         kept->groupIs(each);
         kept->chunkIs(each->id(), any);
      }
      return kept;
   });
}

void standardMaps(benchmark::State& state)
{
   measure(state, state.range(0), [&] {
      std::vector<std::map<std::uint32_t, void*>> kept(2);
      for (std::uint32_t id = 0; id < countOf(state); ++id) {
         kept[0][id] = kept[1][id] = nullptr;
      }
      return kept;
   });
}

BENCHMARK(chunk)->Arg(10)->Arg(10000);
BENCHMARK(collection)->Arg(1000);
BENCHMARK(attribute)->Arg(1000);
BENCHMARK(group)->Arg(10000);
BENCHMARK(groupOfAttribute<false>)->Name("groupOfAttribute")->Arg(1024)->Arg(65536);
BENCHMARK(groupOfAttribute<true>)->Name("groupOfAttributeMixed")->Arg(1024)->Arg(65536);
BENCHMARK(standardMaps)->Arg(1024)->Arg(65536);

} // namespace
