#include "scenario/life/AllocationGate.h"

#include "scenario/life/RealFunction.h"

#include <TolSlab/Slab.h>

#include <cstddef>
#include <cstdlib>
#include <new>
#include <utility>

namespace Quorvel::Core::Test {
namespace {

constinit std::uint64_t toRefusal = 0;
constinit bool isRefused = false;

void pass()
{
   if (toRefusal != 0 && --toRefusal == 0) {
      isRefused = true;
      throw std::bad_alloc();
   }
}

} // namespace

void AllocationGate::refuse(std::uint64_t nth) noexcept
{
   toRefusal = nth;
   isRefused = false;
}

bool AllocationGate::hasRefused() noexcept
{
   return isRefused;
}

AllocationGate::Open::Open() noexcept : due_(std::exchange(toRefusal, 0)) {}

AllocationGate::Open::~Open()
{
   toRefusal = due_;
}

} // namespace Quorvel::Core::Test

// In the place of the standard library's and the slab allocator's: the program's own definitions come first.

using Quorvel::Core::Test::realFunction;

void* operator new(std::size_t size)
{
   Quorvel::Core::Test::pass();
   auto* const memory = std::malloc(size != 0 ? size : 1);
   if (memory == nullptr) {
      throw std::bad_alloc();
   }
   return memory;
}

void operator delete(void* object) noexcept
{
   std::free(object);
}

void operator delete(void* object, std::size_t /*size*/) noexcept
{
   std::free(object);
}

void* TolSlab::slabAlloc(std::size_t size)
{
   static auto* const real = realFunction<void*(std::size_t)>("_ZN7TolSlab9slabAllocEm");
   Quorvel::Core::Test::pass();
   return real(size);
}

void* TolSlab::slabAllocOrStdMalloc(std::size_t size)
{
   static auto* const real = realFunction<void*(std::size_t)>("_ZN7TolSlab20slabAllocOrStdMallocEm");
   Quorvel::Core::Test::pass();
   return real(size);
}
