#include "src/PageRun.h"
#include <algorithm>
#include <numeric>

namespace pinmem_lib {

namespace {

constexpr std::uint32_t descendingBit = 1U << 31;
constexpr std::uint32_t countShift = 20;

} // namespace

std::uint32_t PageExtent::packed() const
{
   return first | (count - 1) << countShift | (isDescending ? descendingBit : 0);
}

PageExtent PageExtent::unpacked(std::uint32_t word)
{
   return {word & pageMax, (word >> countShift & (countMax - 1)) + 1, (word & descendingBit) != 0};
}

PageRun PageRun::find(std::vector<std::uint64_t> const& physical, std::uint64_t pageSize, std::size_t count)
{
   std::vector<std::uint32_t> order(physical.size());
   std::iota(order.begin(), order.end(), 0U);
   std::sort(order.begin(), order.end(), [&](std::uint32_t left, std::uint32_t right) {
      return physical[left] < physical[right];
   });
   PageRun run{{}, 0};
   std::size_t start = 0;
   for (std::size_t index = 0; index < order.size(); ++index) {
      if (index != start && physical[order[index]] != physical[order[index - 1]] + pageSize) {
         start = index;
      }
      run.longest = std::max(run.longest, index + 1 - start);
      if (index + 1 - start == count) {
         auto const first = order.begin() + static_cast<std::ptrdiff_t>(start);
         run.pages.assign(first, first + static_cast<std::ptrdiff_t>(count));
         return run;
      }
   }
   return run;
}

std::vector<PageExtent> extentsOf(std::vector<std::uint32_t> const& pages)
{
   std::vector<PageExtent> extents;
   for (std::uint32_t const page : pages) {
      if (!extents.empty() && extents.back().count < PageExtent::countMax) {
         PageExtent& last = extents.back();
         if (last.count == 1 && page + 1 == last.first) {
            last.isDescending = true;
         }
         if (page == last.page(last.count)) {
            ++last.count;
            continue;
         }
         last.isDescending = last.isDescending && last.count > 1;
      }
      extents.push_back({page, 1, false});
   }
   return extents;
}

} // namespace pinmem_lib
