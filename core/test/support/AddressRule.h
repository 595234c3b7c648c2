#pragma once

#include <Quorvel/Core/Memory/Control/Detail/Attribute.h>

#include <cstdint>
#include <optional>
#include <utility>

namespace Quorvel::Core::Test {

using Found = std::pair<Memory::Control::Detail::Chunk*, std::uint32_t>;

/// What the address rule says, written out.
///
/// @param isFatal set: whether a chunk without a group is in the way
/// @return nothing when it is, or when no group covers the entry
inline std::optional<Found> walk(
   Memory::Control::Detail::Attribute const& attribute, std::uint32_t index, Memory::Control::Offsetter offsetter,
   bool& isFatal)
{
   isFatal = false;
   for (auto at = attribute.chunk().begin(); at != attribute.chunk().end(); ++at) {
      auto const* group = attribute.group(at.key());
      if (group == nullptr) {
         isFatal = true;
         return std::nullopt;
      }
      std::uint32_t const end = group->head() + group->size();
      if (group->head() <= index && index < end) {
         std::uint32_t const dense = (index - group->head()) * attribute.size();
         return Found{at->get(), offsetter != nullptr ? offsetter(group->head(), index, attribute.size()) : dense};
      }
   }
   return std::nullopt;
}

} // namespace Quorvel::Core::Test
