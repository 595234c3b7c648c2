// Nanoseconds to raise an exception and catch it, against a bare throw, and to affirm what holds, against nothing at all.

#include <Quorvel/Utility/Affirm.h>
#include <Quorvel/Utility/Raise.h>

#include <stdexcept>

#include <benchmark/benchmark.h>

namespace {

template <class Throw>
void throwAndCatch(benchmark::State& state, Throw throwIt)
{
   for (auto _ : state) {
      try {
         throwIt();
      } catch (std::invalid_argument const& exception) {
         benchmark::DoNotOptimize(exception.what());
      }
   }
}

void raise(benchmark::State& state)
{
   throwAndCatch(state, [] { Quorvel::Utility::raise(std::invalid_argument("head=7 is not covered by any group.")); });
}

void bareThrow(benchmark::State& state)
{
   throwAndCatch(state, [] { throw std::invalid_argument("head=7 is not covered by any group."); });
}

void affirmWhatHolds(benchmark::State& state)
{
   int value = 7;
   for (auto _ : state) {
      benchmark::DoNotOptimize(value);
      Quorvel::Utility::affirm(value == 7);
   }
}

void affirmNothing(benchmark::State& state)
{
   int value = 7;
   for (auto _ : state) {
      benchmark::DoNotOptimize(value);
   }
}

BENCHMARK(bareThrow);
BENCHMARK(raise);
BENCHMARK(affirmNothing);
BENCHMARK(affirmWhatHolds);

} // namespace
