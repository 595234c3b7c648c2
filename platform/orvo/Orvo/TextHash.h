#pragma once

#include <Orvo/Export.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace Orvo {

namespace Detail {

/// Up to 16 characters as two words, the first character in the lowest byte, unused bytes zero.
struct TextWords {
   std::uint64_t low;
   std::uint64_t high;

   friend constexpr bool operator==(TextWords const& left, TextWords const& right) noexcept
   {
      return ((left.low ^ right.low) | (left.high ^ right.high)) == 0;
   }
};

template <class Word>
std::uint64_t readWord(char const* from) noexcept
{
   Word word;
   std::memcpy(&word, from, sizeof word);
   return word;
}

/// Up to 15 characters, read with overlapping loads and never beyond their ends.
inline TextWords shortTextWords(char const* text, std::size_t size) noexcept
{
   if (size >= 8) {
      // Two shifts: one by 64 bits, for 8 characters, would not be defined.
      return {readWord<std::uint64_t>(text), readWord<std::uint64_t>(text + size - 8) >> (8 * (15 - size)) >> 8};
   }
   if (size >= 4) {
      return {readWord<std::uint32_t>(text) | readWord<std::uint32_t>(text + size - 4) << (8 * (size - 4)), 0};
   }
   if (size > 0) {
      auto const middle = size / 2;
      auto const last = size - 1;
      return {
         readWord<unsigned char>(text) | readWord<unsigned char>(text + middle) << (8 * middle) |
            readWord<unsigned char>(text + last) << (8 * last),
         0};
   }
   return {0, 0};
}

__extension__ using UnsignedInt128 = unsigned __int128;

/// Both halves of the 128-bit product, folded into one word.
inline std::uint64_t foldedProduct(std::uint64_t left, std::uint64_t right) noexcept
{
   auto const product = static_cast<UnsignedInt128>(left) * right;
   return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

// Odd words with 32 bits set, without a pattern.
inline constexpr std::uint64_t hashKey0 = 0xa0761d6478bd642f;
inline constexpr std::uint64_t hashKey1 = 0xe7037ed1a0b428db;
inline constexpr std::uint64_t hashKey2 = 0x8ebc6af09c88c6e3;

inline std::uint64_t shortTextHash(TextWords words, std::size_t size) noexcept
{
   return foldedProduct(foldedProduct(words.low ^ hashKey0, words.high ^ hashKey1) ^ size, hashKey2);
}

/// Hash of 16 characters or more.
ORVO_EXPORT std::uint64_t longTextHash(char const* text, std::size_t size) noexcept;

} // namespace Detail

/// Hash of the characters. No seed: the same text has the same hash in every process and every build, so that what is
/// ordered by it keeps its order. All 64 bits may be used, the highest as well as the lowest. Not for texts of an
/// attacker.
///
/// The way of mixing is that of the public-domain hash `wyhash`: 16 characters a step, each step the folded 128-bit
/// product of two words that are first mixed with constants. The values are not those of `wyhash`. Cost: two
/// multiplications up to 15 characters, one more for every 16.
inline std::uint64_t textHash(std::string_view text) noexcept
{
   if (text.size() < 16) [[likely]] {
      return Detail::shortTextHash(Detail::shortTextWords(text.data(), text.size()), text.size());
   }
   return Detail::longTextHash(text.data(), text.size());
}

} // namespace Orvo
