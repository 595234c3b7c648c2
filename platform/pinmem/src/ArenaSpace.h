#pragma once

#include <cstdint>
#include <map>
#include <optional>

namespace pinmem_lib {

/// Which parts of an arena are free. It follows from the records of the blocks in it and is stored nowhere else.
class ArenaSpace {
public:
   /// Offsets and capacities of packed blocks are multiples of it, in bytes.
   static constexpr std::uint64_t unit = 64;

   explicit ArenaSpace(std::uint64_t capacity) : capacity_(capacity), largest_(capacity), free_{{0, capacity}} {}

   /// What a packed block of `size` bytes takes: at least one unit.
   static std::uint64_t capacityFor(std::uint64_t size);

   /// Where a block of this capacity fits, at the lowest offset: one of up to 4 KiB does not cross a 4 KiB line, one
   /// of whole 4 KiB starts at such a line.
   /// Cost: O(free parts), and O(1) as long as nothing is given back when even the largest of them was too small before.
   std::optional<std::uint64_t> find(std::uint64_t capacity) const;

   /// Takes a part; false, and nothing changes, when not all of it is free.
   bool take(std::uint64_t offset, std::uint64_t capacity);

   /// Gives back a part that was taken.
   void giveBack(std::uint64_t offset, std::uint64_t capacity);

   /// Adds a free part behind the last one.
   /// @param capacity  the new one, no smaller than before
   void growTo(std::uint64_t capacity);

   bool isAllFree() const { return free_.size() == 1 && free_.begin()->second == capacity_; }

private:
   std::uint64_t capacity_;
   mutable std::uint64_t largest_;               ///< no free part is larger, in bytes
   std::map<std::uint64_t, std::uint64_t> free_; ///< from offset to size; neighbours are joined
};

} // namespace pinmem_lib
