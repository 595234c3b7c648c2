#pragma once

#include <Orvo/ThreadControl.h>

#include <atomic>
#include <cstdint>

namespace Orvo {

/// Counts the users of a shared object, in one 32-bit word beside three flag bits. Starts with one user.
///
/// Threads: every function may be called from every thread that uses the object; read-modify-writes are atomic when
/// threads are in use and plain otherwise. What one user wrote before `drop` is seen by the thread that drops last.
class UseCount {
public:
   static constexpr std::uint32_t countMask = 0x1fffffff; ///< the count; at most this many users
   static constexpr std::uint32_t flagMask = ~countMask;  ///< the flags

   /// One user, and the given flags set.
   explicit constexpr UseCount(std::uint32_t flags = 0) noexcept : word_(flags | 1) {}

   UseCount(UseCount const&) = delete;
   UseCount& operator=(UseCount const&) = delete;

   /// Adds a user.
   void take() noexcept
   {
      if (ThreadControl::threadsInUse()) [[unlikely]] {
         std::atomic_ref(word_).fetch_add(1, std::memory_order_relaxed);
      } else {
         ++word_;
      }
   }

   /// Removes a user.
   /// @return the flags and the count that are left: equal to the flags alone when this was the last user
   std::uint32_t drop() noexcept
   {
      if (ThreadControl::threadsInUse()) [[unlikely]] {
         return std::atomic_ref(word_).fetch_sub(1, std::memory_order_acq_rel) - 1;
      }
      return --word_;
   }

   /// Sets or clears the given flag bits.
   void flagSet(std::uint32_t flags, bool value) noexcept
   {
      auto const bits = flags & flagMask;
      if (!ThreadControl::threadsInUse()) {
         word_ = value ? word_ | bits : word_ & ~bits;
      } else if (value) {
         std::atomic_ref(word_).fetch_or(bits, std::memory_order_acq_rel);
      } else {
         std::atomic_ref(word_).fetch_and(~bits, std::memory_order_acq_rel);
      }
   }

   /// Whether any of the given flag bits is set.
   bool flag(std::uint32_t flags) const noexcept { return (load() & flags & flagMask) != 0; }

   /// Number of users.
   std::uint32_t count() const noexcept { return load() & countMask; }

private:
   // Clang 14 has no atomic_ref to a constant object; a load changes nothing.
   std::uint32_t load() const noexcept
   {
      return std::atomic_ref(const_cast<std::uint32_t&>(word_)).load(std::memory_order_relaxed);
   }

   std::uint32_t word_;
};

} // namespace Orvo
