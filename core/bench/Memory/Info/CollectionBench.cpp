#include "BareNodes.h"

#include <KroOrvo/Impl.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <charconv>
#include <map>
#include <numeric>
#include <random>
#include <string>
#include <vector>

// Descriptions of 1, 1 000 and 65 536 groups with two chunks each, ns a group, beside their floors: the same number of bare
// nodes and texts, std::map, and a loop that appends the same characters. What is made is also destroyed in the time.

namespace {

using namespace Quorvel::Core::Bench;

constexpr char const* fields[] = {"command", "status"};

/// The names of the chunks, too long to be kept in place; two for each group.
std::vector<Orvo::String> names(benchmark::State const& state)
{
   std::vector<Orvo::String> all;
   for (std::uint32_t id = 0; id < state.range(0); ++id) {
      for (auto const* field : fields) {
         all.push_back(Orvo::join("controller0.ring.", field, ".", id));
      }
   }
   return all;
}

Collection describe(std::vector<Orvo::String> const& names)
{
   Collection collection("ring");
   for (auto const* field : fields) {
      collection.addNameAttribute(field);
   }
   for (std::uint32_t id = 0; id < names.size() / 2; ++id) {
      collection.addGroup(id, 64);
      collection.createChunk(id, fields[0], names[2 * id], 4096, false);
      collection.createChunk(id, fields[1], names[2 * id + 1], 1024, false);
   }
   return collection;
}

void countGroups(benchmark::State& state)
{
   state.SetItemsProcessed(state.iterations() * state.range(0));
   state.counters["group"] = benchmark::Counter(
      static_cast<double>(state.iterations() * state.range(0)),
      benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

/// Bytes that are taken from the slabs now.
double bytesTaken()
{
   std::size_t bytes = 0;
   for (std::size_t size = 16; size <= TolSlab::largestSlabSize; size += 16) {
      bytes += TolSlab::slabCounters(size).live * size;
   }
   return static_cast<double>(bytes);
}

void buildCollection(benchmark::State& state)
{
   auto const given = names(state);
   for (auto _ : state) {
      auto collection = describe(given);
      benchmark::DoNotOptimize(collection);
   }
   countGroups(state);
}

void buildBareNodes(benchmark::State& state)
{
   auto const collection = describe(names(state));
   for (auto _ : state) {
      BareNodes nodes(collection);
      benchmark::DoNotOptimize(nodes);
   }
   countGroups(state);
}

/// The counters: bytes of a group without chunks, and what each of its two chunks adds, the name's characters included.
void copyCollection(benchmark::State& state)
{
   auto const groups = static_cast<double>(state.range(0));
   auto const start = bytesTaken();
   auto bare = Collection("ring");
   for (std::uint32_t id = 0; id < state.range(0); ++id) {
      bare.addGroup(id, 64);
   }
   auto const withoutChunks = bytesTaken();
   auto const original = describe(names(state));
   auto const withChunks = bytesTaken();
   for (auto _ : state) {
      auto copy = original;
      benchmark::DoNotOptimize(copy);
   }
   countGroups(state);
   auto const bytesOfGroup = (withoutChunks - start) / groups;
   state.counters["bytes/group"] = bytesOfGroup;
   state.counters["bytes/chunk"] = ((withChunks - withoutChunks) / groups - bytesOfGroup) / 2;
}

void copyBareNodes(benchmark::State& state)
{
   BareNodes const original(describe(names(state)));
   for (auto _ : state) {
      auto copy = original;
      benchmark::DoNotOptimize(copy);
   }
   countGroups(state);
}

template <class T>
void equal(benchmark::State& state)
{
   auto const collection = describe(names(state));
   T const sut(collection);
   auto const other = sut;
   for (auto _ : state) {
      benchmark::DoNotOptimize(sut == other);
   }
   countGroups(state);
}

void equalCollection(benchmark::State& state)
{
   equal<Collection>(state);
}

void equalBareNodes(benchmark::State& state)
{
   equal<BareNodes>(state);
}

void textCollection(benchmark::State& state)
{
   auto const collection = describe(names(state));
   for (auto _ : state) {
      benchmark::DoNotOptimize(KroOrvo::Impl::valueToStrep(Collection::kroType, &collection));
   }
   countGroups(state);
}

void append(std::string& text, std::uint32_t number)
{
   char digits[10];
   text.append(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
}

void append(std::string& text, Chunk const& chunk)
{
   text.append("\"").append(chunk.nameAttribute()).append("\"=Quorvel::Core::Memory::Info::Detail::Chunk(");
   text.append("nameAttribute=\"").append(chunk.nameAttribute()).append("\", name=\"").append(chunk.name());
   text.append("\", size=");
   append(text, chunk.size());
   text.append(", isIncapableDma=").append(chunk.isIncapableDma() ? "true)" : "false)");
}

void append(std::string& text, Group const& group)
{
   append(text, group.id());
   text.append("=Quorvel::Core::Memory::Info::Detail::Group(chunk={");
   char const* comma = "";
   for (auto const& chunk : group.chunk()) {
      text.append(std::exchange(comma, ", "));
      append(text, chunk);
   }
   text.append("}, chunkInternal={}, id=");
   append(text, group.id());
   text.append(", head=");
   append(text, group.head());
   text.append(", size=");
   append(text, group.size());
   text.append(")");
}

std::string textOf(Collection const& collection)
{
   std::string text = "Quorvel::Core::Memory::Info::Collection(group={";
   char const* comma = "";
   for (auto const& group : collection.group()) {
      text.append(std::exchange(comma, ", "));
      append(text, group);
   }
   text.append("}, nameAttribute={");
   comma = "\"";
   for (auto const& field : collection.nameAttribute()) {
      text.append(std::exchange(comma, ", \"")).append(field).append("\"");
   }
   return text.append("}, name=\"").append(collection.name()).append("\")");
}

void textAppended(benchmark::State& state)
{
   auto const collection = describe(names(state));
   if (textOf(collection) != KroOrvo::Impl::valueToStrep(Collection::kroType, &collection)) {
      state.SkipWithError("the floor writes another text");
   }
   for (auto _ : state) {
      benchmark::DoNotOptimize(Orvo::String(textOf(collection)));
   }
   countGroups(state);
}

std::vector<std::uint32_t> ids(benchmark::State const& state, bool shuffled)
{
   std::vector<std::uint32_t> all(static_cast<std::size_t>(state.range(0)));
   std::iota(all.begin(), all.end(), 0U);
   if (shuffled) {
      std::shuffle(all.begin(), all.end(), std::mt19937(1));
   }
   return all;
}

void groups(benchmark::State& state, std::vector<std::uint32_t> const& given)
{
   for (auto _ : state) {
      Collection collection("ring");
      for (auto const id : given) {
         collection.groupIs(Group(id, 0, 64));
      }
      benchmark::DoNotOptimize(collection);
   }
   countGroups(state);
}

void groupsStdMap(benchmark::State& state, std::vector<std::uint32_t> const& given)
{
   for (auto _ : state) {
      std::map<std::uint32_t, Group> map;
      for (auto const id : given) {
         map.insert_or_assign(id, Group(id, 0, 64));
      }
      benchmark::DoNotOptimize(map);
   }
   countGroups(state);
}

void groupsAscending(benchmark::State& state)
{
   groups(state, ids(state, false));
}

void groupsAscendingStdMap(benchmark::State& state)
{
   groupsStdMap(state, ids(state, false));
}

void groupsShuffled(benchmark::State& state)
{
   groups(state, ids(state, true));
}

void groupsShuffledStdMap(benchmark::State& state)
{
   groupsStdMap(state, ids(state, true));
}

void sizes(benchmark::internal::Benchmark* benchmark)
{
   benchmark->Arg(1)->Arg(1'000)->Arg(65'536);
}

BENCHMARK(buildCollection)->Apply(sizes);
BENCHMARK(buildBareNodes)->Apply(sizes);
BENCHMARK(copyCollection)->Apply(sizes);
BENCHMARK(copyBareNodes)->Apply(sizes);
BENCHMARK(equalCollection)->Apply(sizes);
BENCHMARK(equalBareNodes)->Apply(sizes);
BENCHMARK(textCollection)->Apply(sizes);
BENCHMARK(textAppended)->Apply(sizes);
BENCHMARK(groupsAscending)->Apply(sizes);
BENCHMARK(groupsAscendingStdMap)->Apply(sizes);
BENCHMARK(groupsShuffled)->Apply(sizes);
BENCHMARK(groupsShuffledStdMap)->Apply(sizes);

} // namespace
