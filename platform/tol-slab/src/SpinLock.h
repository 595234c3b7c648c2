#pragma once

#include <atomic>

namespace TolSlab::Detail {

/// Lock for a few instructions at a time. One atomic instruction to lock, none to unlock, which is why it is not a
/// mutex. A thread that waits longer sleeps, so that a holder of lower priority gets the processor.
class SpinLock {
public:
   void lock() noexcept
   {
      if (locked_.exchange(true, std::memory_order_acquire)) [[unlikely]] {
         waitAndLock();
      }
   }

   void unlock() noexcept { locked_.store(false, std::memory_order_release); }

private:
   void waitAndLock() noexcept;

   std::atomic<bool> locked_ = false;
};

} // namespace TolSlab::Detail
