#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <thread>
#include <vector>

namespace Quorvel::Core::Test {

inline constexpr std::size_t threadCount = 8;

/// Runs `body` on several threads that start together; it is given the number of its thread.
inline void onThreads(std::function<void(std::size_t)> const& body)
{
   std::atomic<std::size_t> waiting = threadCount;
   std::vector<std::thread> threads;
   for (std::size_t i = 0; i < threadCount; ++i) {
      threads.emplace_back([&, i] {
         --waiting;
         while (waiting != 0) {
            std::this_thread::yield();
         }
         body(i);
      });
   }
   for (auto& thread : threads) {
      thread.join();
   }
}

} // namespace Quorvel::Core::Test
