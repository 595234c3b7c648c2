#include <Orvo/TextHash.h>

namespace Orvo::Detail {

std::uint64_t longTextHash(char const* text, std::size_t size) noexcept
{
   auto const step = [](std::uint64_t hash, char const* at) {
      return foldedProduct(readWord<std::uint64_t>(at) ^ hashKey0, readWord<std::uint64_t>(at + 8) ^ hashKey1 ^ hash);
   };
   auto hash = std::uint64_t{size};
   auto const* const last = text + size - 16; // the last step may read characters of the one before again
   for (auto const* at = text; at < last; at += 16) {
      hash = step(hash, at);
   }
   return foldedProduct(step(hash, last) ^ size, hashKey2);
}

} // namespace Orvo::Detail
