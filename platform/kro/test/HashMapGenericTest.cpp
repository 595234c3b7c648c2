#include <Kro/HashMapGeneric.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <deque>
#include <vector>

namespace Kro::Test {

namespace {

class Table : public testing::Test {
protected:
   using Link = HashMapGeneric::Link;

   ~Table() override { sut.release(); }

   Link& add(std::uint64_t hash)
   {
      sut.reserveOne();
      auto& link = links.emplace_back(Link{nullptr, nullptr, hash});
      sut.insert(link, sut.lowerBound(hash));
      return link;
   }

   /// Evenly distributed hashes, in an order that is not ascending.
   void addMany(std::uint64_t count)
   {
      for (std::uint64_t i = 1; i <= count; ++i) {
         add(i * 0x9e3779b97f4a7c15);
      }
   }

   std::vector<std::uint64_t> hashes() const
   {
      std::vector<std::uint64_t> all;
      for (auto const* link = sut.first(); link != nullptr; link = link->next) {
         all.push_back(link->hash);
      }
      return all;
   }

   std::deque<Link> links;
   HashMapGeneric sut;
};

TEST_F(Table, hasNoBucketsAtFirst)
{
   EXPECT_EQ(sut.bucketCount(), 0U);
   EXPECT_EQ(sut.bucket(5), nullptr);
   EXPECT_EQ(sut.lowerBound(0), nullptr);
}

TEST_F(Table, keepsOneListInTheOrderOfTheHashes)
{
   constexpr std::uint64_t last = ~std::uint64_t{0};
   for (std::uint64_t const hash : {last, std::uint64_t{0}, last - 1, std::uint64_t{1} << 63, std::uint64_t{1}}) {
      add(hash);
   }

   EXPECT_EQ(hashes(), (std::vector<std::uint64_t>{0, 1, std::uint64_t{1} << 63, last - 1, last}));
}

TEST_F(Table, lowerBoundLooksBehindEmptyBuckets)
{
   auto const& low = add(10);
   auto const& high = add(~std::uint64_t{0} - 10);

   EXPECT_EQ(sut.lowerBound(0), &low);
   EXPECT_EQ(sut.lowerBound(10), &low);
   EXPECT_EQ(sut.lowerBound(11), &high);
   EXPECT_EQ(sut.lowerBound(std::uint64_t{1} << 62), &high);
   EXPECT_EQ(sut.lowerBound(~std::uint64_t{0} - 9), nullptr);
}

TEST_F(Table, doublesWhenThereAreMoreElementsThanBuckets)
{
   addMany(8);
   EXPECT_EQ(sut.bucketCount(), 8U);
   add(5);
   EXPECT_EQ(sut.bucketCount(), 16U);
   addMany(7);
   EXPECT_EQ(sut.bucketCount(), 16U);
   add(6);
   EXPECT_EQ(sut.bucketCount(), 32U);
}

TEST_F(Table, halvesOnlyFarBelowWhereItDoubled)
{
   addMany(33);
   ASSERT_EQ(sut.bucketCount(), 64U);

   while (sut.size() > 8) {
      sut.remove(*sut.first());
      ASSERT_EQ(sut.bucketCount(), 64U);
   }
   sut.remove(*sut.first());

   EXPECT_EQ(sut.bucketCount(), 32U);
}

TEST_F(Table, neverHasFewerThanEightBucketsOnceItHasSome)
{
   addMany(100);

   while (!sut.empty()) {
      sut.remove(*sut.first());
   }

   EXPECT_EQ(sut.bucketCount(), 8U);
}

TEST_F(Table, growingAndShrinkingKeepTheListAndFindEveryElement)
{
   addMany(40);
   auto const before = hashes();

   for (unsigned const bits : {7U, 8U, 7U, 6U, 5U, 4U, 3U, 4U}) {
      sut.resize(bits);

      EXPECT_EQ(sut.bucketCount(), std::size_t{1} << bits);
      EXPECT_EQ(hashes(), before);
      for (auto const& link : links) {
         EXPECT_EQ(sut.lowerBound(link.hash), &link);
      }
   }
}

TEST_F(Table, tracksBucketArraysAsArraysOfPointers)
{
   auto const& tracker = HashMapGeneric::memAllocationTracker_;
   auto const arraysBefore = tracker.liveArrayCount();
   auto const elementsBefore = tracker.liveArrayElements();

   addMany(9);
   EXPECT_EQ(tracker.liveArrayCount(), arraysBefore + 1);
   EXPECT_EQ(tracker.liveArrayElements(), elementsBefore + 16);

   sut.release();
   EXPECT_EQ(tracker.liveArrayCount(), arraysBefore);
   EXPECT_EQ(tracker.liveArrayElements(), elementsBefore);
}

TEST_F(Table, releaseLeavesTheElementsAsAList)
{
   addMany(10);
   auto const before = hashes();

   auto const* link = sut.release();

   EXPECT_TRUE(sut.empty());
   EXPECT_EQ(sut.first(), nullptr);
   EXPECT_EQ(sut.bucketCount(), 0U);
   for (auto const hash : before) {
      ASSERT_NE(link, nullptr);
      EXPECT_EQ(link->hash, hash);
      link = link->next;
   }
   EXPECT_EQ(link, nullptr);
}

TEST_F(Table, aRawCursorWalksWhileNothingChanges)
{
   addMany(3);
   HashMapGeneric::RawCursor cursor(sut, sut.first());

   EXPECT_EQ(cursor.link(), sut.first());
   cursor.advance();
   cursor.advance();
   cursor.advance();
   EXPECT_EQ(cursor.link(), nullptr);
}

using TableDeathTest = Table;

TEST_F(TableDeathTest, aStepOfMoreThanOneDoublingEndsTheProcess)
{
   addMany(40);
   ASSERT_EQ(sut.bucketCount(), 64U);

   EXPECT_DEATH(sut.resize(8), "slotsToShift == 1");
   EXPECT_DEATH(sut.resize(4), "slotsToShift == 1");
   EXPECT_DEATH(sut.resize(6), "slotsToShift == 1");
}

TEST_F(TableDeathTest, aRawCursorThatIsUsedAfterAChangeEndsTheProcess)
{
   addMany(2);
   HashMapGeneric::RawCursor cursor(sut, sut.first());
   sut.remove(*sut.first());

   EXPECT_DEATH(static_cast<void>(cursor.link()), "version_ == hashMap_->version\\(\\)");
   EXPECT_DEATH(cursor.advance(), "version_ == hashMap_->version\\(\\)");
}

} // namespace

} // namespace Kro::Test
