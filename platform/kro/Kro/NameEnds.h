#pragma once

// What names are compared and hashed by. Not for users.

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <type_traits>

namespace Kro::Detail {

inline constexpr std::uint64_t nameMixer = 0x9e3779b97f4a7c15; // odd, without a pattern

template <class Word>
constexpr std::uint64_t wordAt(char const* from) noexcept
{
   if (std::is_constant_evaluated()) {
      std::uint64_t word = 0;
      for (std::size_t i = 0; i < sizeof(Word); ++i) {
         word |= static_cast<std::uint64_t>(static_cast<unsigned char>(from[i])) << (8 * i);
      }
      return word;
   }
   Word word;
   std::memcpy(&word, from, sizeof word);
   return word;
}

/// The first and the last characters of a name. Of names of equal length up to 16 they are the whole name.
struct NameEnds {
   static constexpr std::size_t whole = 16;

   std::uint64_t first = 0;
   std::uint64_t last = 0;

   constexpr NameEnds() noexcept = default;

   constexpr NameEnds(std::uint64_t firstCharacters, std::uint64_t lastCharacters) noexcept
      : first(firstCharacters), last(lastCharacters)
   {}

   explicit constexpr NameEnds(std::string_view name) noexcept
   {
      auto const* const text = name.data();
      auto const size = name.size();
      if (size - 4 <= whole - 4) { // 4 up to 16: no branch between the usual lengths
         auto const step = size / 8 * 4;
         first = wordAt<std::uint32_t>(text) | wordAt<std::uint32_t>(text + step) << 32U;
         last = wordAt<std::uint32_t>(text + size - 4) | wordAt<std::uint32_t>(text + size - 4 - step) << 32U;
      } else if (size > whole) {
         first = wordAt<std::uint64_t>(text);
         last = wordAt<std::uint64_t>(text + size - 8);
      } else if (size > 0) {
         first = wordAt<std::uint8_t>(text) | wordAt<std::uint8_t>(text + size / 2) << 8U;
         last = wordAt<std::uint8_t>(text + size - 1);
      }
   }

   constexpr std::uint64_t mixed(std::size_t size) const noexcept { return first ^ std::rotl(last, 21) ^ size; }

   friend constexpr bool operator==(NameEnds const& a, NameEnds const& b) noexcept
   {
      return ((a.first ^ b.first) | (a.last ^ b.last)) == 0;
   }
};

/// @return the hash of a type's full name
constexpr std::uint32_t hashOfName(std::string_view name) noexcept
{
   std::uint64_t hash = name.size();
   auto const add = [&hash](std::uint64_t word) {
      hash = (hash ^ word) * nameMixer;
      hash ^= hash >> 32U;
   };
   std::size_t at = 0;
   for (; at + 8 <= name.size(); at += 8) {
      add(wordAt<std::uint64_t>(name.data() + at));
   }
   NameEnds const rest(name.substr(at));
   add(rest.first ^ std::rotl(rest.last, 21));
   return static_cast<std::uint32_t>(hash);
}

} // namespace Kro::Detail
