#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace pinmem_lib {

/// Some pages of one file that follow each other physically.
struct PageExtent {
   static constexpr std::uint32_t pageMax = (1U << 20) - 1; ///< the highest page that `packed` can name
   static constexpr std::uint32_t countMax = 1U << 11;      ///< the most pages that `packed` can name

   std::uint32_t first; ///< page of the file that comes first physically
   std::uint32_t count; ///< pages, 1 or more
   bool isDescending;   ///< the next pages physically are first - 1, first - 2, ... in the file; else first + 1, ...

   std::uint32_t page(std::uint32_t index) const { return isDescending ? first - index : first + index; }

   /// As a record stores it.
   std::uint32_t packed() const;
   static PageExtent unpacked(std::uint32_t word);

   bool operator==(PageExtent const&) const = default;
};

/// What was found among candidate pages.
struct PageRun {
   std::vector<std::uint32_t> pages; ///< numbers of the wanted pages, in physical order; empty: there is no such run
   std::size_t longest;              ///< pages of the longest run there is

   /// Looks for `count` pages that are neighbours.
   ///
   /// @param physical  address of each candidate, in bytes
   /// @param pageSize  in bytes
   static PageRun find(std::vector<std::uint64_t> const& physical, std::uint64_t pageSize, std::size_t count);
};

/// The same pages as few extents.
std::vector<PageExtent> extentsOf(std::vector<std::uint32_t> const& pages);

} // namespace pinmem_lib
