#include "look/BarScale.h"

#include "look/Wording.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace Look {
namespace {

constexpr std::uint64_t largestFactor = 64; ///< between sizes that are drawn in proportion
constexpr double shortest = 0.08;           ///< of the longest bar: the shortest of a logarithmic scale

int exponent(std::uint64_t powerOfTwo)
{
   return std::countr_zero(powerOfTwo);
}

} // namespace

BarScale::BarScale(std::span<std::uint32_t const> sizes, double length) : length_(length)
{
   for (std::uint64_t const size : sizes) {
      if (size != 0) {
         auto const floor = std::bit_floor(size);
         smallest_ = smallest_ == 0 ? floor : std::min(smallest_, floor);
         largest_ = std::max(largest_, size);
      }
   }
   if (largest_ > smallest_ * largestFactor) {
      isLogarithmic_ = true;
      largest_ = std::bit_ceil(largest_);
   }
}

double BarScale::barLength(std::uint64_t size) const
{
   if (size == 0 || largest_ == 0) {
      return 0;
   }
   if (!isLogarithmic_) {
      return length_ * static_cast<double>(size) / static_cast<double>(largest_);
   }
   auto const above = std::log2(static_cast<double>(size)) - exponent(smallest_);
   return length_ * (shortest + (1 - shortest) * above / (exponent(largest_) - exponent(smallest_)));
}

std::vector<BarScale::Tick> BarScale::ticks() const
{
   std::vector<Tick> ticks;
   if (largest_ == 0) {
      return ticks;
   }
   if (isLogarithmic_) {
      int const range = exponent(largest_) - exponent(smallest_);
      int const step = (range + 5) / 6;
      for (int at = exponent(smallest_); at <= exponent(largest_); at += step) {
         ticks.push_back({barLength(std::uint64_t{1} << at), sizeText(std::uint64_t{1} << at)});
      }
      return ticks;
   }
   auto const step = std::bit_ceil((largest_ + 3) / 4);
   for (auto size = step; size <= largest_; size += step) {
      ticks.push_back({barLength(size), sizeText(size)});
   }
   return ticks;
}

} // namespace Look
