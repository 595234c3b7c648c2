#pragma once

#include <TolSlab/Export.h>
#include <TolSlab/TypeInfo.h>

#include <cstddef>
#include <cstdint>

/// Storage for many small objects of few sizes.
///
/// Sizes are rounded up to a multiple of 16 bytes; each multiple up to `largestSlabSize` is a size class with slabs of
/// 64 KiB of its own. An object has no header: the caller says its size again when it frees it. Larger requests go to
/// the standard allocator.
///
/// Alignment: everything is aligned to 16 bytes and to no more. A class that asks for more must not be stored here.
/// Threads:   every function may be called from every thread, and what one thread allocated another may free. While the
///            process has one thread, allocating and freeing an object take no lock; taking a slab and giving it back,
///            and counting, always take one.
/// Fork:      a child of a process with several threads may call nothing here before `exec`: another thread may have
///            held a lock. A child of a process with one thread may do everything.
/// Life time: usable before `main` and during and after static destruction; nothing is constructed or destroyed.
/// Cost:      a few instructions; whenever a slab is full, after 63 objects of 1024 bytes or 4092 of 16, another slab.
/// Memory:    an empty slab goes back to the system, but for two per size class and 1 MiB for all together.
///
/// Under the address sanitizer free memory is poisoned, so that a use after free is reported.
namespace TolSlab {

/// Largest size in bytes that comes from a slab.
inline constexpr std::size_t largestSlabSize = 1024;

/// Storage of `size` bytes, uninitialised; a size of 0 gives a distinct address too.
/// @throws std::bad_alloc  when the system has no memory left; nothing has changed
TOLSLAB_EXPORT void* slabAlloc(std::size_t size);

/// Storage for one object of the class.
/// @throws std::bad_alloc  like above
TOLSLAB_EXPORT void* slabAlloc(TypeInfo const& type);

/// Gives back what `slabAlloc` returned for this class, or for its size. Null does nothing.
TOLSLAB_EXPORT void slabFree(void* object, TypeInfo const& type) noexcept;

/// Storage of any size: from a slab where a class fits, else from `std::malloc`. For arrays and texts, whose size is
/// not known before.
/// @throws std::bad_alloc  like above
TOLSLAB_EXPORT void* slabAllocOrStdMalloc(std::size_t size);

/// Gives back what `slabAllocOrStdMalloc` returned for the same size. Null does nothing.
TOLSLAB_EXPORT void slabFreeOrStdFree(void* object, std::size_t size) noexcept;

/// State of the size class that serves a size; what is larger than `largestSlabSize` counts as one class without slabs.
struct Counters {
   std::size_t live;  ///< objects allocated and not yet freed
   std::size_t slabs; ///< slabs that the class holds
};

/// Counts by walking the class's partly filled slabs: for tests and diagnosis.
TOLSLAB_EXPORT Counters slabCounters(std::size_t size) noexcept;

/// Sum over all size classes, the standard allocator's objects included.
TOLSLAB_EXPORT Counters slabCountersTotal() noexcept;

} // namespace TolSlab
