// Nanoseconds to allocate and free objects of 64 bytes, against malloc in the same program: one at a time, in batches
// and with random replacement of long-lived objects. Those named "threads" come last: the first thread that a process
// starts turns locking on for good.

#include <TolSlab/Slab.h>

#include <cstdint>
#include <cstdlib>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>

namespace {

constexpr std::size_t size = 64;
constexpr TolSlab::TypeInfo type{size, "Bench"};

struct SlabWay {
   static void* allocate() { return TolSlab::slabAlloc(type); }

   static void free(void* object) { TolSlab::slabFree(object, type); }
};

struct MallocWay {
   static void* allocate() { return std::malloc(size); }

   static void free(void* object) { std::free(object); }
};

template <class Way>
void pair(benchmark::State& state)
{
   for (auto _ : state) {
      void* object = Way::allocate();
      benchmark::DoNotOptimize(object);
      Way::free(object);
   }
}

template <class Way>
void batch(benchmark::State& state)
{
   std::vector<void*> objects(static_cast<std::size_t>(state.range(0)));
   for (auto _ : state) {
      for (auto& object : objects) {
         object = Way::allocate();
      }
      benchmark::DoNotOptimize(objects.data());
      for (auto* const object : objects) {
         Way::free(object);
      }
   }
   state.SetItemsProcessed(state.iterations() * state.range(0));
}

template <class Way>
void churn(benchmark::State& state)
{
   std::vector<void*> objects(static_cast<std::size_t>(state.range(0)));
   for (auto& object : objects) {
      object = Way::allocate();
   }
   std::uint64_t random = 1;
   for (auto _ : state) {
      random = random * 6364136223846793005u + 1442695040888963407u;
      auto& object = objects[(random >> 33) % objects.size()];
      Way::free(object);
      object = Way::allocate();
      *static_cast<std::uint64_t*>(object) = random;
   }
   for (auto* const object : objects) {
      Way::free(object);
   }
}

// One thread allocates and frees in a process that has had a second one.
template <class Way>
void pairThreads(benchmark::State& state)
{
   std::thread([] {}).join();
   pair<Way>(state);
}

template <class Way>
void batchThreads(benchmark::State& state)
{
   std::thread([] {}).join();
   batch<Way>(state);
}

template <class Way>
void churnThreads(benchmark::State& state)
{
   std::thread([] {}).join();
   churn<Way>(state);
}

BENCHMARK(pair<MallocWay>);
BENCHMARK(pair<SlabWay>);
BENCHMARK(batch<MallocWay>)->Arg(100)->Arg(1000)->Arg(20'000);
BENCHMARK(batch<SlabWay>)->Arg(100)->Arg(1000)->Arg(20'000);
BENCHMARK(churn<MallocWay>)->Arg(1000)->Arg(100'000);
BENCHMARK(churn<SlabWay>)->Arg(1000)->Arg(100'000);
BENCHMARK(pairThreads<MallocWay>);
BENCHMARK(pairThreads<SlabWay>);
BENCHMARK(batchThreads<MallocWay>)->Arg(1000);
BENCHMARK(batchThreads<SlabWay>)->Arg(1000);
BENCHMARK(churnThreads<MallocWay>)->Arg(1000);
BENCHMARK(churnThreads<SlabWay>)->Arg(1000);
// Several threads at once, each with objects of its own: they wait for each other at the size class.
BENCHMARK(batch<MallocWay>)->Name("batchTwoThreadsAtOnce<MallocWay>")->Arg(1000)->Threads(2)->UseRealTime();
BENCHMARK(batch<SlabWay>)->Name("batchTwoThreadsAtOnce<SlabWay>")->Arg(1000)->Threads(2)->UseRealTime();

} // namespace
