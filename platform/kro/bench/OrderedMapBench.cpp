#include <Kro/OrderedMap.h>

#include <benchmark/benchmark.h>

#include <boost/intrusive/set.hpp>

#include <algorithm>
#include <cstdint>
#include <map>
#include <memory>
#include <numeric>
#include <random>
#include <vector>

// Ordered collections of 16 and of 1 000 elements, ns an element, beside std::map and a bare boost::intrusive::set.

namespace {

using Value = std::uint64_t;

class KroValue final : public Kro::OrderedNode<KroValue, std::uint32_t, Value> {
public:
   using OrderedNode::OrderedNode;
   static Kro::AllocTrackTypeInfo memAllocationTracker_;
};

constinit Kro::AllocTrackTypeInfo KroValue::memAllocationTracker_{sizeof(KroValue), "KroValue"};

using Sut = Kro::OrderedMap<KroValue>;
using StdMap = std::map<std::uint32_t, Value>;

struct BareNode
   : boost::intrusive::set_base_hook<
        boost::intrusive::optimize_size<true>, boost::intrusive::link_mode<boost::intrusive::normal_link>> {
   std::uint32_t key;
   Value value;
};

struct BareKey {
   using type = std::uint32_t;

   std::uint32_t const& operator()(BareNode const& node) const { return node.key; }
};

/// The bare set, with nodes from an array: no allocation at all.
struct BareSet {
   explicit BareSet(std::size_t count) : nodes(new BareNode[count]) {}

   ~BareSet() { tree.clear(); }

   void insert(std::uint32_t key)
   {
      auto& node = nodes[used++];
      node.key = key;
      node.value = key;
      tree.insert(node);
   }

   std::size_t used = 0;
   std::unique_ptr<BareNode[]> nodes;
   boost::intrusive::set<BareNode, boost::intrusive::key_of_value<BareKey>> tree;
};

std::vector<std::uint32_t> keys(benchmark::State const& state)
{
   std::vector<std::uint32_t> all(static_cast<std::size_t>(state.range(0)));
   std::iota(all.begin(), all.end(), 0U);
   return all;
}

std::vector<std::uint32_t> shuffledKeys(benchmark::State const& state)
{
   auto all = keys(state);
   std::shuffle(all.begin(), all.end(), std::mt19937(1));
   return all;
}

void countElements(benchmark::State& state)
{
   state.SetItemsProcessed(state.iterations() * state.range(0));
}

void findKro(benchmark::State& state)
{
   auto const order = shuffledKeys(state);
   Sut sut;
   for (auto const key : order) {
      sut.is(key, key);
   }
   for (auto _ : state) {
      for (auto const key : order) {
         benchmark::DoNotOptimize(sut.find(key));
      }
   }
   countElements(state);
}

void findBareSet(benchmark::State& state)
{
   auto const order = shuffledKeys(state);
   BareSet sut(order.size());
   for (auto const key : order) {
      sut.insert(key);
   }
   for (auto _ : state) {
      for (auto const key : order) {
         benchmark::DoNotOptimize(sut.tree.find(key));
      }
   }
   countElements(state);
}

void findStdMap(benchmark::State& state)
{
   auto const order = shuffledKeys(state);
   StdMap sut;
   for (auto const key : order) {
      sut[key] = key;
   }
   for (auto _ : state) {
      for (auto const key : order) {
         benchmark::DoNotOptimize(sut.find(key));
      }
   }
   countElements(state);
}

template <class Map, class Add>
void build(benchmark::State& state, std::vector<std::uint32_t> const& order, Add add)
{
   for (auto _ : state) {
      Map map;
      for (auto const key : order) {
         add(map, key);
      }
      benchmark::DoNotOptimize(map);
   }
   countElements(state);
}

void buildAscendingKro(benchmark::State& state)
{
   build<Sut>(state, keys(state), [](Sut& map, std::uint32_t key) { map.is(key, key); });
}

void buildAscendingStdMap(benchmark::State& state)
{
   build<StdMap>(state, keys(state), [](StdMap& map, std::uint32_t key) { map.insert_or_assign(key, key); });
}

void buildShuffledKro(benchmark::State& state)
{
   build<Sut>(state, shuffledKeys(state), [](Sut& map, std::uint32_t key) { map.is(key, key); });
}

void buildShuffledStdMap(benchmark::State& state)
{
   build<StdMap>(state, shuffledKeys(state), [](StdMap& map, std::uint32_t key) { map.insert_or_assign(key, key); });
}

/// Linking alone: the floor of every tree of this kind.
void buildShuffledBareSet(benchmark::State& state)
{
   auto const order = shuffledKeys(state);
   for (auto _ : state) {
      BareSet set(order.size());
      for (auto const key : order) {
         set.insert(key);
      }
      benchmark::DoNotOptimize(set);
   }
   countElements(state);
}

void copyKro(benchmark::State& state)
{
   Sut original;
   for (auto const key : shuffledKeys(state)) {
      original.is(key, key);
   }
   for (auto _ : state) {
      Sut copy(original);
      benchmark::DoNotOptimize(copy);
   }
   countElements(state);
}

void copyStdMap(benchmark::State& state)
{
   StdMap original;
   for (auto const key : shuffledKeys(state)) {
      original[key] = key;
   }
   for (auto _ : state) {
      StdMap copy(original);
      benchmark::DoNotOptimize(copy);
   }
   countElements(state);
}

void walkKro(benchmark::State& state)
{
   Sut sut;
   for (auto const key : shuffledKeys(state)) {
      sut.is(key, key);
   }
   for (auto _ : state) {
      Value sum = 0;
      for (auto const& value : sut) {
         sum += value;
      }
      benchmark::DoNotOptimize(sum);
   }
   countElements(state);
}

void walkBareSet(benchmark::State& state)
{
   auto const order = shuffledKeys(state);
   BareSet sut(order.size());
   for (auto const key : order) {
      sut.insert(key);
   }
   for (auto _ : state) {
      Value sum = 0;
      for (auto const& node : sut.tree) {
         sum += node.value;
      }
      benchmark::DoNotOptimize(sum);
   }
   countElements(state);
}

void walkStdMap(benchmark::State& state)
{
   StdMap sut;
   for (auto const key : shuffledKeys(state)) {
      sut[key] = key;
   }
   for (auto _ : state) {
      Value sum = 0;
      for (auto const& [key, value] : sut) {
         sum += value;
      }
      benchmark::DoNotOptimize(sum);
   }
   countElements(state);
}

BENCHMARK(findKro)->Arg(16)->Arg(1000);
BENCHMARK(findBareSet)->Arg(16)->Arg(1000);
BENCHMARK(findStdMap)->Arg(16)->Arg(1000);
BENCHMARK(buildAscendingKro)->Arg(16)->Arg(1000);
BENCHMARK(buildAscendingStdMap)->Arg(16)->Arg(1000);
BENCHMARK(buildShuffledKro)->Arg(16)->Arg(1000);
BENCHMARK(buildShuffledStdMap)->Arg(16)->Arg(1000);
BENCHMARK(buildShuffledBareSet)->Arg(16)->Arg(1000);
BENCHMARK(copyKro)->Arg(16)->Arg(1000);
BENCHMARK(copyStdMap)->Arg(16)->Arg(1000);
BENCHMARK(walkKro)->Arg(16)->Arg(1000);
BENCHMARK(walkBareSet)->Arg(16)->Arg(1000);
BENCHMARK(walkStdMap)->Arg(16)->Arg(1000);

} // namespace
