#include "BareMount.h"

#include <Kro/Entity.h>
#include <Kro/KroModule.h>
#include <Kro/Table.h>

#include <benchmark/benchmark.h>

#include <cstdint>

// Mounts with one collection of 1, 1 000 and 65 536 groups with two chunks each, ns a group: storing the collection and
// deriving its view by number, copying both, comparing both. Storing ends with as many new nodes as copying: the floor of
// both is the copy of the bare nodes of the two views. What is made is also destroyed in the time.

namespace {

using namespace Quorvel::Core::Bench;

extern Kro::KroModule module;

struct Entry {
   std::uint64_t command;
   std::uint64_t status;
   struct Declaration;
   static Kro::KroType const kroType;
};

struct Entry::Declaration {
   static constexpr auto table =
      Kro::table<Entry>(Kro::field<2, &Entry::command>("command"), Kro::field<3, &Entry::status>("status"));
};

constinit Kro::KroType const Entry::kroType = Kro::entryType<Entry, Entry::Declaration>("Entry", &module);

class Rings : public Kro::Entity {
public:
   explicit Rings(Orvo::String const& name) : Entity(name) {}

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   struct Declaration;
   static Kro::KroType const kroType;
};

struct Rings::Declaration {
   static constexpr auto table = Kro::table<Rings, Kro::Entity>(Kro::entries<1, Entry>("ring"));
};

constinit Kro::KroType const Rings::kroType = Kro::entityType<Rings, Rings::Declaration>("Rings", &module);

constexpr Kro::KroType const* types[] = {&Entry::kroType, &Rings::kroType};
constinit Kro::KroModule module{"MountBench", "core/bench/Memory/Info/MountBench", types, {}};

Collection describe(benchmark::State const& state)
{
   Kro::kroModuleIs(module);
   Collection collection("ring");
   for (auto const* field : {"command", "status"}) {
      collection.addNameAttribute(field);
   }
   for (std::uint32_t id = 0; id < state.range(0); ++id) {
      collection.addGroup(id, 64);
      for (auto const* field : {"command", "status"}) {
         collection.createChunk(id, field, Orvo::join("controller0.ring.", field, ".", id), 512, false);
      }
   }
   return collection;
}

Mount describeMount(benchmark::State const& state)
{
   Mount mount("controller/rings", "Rings");
   mount.collectionIs(describe(state));
   return mount;
}

void countGroups(benchmark::State& state)
{
   auto const groups = state.iterations() * state.range(0);
   state.counters["group"] =
      benchmark::Counter(static_cast<double>(groups), benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void buildMount(benchmark::State& state)
{
   auto const collection = describe(state);
   for (auto _ : state) {
      Mount mount("controller/rings", "Rings");
      mount.collectionIs(collection);
      benchmark::DoNotOptimize(mount);
   }
   countGroups(state);
}

template <class T>
void copy(benchmark::State& state)
{
   T const original(describeMount(state));
   for (auto _ : state) {
      auto copy = original;
      benchmark::DoNotOptimize(copy);
   }
   countGroups(state);
}

void copyMount(benchmark::State& state)
{
   copy<Mount>(state);
}

void copyBareMount(benchmark::State& state)
{
   copy<BareMount>(state);
}

template <class T>
void equal(benchmark::State& state)
{
   T const sut(describeMount(state));
   auto const other = sut;
   for (auto _ : state) {
      benchmark::DoNotOptimize(sut == other);
   }
   countGroups(state);
}

void equalMount(benchmark::State& state)
{
   equal<Mount>(state);
}

void equalBareMount(benchmark::State& state)
{
   equal<BareMount>(state);
}

void sizes(benchmark::internal::Benchmark* benchmark)
{
   benchmark->Arg(1)->Arg(1'000)->Arg(65'536);
}

BENCHMARK(buildMount)->Apply(sizes);
BENCHMARK(copyMount)->Apply(sizes);
BENCHMARK(copyBareMount)->Apply(sizes);
BENCHMARK(equalMount)->Apply(sizes);
BENCHMARK(equalBareMount)->Apply(sizes);

} // namespace
