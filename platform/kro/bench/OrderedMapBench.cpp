#include <Kro/OrderedMap.h>

#include <benchmark/benchmark.h>

#include <boost/intrusive/set.hpp>

#include <algorithm>
#include <cstdint>
#include <map>
#include <memory>
#include <numeric>
#include <random>
#include <type_traits>
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

/// Spaced like what an allocator gives, or the floor would fit into a smaller cache than any allocated node can.
struct alignas(16) BareNode
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

   BareSet(BareSet&&) = default;

   ~BareSet() { tree.clear(); }

   auto find(std::uint32_t key) const { return tree.find(key); }

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

void add(Sut& map, std::uint32_t key)
{
   map.is(key, key);
}

void add(StdMap& map, std::uint32_t key)
{
   map.insert_or_assign(key, key);
}

void add(BareSet& set, std::uint32_t key)
{
   set.insert(key);
}

template <class Map>
Map filled(std::vector<std::uint32_t> const& order)
{
   auto map = [&] {
      if constexpr (std::is_same_v<Map, BareSet>) {
         return BareSet(order.size());
      } else {
         return Map();
      }
   }();
   for (auto const key : order) {
      add(map, key);
   }
   return map;
}

std::vector<std::uint32_t> ascending(benchmark::State const& state)
{
   std::vector<std::uint32_t> all(static_cast<std::size_t>(state.range(0)));
   std::iota(all.begin(), all.end(), 0U);
   return all;
}

std::vector<std::uint32_t> shuffled(benchmark::State const& state)
{
   auto all = ascending(state);
   std::shuffle(all.begin(), all.end(), std::mt19937(1));
   return all;
}

void countElements(benchmark::State& state)
{
   state.SetItemsProcessed(state.iterations() * state.range(0));
}

template <class Map>
void find(benchmark::State& state)
{
   auto const order = shuffled(state);
   auto const map = filled<Map>(order);
   for (auto _ : state) {
      for (auto const key : order) {
         benchmark::DoNotOptimize(map.find(key));
      }
   }
   countElements(state);
}

/// Making and destroying, with the allocations of the elements; the bare set allocates one array.
template <class Map>
void build(benchmark::State& state, std::vector<std::uint32_t> const& order)
{
   for (auto _ : state) {
      auto const map = filled<Map>(order);
      benchmark::DoNotOptimize(&map);
   }
   countElements(state);
}

template <class Map>
void buildAscending(benchmark::State& state)
{
   build<Map>(state, ascending(state));
}

template <class Map>
void buildShuffled(benchmark::State& state)
{
   build<Map>(state, shuffled(state));
}

template <class Map>
void copy(benchmark::State& state)
{
   auto const original = filled<Map>(shuffled(state));
   for (auto _ : state) {
      Map copy(original);
      benchmark::DoNotOptimize(copy);
   }
   countElements(state);
}

/// Ours finds its place again after every change; the others must not be changed.
template <class Map>
void walk(benchmark::State& state)
{
   auto const map = filled<Map>(shuffled(state));
   for (auto _ : state) {
      Value sum = 0;
      if constexpr (std::is_same_v<Map, StdMap>) {
         for (auto const& [key, value] : map) {
            sum += value;
         }
      } else if constexpr (std::is_same_v<Map, BareSet>) {
         for (auto const& node : map.tree) {
            sum += node.value;
         }
      } else {
         for (auto const& value : map) {
            sum += value;
         }
      }
      benchmark::DoNotOptimize(sum);
   }
   countElements(state);
}

/// Building, and then a walk that erases every element that it reaches.
template <class Map>
void drain(benchmark::State& state)
{
   auto const order = shuffled(state);
   for (auto _ : state) {
      auto map = filled<Map>(order);
      for (auto at = map.begin(); at != map.end();) {
         at = map.erase(at);
      }
      benchmark::DoNotOptimize(&map);
   }
   countElements(state);
}

BENCHMARK(find<Sut>)->Name("findKro")->Arg(16)->Arg(1000);
BENCHMARK(find<BareSet>)->Name("findBareSet")->Arg(16)->Arg(1000);
BENCHMARK(find<StdMap>)->Name("findStdMap")->Arg(16)->Arg(1000);
BENCHMARK(buildAscending<Sut>)->Name("buildAscendingKro")->Arg(16)->Arg(1000);
BENCHMARK(buildAscending<BareSet>)->Name("buildAscendingBareSet")->Arg(16)->Arg(1000);
BENCHMARK(buildAscending<StdMap>)->Name("buildAscendingStdMap")->Arg(16)->Arg(1000);
BENCHMARK(buildShuffled<Sut>)->Name("buildShuffledKro")->Arg(16)->Arg(1000);
BENCHMARK(buildShuffled<BareSet>)->Name("buildShuffledBareSet")->Arg(16)->Arg(1000);
BENCHMARK(buildShuffled<StdMap>)->Name("buildShuffledStdMap")->Arg(16)->Arg(1000);
BENCHMARK(copy<Sut>)->Name("copyKro")->Arg(16)->Arg(1000);
BENCHMARK(copy<StdMap>)->Name("copyStdMap")->Arg(16)->Arg(1000);
BENCHMARK(walk<Sut>)->Name("walkKro")->Arg(16)->Arg(1000);
BENCHMARK(walk<BareSet>)->Name("walkBareSet")->Arg(16)->Arg(1000);
BENCHMARK(walk<StdMap>)->Name("walkStdMap")->Arg(16)->Arg(1000);
BENCHMARK(drain<Sut>)->Name("drainKro")->Arg(16)->Arg(1000);
BENCHMARK(drain<StdMap>)->Name("drainStdMap")->Arg(16)->Arg(1000);

} // namespace
