#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace Look {

/// How long the bars of chunks are drawn: in proportion to their sizes where these are within a factor of 64, else by their
/// logarithms, so that 64 bytes can be seen beside a gigabyte.
class BarScale {
public:
   struct Tick {
      double position; ///< from the bar's begin
      std::string label;
   };

   /// @param sizes  of all chunks, in bytes
   /// @param length of the longest bar; the unit is the caller's
   BarScale(std::span<std::uint32_t const> sizes, double length);

   /// @return how long the bar of a chunk is; 0 of an empty one
   double barLength(std::uint64_t size) const;

   bool isLogarithmic() const noexcept { return isLogarithmic_; }

   /// @return sizes worth a line across the bars, ascending: powers of two, at most eight
   std::vector<Tick> ticks() const;

private:
   double length_;
   std::uint64_t smallest_ = 0; ///< a power of two, not above the smallest size that is not 0
   std::uint64_t largest_ = 0;  ///< of linear scales the largest size; of others a power of two, not below it
   bool isLogarithmic_ = false;
};

} // namespace Look
