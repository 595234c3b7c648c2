#include "../Info/BareMount.h"
#include "BenchMount.h"

#include <Quorvel/Core/Memory/Entity/Destructor.h>
#include <Quorvel/Core/Memory/Entity/Manager.h>

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>

// What does not build anything, ns a call: mounting what is mounted already, beside a walk over bare nodes of the same texts,
// and unmounting, adopting back and cleaning up where 1 and 10 000 mounts of one chunk are there. Paths and chunk names are
// of the length that agents use. The pinned-memory library is a stand-in.
//
// Instructions a call, which other work of the machine does not change, from build/release/bin:
//
//    valgrind --tool=callgrind --toggle-collect='Quorvel::Core::Memory::Entity::Manager::unmount(*)'
//       ./core-entity-manager-bench --benchmark_filter='^unmountAndAdopt/1/'
//
// Once more with /10000/; the sums that it prints ("Collected") are those of 10 000 calls each, the same for any number of
// mounts, and of those that set the benchmark up. Likewise with 'Manager::mount(*)' for adopting back, and with
// 'Destructor::cleanup(*)' and '^mountAndCleanup/'.

namespace {

using namespace Quorvel::Core::Bench;
using Quorvel::Core::Memory::Entity::Destructor;
using Quorvel::Core::Memory::Entity::Manager;

constexpr std::int64_t calls = 10'000; // the same for any number of mounts, so that instructions compare

/// A manager with as many mounts as the benchmark asks for; all are taken down at its end.
class Mounts {
public:
   explicit Mounts(benchmark::State const& state)
   {
      std::vector<std::string> const chunk{"controller0.queue.command"};
      for (std::int64_t i = 0; i < state.range(0); ++i) {
         descriptions_.push_back(describeMount(Orvo::join("controller0/queue.", std::to_string(i)), chunk));
         manager_->mountInternal(descriptions_.back()); // not counted as a call of `mount`
      }
   }

   Mounts(Mounts const&) = delete;
   Mounts& operator=(Mounts const&) = delete;

   ~Mounts()
   {
      Manager::orphanage()->infoDelAll();
      manager_->orphanDelAll();
      manager_->infoMountDelAll();
      manager_->directory()->deleteEntity("controller0");
   }

   Manager& manager() const { return *manager_; }

   std::vector<Mount> const& descriptions() const { return descriptions_; }

private:
   Orvo::Ptr<Manager> manager_ = Manager::instantiate("bench");
   std::vector<Mount> descriptions_;
};

void countCalls(benchmark::State& state, std::int64_t count)
{
   state.counters["call"] =
      benchmark::Counter(static_cast<double>(count), benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

void equalRemount(benchmark::State& state)
{
   auto const names = chunkNames("known", state.range(0));
   auto const manager = Manager::instantiate("bench");
   manager->mount(describeMount("controller0/buffers", names));
   auto const again = describeMount("controller0/buffers", names); // shares no text with the first
   for (auto _ : state) {
      manager->mount(again);
   }
   manager->directory()->deleteEntity("controller0");
   manager->infoMountDelAll();
}

void equalBareNodes(benchmark::State& state)
{
   auto const names = chunkNames("known", state.range(0));
   BareMount const stored(describeMount("controller0/buffers", names));
   BareMount const again(describeMount("controller0/buffers", names));
   for (auto _ : state) {
      benchmark::DoNotOptimize(stored == again);
   }
}

/// All are unmounted before the first is adopted back.
void unmountAndAdopt(benchmark::State& state)
{
   Mounts const mounts(state);
   for (auto _ : state) {
      for (auto const& description : mounts.descriptions()) {
         mounts.manager().unmount(description.path());
      }
      for (auto const& description : mounts.descriptions()) {
         mounts.manager().mount(description);
      }
   }
   countCalls(state, state.iterations() * state.range(0));
}

/// The way of one mount, from the building to the cleaning up, beside the others.
void mountAndCleanup(benchmark::State& state)
{
   Mounts const mounts(state);
   auto& manager = mounts.manager();
   auto const description = describeMount("controller1/queue.0", {"controller0.queue.command"});
   for (auto _ : state) {
      manager.mount(description);
      manager.unmount(description.path());
      Destructor::cleanup(manager.orphan("/bench/zumem/controller1/queue.0"));
   }
   countCalls(state, state.iterations());
}

BENCHMARK(equalRemount)->Arg(1)->Arg(1'000);
BENCHMARK(equalBareNodes)->Arg(1)->Arg(1'000);
BENCHMARK(unmountAndAdopt)->Arg(1)->Iterations(calls);
BENCHMARK(unmountAndAdopt)->Arg(10'000)->Iterations(calls / 10'000);
BENCHMARK(mountAndCleanup)->Arg(1)->Arg(10'000)->Iterations(calls);

} // namespace
