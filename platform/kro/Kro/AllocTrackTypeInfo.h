#pragma once

#include <Kro/Export.h>

#include <Orvo/ThreadControl.h>
#include <TolSlab/TypeInfo.h>

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace Kro {

/// Size and name of a class whose objects come from the slab allocator, and counts of what it has allocated and freed.
///
/// Each class has one, constant-initialised and never destroyed, so that it counts before `main` and after `exit` too:
///
///     class Chunk : public Kro::SlabAllocated<Chunk> {
///     public:
///        static Kro::AllocTrackTypeInfo memAllocationTracker_;
///     };
///     constinit Kro::AllocTrackTypeInfo Chunk::memAllocationTracker_{sizeof(Chunk), "Chunk"};
///
/// Threads:   every function may be called from every thread. While the process has one thread nothing atomic is done.
/// Cost:      one addition, in the caller's code; all functions exist in libkro too, for callers that look them up
/// there.
class AllocTrackTypeInfo : public TolSlab::TypeInfo {
public:
   /// @param bytes      of one object; 0 when one tracker serves objects of several sizes
   /// @param className  borrowed, usually a literal
   constexpr AllocTrackTypeInfo(std::size_t bytes, char const* className) : TypeInfo{bytes, className} {}

   AllocTrackTypeInfo(AllocTrackTypeInfo const&) = delete;
   AllocTrackTypeInfo& operator=(AllocTrackTypeInfo const&) = delete;

   KRO_EXPORT void trackAllocation() noexcept { add(allocations_, 1); }

   KRO_EXPORT void trackDeallocation() noexcept { add(deallocations_, 1); }

   /// One array of `count` elements, for instance of hash buckets.
   KRO_EXPORT void trackArrayAllocation(std::size_t count) noexcept;
   KRO_EXPORT void trackArrayDeallocation(std::size_t count) noexcept;

   /// Objects allocated and not yet freed.
   KRO_EXPORT std::uint64_t liveCount() const noexcept;
   KRO_EXPORT std::uint64_t allocations() const noexcept;
   KRO_EXPORT std::uint64_t deallocations() const noexcept;

   /// Arrays allocated and not yet freed, and the elements in them.
   KRO_EXPORT std::uint64_t liveArrayCount() const noexcept;
   KRO_EXPORT std::uint64_t liveArrayElements() const noexcept;
   KRO_EXPORT std::uint64_t arrayAllocations() const noexcept;
   KRO_EXPORT std::uint64_t arrayDeallocations() const noexcept;

private:
   static void add(std::uint64_t& counter, std::uint64_t amount) noexcept
   {
      if (Orvo::ThreadControl::threadsInUse()) {
         std::atomic_ref(counter).fetch_add(amount, std::memory_order_relaxed);
      } else {
         counter += amount;
      }
   }

   std::uint64_t allocations_ = 0;
   std::uint64_t deallocations_ = 0;
   std::uint64_t arrayAllocations_ = 0;
   std::uint64_t arrayDeallocations_ = 0;
   std::uint64_t liveArrayElements_ = 0;
};

} // namespace Kro
