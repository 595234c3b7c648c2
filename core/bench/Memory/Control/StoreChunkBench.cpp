#include <Quorvel/Core/Memory/Control/Detail/StoreChunk.h>

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

// Asking the store for a chunk that it has, ns a call, among 10 to 10 000 chunks whose names have 27 characters. Floors:
// `bareFind`, a look-up in the store's collection and a copy of the pointer; `standardFind`, the same in a standard hash map
// of standard texts. The pinned-memory library is a stand-in.

namespace {

using namespace Quorvel::Core::Memory::Control;

Orvo::String nameOf(std::uint64_t number)
{
   return Orvo::join("controller0.ring.data.", 10000 + number);
}

/// Makes the store hold `count` chunks and no others.
/// @return texts that are equal to their names, but share no characters with them
std::vector<Orvo::String> storeNames(std::int64_t count)
{
   auto const store = Detail::StoreChunk::instance();
   store->chunkDelAll();
   std::vector<Orvo::String> names;
   for (std::uint64_t i = 0; i < static_cast<std::uint64_t>(count); ++i) {
      store->chunkIs(nameOf(i), 4096, false);
      names.push_back(nameOf(i));
   }
   return names;
}

template <class Names, class Find>
void measure(benchmark::State& state, Names const& names, Find const& find)
{
   std::size_t i = 0;
   for (auto _ : state) {
      benchmark::DoNotOptimize(find(names[i]));
      i = i + 1 < names.size() ? i + 1 : 0;
   }
}

void chunkIs(benchmark::State& state)
{
   auto const names = storeNames(state.range(0));
   auto const store = Detail::StoreChunk::instance();
   measure(state, names, [&](Orvo::String const& name) { return store->chunkIs(name, 4096, false); });
}

void bareFind(benchmark::State& state)
{
   auto const names = storeNames(state.range(0));
   auto const& chunks = Detail::StoreChunk::instance()->chunk();
   measure(state, names, [&](Orvo::String const& name) { return *chunks.find(name); });
}

void standardFind(benchmark::State& state)
{
   std::vector<std::string> names;
   std::unordered_map<std::string, Orvo::Ptr<Detail::Chunk>> chunks;
   for (auto const& name : storeNames(state.range(0))) {
      names.emplace_back(name);
      chunks.emplace(names.back(), Detail::StoreChunk::instance()->chunk(name));
   }
   measure(state, names, [&](std::string const& name) { return chunks.find(name)->second; });
}

BENCHMARK(chunkIs)->Arg(10)->Arg(100)->Arg(1000)->Arg(10000);
BENCHMARK(bareFind)->Arg(10)->Arg(100)->Arg(1000)->Arg(10000);
BENCHMARK(standardFind)->Arg(10)->Arg(100)->Arg(1000)->Arg(10000);

} // namespace
