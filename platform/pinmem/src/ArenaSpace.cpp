#include "src/ArenaSpace.h"
#include <algorithm>
#include <iterator>
#include <utility>

namespace pinmem_lib {

namespace {

constexpr std::uint64_t line = 4096;

std::uint64_t roundedUp(std::uint64_t value, std::uint64_t step)
{
   return (value + step - 1) / step * step;
}

std::uint64_t placeFrom(std::uint64_t offset, std::uint64_t capacity)
{
   bool const isWholeLines = capacity % line == 0;
   bool const isCrossing = capacity <= line && offset / line != (offset + capacity - 1) / line;
   return isWholeLines || isCrossing ? roundedUp(offset, line) : offset;
}

} // namespace

std::uint64_t ArenaSpace::capacityFor(std::uint64_t size)
{
   return std::max(roundedUp(size, unit), unit);
}

std::optional<std::uint64_t> ArenaSpace::find(std::uint64_t capacity) const
{
   if (capacity > largest_) {
      return std::nullopt;
   }
   std::uint64_t largest = 0;
   for (auto const& [offset, size] : free_) {
      std::uint64_t const place = placeFrom(offset, capacity);
      if (capacity <= size && place - offset <= size - capacity) {
         return place;
      }
      largest = std::max(largest, size);
   }
   largest_ = largest;
   return std::nullopt;
}

bool ArenaSpace::take(std::uint64_t offset, std::uint64_t capacity)
{
   auto const after = free_.upper_bound(offset);
   if (after == free_.begin()) {
      return false;
   }
   auto const extent = std::prev(after);
   auto const [start, size] = *extent;
   std::uint64_t const before = offset - start;
   if (before > size || capacity > size - before) {
      return false;
   }
   std::uint64_t const behind = size - before - capacity;
   if (before != 0) {
      if (behind != 0) {
         free_.emplace(offset + capacity, behind); // where memory ends here, nothing has changed
      }
      extent->second = before;
      return true;
   }
   auto node = free_.extract(extent);
   if (behind != 0) {
      node.key() = offset + capacity;
      node.mapped() = behind;
      free_.insert(std::move(node));
   }
   return true;
}

void ArenaSpace::giveBack(std::uint64_t offset, std::uint64_t capacity)
{
   auto const after = free_.lower_bound(offset);
   bool const isBeforeOne = after != free_.end() && after->first == offset + capacity;
   std::uint64_t const whole = capacity + (isBeforeOne ? after->second : 0);
   auto const before = after != free_.begin() ? std::prev(after) : free_.end();
   if (before != free_.end() && before->first + before->second == offset) {
      before->second += whole;
      largest_ = std::max(largest_, before->second);
      if (isBeforeOne) {
         free_.erase(after);
      }
      return;
   }
   if (isBeforeOne) {
      auto node = free_.extract(after);
      node.key() = offset;
      node.mapped() = whole;
      free_.insert(std::move(node));
   } else {
      free_.emplace(offset, capacity);
   }
   largest_ = std::max(largest_, whole);
}

void ArenaSpace::growTo(std::uint64_t capacity)
{
   if (capacity > capacity_) {
      giveBack(capacity_, capacity - capacity_);
      capacity_ = capacity;
   }
}

} // namespace pinmem_lib
