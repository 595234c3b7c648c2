#include "SlabSource.h"

#include "SpinLock.h"

#include <mutex>
#include <new>

#include <sys/mman.h>

namespace TolSlab::Detail {

namespace {

struct SpareSlab {
   SpareSlab* next;
};

constexpr unsigned largestSpareCount = 16;

constinit SpinLock lock;
constinit SpareSlab* spares = nullptr;
constinit unsigned spareCount = 0;

void* map(std::size_t size) noexcept
{
   void* const memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
   return memory == MAP_FAILED ? nullptr : memory;
}

void* mapAligned()
{
   // Mostly the system puts a mapping right below the one before, so that one aligned slab makes the next aligned too.
   void* const attempt = map(slabSize);
   if (attempt && slabOf(attempt) == attempt) {
      return attempt;
   }
   if (attempt) {
      munmap(attempt, slabSize);
   }
   void* const larger = map(2 * slabSize);
   if (!larger) {
      throw std::bad_alloc();
   }
   auto* const slab = slabOf(static_cast<std::byte*>(larger) + slabSize - 1);
   auto const before = static_cast<std::size_t>(slab - static_cast<std::byte*>(larger));
   if (before != 0) {
      munmap(larger, before);
   }
   munmap(slab + slabSize, slabSize - before);
   return slab;
}

} // namespace

void* takeSlabMemory()
{
   {
      std::lock_guard const guard(lock);
      if (auto* const slab = spares) {
         spares = slab->next;
         --spareCount;
         return slab;
      }
   }
   return mapAligned();
}

void giveSlabMemory(void* slab) noexcept
{
   {
      std::lock_guard const guard(lock);
      if (spareCount < largestSpareCount) {
         spares = new (slab) SpareSlab{spares};
         ++spareCount;
         return;
      }
   }
   munmap(slab, slabSize);
}

} // namespace TolSlab::Detail
