#include "look/BarScale.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

namespace {

using Look::BarScale;
using testing::ElementsAre;

std::vector<std::string> labels(BarScale const& scale)
{
   std::vector<std::string> labels;
   for (auto const& tick : scale.ticks()) {
      labels.push_back(tick.label);
   }
   return labels;
}

TEST(LookBarScale, drawsSizesInProportionWhereTheyAreWithinAFactorOf64)
{
   BarScale const sut(std::array<std::uint32_t, 3>{64, 2048, 4096}, 400);

   EXPECT_FALSE(sut.isLogarithmic());
   EXPECT_DOUBLE_EQ(sut.barLength(4096), 400);
   EXPECT_DOUBLE_EQ(sut.barLength(2048), 200);
   EXPECT_DOUBLE_EQ(sut.barLength(64), 6.25);
}

TEST(LookBarScale, drawsLogarithmsOnePastThatFactor)
{
   BarScale const sut(std::array<std::uint32_t, 2>{64, 4097}, 400);

   EXPECT_TRUE(sut.isLogarithmic());
   EXPECT_LE(sut.barLength(4097), 400);
}

TEST(LookBarScale, showsEverySizeFrom64BytesToAGigabyte)
{
   BarScale const sut(std::array<std::uint32_t, 2>{64, 1U << 30}, 300);

   EXPECT_DOUBLE_EQ(sut.barLength(64), 24);
   EXPECT_DOUBLE_EQ(sut.barLength(1U << 30), 300);
   for (int exponent = 6; exponent < 30; ++exponent) { // the same step for each doubling
      EXPECT_NEAR(sut.barLength(2ULL << exponent) - sut.barLength(1ULL << exponent), 11.5, 1e-9);
   }
   EXPECT_THAT(labels(sut), ElementsAre("64 B", "1 KiB", "16 KiB", "256 KiB", "4 MiB", "64 MiB", "1 GiB"));
}

TEST(LookBarScale, hasRoomForTheLargestAndTheSmallestSize)
{
   BarScale const sut(std::array<std::uint32_t, 3>{0xffffffff, 1, 0}, 300);

   EXPECT_LE(sut.barLength(0xffffffff), 300);
   EXPECT_GT(sut.barLength(0xffffffff), 299);
   EXPECT_DOUBLE_EQ(sut.barLength(1), 24);
   EXPECT_EQ(sut.barLength(0), 0);
}

TEST(LookBarScale, drawsOneSizeAtFullLength)
{
   BarScale const sut(std::array<std::uint32_t, 2>{4095, 4095}, 300);

   EXPECT_FALSE(sut.isLogarithmic());
   EXPECT_DOUBLE_EQ(sut.barLength(4095), 300);
   EXPECT_THAT(labels(sut), ElementsAre("1 KiB", "2 KiB", "3 KiB"));
}

TEST(LookBarScale, isEmptyForNoBytes)
{
   for (auto const& sut : {BarScale({}, 300), BarScale(std::array<std::uint32_t, 1>{0}, 300)}) {
      EXPECT_EQ(sut.barLength(0), 0);
      EXPECT_FALSE(sut.isLogarithmic());
      EXPECT_TRUE(sut.ticks().empty());
   }
}

TEST(LookBarScale, hasFewTicksWhateverTheSizes)
{
   for (int low = 0; low < 32; ++low) {
      for (int high = low; high < 32; ++high) {
         BarScale const sut(std::array<std::uint32_t, 2>{1U << low, 1U << high}, 300);
         EXPECT_GE(sut.ticks().size(), 1U) << low << " to " << high;
         EXPECT_LE(sut.ticks().size(), 8U) << low << " to " << high;
      }
   }
}

} // namespace
