#include <Quorvel/Core/Memory/Control/Detail/ExtentIndex.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <numeric>
#include <random>
#include <vector>

namespace {

using Quorvel::Core::Memory::Control::Detail::Chunk;
using Quorvel::Core::Memory::Control::Detail::Extent;
using Quorvel::Core::Memory::Control::Detail::ExtentIndex;

/// An address that is never looked behind.
Chunk* chunk(std::size_t number)
{
   static std::array<std::byte, 65536> addresses;
   return reinterpret_cast<Chunk*>(&addresses.at(number));
}

/// The number of the chunk that holds the entry, or -1.
std::ptrdiff_t find(ExtentIndex const& sut, std::uint32_t entry)
{
   auto const* extent = sut.find(entry);
   return extent != nullptr ? reinterpret_cast<std::byte*>(extent->chunk) - reinterpret_cast<std::byte*>(chunk(0)) : -1;
}

/// Where the first extent that ends behind the entry begins, or -1.
std::int64_t nextBegin(ExtentIndex const& sut, std::uint32_t entry)
{
   auto const* extent = sut.findNext(entry);
   return extent != nullptr ? std::int64_t{extent->begin} : -1;
}

TEST(ExtentIndex, findsNothingWhenItIsEmpty)
{
   ExtentIndex const sut;

   EXPECT_EQ(sut.find(0), nullptr);
   EXPECT_EQ(sut.find(4294967295U), nullptr);
   EXPECT_EQ(sut.findNext(0), nullptr);
   EXPECT_EQ(sut.findNext(4294967295U), nullptr);
}

TEST(ExtentIndex, findsTheEntriesOfOneExtentAlone)
{
   ExtentIndex sut;

   EXPECT_TRUE(sut.insert({100, 150, chunk(1)}));

   EXPECT_EQ(find(sut, 99), -1);
   EXPECT_EQ(find(sut, 100), 1);
   EXPECT_EQ(find(sut, 149), 1);
   EXPECT_EQ(find(sut, 150), -1);
   EXPECT_EQ(sut.find(120)->begin, 100U);
}

TEST(ExtentIndex, findsTheFirstAndTheLastEntryThereIs)
{
   ExtentIndex sut;

   EXPECT_TRUE(sut.insert({0, 1, chunk(1)}));
   EXPECT_TRUE(sut.insert({4294967294U, 4294967295U, chunk(2)}));

   EXPECT_EQ(find(sut, 0), 1);
   EXPECT_EQ(find(sut, 1), -1);
   EXPECT_EQ(find(sut, 4294967293U), -1);
   EXPECT_EQ(find(sut, 4294967294U), 2);
   EXPECT_EQ(find(sut, 4294967295U), -1);
}

TEST(ExtentIndex, takesOneExtentOverAllEntries)
{
   ExtentIndex sut;

   EXPECT_TRUE(sut.insert({0, 4294967295U, chunk(1)}));

   EXPECT_EQ(find(sut, 0), 1);
   EXPECT_EQ(find(sut, 4294967294U), 1);
   EXPECT_EQ(find(sut, 4294967295U), -1);
   EXPECT_FALSE(sut.insert({7, 8, chunk(2)}));
}

TEST(ExtentIndex, refusesAnExtentThatOverlapsAndIsAsBefore)
{
   ExtentIndex sut;
   sut.insert({10, 20, chunk(1)});
   sut.insert({30, 40, chunk(2)});

   EXPECT_FALSE(sut.insert({10, 20, chunk(3)}));
   EXPECT_FALSE(sut.insert({19, 21, chunk(3)}));
   EXPECT_FALSE(sut.insert({5, 11, chunk(3)}));
   EXPECT_FALSE(sut.insert({12, 13, chunk(3)}));
   EXPECT_FALSE(sut.insert({0, 50, chunk(3)}));
   EXPECT_FALSE(sut.insert({39, 60, chunk(3)}));

   EXPECT_EQ(find(sut, 19), 1);
   EXPECT_EQ(find(sut, 20), -1);
   EXPECT_EQ(find(sut, 39), 2);
   EXPECT_TRUE(sut.insert({20, 30, chunk(3)}));
   EXPECT_EQ(find(sut, 20), 3);
}

TEST(ExtentIndex, refusesAnExtentThatOverlapsOneThatCameLate)
{
   ExtentIndex sut;
   sut.insert({100, 110, chunk(1)});
   sut.insert({10, 20, chunk(2)});

   EXPECT_FALSE(sut.insert({15, 25, chunk(3)}));
   EXPECT_FALSE(sut.insert({0, 11, chunk(3)}));
   EXPECT_TRUE(sut.insert({20, 25, chunk(3)}));
   EXPECT_EQ(find(sut, 22), 3);
}

TEST(ExtentIndex, replacesTheChunkOfAnExtent)
{
   ExtentIndex sut;
   sut.insert({100, 110, chunk(1)});
   sut.insert({10, 20, chunk(2)});

   sut.replace(100, chunk(3));
   sut.replace(10, chunk(4));
   sut.replace(55, chunk(5));

   EXPECT_EQ(find(sut, 105), 3);
   EXPECT_EQ(find(sut, 15), 4);
   EXPECT_EQ(find(sut, 55), -1);
}

TEST(ExtentIndex, givesTheRoomOfAnErasedExtentToOthers)
{
   ExtentIndex sut;
   for (std::uint32_t i = 0; i < 10; ++i) {
      sut.insert({i * 10, i * 10 + 10, chunk(i)});
   }

   sut.erase(30);
   sut.erase(30);
   sut.erase(31);

   EXPECT_EQ(find(sut, 35), -1);
   EXPECT_TRUE(sut.insert({32, 34, chunk(11)}));
   EXPECT_TRUE(sut.insert({34, 40, chunk(12)}));
   EXPECT_FALSE(sut.insert({30, 33, chunk(13)}));
   EXPECT_EQ(find(sut, 31), -1);
   EXPECT_EQ(find(sut, 33), 11);
   EXPECT_EQ(find(sut, 39), 12);
   EXPECT_EQ(find(sut, 40), 4);
}

TEST(ExtentIndex, isEmptyWhenAllIsErased)
{
   ExtentIndex sut;
   for (std::uint32_t i = 0; i < 100; ++i) {
      sut.insert({(i * 37 % 100) * 4, (i * 37 % 100) * 4 + 4, chunk(i)});
   }

   for (std::uint32_t i = 0; i < 100; ++i) {
      sut.erase(i * 4);
      EXPECT_EQ(find(sut, i * 4), -1);
   }

   EXPECT_TRUE(sut.insert({0, 400, chunk(1)}));
   EXPECT_EQ(find(sut, 399), 1);
}

TEST(ExtentIndex, startsAnewAfterClear)
{
   ExtentIndex sut;
   sut.insert({1000, 2000, chunk(1)});
   sut.insert({10, 20, chunk(2)});

   sut.clear();

   EXPECT_EQ(find(sut, 1000), -1);
   EXPECT_EQ(find(sut, 10), -1);
   EXPECT_TRUE(sut.insert({15, 1500, chunk(3)}));
   EXPECT_EQ(find(sut, 15), 3);
}

TEST(ExtentIndex, findNextStepsOverErasedExtents)
{
   ExtentIndex sut;
   for (std::uint32_t i = 0; i < 10; ++i) {
      sut.insert({i * 10 + 5, i * 10 + 10, chunk(i)});
   }

   for (std::uint32_t const begin : {5U, 45U, 55U, 95U}) {
      sut.erase(begin);
   }

   EXPECT_EQ(nextBegin(sut, 0), 15);
   EXPECT_EQ(nextBegin(sut, 19), 15);
   EXPECT_EQ(nextBegin(sut, 20), 25);
   EXPECT_EQ(nextBegin(sut, 39), 35);
   EXPECT_EQ(nextBegin(sut, 40), 65);
   EXPECT_EQ(nextBegin(sut, 89), 85);
   EXPECT_EQ(nextBegin(sut, 90), -1);
}

TEST(ExtentIndex, findNextFindsWhatLiesInTheRoomOfAnErasedExtent)
{
   ExtentIndex sut;
   for (std::uint32_t i = 0; i < 10; ++i) {
      sut.insert({i * 10, i * 10 + 10, chunk(i)});
   }
   sut.erase(30);
   sut.insert({32, 34, chunk(11)});
   sut.insert({35, 36, chunk(12)});

   EXPECT_EQ(nextBegin(sut, 29), 20);
   EXPECT_EQ(nextBegin(sut, 30), 32);
   EXPECT_EQ(nextBegin(sut, 33), 32);
   EXPECT_EQ(nextBegin(sut, 34), 35);
   EXPECT_EQ(nextBegin(sut, 36), 40);
}

TEST(ExtentIndex, findsNothingWhileItIsSuspendedAndAllThatIsThereAfterwards)
{
   ExtentIndex sut;
   sut.insert({100, 110, chunk(1)});
   sut.insert({10, 20, chunk(2)});

   sut.isSuspendedIs(true);
   sut.insert({110, 120, chunk(3)});
   sut.insert({50, 60, chunk(4)});
   sut.erase(10);
   sut.replace(100, chunk(5));
   for (std::uint32_t const entry : {15U, 55U, 105U, 115U}) {
      EXPECT_EQ(find(sut, entry), -1) << entry;
   }

   sut.isSuspendedIs(false);
   EXPECT_EQ(find(sut, 15), -1);
   EXPECT_EQ(find(sut, 55), 4);
   EXPECT_EQ(find(sut, 105), 5);
   EXPECT_EQ(find(sut, 115), 3);
}

TEST(ExtentIndex, staysSuspendedWhenItIsEmptied)
{
   ExtentIndex cleared;
   cleared.insert({100, 110, chunk(1)});
   ExtentIndex erased = cleared;

   for (auto* sut : {&cleared, &erased}) {
      sut->isSuspendedIs(true);
      sut == &cleared ? sut->clear() : sut->erase(100);
      sut->insert({100, 110, chunk(2)});
      sut->insert({10, 20, chunk(3)});
      EXPECT_EQ(find(*sut, 105), -1);
      EXPECT_EQ(find(*sut, 15), -1);

      sut->isSuspendedIs(false);
      EXPECT_EQ(find(*sut, 105), 2);
      EXPECT_EQ(find(*sut, 15), 3);
   }
}

/// Every extent's ends and what lies beside them.
void expectToFind(ExtentIndex const& sut, std::vector<Extent> const& extents)
{
   for (auto const& extent : extents) {
      ASSERT_NE(sut.find(extent.begin), nullptr) << extent.begin;
      ASSERT_EQ(sut.find(extent.begin)->chunk, extent.chunk) << extent.begin;
      ASSERT_EQ(sut.find(extent.end - 1), sut.find(extent.begin)) << extent.end;
      ASSERT_NE(sut.find(extent.end), sut.find(extent.begin)) << extent.end;
   }
}

std::vector<Extent> uniform(std::size_t count)
{
   std::vector<Extent> extents;
   for (std::uint32_t i = 0; i < count; ++i) {
      extents.push_back({i * 64, i * 64 + 64, chunk(i)});
   }
   return extents;
}

TEST(ExtentIndex, findsAmongManyThatCameInAnyOrder)
{
   std::mt19937 random(1);
   for (std::size_t const count : {1U, 2U, 3U, 15U, 16U, 17U, 1000U, 4096U, 20000U}) {
      auto extents = uniform(count);
      auto descending = extents;
      std::reverse(descending.begin(), descending.end());
      auto shuffled = extents;
      std::shuffle(shuffled.begin(), shuffled.end(), random);
      for (auto const& order : {extents, descending, shuffled}) {
         ExtentIndex sut;
         for (auto const& extent : order) {
            ASSERT_TRUE(sut.insert(extent));
         }
         expectToFind(sut, extents);
      }
   }
}

TEST(ExtentIndex, findsAmongExtentsOfVeryDifferentSizes)
{
   std::vector<Extent> extents{{0, 1U << 30U, chunk(0)}};
   for (std::uint32_t i = 0; i < 5000; ++i) {
      auto const begin = extents.back().end + i % 3;
      extents.push_back({begin, begin + 1 + i % 2, chunk(i + 1)});
   }
   for (std::uint32_t i = 0; i < 29; ++i) {
      auto const begin = extents.back().end;
      extents.push_back({begin, begin + (1U << i), chunk(i + 6000)});
   }
   ExtentIndex sut;

   for (auto const& extent : extents) {
      ASSERT_TRUE(sut.insert(extent));
   }

   expectToFind(sut, extents);
}

/// `count` extents of `size` entries whose begins are `distance` apart.
std::vector<Extent> regular(std::size_t count, std::uint32_t first, std::uint32_t distance, std::uint32_t size)
{
   std::vector<Extent> extents;
   for (std::uint32_t i = 0; i < count; ++i) {
      extents.push_back({first + i * distance, first + i * distance + size, chunk(i)});
   }
   return extents;
}

ExtentIndex indexOf(std::vector<Extent> const& extents)
{
   ExtentIndex index;
   for (auto const& extent : extents) {
      EXPECT_TRUE(index.insert(extent));
   }
   return index;
}

TEST(ExtentIndex, findsAmongExtentsThatBeginAtEqualDistances)
{
   for (std::uint32_t const distance : {1U, 2U, 3U, 5U, 7U, 48U, 64U, 100U, 641U, 65535U, 65537U}) {
      for (std::uint32_t const size : {distance, distance - distance / 3, 1U}) {
         for (std::uint32_t const first : {0U, 1000U, 4294967295U - 1000U * distance}) {
            auto const extents = regular(1000, first, distance, size);

            auto const sut = indexOf(extents);

            expectToFind(sut, extents);
            ASSERT_EQ(find(sut, first - 1), -1);
            ASSERT_EQ(find(sut, extents[500].end), size == distance ? 501 : -1) << distance << ' ' << size;
            ASSERT_EQ(find(sut, extents.back().end), -1);
         }
      }
   }
}

TEST(ExtentIndex, findsAmongFewLongExtentsThatBeginAtEqualDistances)
{
   for (std::uint32_t const distance :
        {(1U << 30U) - 1, 1U << 30U, (1U << 30U) + 1, (1U << 31U) - 1, 715827882U, 715827883U, 123456789U}) {
      for (std::size_t count = 1; count * distance <= 4294967295U; ++count) {
         for (std::uint32_t const less : {0U, 1U, distance - 1}) {
            auto const extents = regular(count, 0, distance, distance - less);

            auto const sut = indexOf(extents);

            expectToFind(sut, extents);
            ASSERT_EQ(find(sut, 4294967295U), -1);
         }
      }
   }
}

TEST(ExtentIndex, findsAnExtentThatBreaksEqualDistancesAndThoseBehindIt)
{
   for (std::size_t const count : {1U, 2U, 3U, 100U}) {
      auto const end = static_cast<std::uint32_t>(count) * 10;
      Extent const early{end, end + 5, chunk(200)};
      Extent const late{end + 12, end + 22, chunk(200)};
      Extent const tooLong{end + 2, end + 25, chunk(200)};
      for (auto const& odd : {early, late, tooLong}) {
         auto extents = regular(count, 2, 10, 7);
         extents.push_back(odd);
         auto sut = indexOf(extents);
         expectToFind(sut, extents);

         for (std::uint32_t i = 0; i < 50; ++i) {
            extents.push_back({end + 32 + i * 10, end + 39 + i * 10, chunk(201 + i)});
            sut.insert(extents.back());
         }

         expectToFind(sut, extents);
      }
   }
}

TEST(ExtentIndex, findsByEqualDistancesAfterExtentsWereErased)
{
   auto extents = regular(100, 0, 10, 10);
   auto sut = indexOf(extents);

   for (std::uint32_t i = 0; i < 40; ++i) {
      sut.erase(extents.back().begin);
      extents.pop_back();
   }
   sut.insert({995, 1005, chunk(300)});
   sut.insert({1010, 1020, chunk(301)});
   sut.insert({1020, 1030, chunk(302)});

   expectToFind(sut, extents);
   EXPECT_EQ(find(sut, 600), -1);
   EXPECT_EQ(find(sut, 994), -1);
   EXPECT_EQ(find(sut, 995), 300);
   EXPECT_EQ(find(sut, 1004), 300);
   EXPECT_EQ(find(sut, 1005), -1);
   EXPECT_EQ(find(sut, 1010), 301);
   EXPECT_EQ(find(sut, 1029), 302);
}

TEST(ExtentIndex, agreesWithAMapThroughRandomChanges)
{
   for (unsigned seed = 0; seed < 300; ++seed) {
      std::mt19937 random(seed);
      auto const range = 1U << (4 + random() % 12);
      auto const longest = 1 + random() % 40;
      ExtentIndex sut;
      std::map<std::uint32_t, Extent> model;
      for (std::size_t step = 0; step < 600; ++step) {
         auto const begin = static_cast<std::uint32_t>(random() % range);
         auto const what = random() % 8;
         if (what < 5) {
            Extent const extent{begin, begin + 1 + static_cast<std::uint32_t>(random() % longest), chunk(step)};
            auto const next = model.lower_bound(extent.begin);
            bool const isFree = (next == model.end() || extent.end <= next->second.begin) &&
                                (next == model.begin() || std::prev(next)->second.end <= extent.begin);
            ASSERT_EQ(sut.insert(extent), isFree) << "seed " << seed << ", step " << step;
            if (isFree) {
               model.emplace(extent.begin, extent);
            }
         } else if (what < 7) {
            sut.erase(begin);
            model.erase(begin);
         } else {
            sut.replace(begin, chunk(step));
            if (auto const at = model.find(begin); at != model.end()) {
               at->second.chunk = chunk(step);
            }
         }
         auto const entry = static_cast<std::uint32_t>(random() % (range + longest));
         auto const after = model.upper_bound(entry);
         auto const isHeld = after != model.begin() && entry < std::prev(after)->second.end;
         auto const* found = sut.find(entry);
         ASSERT_EQ(found != nullptr, isHeld) << "seed " << seed << ", step " << step;
         if (isHeld) {
            ASSERT_EQ(found->chunk, std::prev(after)->second.chunk) << "seed " << seed << ", step " << step;
            ASSERT_EQ(found->begin, std::prev(after)->second.begin) << "seed " << seed << ", step " << step;
         }
         auto const next = isHeld ? std::prev(after) : after;
         auto const* foundNext = sut.findNext(entry);
         ASSERT_EQ(foundNext != nullptr, next != model.end()) << "seed " << seed << ", step " << step;
         if (foundNext != nullptr) {
            ASSERT_EQ(foundNext->begin, next->second.begin) << "seed " << seed << ", step " << step;
            ASSERT_EQ(foundNext->end, next->second.end) << "seed " << seed << ", step " << step;
            ASSERT_EQ(foundNext->chunk, next->second.chunk) << "seed " << seed << ", step " << step;
         }
      }
   }
}

} // namespace
