#pragma once

// How attributes are found by their names. Not for users.

#include <Kro/TypeData.h>

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace Kro::Detail {

constexpr std::size_t slotOf(std::uint64_t mixed, std::uint64_t seed, std::size_t mask) noexcept
{
   return mixed * seed >> 48U & mask;
}

/// The slots of a table's index of names: twice as many as attributes, or more.
template <std::size_t count>
struct NameSlots {
   static constexpr std::size_t slotCount = std::bit_ceil(2 * count);

   std::array<std::uint8_t, slotCount> slots{};
   std::uint64_t seed = nameMixer;
   bool isPerfect = false;

   /// Takes the first of some seeds with which each name has a slot of its own. Without one, for instance when two long names
   /// are alike at both ends, some attributes are in no slot and have to be searched for.
   explicit constexpr NameSlots(std::array<KroAttr, count> const& attrs) noexcept
   {
      std::array<std::uint64_t, count> mixed{};
      for (std::size_t i = 0; i < count; ++i) {
         mixed[i] = attrs[i].ends.mixed(attrs[i].name.size());
      }
      for (std::uint64_t attempt = 0; attempt < 32 && !isPerfect; ++attempt) {
         seed = nameMixer * (2 * attempt + 1);
         isPerfect = fill(mixed);
      }
   }

private:
   /// @return whether each name has a slot of its own
   constexpr bool fill(std::array<std::uint64_t, count> const& mixed) noexcept
   {
      std::array<bool, slotCount> isTaken{};
      slots.fill(0);
      for (std::size_t i = 0; i < count; ++i) {
         auto const slot = slotOf(mixed[i], seed, slotCount - 1);
         if (isTaken[slot]) {
            return false;
         }
         isTaken[slot] = true;
         slots[slot] = static_cast<std::uint8_t>(i);
      }
      return true;
   }
};

inline bool hasName(KroAttr const& attr, std::string_view name, NameEnds const& ends) noexcept
{
   return attr.name.size() == name.size() && attr.ends == ends &&
          (name.size() <= NameEnds::whole || std::memcmp(attr.name.data(), name.data(), name.size()) == 0);
}

/// @return the attribute in the slot of that name, or null when it has another name
inline KroAttr const* probe(NameIndex const& index, std::string_view name, NameEnds const& ends) noexcept
{
   auto const& attr = index.attrs[index.slots[slotOf(ends.mixed(name.size()), index.seed, index.mask)]];
   return hasName(attr, name, ends) ? &attr : nullptr;
}

} // namespace Kro::Detail
