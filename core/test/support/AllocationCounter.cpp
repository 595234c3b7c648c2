#include "support/AllocationCounter.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::size_t> allocations = 0;
std::atomic<std::size_t> released = 0;
std::atomic<bool> isExhausted = false;
std::atomic<int> errnoOnRelease = 0;

} // namespace

void* operator new(std::size_t size)
{
   ++allocations;
   void* const memory = isExhausted ? nullptr : std::malloc(size);
   return memory != nullptr ? memory : throw std::bad_alloc();
}

void operator delete(void* memory) noexcept
{
   if (memory == nullptr) {
      return;
   }
   ++released;
   std::free(memory);
   if (errnoOnRelease != 0) {
      errno = errnoOnRelease;
   }
}

void operator delete(void* memory, std::size_t /*size*/) noexcept
{
   operator delete(memory);
}

namespace Quorvel::Core::Test {

AllocationCounter::AllocationCounter()
{
   allocations = 0;
   released = 0;
}

AllocationCounter::~AllocationCounter()
{
   isExhausted = false;
   errnoOnRelease = 0;
}

std::size_t AllocationCounter::count() const
{
   return allocations;
}

std::size_t AllocationCounter::releases() const
{
   return released;
}

void AllocationCounter::failFromNowOn()
{
   isExhausted = true;
}

void AllocationCounter::setErrnoOnRelease(int error)
{
   errnoOnRelease = error;
}

} // namespace Quorvel::Core::Test
