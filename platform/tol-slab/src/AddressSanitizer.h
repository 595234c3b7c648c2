#pragma once

#include <cstddef>

#if defined(__SANITIZE_ADDRESS__)
#define TOLSLAB_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TOLSLAB_ADDRESS_SANITIZER 1
#endif
#endif

#ifdef TOLSLAB_ADDRESS_SANITIZER
#include <sanitizer/asan_interface.h>
#include <sanitizer/lsan_interface.h>
#endif

/// What the address sanitizer is told. Without it these functions are empty.
namespace TolSlab::Detail {

#ifdef TOLSLAB_ADDRESS_SANITIZER

inline constexpr bool isMemoryPoisoned = true;

/// Nobody may touch these bytes until they are unpoisoned.
inline void poison(void* memory, std::size_t size) noexcept
{
   ASAN_POISON_MEMORY_REGION(memory, size);
}

inline void unpoison(void* memory, std::size_t size) noexcept
{
   ASAN_UNPOISON_MEMORY_REGION(memory, size);
}

/// Pointers in this memory keep what they point to from counting as leaked.
inline void searchForPointers(void* memory, std::size_t size) noexcept
{
   __lsan_register_root_region(memory, size);
}

inline void searchForPointersNoMore(void* memory, std::size_t size) noexcept
{
   __lsan_unregister_root_region(memory, size);
}

#else

inline constexpr bool isMemoryPoisoned = false;

inline void poison(void*, std::size_t) noexcept {}

inline void unpoison(void*, std::size_t) noexcept {}

inline void searchForPointers(void*, std::size_t) noexcept {}

inline void searchForPointersNoMore(void*, std::size_t) noexcept {}

#endif

} // namespace TolSlab::Detail
