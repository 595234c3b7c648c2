#pragma once

#include <cstddef>

namespace Quorvel::Core::Test {

/// Counts how often memory is asked for with `operator new` while it lives, in the program that is linked with its source, on
/// all threads. One at a time.
class AllocationCounter {
public:
   AllocationCounter();
   AllocationCounter(AllocationCounter const&) = delete;
   AllocationCounter& operator=(AllocationCounter const&) = delete;
   ~AllocationCounter();

   std::size_t count() const;

   /// How often memory was given back.
   std::size_t releases() const;

   /// Until this object is gone there is memory that many times more, and then none.
   void failAfter(std::size_t allocations);

   /// From now on, until this object is gone, each release of memory sets errno to that, as it may.
   void setErrnoOnRelease(int error);
};

} // namespace Quorvel::Core::Test
