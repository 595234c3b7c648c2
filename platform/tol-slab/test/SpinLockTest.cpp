#include "../src/SpinLock.h"

#include <atomic>
#include <cstdlib>
#include <fstream>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <unistd.h>

using TolSlab::Detail::SpinLock;

namespace {

// How often a thread of this process has gone to sleep.
long sleepCount(pid_t thread)
{
   std::string const wanted = "voluntary_ctxt_switches:";
   std::ifstream status("/proc/self/task/" + std::to_string(thread) + "/status");
   for (std::string line; std::getline(status, line);) {
      if (line.starts_with(wanted)) {
         return std::atol(line.c_str() + wanted.size());
      }
   }
   ADD_FAILURE() << "the system does not tell";
   return 0;
}

} // namespace

TEST(SpinLock, canBeTakenAgainAndAgain)
{
   SpinLock sut;

   for (int i = 0; i < 3; ++i) {
      sut.lock();
      sut.unlock();
   }
}

TEST(SpinLock, letsOneThreadInAtATime)
{
   constexpr int threadCount = 4;
   constexpr int rounds = 20'000;
   SpinLock sut;
   int counter = 0; // not atomic: the lock alone guards it
   std::vector<std::thread> threads;
   for (int i = 0; i < threadCount; ++i) {
      threads.emplace_back([&] {
         for (int k = 0; k < rounds; ++k) {
            std::lock_guard const guard(sut);
            ++counter;
         }
      });
   }

   for (auto& thread : threads) {
      thread.join();
   }

   EXPECT_EQ(counter, threadCount * rounds);
}

TEST(SpinLock, putsAThreadThatWaitsLongToSleepAndLetsItInAfterwards)
{
   SpinLock sut;
   std::atomic<pid_t> waiterId = 0;
   bool isWritten = false;
   bool seen = false;
   sut.lock();
   std::thread waiter([&] {
      waiterId = gettid();
      std::lock_guard const guard(sut);
      seen = isWritten;
   });
   while (waiterId == 0) {
      std::this_thread::yield();
   }

   auto const before = sleepCount(waiterId);
   while (sleepCount(waiterId) < before + 3) {
      std::this_thread::yield();
   }
   isWritten = true;
   sut.unlock();
   waiter.join();

   EXPECT_TRUE(seen);
}
