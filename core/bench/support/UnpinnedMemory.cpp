#include <pinmem/pinmem.h>

// Takes the place of libpinmem's functions in the benchmarks that link it: addresses without memory behind them, so that any
// number of chunks can be had at once.

namespace {

std::uint64_t nextAddress = std::uint64_t{1} << 40U;

} // namespace

std::uint64_t pinmem_alloc_func(char const*, std::uint32_t size, char const*, std::uint32_t)
{
   nextAddress += (std::uint64_t{size} + 4095) / 4096 * 4096;
   return nextAddress;
}

std::uint64_t pinmem_map(char const*, int, std::uint64_t, std::uint64_t)
{
   return nextAddress;
}

void pinmem_unmap(char const*, std::uint64_t, int) {}
