#pragma once

#include <Kro/AllocTrackTypeInfo.h>

#include <TolSlab/Slab.h>

#include <cstddef>

namespace Kro {

/// Base of a class whose objects come from the slab allocator and are counted by the class's own tracker, the public
/// static member `memAllocationTracker_` of `Derived` (see `AllocTrackTypeInfo`).
///
/// `new Derived(…)` and `delete` then do all that is needed, also when the constructor throws. A class derived from
/// `Derived` is stored and counted under `Derived`'s tracker, whatever its size. If it is to have a tracker of its own
/// it also derives from `SlabAllocated<itself>` and says which operators it means:
///
///     class Special : public Chunk, public Kro::SlabAllocated<Special> {
///     public:
///        using Kro::SlabAllocated<Special>::operator new;
///        using Kro::SlabAllocated<Special>::operator delete;
///        static Kro::AllocTrackTypeInfo memAllocationTracker_;
///     };
///
/// Objects that are deleted through a base class need a virtual destructor, as always.
template <class Derived>
struct SlabAllocated {
   /// @throws std::bad_alloc  when the system has no memory left; nothing has changed
   static void* operator new(std::size_t size)
   {
      static_assert(alignof(Derived) <= 16, "the slab allocator aligns to 16 bytes");
      void* const object =
         size == Derived::memAllocationTracker_.size ? TolSlab::slabAlloc(size) : TolSlab::slabAllocOrStdMalloc(size);
      Derived::memAllocationTracker_.trackAllocation();
      return object;
   }

   static void operator delete(void* object, std::size_t size) noexcept
   {
      if (object == nullptr) {
         return;
      }
      Derived::memAllocationTracker_.trackDeallocation();
      if (size == Derived::memAllocationTracker_.size) {
         TolSlab::slabFree(object, Derived::memAllocationTracker_);
      } else {
         TolSlab::slabFreeOrStdFree(object, size);
      }
   }

   static void* operator new[](std::size_t) = delete;
   static void operator delete[](void*) = delete;

protected:
   SlabAllocated() = default;
   SlabAllocated(SlabAllocated const&) = default;
   SlabAllocated& operator=(SlabAllocated const&) = default;
   ~SlabAllocated() = default;
};

} // namespace Kro
