// Nanoseconds to copy a counted pointer and drop the copy, against boost::intrusive_ptr with a plain and an atomic
// count and against std::shared_ptr. Those named "threads" come last: the first thread that a process starts turns
// atomic counting on for good.

#include <Orvo/Node.h>
#include <Orvo/Ptr.h>

#include <cstdlib>
#include <memory>
#include <thread>

#include <benchmark/benchmark.h>
#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <boost/smart_ptr/intrusive_ref_counter.hpp>

namespace {

class SilentNode final : public Orvo::Node {
   Kro::TypeData const& typeData() const noexcept override { std::abort(); }
};

struct PlainNode : boost::intrusive_ref_counter<PlainNode, boost::thread_unsafe_counter> {
   virtual ~PlainNode() = default;
};

struct AtomicNode : boost::intrusive_ref_counter<AtomicNode, boost::thread_safe_counter> {
   virtual ~AtomicNode() = default;
};

template <class Pointer>
void copyAndDrop(benchmark::State& state, Pointer const& pointer)
{
   for (auto _ : state) {
      Pointer copy(pointer);
      benchmark::DoNotOptimize(copy);
   }
}

template <class Pointer>
void copyAndDropThreads(benchmark::State& state, Pointer const& pointer)
{
   std::thread([] {}).join();
   copyAndDrop(state, pointer);
}

using Plain = boost::intrusive_ptr<PlainNode>;
using Atomic = boost::intrusive_ptr<AtomicNode>;

BENCHMARK_CAPTURE(copyAndDrop, intrusivePlain, Plain(new PlainNode));
BENCHMARK_CAPTURE(copyAndDrop, standardShared, std::make_shared<PlainNode>());
BENCHMARK_CAPTURE(copyAndDrop, ours, Orvo::make<SilentNode>());
BENCHMARK_CAPTURE(copyAndDropThreads, intrusiveAtomic, Atomic(new AtomicNode));
BENCHMARK_CAPTURE(copyAndDropThreads, standardShared, std::make_shared<PlainNode>());
BENCHMARK_CAPTURE(copyAndDropThreads, ours, Orvo::make<SilentNode>());

} // namespace
