#include "src/PageRun.h"
#include <gtest/gtest.h>
#include <random>

using namespace pinmem_lib;

namespace {

using Addresses = std::vector<std::uint64_t>;
using Pages = std::vector<std::uint32_t>;

} // namespace

TEST(PageRun, oneOfOnePageIsARun)
{
   PageRun const sut = PageRun::find({700}, 10, 1);

   EXPECT_EQ(sut.pages, Pages{0});
   EXPECT_EQ(sut.longest, 1U);
}

TEST(PageRun, nothingIsFoundAmongNoPages)
{
   PageRun const sut = PageRun::find({}, 10, 1);

   EXPECT_TRUE(sut.pages.empty());
   EXPECT_EQ(sut.longest, 0U);
}

TEST(PageRun, neighboursAreFoundInAnyOrderOfTheFile)
{
   EXPECT_EQ(PageRun::find(Addresses{30, 90, 10, 50, 20}, 10, 3).pages, (Pages{2, 4, 0}));
}

TEST(PageRun, theLowestRunOfTheWantedLengthIsTaken)
{
   EXPECT_EQ(PageRun::find(Addresses{80, 10, 90, 20, 30}, 10, 2).pages, (Pages{1, 3}));
}

TEST(PageRun, theLongestRunIsToldWhereItIsTooShort)
{
   PageRun const sut = PageRun::find(Addresses{50, 10, 40, 20, 70}, 10, 3);

   EXPECT_TRUE(sut.pages.empty());
   EXPECT_EQ(sut.longest, 2U);
}

TEST(PageExtent, packsItsExtremes)
{
   for (PageExtent const& sut :
        {PageExtent{0, 1, false}, PageExtent{PageExtent::pageMax, 1, true}, PageExtent{0, PageExtent::countMax, false},
         PageExtent{PageExtent::pageMax, PageExtent::countMax, true}, PageExtent{5, 7, false}}) {
      EXPECT_EQ(PageExtent::unpacked(sut.packed()), sut);
   }
}

TEST(PageExtent, runsUpAndDownAreOneExtentEach)
{
   std::vector<PageExtent> const sut = extentsOf({4, 5, 6, 3, 2, 9});

   EXPECT_EQ(sut, (std::vector<PageExtent>{{4, 3, false}, {3, 2, true}, {9, 1, false}}));
}

TEST(PageExtent, extentsNameThePagesThatTheyWereMadeOf)
{
   std::mt19937 random(3);
   for (int round = 0; round < 500; ++round) {
      Pages pages;
      for (auto count = random() % 12; count > 0; --count) {
         pages.push_back(static_cast<std::uint32_t>(random() % 16));
      }
      Pages again;
      for (PageExtent const& extent : extentsOf(pages)) {
         for (std::uint32_t index = 0; index < extent.count; ++index) {
            again.push_back(extent.page(index));
         }
      }
      EXPECT_EQ(again, pages);
   }
   EXPECT_EQ(extentsOf(Pages(3, 7)).size(), 3U);
}

TEST(PageExtent, anExtentIsNoLongerThanItsPackedFormCanSay)
{
   Pages pages(PageExtent::countMax + 1);
   for (std::uint32_t page = 0; page < pages.size(); ++page) {
      pages[page] = page;
   }

   EXPECT_EQ(extentsOf(pages).size(), 2U);
}
