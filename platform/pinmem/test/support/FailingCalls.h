#pragma once

#include "src/SystemCalls.h"
#include <cerrno>
#include <sys/mman.h>
#include <type_traits>

namespace pinmem_test {

/// While it lives, counts the system calls of the library and makes one of them fail. `close` is done all the same, as
/// the kernel does it; `munmap` always succeeds, since it cannot fail for what the library has mapped.
class FailingCalls {
public:
   /// @param failing  number of the call that fails, from 0; -1: none
   FailingCalls(int failing, int error)
   {
      pinmem_lib::SystemCalls const real = pinmem_lib::systemCalls;
      real_ = real;
      failing_ = failing;
      error_ = error;
      count_ = 0;
      using Calls = pinmem_lib::SystemCalls;
      Calls& calls = pinmem_lib::systemCalls;
      wrap<&Calls::openat>(calls);
      wrap<&Calls::fstat>(calls);
      wrap<&Calls::fstatat>(calls);
      wrap<&Calls::faccessat>(calls);
      wrap<&Calls::fstatfs>(calls);
      wrap<&Calls::mkdirat>(calls);
      wrap<&Calls::unlinkat>(calls);
      wrap<&Calls::renameat>(calls);
      wrap<&Calls::fchmod>(calls);
      wrap<&Calls::fchown>(calls);
      wrap<&Calls::fdopendir>(calls);
      wrap<&Calls::readdir>(calls);
      wrap<&Calls::read>(calls);
      wrap<&Calls::pread>(calls);
      wrap<&Calls::pwrite>(calls);
      wrap<&Calls::write>(calls);
      wrap<&Calls::lseek>(calls);
      wrap<&Calls::fallocate>(calls);
      wrap<&Calls::ftruncate>(calls);
      wrap<&Calls::flock>(calls);
      wrap<&Calls::lockRange>(calls);
      wrap<&Calls::mmap>(calls);
      wrap<&Calls::madvise>(calls);
      wrap<&Calls::bindToNode>(calls);
      wrap<&Calls::nodeOf>(calls);
      calls.close = [](int number) {
         int const result = real_.close(number);
         return isDue() ? -1 : result;
      };
   }

   FailingCalls(FailingCalls const&) = delete;
   FailingCalls& operator=(FailingCalls const&) = delete;

   ~FailingCalls() { pinmem_lib::systemCalls = real_; }

   /// How many calls there were so far.
   static int count() { return count_; }

   /// Whether the call that was to fail has come.
   static bool hasFailed() { return failing_ >= 0 && count_ > failing_; }

private:
   static bool isDue()
   {
      if (count_++ != failing_) {
         return false;
      }
      errno = error_;
      return true;
   }

   template <typename Result>
   static Result failure()
   {
      if constexpr (std::is_same_v<Result, void*>) {
         return MAP_FAILED;
      } else if constexpr (std::is_pointer_v<Result>) {
         return nullptr;
      } else {
         return -1;
      }
   }

   template <auto entry>
   static void wrap(pinmem_lib::SystemCalls& calls)
   {
      calls.*entry = wrapperOf<entry>(calls.*entry);
   }

   template <auto entry, typename Result, typename... Arguments>
   static auto wrapperOf(Result (*)(Arguments...)) -> Result (*)(Arguments...)
   {
      return
         [](Arguments... arguments) -> Result { return isDue() ? failure<Result>() : (real_.*entry)(arguments...); };
   }

   static inline pinmem_lib::SystemCalls real_ = {};
   static inline int failing_ = -1;
   static inline int error_ = 0;
   static inline int count_ = 0;
};

} // namespace pinmem_test
