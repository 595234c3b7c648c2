#pragma once

#include <cstdint>

namespace pinmem_lib {

/// The values that `flags` of `pinmem_alloc_func` may have.
struct BlockFlags {
   static constexpr std::uint32_t dmaFrugal = 0;
   static constexpr std::uint32_t ordinary = 1;
   static constexpr std::uint32_t dmaRoomy = 4;
};

} // namespace pinmem_lib
