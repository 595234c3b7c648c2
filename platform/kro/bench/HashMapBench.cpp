#include <Kro/HashMap.h>

#include <Orvo/String.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

// Hash collections of 1 000 texts of 12 or 40 characters, ns an element, beside std::unordered_map of std::string; looking
// up also in small ones of that many elements: up to 8 have no buckets.

namespace {

using Value = std::uint64_t;

struct HN_Bench;

using Sut = Kro::HashMap<HN_Bench, Orvo::String, Value>;
using StdMap = std::unordered_map<std::string, Value>;

constexpr std::int64_t most = 1000;

/// Different texts, as many of as many characters as the arguments of `state` say, from number `first` on, in random
/// order.
template <class Text>
std::vector<Text> texts(benchmark::State const& state, std::size_t first = 0)
{
   std::vector<Text> all;
   auto const count = static_cast<std::size_t>(state.range(1));
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
   state.SetItemsProcessed(state.iterations() * state.range(1));
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
   find<Orvo::String>(state, most);
}

void findMissStdMap(benchmark::State& state)
{
   find<std::string>(state, most);
}

template <class Text>
void build(benchmark::State& state)
{
   auto const keys = texts<Text>(state);
   for (auto _ : state) {
      auto map = filled(keys);
      benchmark::DoNotOptimize(map);
   }
   state.SetItemsProcessed(state.iterations() * state.range(1));
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
   state.SetItemsProcessed(state.iterations() * state.range(1));
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
   state.SetItemsProcessed(state.iterations() * state.range(1));
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
   state.SetItemsProcessed(state.iterations() * state.range(1));
}

void whole(benchmark::internal::Benchmark* benchmark)
{
   benchmark->Args({12, most})->Args({40, most});
}

void wholeAndSmall(benchmark::internal::Benchmark* benchmark)
{
   whole(benchmark);
   for (std::int64_t const count : {1, 2, 4, 8, 9, 16}) {
      benchmark->Args({12, count});
   }
}

BENCHMARK(findHitKro)->Apply(wholeAndSmall);
BENCHMARK(findHitStdMap)->Apply(wholeAndSmall);
BENCHMARK(findMissKro)->Apply(wholeAndSmall);
BENCHMARK(findMissStdMap)->Apply(wholeAndSmall);
BENCHMARK(buildKro)->Apply(whole);
BENCHMARK(buildStdMap)->Apply(whole);
BENCHMARK(copyKro)->Apply(whole);
BENCHMARK(copyStdMap)->Apply(whole);
BENCHMARK(walkKro)->Apply(whole);
BENCHMARK(walkStdMap)->Apply(whole);

} // namespace
