#include "support/AllocationCounter.h"

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::size_t> allocations = 0;
std::atomic<std::size_t> released = 0;
constexpr std::size_t unlimited = SIZE_MAX;
std::atomic<std::size_t> limit = unlimited;
std::atomic<int> errnoOnRelease = 0;

} // namespace

void* operator new(std::size_t size)
{
   void* const memory = allocations++ < limit ? std::malloc(size) : nullptr;
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
   limit = unlimited;
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

void AllocationCounter::failAfter(std::size_t further)
{
   limit = allocations + further;
}

void AllocationCounter::setErrnoOnRelease(int error)
{
   errnoOnRelease = error;
}

} // namespace Quorvel::Core::Test
