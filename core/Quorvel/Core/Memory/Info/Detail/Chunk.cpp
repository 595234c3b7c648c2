#include <Quorvel/Core/Memory/Info/Detail/Chunk.h>

namespace Quorvel::Core::Memory::Info::Detail {

Chunk::operator bool() const
{
   return !(*this == Chunk());
}

std::uint64_t Chunk::hash() const noexcept
{
   constexpr std::uint64_t odd = 0x9e3779b97f4a7c15; // 2^64 over the golden ratio: spreads the small numbers
   auto const scalars = (std::uint64_t{size_} << 1U) | (isIncapableDma_ ? 1U : 0U);
   return ((nameAttribute_.hash() * odd ^ name_.hash()) * odd ^ scalars) * odd;
}

} // namespace Quorvel::Core::Memory::Info::Detail
