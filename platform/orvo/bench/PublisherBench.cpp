// Nanoseconds of one publication to 0, 1 and 8 subscribers, against a walk over a vector of std::function: from a
// library, as a publication comes, and inside the program. A call from a library into the program and back costs the
// processor about a nanosecond more than one inside the program, however the walk is written.

#include "FunctionWalk.h"

#include <Orvo/Node.h>
#include <Orvo/Publisher.h>

#include <cstdlib>
#include <memory>
#include <vector>

#include <benchmark/benchmark.h>

namespace {

class SilentNode final : public Orvo::Node {
   Kro::TypeData const& typeData() const noexcept override { std::abort(); }
};

struct CountingSubscriber final : Orvo::Subscriber {
   void changed(Orvo::Change const& change) override { sum += change.attribute; }

   long sum = 0;
};

void publish(benchmark::State& state)
{
   SilentNode node;
   Orvo::Publisher publisher(node);
   std::vector<std::unique_ptr<CountingSubscriber>> subscribers;
   for (int i = 0; i < state.range(0); ++i) {
      subscribers.push_back(std::make_unique<CountingSubscriber>());
      publisher.subscribe(*subscribers.back());
   }
   Orvo::ChangeKey const key("chunk");
   for (auto _ : state) {
      publisher.publishChangeRecursive(258, "chunk", key);
   }
}

// With the key made for each call, as callers do.
void publishNewKey(benchmark::State& state)
{
   SilentNode node;
   Orvo::Publisher publisher(node);
   Orvo::String const name("chunk");
   for (auto _ : state) {
      publisher.publishChangeRecursive(258, "chunk", name);
   }
}

// With four publishers one above the other, of which nobody or only the highest has a subscriber.
void publishUnderAncestors(benchmark::State& state)
{
   SilentNode node;
   Orvo::Publisher root(node);
   Orvo::Publisher upper(node);
   Orvo::Publisher lower(node);
   Orvo::Publisher publisher(node);
   upper.parentIs(&root);
   lower.parentIs(&upper);
   publisher.parentIs(&lower);
   CountingSubscriber subscriber;
   if (state.range(0) != 0) {
      root.subscribe(subscriber);
   }
   Orvo::ChangeKey const key("chunk");
   for (auto _ : state) {
      publisher.publishChangeRecursive(258, "chunk", key);
   }
}

void subscribeAndLeave(benchmark::State& state)
{
   SilentNode node;
   Orvo::Publisher publisher(node);
   CountingSubscriber other;
   publisher.subscribe(other);
   CountingSubscriber subscriber;
   for (auto _ : state) {
      publisher.subscribe(subscriber);
      subscriber.unsubscribe();
   }
}

ChangeFunctions adders(benchmark::State const& state, long& sum)
{
   ChangeFunctions functions;
   for (int i = 0; i < state.range(0); ++i) {
      functions.emplace_back([&sum](Orvo::Change const& change) { sum += change.attribute; });
   }
   return functions;
}

void callFunctionsFromALibrary(benchmark::State& state)
{
   long sum = 0;
   auto const functions = adders(state, sum);
   SilentNode node;
   Orvo::ChangeKey const key("chunk");
   for (auto _ : state) {
      callAll(functions, &node, key);
      benchmark::DoNotOptimize(sum);
   }
}

void callFunctionsInTheProgram(benchmark::State& state)
{
   long sum = 0;
   auto const functions = adders(state, sum);
   SilentNode node;
   Orvo::ChangeKey const key("chunk");
   for (auto _ : state) {
      Orvo::Change const change{&node, 258, "chunk", key};
      for (auto const& function : functions) {
         function(change);
      }
      benchmark::DoNotOptimize(sum);
   }
}

BENCHMARK(publish)->Arg(0)->Arg(1)->Arg(8);
BENCHMARK(callFunctionsFromALibrary)->Arg(0)->Arg(1)->Arg(8);
BENCHMARK(callFunctionsInTheProgram)->Arg(0)->Arg(1)->Arg(8);
BENCHMARK(publishNewKey);
BENCHMARK(subscribeAndLeave);
BENCHMARK(publishUnderAncestors)->Arg(0)->Arg(1);

} // namespace
