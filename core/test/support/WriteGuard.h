#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include <sys/mman.h>
#include <unistd.h>

namespace Quorvel::Core::Test {

/// Makes the memory that objects lie in, and what else shares their pages, read-only for as long as it lives: a write ends
/// the process.
class WriteGuard {
public:
   /// Covers an object from now on.
   void add(void const* object, std::size_t size)
   {
      auto const page = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
      auto const begin = reinterpret_cast<std::uintptr_t>(object) & ~(page - 1);
      auto const end = (reinterpret_cast<std::uintptr_t>(object) + size + page - 1) & ~(page - 1);
      ranges_.push_back({reinterpret_cast<void*>(begin), end - begin});
   }

   /// Begins: nothing else may be added, nothing allocated or freed till it ends.
   void begin() const { protect(PROT_READ); }

   void end() const { protect(PROT_READ | PROT_WRITE); }

private:
   struct Range {
      void* begin;
      std::size_t size;
   };

   void protect(int protection) const
   {
      for (auto const& range : ranges_) {
         if (::mprotect(range.begin, range.size, protection) != 0) {
            std::abort();
         }
      }
   }

   std::vector<Range> ranges_;
};

} // namespace Quorvel::Core::Test
