#include "SpinLock.h"

#include <ctime>

#include <immintrin.h>

namespace TolSlab::Detail {

void SpinLock::waitAndLock() noexcept
{
   constexpr int spinsBeforeSleep = 200;
   constexpr timespec sleepTime{0, 20'000};
   for (int spins = 0; locked_.load(std::memory_order_relaxed) || locked_.exchange(true, std::memory_order_acquire);
        ++spins) {
      if (spins < spinsBeforeSleep) {
         _mm_pause();
      } else {
         nanosleep(&sleepTime, nullptr);
      }
   }
}

} // namespace TolSlab::Detail
