#pragma once

#include "AddressSanitizer.h"
#include "SlabSource.h"
#include "SpinLock.h"

#include <TolSlab/Slab.h>

#include <cstddef>
#include <cstdint>

namespace TolSlab::Detail {

/// A free object: its first bytes link it to the next one of its slab.
struct FreeObject {
   FreeObject* next;
};

/// Header of a slab, at its beginning; the objects follow.
struct alignas(64) Slab {
   FreeObject* free; ///< objects that were freed
   std::byte* bump;  ///< from here on no object was ever allocated
   std::byte* end;

   /// Live objects plus `bias`, so that the one test in `free` for zero finds whatever needs more work. The bias is 1
   /// in the slab that is allocated from, which stays, empty or not; 0 in a partly filled one, which goes when it is
   /// empty; and minus its objects but one in a full one, which the first free makes a partly filled one.
   std::uint32_t count;
   std::uint32_t bias;

   Slab* previous; ///< the list of partly filled slabs, in which full ones and the one in use are not
   Slab* next;
};

/// All objects of one size. Constant-initialised, never destroyed; the caller holds `lock` where there are threads.
class SizeClass {
public:
   /// @throws std::bad_alloc  when a slab is needed and the system has none
   void* allocate(std::size_t objectSize)
   {
      if (void* const object = lastFreed_) {
         lastFreed_ = nullptr;
         unpoison(object, objectSize);
         return object;
      }
      auto* const slab = current_;
      void* object = slab->free;
      if (object) [[likely]] {
         unpoison(object, objectSize);
         slab->free = slab->free->next;
      } else if (slab->bump != slab->end) {
         object = slab->bump;
         slab->bump += objectSize;
         unpoison(object, objectSize);
      } else {
         return allocateFromOtherSlab(objectSize);
      }
      ++slab->count;
      return object;
   }

   void free(void* object, [[maybe_unused]] std::size_t objectSize) noexcept
   {
      if (!lastFreed_) {
         lastFreed_ = object;
         poison(object, objectSize);
         return;
      }
      auto* const slab = reinterpret_cast<Slab*>(slabOf(object));
      auto* const freed = static_cast<FreeObject*>(object);
      freed->next = slab->free;
      slab->free = freed;
      poison(object, objectSize);
      if (--slab->count == 0) [[unlikely]] {
         handleCountZero(*slab);
      }
   }

   /// Walks the partly filled slabs.
   Counters counters(std::size_t objectSize) const noexcept;

   SpinLock lock;

private:
   static std::size_t capacity(std::size_t objectSize) noexcept { return (slabSize - sizeof(Slab)) / objectSize; }

   void* allocateFromOtherSlab(std::size_t objectSize);
   void handleCountZero(Slab& slab) noexcept;
   static Slab* makeSlab(std::size_t objectSize);

   // One free object that its slab still counts as live. What is freed and allocated in turns comes from here, without
   // the chain of loads and stores through the slab's header: half the time.
   void* lastFreed_ = nullptr;

   static Slab none_; // in use before the first slab: has nothing to give

   Slab* current_ = &none_;
   Slab* partlyFilled_ = nullptr;
   std::size_t fullCount_ = 0;
};

} // namespace TolSlab::Detail
