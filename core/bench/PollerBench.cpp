#include <Quorvel/Core/Poller.h>

#include <benchmark/benchmark.h>

#include <cstddef>
#include <functional>
#include <vector>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <unistd.h>

// Waits a second over 1, 64 and 1 000 event descriptors. Where the last one alone is ready, the floor is the bare system call on
// the same array; where each is ready, the same and a bare call of each handler. The poller's waits are those of one call:
// the handler of the last file ends it after that many.

namespace {

using Quorvel::Core::Poller;

class Events {
public:
   Events(std::size_t count, bool isEachReady)
   {
      rlimit limit{};
      ::getrlimit(RLIMIT_NOFILE, &limit);
      limit.rlim_cur = limit.rlim_max;
      ::setrlimit(RLIMIT_NOFILE, &limit);
      for (std::size_t i = 0; i < count; ++i) {
         descriptors_.push_back(::eventfd(isEachReady || i + 1 == count ? 1 : 0, EFD_NONBLOCK | EFD_CLOEXEC));
      }
   }

   Events(Events const&) = delete;
   Events& operator=(Events const&) = delete;

   ~Events()
   {
      for (int const descriptor : descriptors_) {
         ::close(descriptor);
      }
   }

   bool isComplete() const { return descriptors_.back() >= 0; }

   auto begin() const { return descriptors_.begin(); }

   auto end() const { return descriptors_.end(); }

private:
   std::vector<int> descriptors_;
};

constexpr int waits = 100; // of one call

bool isRefused(Events const& events, benchmark::State& state)
{
   if (!events.isComplete()) {
      state.SkipWithError("the process may not open that many files");
   }
   return !events.isComplete();
}

template <bool isEachReady>
void bareSystemCall(benchmark::State& state)
{
   Events const events(static_cast<std::size_t>(state.range(0)), isEachReady);
   if (isRefused(events, state)) {
      return;
   }
   std::vector<pollfd> records;
   for (int const descriptor : events) {
      records.push_back({descriptor, POLLIN, 0});
   }
   std::vector<std::function<bool(Poller::File const&)>> const handlers(
      records.size(), [](Poller::File const&) { return false; });
   Poller::File const file;
   for (auto _ : state) {
      for (int i = 0; i < waits; ++i) {
         benchmark::DoNotOptimize(::poll(records.data(), records.size(), -1));
         if constexpr (isEachReady) {
            for (auto const& handler : handlers) {
               benchmark::DoNotOptimize(handler(file));
            }
         }
      }
   }
   state.SetItemsProcessed(state.iterations() * waits);
}

template <bool isEachReady>
void poller(benchmark::State& state)
{
   Events const events(static_cast<std::size_t>(state.range(0)), isEachReady);
   if (isRefused(events, state)) {
      return;
   }
   Poller poller;
   int waited = 0;
   for (int const descriptor : events) {
      poller.fileIs({"event", [](Poller::File const&) { return false; }, descriptor, POLLIN});
   }
   poller.files.back().handler = [&](Poller::File const&) { return ++waited % waits == 0; };
   for (auto _ : state) {
      benchmark::DoNotOptimize(poller.poll(-1));
   }
   state.SetItemsProcessed(waited);
}

BENCHMARK(bareSystemCall<false>)->Arg(1)->Arg(64)->Arg(1000);
BENCHMARK(poller<false>)->Arg(1)->Arg(64)->Arg(1000);
BENCHMARK(bareSystemCall<true>)->Arg(64)->Arg(1000);
BENCHMARK(poller<true>)->Arg(64)->Arg(1000);

} // namespace
