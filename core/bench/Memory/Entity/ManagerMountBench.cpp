#include "BareLive.h"
#include "BenchMount.h"

#include <Quorvel/Core/Memory/Control/Detail/StoreChunk.h>
#include <Quorvel/Core/Memory/Entity/Manager.h>

#include <pinmem/pinmem.h>

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <time.h>

// Mounts of 1, 100 and 10 000 chunks, ns a chunk, beside the same calls of the pinned-memory library in a loop. Two programs
// are made of this source: over the real library, in a domain of its own that goes with it, and over a stand-in, which leaves
// what is our own. Only the mount is timed, not what takes it down again.
//
// known:  blocks that the domain and this process know, and that are not mapped: an agent that comes back
// new:    blocks that nobody has made before
// byHand: over what is known, the calls of a mount without the manager: description, tree, chunks, groups
// bare:   over what is known, the calls of the library and what a mount keeps, in the standard library's collections. Their
//         allocator keeps what is freed; of 10 000 chunks the slab allocator gives most back, and pays for new pages.
// clock:  nothing: what measuring adds to each of them

namespace {

using namespace Quorvel::Core::Bench;
using Quorvel::Core::Memory::Control::Detail::StoreChunk;
using Quorvel::Core::Memory::Entity::Manager;
using Quorvel::Core::Memory::Info::Mount;

constexpr std::int64_t newChunks = 10'000; // of one benchmark: they stay in the domain to the end of the program

/// Makes the processor time of this thread, from its making to its end, the time of the iteration. All that is measured
/// happens on this thread, and what other processes do in the meantime does not count.
class Timed {
public:
   explicit Timed(benchmark::State& state) : state_(state) {}

   Timed(Timed const&) = delete;
   Timed& operator=(Timed const&) = delete;

   ~Timed() { state_.SetIterationTime(now() - begin_); }

private:
   static double now()
   {
      timespec time{};
      ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
      return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
   }

   benchmark::State& state_;
   double begin_ = now();
};

void countChunks(benchmark::State& state)
{
   auto const chunks = static_cast<double>(state.iterations() * state.range(0));
   state.counters["chunk"] = benchmark::Counter(chunks, benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
}

Manager& manager()
{
   static auto const manager = Manager::instantiate("bench");
   return *manager;
}

void takeDown()
{
   manager().directory()->deleteEntity("controller");
   manager().infoMountDelAll();
   StoreChunk::instance()->chunkDelAll();
}

void mountOnce(benchmark::State& state, Mount const& description)
{
   {
      Timed const timed(state);
      manager().mount(description);
   }
   takeDown();
}

void callOnce(benchmark::State& state, std::vector<std::string> const& names)
{
   std::vector<std::uint64_t> addresses(names.size());
   {
      Timed const timed(state);
      for (std::size_t i = 0; i < names.size(); ++i) {
         benchmark::DoNotOptimize(pinmem_alloc_func(names[i].c_str(), chunkSize, "bench", 4));
         addresses[i] = pinmem_map(names[i].c_str(), 1, 0, 0);
      }
   }
   for (std::size_t i = 0; i < names.size(); ++i) {
      if (addresses[i] == 0) {
         state.SkipWithError(pinmem_last_error());
         return;
      }
      pinmem_unmap(names[i].c_str(), addresses[i], 0);
   }
}

void makeKnown(std::vector<std::string> const& names)
{
   for (auto const& name : names) {
      pinmem_alloc_func(name.c_str(), chunkSize, "bench", 4);
   }
}

void mountOfKnown(benchmark::State& state)
{
   auto const names = chunkNames("known", state.range(0));
   makeKnown(names);
   auto const description = describeMount("controller/buffers", names);
   for (auto _ : state) {
      mountOnce(state, description);
   }
   countChunks(state);
}

void callsOfKnown(benchmark::State& state)
{
   auto const names = chunkNames("known", state.range(0));
   makeKnown(names);
   for (auto _ : state) {
      callOnce(state, names);
   }
   countChunks(state);
}

void bareOfKnown(benchmark::State& state)
{
   auto const names = chunkNames("known", state.range(0));
   makeKnown(names);
   auto const mount = describeMount("controller/buffers", names);
   BareLive::Nodes const nodes(mount);
   for (auto _ : state) {
      std::optional<BareLive> live;
      Timed const timed(state);
      live.emplace(mount, nodes);
   }
   countChunks(state);
}

void byHandOfKnown(benchmark::State& state)
{
   auto const names = chunkNames("known", state.range(0));
   makeKnown(names);
   auto const description = describeMount("controller/buffers", names);
   for (auto _ : state) {
      {
         Timed const timed(state);
         manager().infoMountIs(description);
         auto const directory =
            Orvo::dynamicCast<Kro::Dir>(manager().directory()->createEntity("Kro::Dir", "controller"));
         auto const entity = Orvo::dynamicCast<BenchMount>(directory->createEntity("BenchMount", "buffers"));
         auto& live = *entity->buffer;
         auto& attribute = *live.attribute(2);
         auto const store = StoreChunk::instance();
         for (auto const& group : description.collectionInternal().begin()->group()) {
            auto const& chunk = *group.chunkInternal().begin();
            auto const mapped = store->chunkIs(chunk.name(), chunk.size(), chunk.isIncapableDma());
            attribute.groupIs(live.groupIs(group.id(), group.head(), group.size()));
            attribute.chunkIs(group.id(), mapped);
         }
         live.capacityIs(static_cast<std::uint32_t>(names.size()));
         live.synchronizeAll();
      }
      takeDown();
   }
   countChunks(state);
}

void clockAlone(benchmark::State& state)
{
   for (auto _ : state) {
      Timed const timed(state);
   }
}

/// Names that neither this program nor an earlier benchmark of it has used.
std::vector<std::string> newNames(std::int64_t count)
{
   static int round = 0;
   return chunkNames("new" + std::to_string(++round), count);
}

void mountOfNew(benchmark::State& state)
{
   for (auto _ : state) {
      mountOnce(state, describeMount("controller/buffers", newNames(state.range(0))));
   }
   countChunks(state);
}

void callsOfNew(benchmark::State& state)
{
   for (auto _ : state) {
      callOnce(state, newNames(state.range(0)));
   }
   countChunks(state);
}

BENCHMARK(mountOfKnown)->Arg(1)->Arg(100)->Arg(10'000)->UseManualTime();
BENCHMARK(byHandOfKnown)->Arg(1)->Arg(100)->Arg(10'000)->UseManualTime();
BENCHMARK(bareOfKnown)->Arg(1)->Arg(100)->Arg(10'000)->UseManualTime();
BENCHMARK(callsOfKnown)->Arg(1)->Arg(100)->Arg(10'000)->UseManualTime();

BENCHMARK(clockAlone)->UseManualTime();

#define ONCE_EACH(function, chunks) BENCHMARK(function)->Arg(chunks)->Iterations(newChunks / (chunks))->UseManualTime()
ONCE_EACH(mountOfNew, 1);
ONCE_EACH(mountOfNew, 100);
ONCE_EACH(mountOfNew, 10'000);
ONCE_EACH(callsOfNew, 1);
ONCE_EACH(callsOfNew, 100);
ONCE_EACH(callsOfNew, 10'000);

} // namespace
