#include <Kro/HashMap.h>

#include <Orvo/String.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

// Hash collections of 1 000 texts of 12 or 40 characters, ns an element, beside std::unordered_map of std::string.

namespace {

using Value = std::uint64_t;

struct HN_Bench;

using Sut = Kro::HashMap<HN_Bench, Orvo::String, Value>;
using StdMap = std::unordered_map<std::string, Value>;

constexpr std::size_t count = 1000;

/// `count` different texts of so many characters, from number `first` on, in random order.
template <class Text>
std::vector<Text> texts(benchmark::State const& state, std::size_t first = 0)
{
   std::vector<Text> all;
   for (std::size_t i = first; i < first + count; ++i) {
      auto const digits = std::to_string(100'000 + i);
      all.emplace_back(std::string(static_cast<std::size_t>(state.range(0)) - digits.size(), 'n') + digits);
   }
   std::shuffle(all.begin(), all.end(), std::mt19937(1));
   return all;
}

Sut filled(std::vector<Orvo::String> const& keys)
{
   Sut map;
   for (auto const& key : keys) {
      map.is(key, Value{1});
   }
   return map;
}

StdMap filled(std::vector<std::string> const& keys)
{
   StdMap map;
   for (auto const& key : keys) {
      map.insert_or_assign(key, Value{1});
   }
   return map;
}

template <class Text>
void find(benchmark::State& state, std::size_t firstSought)
{
   auto const map = filled(texts<Text>(state));
   auto const sought = texts<Text>(state, firstSought);
   for (auto _ : state) {
      for (auto const& key : sought) {
         benchmark::DoNotOptimize(map.find(key));
      }
   }
   state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(count));
}

void findHitKro(benchmark::State& state)
{
   find<Orvo::String>(state, 0);
}

void findHitStdMap(benchmark::State& state)
{
   find<std::string>(state, 0);
}

void findMissKro(benchmark::State& state)
{
   find<Orvo::String>(state, count);
}

void findMissStdMap(benchmark::State& state)
{
   find<std::string>(state, count);
}

template <class Text>
void build(benchmark::State& state)
{
   auto const keys = texts<Text>(state);
   for (auto _ : state) {
      auto map = filled(keys);
      benchmark::DoNotOptimize(map);
   }
   state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(count));
}

void buildKro(benchmark::State& state)
{
   build<Orvo::String>(state);
}

void buildStdMap(benchmark::State& state)
{
   build<std::string>(state);
}

template <class Text>
void copy(benchmark::State& state)
{
   auto const original = filled(texts<Text>(state));
   for (auto _ : state) {
      auto map = original;
      benchmark::DoNotOptimize(map);
   }
   state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(count));
}

void copyKro(benchmark::State& state)
{
   copy<Orvo::String>(state);
}

void copyStdMap(benchmark::State& state)
{
   copy<std::string>(state);
}

void walkKro(benchmark::State& state)
{
   auto const map = filled(texts<Orvo::String>(state));
   for (auto _ : state) {
      Value sum = 0;
      for (auto const& value : map) {
         sum += value;
      }
      benchmark::DoNotOptimize(sum);
   }
   state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(count));
}

void walkStdMap(benchmark::State& state)
{
   auto const map = filled(texts<std::string>(state));
   for (auto _ : state) {
      Value sum = 0;
      for (auto const& [key, value] : map) {
         sum += value;
      }
      benchmark::DoNotOptimize(sum);
   }
   state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(count));
}

BENCHMARK(findHitKro)->Arg(12)->Arg(40);
BENCHMARK(findHitStdMap)->Arg(12)->Arg(40);
BENCHMARK(findMissKro)->Arg(12)->Arg(40);
BENCHMARK(findMissStdMap)->Arg(12)->Arg(40);
BENCHMARK(buildKro)->Arg(12)->Arg(40);
BENCHMARK(buildStdMap)->Arg(12)->Arg(40);
BENCHMARK(copyKro)->Arg(12)->Arg(40);
BENCHMARK(copyStdMap)->Arg(12)->Arg(40);
BENCHMARK(walkKro)->Arg(12)->Arg(40);
BENCHMARK(walkStdMap)->Arg(12)->Arg(40);

} // namespace
