#include <Quorvel/Core/Entifier.h>

#include <benchmark/benchmark.h>

#include <string>

// Nanoseconds to expand a path template: none of whose characters is a %, which is a copy; with one placeholder and one value;
// with all four. For comparison the same paths put together by hand.

namespace {

using Quorvel::Core::Detail::MakerPathMount;

void withoutPercent(benchmark::State& state)
{
   MakerPathMount maker;
   maker.arg0Value = "admin";
   for (auto _ : state) {
      benchmark::DoNotOptimize(maker.makePath("controller/queues/admin/submission"));
   }
}

void bareCopy(benchmark::State& state)
{
   char const* text = "controller/queues/admin/submission";
   for (auto _ : state) {
      benchmark::DoNotOptimize(text);
      benchmark::DoNotOptimize(std::string(text));
   }
}

void onePlaceholder(benchmark::State& state)
{
   MakerPathMount maker;
   maker.arg0Value = "admin";
   for (auto _ : state) {
      benchmark::DoNotOptimize(maker.makePath("controller/queues/%arg0/submission"));
   }
}

void fourPlaceholders(benchmark::State& state)
{
   MakerPathMount maker;
   maker.cellIdValue = "7";
   maker.sliceIdValue = "2";
   maker.arg0Value = "admin";
   maker.arg1Value = "submission";
   for (auto _ : state) {
      benchmark::DoNotOptimize(maker.makePath("cell%cellId/slice%sliceId/%arg0/%arg1"));
   }
}

void fourPlaceholdersByHand(benchmark::State& state)
{
   std::string const cell = "7";
   std::string const slice = "2";
   std::string const first = "admin";
   std::string const second = "submission";
   for (auto _ : state) {
      std::string path = "cell";
      path.append(cell).append("/slice").append(slice).append("/").append(first).append("/").append(second);
      benchmark::DoNotOptimize(path);
   }
}

BENCHMARK(bareCopy);
BENCHMARK(withoutPercent);
BENCHMARK(onePlaceholder);
BENCHMARK(fourPlaceholders);
BENCHMARK(fourPlaceholdersByHand);

} // namespace
