#pragma once

#include <cstddef>
#include <cstdint>

namespace TolSlab::Detail {

inline constexpr std::size_t slabSize = std::size_t{64} * 1024;

/// The slab-sized, slab-aligned block of memory that an address lies in.
inline std::byte* slabOf(void* address) noexcept
{
   return static_cast<std::byte*>(address) - (reinterpret_cast<std::uintptr_t>(address) & (slabSize - 1));
}

/// A block of `slabSize` bytes, aligned to its size: one that was given back, else one of the system's. Its contents
/// are undefined. Threads: any.
/// @throws std::bad_alloc  when the system has no memory left
void* takeSlabMemory();

/// Gives a block back. A few are kept for the next to ask, the others go to the system. Threads: any.
void giveSlabMemory(void* slab) noexcept;

} // namespace TolSlab::Detail
