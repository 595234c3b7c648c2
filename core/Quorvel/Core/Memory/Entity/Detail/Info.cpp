#include <Quorvel/Core/Memory/Entity/Detail/Info.h>

namespace Quorvel::Core::Memory::Entity::Detail {

Info::operator bool() const
{
   return !(*this == Info());
}

std::uint64_t Info::hash() const noexcept
{
   constexpr std::uint64_t odd = 0x9e3779b97f4a7c15; // 2^64 over the golden ratio: keeps the two texts apart
   return (sysname_.hash() * odd ^ path_.hash()) * odd;
}

} // namespace Quorvel::Core::Memory::Entity::Detail
