#include <Kro/HashMapGeneric.h>

#include <TolSlab/Slab.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <deque>
#include <utility>
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

TEST_F(Table, findsNothingAtFirst)
{
   EXPECT_EQ(sut.bucketCount(), 0U);
   EXPECT_EQ(sut.search(5), nullptr);
   EXPECT_EQ(sut.lowerBound(0), nullptr);
   EXPECT_EQ(sut.lowerBound(~std::uint64_t{0}), nullptr);
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

TEST_F(Table, searchFindsEveryElementAndNoOtherHashWhateverTheirNumber)
{
   for (std::uint64_t count = 1; count <= 20; ++count) {
      add(count * 0x9e3779b97f4a7c15);

      for (auto const& link : links) {
         ASSERT_EQ(sut.search(link.hash), &link) << count;
         for (auto const other : {link.hash - 1, link.hash + 1, link.hash ^ std::uint64_t{1} << 63}) {
            auto const* const found = sut.search(other);
            ASSERT_TRUE(found == nullptr || found->hash > other) << count;
         }
      }
   }
}

TEST_F(Table, searchFindsTheFirstOfEqualHashes)
{
   auto const& last = add(~std::uint64_t{0});
   auto const& second = add(10);
   auto const& first = add(10);

   EXPECT_EQ(sut.search(10), &first);
   EXPECT_EQ(first.next, &second);
   EXPECT_EQ(second.next, &last);
}

TEST_F(Table, searchFindsWhatIsLeftOfElementsThatStandCloseTogether)
{
   auto& first = add(10);
   auto& second = add(11);
   auto& third = add(12);

   sut.remove(second);
   EXPECT_EQ(sut.search(10), &first);
   EXPECT_EQ(sut.search(12), &third);
   sut.remove(first);
   EXPECT_EQ(sut.search(12), &third);
   sut.remove(third);
   EXPECT_EQ(sut.search(12), nullptr);
}

TEST_F(Table, hasNoBucketsUntilTheNinthElement)
{
   auto const arraysBefore = HashMapGeneric::memAllocationTracker_.arrayAllocations();

   addMany(8);
   EXPECT_EQ(sut.bucketCount(), 0U);
   EXPECT_EQ(HashMapGeneric::memAllocationTracker_.arrayAllocations(), arraysBefore);
   add(5);

   EXPECT_EQ(sut.bucketCount(), 16U);
   EXPECT_EQ(HashMapGeneric::memAllocationTracker_.arrayAllocations(), arraysBefore + 1);
}

TEST_F(Table, comingAndGoingOfTheNinthElementMakesOneArrayInAll)
{
   auto const arraysBefore = HashMapGeneric::memAllocationTracker_.arrayAllocations();
   addMany(8);

   for (int i = 0; i < 10; ++i) {
      sut.remove(add(5));
      ASSERT_EQ(sut.bucketCount(), 16U);
   }

   EXPECT_EQ(HashMapGeneric::memAllocationTracker_.arrayAllocations(), arraysBefore + 1);
}

TEST_F(Table, givesTheBucketsOfTheNinthElementBackWhenOneIsLeft)
{
   addMany(9);

   while (sut.size() > 2) {
      sut.remove(*sut.first());
      ASSERT_EQ(sut.bucketCount(), 16U);
   }
   sut.remove(*sut.first());

   EXPECT_EQ(sut.bucketCount(), 0U);
   EXPECT_EQ(sut.search(sut.first()->hash), sut.first());
}

TEST_F(Table, doublesWhenThereAreMoreElementsThanBuckets)
{
   addMany(9);
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

TEST_F(Table, hasNoBucketsWhenItHasShrunkToNothing)
{
   addMany(100);

   while (!sut.empty()) {
      sut.remove(*sut.first());
   }

   EXPECT_EQ(sut.bucketCount(), 0U);
   EXPECT_EQ(sut.search(5), nullptr);
}

class TableClone : public Table {
protected:
   struct Failure {};

   ~TableClone() override { copy.release(); }

   /// Fails at the element after so many.
   void clone(std::size_t largest = 1000)
   {
      copy.cloneFrom(sut, [this, largest](Link const& link) -> Link& {
         if (copies.size() == largest) {
            throw Failure();
         }
         return copies.emplace_back(link);
      });
   }

   std::deque<Link> copies;
   HashMapGeneric copy;
};

TEST_F(TableClone, hasTheElementsInTheirOrderAndFindsThem)
{
   for (std::uint64_t const count : {0U, 1U, 8U, 9U, 16U, 17U, 100U}) {
      sut.release();
      copy.release();
      copies.clear();
      addMany(count);

      clone();

      EXPECT_EQ(copy.size(), count);
      EXPECT_EQ(copy.bucketCount(), sut.bucketCount());
      Link const* previous = nullptr;
      auto const* at = copy.first();
      for (auto const* from = sut.first(); from != nullptr; from = from->next) {
         ASSERT_NE(at, nullptr) << count;
         EXPECT_EQ(at->hash, from->hash);
         EXPECT_EQ(at->previous, previous);
         EXPECT_EQ(copy.search(at->hash), at);
         previous = std::exchange(at, at->next);
      }
      EXPECT_EQ(at, nullptr);
   }
}

TEST_F(TableClone, canGrowAndShrinkFromTheBorder)
{
   addMany(8);
   clone();

   copy.reserveOne();
   Link ninth{nullptr, nullptr, ~std::uint64_t{0}};
   copy.insert(ninth, nullptr);

   EXPECT_EQ(copy.bucketCount(), 16U);
   EXPECT_EQ(sut.bucketCount(), 0U);
   EXPECT_EQ(copy.search(ninth.hash), &ninth);
   while (!copy.empty()) {
      auto const hash = copy.first()->hash;
      copy.remove(*copy.first());
      EXPECT_EQ(copy.lowerBound(hash), copy.first());
   }
   EXPECT_EQ(copy.bucketCount(), 0U);
}

TEST_F(TableClone, hasNoBucketsForElementsThatNeedNone)
{
   addMany(9);
   sut.remove(*sut.first());
   ASSERT_EQ(sut.bucketCount(), 16U);

   clone();

   EXPECT_EQ(copy.size(), 8U);
   EXPECT_EQ(copy.bucketCount(), 0U);
}

TEST_F(TableClone, releasesWhatWasMadeBeforeAFailure)
{
   addMany(9);

   for (std::size_t const made : {0U, 1U, 8U}) {
      copies.clear();
      EXPECT_THROW(clone(made), Failure);

      std::size_t count = 0;
      for (auto const* link = copy.release(); link != nullptr; link = link->next) {
         ++count;
      }
      EXPECT_EQ(count, made);
      EXPECT_TRUE(copy.empty());
   }
}

TEST_F(Table, swapsElementsBetweenOneWithAndOneWithoutBuckets)
{
   HashMapGeneric other;
   Link small{nullptr, nullptr, 7};
   other.insert(small, nullptr);
   addMany(9);

   sut.swap(other);

   EXPECT_EQ(sut.bucketCount(), 0U);
   EXPECT_EQ(sut.search(7), &small);
   EXPECT_EQ(other.bucketCount(), 16U);
   for (auto const& link : links) {
      EXPECT_EQ(sut.search(link.hash), nullptr);
      EXPECT_EQ(other.search(link.hash), &link);
   }
   other.release();
}

TEST_F(Table, growingAndShrinkingKeepTheListAndFindEveryElement)
{
   addMany(40);
   auto const before = hashes();

   for (unsigned const bits : {7U, 8U, 7U, 6U, 5U, 4U, 3U, 4U}) {
      sut.resize(bits);

      EXPECT_EQ(sut.bucketCount(), bits == 3 ? 0 : std::size_t{1} << bits);
      EXPECT_EQ(hashes(), before);
      for (auto const& link : links) {
         EXPECT_EQ(sut.search(link.hash), &link);
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

TEST_F(Table, growingAndShrinkingMakeOneNewArrayAtEachStepAndFreeTheOldOne)
{
   auto const& tracker = HashMapGeneric::memAllocationTracker_;
   auto const liveBefore = tracker.liveArrayCount();
   auto const allocationsBefore = tracker.arrayAllocations();
   auto const deallocationsBefore = tracker.arrayDeallocations();

   addMany(33);
   EXPECT_EQ(tracker.arrayAllocations(), allocationsBefore + 3); // 16, 32, 64
   EXPECT_EQ(tracker.arrayDeallocations(), deallocationsBefore + 2);
   while (!sut.empty()) {
      sut.remove(*sut.first());
   }

   EXPECT_EQ(tracker.arrayAllocations(), allocationsBefore + 5); // and 32, 16
   EXPECT_EQ(tracker.arrayDeallocations(), deallocationsBefore + 5);
   EXPECT_EQ(tracker.liveArrayCount(), liveBefore);
}

TEST_F(Table, takesBucketsAndNodesFromTheSlab)
{
   auto const& tracker = HashMapGeneric::memAllocationTracker_;
   auto const bucketsBefore = TolSlab::slabCounters(16 * sizeof(void*)).live;
   auto const nodesBefore = TolSlab::slabCounters(48).live;
   auto const trackedBefore = tracker.liveCount();

   addMany(9);
   EXPECT_EQ(TolSlab::slabCounters(16 * sizeof(void*)).live, bucketsBefore + 1);
   sut.release();
   EXPECT_EQ(TolSlab::slabCounters(16 * sizeof(void*)).live, bucketsBefore);

   void* const node = HashMapGeneric::allocateNode(48);
   EXPECT_EQ(TolSlab::slabCounters(48).live, nodesBefore + 1);
   EXPECT_EQ(tracker.liveCount(), trackedBefore + 1);
   HashMapGeneric::freeNode(node, 48);
   EXPECT_EQ(TolSlab::slabCounters(48).live, nodesBefore);
   EXPECT_EQ(tracker.liveCount(), trackedBefore);
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

   EXPECT_DEATH(sut.resize(8), ": assertion failed: slotsToShift == 1\n$");
   EXPECT_DEATH(sut.resize(4), ": assertion failed: slotsToShift == 1\n$");
   EXPECT_DEATH(sut.resize(6), ": assertion failed: slotsToShift == 1\n$");
}

TEST_F(TableDeathTest, aRawCursorThatIsUsedAfterAChangeEndsTheProcess)
{
   addMany(2);
   HashMapGeneric::RawCursor cursor(sut, sut.first());
   sut.remove(*sut.first());

   EXPECT_DEATH(static_cast<void>(cursor.link()), ": assertion failed: version_ == hashMap_->version\\(\\)\n$");
   EXPECT_DEATH(cursor.advance(), ": assertion failed: version_ == hashMap_->version\\(\\)\n$");
}

} // namespace

} // namespace Kro::Test
