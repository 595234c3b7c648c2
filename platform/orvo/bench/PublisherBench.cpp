// Nanoseconds of one publication to 0, 1 and 8 subscribers, against a walk over a vector of std::function.

#include <Orvo/Node.h>
#include <Orvo/Publisher.h>

#include <cstdlib>
#include <functional>
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

// Nobody has subscribed to any of four publishers.
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
   Orvo::ChangeKey const key("chunk");
   for (auto _ : state) {
      publisher.publishChangeRecursive(258, "chunk", key);
   }
}

void callVectorOfFunctions(benchmark::State& state)
{
   std::vector<std::function<void(Orvo::Change const&)>> functions;
   long sum = 0;
   for (int i = 0; i < state.range(0); ++i) {
      functions.emplace_back([&sum](Orvo::Change const& change) { sum += change.attribute; });
   }
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
BENCHMARK(callVectorOfFunctions)->Arg(0)->Arg(1)->Arg(8);
BENCHMARK(publishNewKey);
BENCHMARK(publishUnderAncestors);

} // namespace
