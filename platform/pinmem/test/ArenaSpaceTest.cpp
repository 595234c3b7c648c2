#include "src/ArenaSpace.h"
#include <gtest/gtest.h>
#include <random>
#include <set>

using namespace pinmem_lib;

namespace {

/// Finds and takes.
std::uint64_t place(ArenaSpace& space, std::uint64_t capacity)
{
   std::optional<std::uint64_t> const offset = space.find(capacity);
   EXPECT_TRUE(offset && space.take(*offset, capacity)) << capacity;
   return offset.value_or(~std::uint64_t{0});
}

} // namespace

TEST(ArenaSpace, capacitiesAreWholeUnitsAndAtLeastOne)
{
   EXPECT_EQ(ArenaSpace::capacityFor(0), 64U);
   EXPECT_EQ(ArenaSpace::capacityFor(1), 64U);
   EXPECT_EQ(ArenaSpace::capacityFor(64), 64U);
   EXPECT_EQ(ArenaSpace::capacityFor(65), 128U);
   EXPECT_EQ(ArenaSpace::capacityFor(0xffffffff), 0x1'0000'0000U);
}

TEST(ArenaSpace, blocksLieSideBySideFromTheStart)
{
   ArenaSpace sut(4096);

   EXPECT_EQ(place(sut, 64), 0U);
   EXPECT_EQ(place(sut, 128), 64U);
   EXPECT_EQ(place(sut, 64), 192U);
}

TEST(ArenaSpace, aSmallBlockDoesNotCrossALineAndTheRestBeforeItIsUsedLater)
{
   ArenaSpace sut(3 * 4096);
   place(sut, 1024);

   EXPECT_EQ(place(sut, 3136), 4096U);
   EXPECT_EQ(place(sut, 3072), 1024U);
   EXPECT_EQ(place(sut, 960), 4096U + 3136U);
}

TEST(ArenaSpace, aBlockOfWholeLinesStartsAtALine)
{
   ArenaSpace sut(5 * 4096);
   place(sut, 64);

   EXPECT_EQ(place(sut, 4096), 4096U);
   EXPECT_EQ(place(sut, 2 * 4096), 2 * 4096U);
}

TEST(ArenaSpace, aLargerBlockThatIsNoWholeLinesFollowsTheLastOne)
{
   ArenaSpace sut(3 * 4096);
   place(sut, 64);

   EXPECT_EQ(place(sut, 4096 + 64), 64U);
}

TEST(ArenaSpace, isFullAtItsLastByte)
{
   ArenaSpace sut(4096);
   EXPECT_FALSE(sut.find(4096 + 64));

   EXPECT_EQ(place(sut, 4096), 0U);

   EXPECT_FALSE(sut.find(64));
   EXPECT_FALSE(ArenaSpace(0).find(64));
}

TEST(ArenaSpace, whatIsNotAllFreeIsNotTaken)
{
   ArenaSpace sut(4096);
   ASSERT_TRUE(sut.take(1024, 64));

   EXPECT_FALSE(sut.take(1024, 64));
   EXPECT_FALSE(sut.take(960, 128));
   EXPECT_FALSE(sut.take(0, 4096));
   EXPECT_FALSE(sut.take(4096, 64));
   EXPECT_FALSE(sut.take(4032, 128));
   EXPECT_FALSE(sut.take(~std::uint64_t{0} - 63, 64));
   EXPECT_FALSE(sut.take(64, ~std::uint64_t{0}));
   EXPECT_TRUE(sut.take(960, 64));
}

TEST(ArenaSpace, whatIsGivenBackJoinsItsNeighbours)
{
   for (int const order : {0, 1, 2}) {
      ArenaSpace sut(3 * 64);
      for (int block = 0; block < 3; ++block) {
         place(sut, 64);
      }

      for (int step = 0; step < 3; ++step) {
         EXPECT_FALSE(sut.isAllFree());
         sut.giveBack(static_cast<std::uint64_t>((order + step * 2) % 3) * 64, 64);
      }

      EXPECT_TRUE(sut.isAllFree());
      EXPECT_EQ(place(sut, 192), 0U);
   }
}

TEST(ArenaSpace, alwaysGivesTheLowestPlaceThereIsAndNeverAUnitTwice)
{
   constexpr std::uint64_t size = 64 * 1024;
   std::mt19937 random(7);
   ArenaSpace sut(size);
   std::set<std::uint64_t> taken;
   auto const lowestPlace = [&](std::uint64_t capacity) -> std::optional<std::uint64_t> {
      for (std::uint64_t offset = 0; offset + capacity <= size; offset += 64) {
         auto const next = taken.lower_bound(offset);
         bool const isFree = next == taken.end() || *next >= offset + capacity;
         bool const isCrossing = capacity <= 4096 && offset / 4096 != (offset + capacity - 1) / 4096;
         if (isFree && !isCrossing && (capacity % 4096 != 0 || offset % 4096 == 0)) {
            return offset;
         }
      }
      return std::nullopt;
   };
   std::map<std::uint64_t, std::uint64_t> blocks;
   for (int step = 0; step < 5000; ++step) {
      std::uint64_t const capacity = ArenaSpace::capacityFor(random() % 6000);
      std::optional<std::uint64_t> const offset = sut.find(capacity);
      ASSERT_EQ(offset, lowestPlace(capacity));
      if (offset && random() % 3 != 0) {
         ASSERT_TRUE(sut.take(*offset, capacity));
         for (std::uint64_t unit = *offset; unit < *offset + capacity; unit += 64) {
            ASSERT_TRUE(taken.insert(unit).second) << unit;
         }
         blocks[*offset] = capacity;
      } else if (!blocks.empty()) {
         auto const block = std::next(blocks.begin(), static_cast<std::ptrdiff_t>(random() % blocks.size()));
         sut.giveBack(block->first, block->second);
         for (std::uint64_t unit = block->first; unit < block->first + block->second; unit += 64) {
            taken.erase(unit);
         }
         blocks.erase(block);
      }
   }
   for (auto const& [offset, capacity] : blocks) {
      sut.giveBack(offset, capacity);
   }
   EXPECT_TRUE(sut.isAllFree());
}

TEST(ArenaSpace, whatItGrowsByIsFreeAndJoinsTheRest)
{
   ArenaSpace sut(4096);
   place(sut, 64);

   sut.growTo(8192);

   EXPECT_EQ(place(sut, 4096), 4096U);
   EXPECT_EQ(sut.find(4032), 64U);
   sut.giveBack(0, 64);
   sut.giveBack(4096, 4096);
   EXPECT_TRUE(sut.isAllFree());
   sut.growTo(8192);
   EXPECT_TRUE(sut.isAllFree());
}
