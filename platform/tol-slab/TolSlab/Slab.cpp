#include <TolSlab/Slab.h>

#include "../src/SizeClass.h"

#include <atomic>
#include <cstdlib>
#include <iterator>
#include <mutex>
#include <new>

#include <sys/single_threaded.h>

namespace TolSlab {

namespace {

using Detail::SizeClass;

constexpr std::size_t step = 16;

constinit SizeClass classes[largestSlabSize / step];
constinit std::atomic<std::size_t> largeCount = 0; // live objects of the standard allocator

std::size_t classIndex(std::size_t size) noexcept
{
   return (size - (size != 0)) / step;
}

std::size_t objectSizeOf(std::size_t index) noexcept
{
   return (index + 1) * step;
}

[[gnu::noinline]] void* allocateLocked(std::size_t index)
{
   auto& sizeClass = classes[index];
   std::lock_guard const guard(sizeClass.lock);
   return sizeClass.allocate(objectSizeOf(index));
}

[[gnu::noinline]] void freeLocked(void* object, std::size_t index) noexcept
{
   auto& sizeClass = classes[index];
   std::lock_guard const guard(sizeClass.lock);
   sizeClass.free(object, objectSizeOf(index));
}

[[gnu::noinline]] void* allocateLarge(std::size_t size)
{
   void* const object = std::malloc(size);
   if (!object) {
      throw std::bad_alloc();
   }
   largeCount.fetch_add(1, std::memory_order_relaxed);
   return object;
}

[[gnu::noinline]] void freeLarge(void* object) noexcept
{
   largeCount.fetch_sub(1, std::memory_order_relaxed);
   std::free(object);
}

inline void* allocate(std::size_t size)
{
   if (size > largestSlabSize) [[unlikely]] {
      return allocateLarge(size);
   }
   auto const index = classIndex(size);
   if (!__libc_single_threaded) {
      return allocateLocked(index);
   }
   return classes[index].allocate(objectSizeOf(index));
}

inline void free(void* object, std::size_t size) noexcept
{
   if (!object) {
      return;
   }
   if (size > largestSlabSize) [[unlikely]] {
      freeLarge(object);
      return;
   }
   auto const index = classIndex(size);
   if (!__libc_single_threaded) {
      freeLocked(object, index);
      return;
   }
   classes[index].free(object, objectSizeOf(index));
}

Counters countersOf(std::size_t index) noexcept
{
   auto& sizeClass = classes[index];
   std::lock_guard const guard(sizeClass.lock);
   return sizeClass.counters(objectSizeOf(index));
}

} // namespace

void* slabAlloc(std::size_t size)
{
   return allocate(size);
}

void* slabAlloc(TypeInfo const& type)
{
   return allocate(type.size);
}

void slabFree(void* object, TypeInfo const& type) noexcept
{
   free(object, type.size);
}

void* slabAllocOrStdMalloc(std::size_t size)
{
   return allocate(size);
}

void slabFreeOrStdFree(void* object, std::size_t size) noexcept
{
   free(object, size);
}

Counters slabCounters(std::size_t size) noexcept
{
   if (size > largestSlabSize) {
      return {largeCount.load(std::memory_order_relaxed), 0};
   }
   return countersOf(classIndex(size));
}

Counters slabCountersTotal() noexcept
{
   Counters total{largeCount.load(std::memory_order_relaxed), 0};
   for (std::size_t index = 0; index < std::size(classes); ++index) {
      auto const counters = countersOf(index);
      total.live += counters.live;
      total.slabs += counters.slabs;
   }
   return total;
}

} // namespace TolSlab
