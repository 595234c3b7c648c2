#include "collections/Farewell.h"
#include "collections/Fragile.h"

#include <Kro/OrderedMap.h>

#include <Orvo/Ptr.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

// What only ordered maps promise; the rest is in the suite of all collections.

namespace Kro::Test {

namespace {

class KroNumber final : public OrderedNode<KroNumber, std::uint32_t, int> {
public:
   using OrderedNode::OrderedNode;
   static AllocTrackTypeInfo memAllocationTracker_;
};

constinit AllocTrackTypeInfo KroNumber::memAllocationTracker_{sizeof(KroNumber), "KroNumber"};

class KroText final : public OrderedNode<KroText, std::int32_t, std::string> {
public:
   using OrderedNode::OrderedNode;
   static AllocTrackTypeInfo memAllocationTracker_;
};

constinit AllocTrackTypeInfo KroText::memAllocationTracker_{sizeof(KroText), "KroText"};

using Sut = OrderedMap<KroNumber>;

Sut numbered(std::vector<std::uint32_t> const& keys)
{
   Sut sut;
   for (auto const key : keys) {
      sut.is(key, static_cast<int>(key));
   }
   return sut;
}

std::vector<std::uint32_t> keysOf(Sut const& sut)
{
   std::vector<std::uint32_t> keys;
   for (auto at = sut.begin(); at != sut.end(); ++at) {
      keys.push_back(at.key());
   }
   return keys;
}

TEST(OrderedMap, lowerBoundGivesTheFirstKeyThatIsNotLess)
{
   auto const sut = numbered({10, 20, 4294967295});

   EXPECT_EQ(sut.lowerBound(0).key(), 10U);
   EXPECT_EQ(sut.lowerBound(10).key(), 10U);
   EXPECT_EQ(sut.lowerBound(11).key(), 20U);
   EXPECT_EQ(sut.lowerBound(4294967295).key(), 4294967295U);
   EXPECT_EQ(numbered({10}).lowerBound(11), Sut().end());
}

TEST(OrderedMap, findsTheSameFromTheLastOn)
{
   EXPECT_EQ(Sut().findFromLast(0), nullptr);

   auto const sut = numbered({10, 20, 4294967295});
   for (std::uint32_t const key : {0U, 10U, 15U, 20U, 21U, 4294967295U}) {
      EXPECT_EQ(sut.findFromLast(key), sut.find(key)) << key;
   }
   EXPECT_EQ(numbered({10}).findFromLast(11), nullptr);
}

TEST(OrderedMap, aWalkVisitsWhatIsAddedAheadAndNotWhatIsAddedBehind)
{
   auto sut = numbered({10, 20, 30});
   auto at = ++sut.begin();
   sut.is(5, 5);
   sut.is(25, 25);
   sut.erase(20);

   ++at;
   EXPECT_EQ(at.key(), 25U);
   EXPECT_EQ(*at, 25);

   sut.is(40, 40);
   ++at;
   ++at;
   EXPECT_EQ(at.key(), 40U);
   EXPECT_EQ(++at, sut.end());
}

TEST(OrderedMap, keepsTheKeyOfAWalkWhoseElementIsGone)
{
   auto sut = numbered({10, 20});
   auto const at = sut.begin();

   sut.clear();

   EXPECT_EQ(at.key(), 10U);
}

TEST(OrderedMap, aWalkFromTheGreatestKeyEndsAfterAChange)
{
   auto sut = numbered({1, 4294967295});
   auto at = sut.lowerBound(4294967295);
   sut.erase(1);

   EXPECT_EQ(++at, sut.end());
}

TEST(OrderedMap, valuesCanBeChangedWhereTheyAre)
{
   auto sut = numbered({1});

   *sut.find(1) = 100;
   sut.is(2, 200) += 1;

   EXPECT_EQ(*std::as_const(sut).find(1), 100);
   EXPECT_EQ(*sut.find(2), 201);
}

TEST(OrderedMap, insertTakesTheNodeItself)
{
   auto node = Orvo::make<KroNumber>(7U, 70);
   Sut sut;

   sut.insert(node);

   EXPECT_EQ(node->useCount(), 2U);
   EXPECT_TRUE(node->isMember());
   EXPECT_EQ(sut.find(7), &node->value());

   sut.clear();
   EXPECT_EQ(node->useCount(), 1U);
   EXPECT_FALSE(node->isMember());
   EXPECT_EQ(node->value(), 70);
}

TEST(OrderedMap, takeLeavesTheValueInANodeThatOthersStillSee)
{
   OrderedMap<KroText> sut;
   auto node = Orvo::make<KroText>(7, "a text that moving would take away");
   sut.insert(node);

   auto const taken = sut.take(7);

   EXPECT_EQ(taken, "a text that moving would take away");
   EXPECT_EQ(node->value(), "a text that moving would take away");
}

TEST(OrderedMap, aNodeTakenOutCanBeInsertedAgain)
{
   auto node = Orvo::make<KroNumber>(7U, 70);
   Sut one;
   Sut other;
   one.insert(node);
   one.erase(7);

   other.insert(node);

   EXPECT_EQ(other.find(7), &node->value());
}

TEST(OrderedMapDeathTest, insertOfAKeyThatExistsEndsTheProcess)
{
   auto sut = numbered({7});
   auto node = Orvo::make<KroNumber>(7U, 70);

   EXPECT_DEATH(sut.insert(node), ": assertion failed: duplicate key in an ordered map\n$");
   EXPECT_DEATH(RbTreeMapGeneric::assertDupKey(), ": assertion failed: duplicate key in an ordered map\n$");
}

TEST(OrderedMapDeathTest, insertOfANodeThatIsAMemberEndsTheProcess)
{
   Sut sut;
   Sut other;
   auto node = Orvo::make<KroNumber>(7U, 70);
   sut.insert(node);

   EXPECT_DEATH(other.insert(node), ": assertion failed: element is already a member of an ordered collection\n$");
}

class KroFragile final : public OrderedNode<KroFragile, std::int32_t, Fragile> {
public:
   using OrderedNode::OrderedNode;
   static AllocTrackTypeInfo memAllocationTracker_;
};

constinit AllocTrackTypeInfo KroFragile::memAllocationTracker_{sizeof(KroFragile), "KroFragile"};

TEST(OrderedMap, aCopyThatFailsLeavesNothingBehind)
{
   {
      OrderedMap<KroFragile> original;
      for (int key = 0; key < 10; ++key) {
         original.insert(Orvo::make<KroFragile>(key));
      }
      OrderedMap<KroFragile> target;
      target.insert(Orvo::make<KroFragile>(99));

      for (int copies = 0; copies < 10; ++copies) {
         Fragile::copiesLeft = copies;
         EXPECT_THROW(target = original, std::runtime_error);
      }

      EXPECT_EQ(target.size(), 1U);
      EXPECT_TRUE(target.contains(99));
      EXPECT_EQ(Fragile::live, 11);
   }
   EXPECT_EQ(Fragile::live, 0);
   EXPECT_EQ(KroFragile::memAllocationTracker_.liveCount(), 0U);
}

TEST(OrderedMap, anInsertionThatFailsChangesNothing)
{
   OrderedMap<KroFragile> sut;
   auto const version = sut.version();
   Fragile const value;
   Fragile::copiesLeft = 0;

   EXPECT_THROW(sut.insert(Orvo::make<KroFragile>(1, value)), std::runtime_error);

   EXPECT_TRUE(sut.empty());
   EXPECT_EQ(sut.version(), version);
   EXPECT_EQ(KroFragile::memAllocationTracker_.liveCount(), 0U);
}

/// Calls back when it is destroyed.
struct Parting {
   explicit Parting(std::function<void()> theCall) : call(std::move(theCall)) {}

   Parting(Parting const&) = delete;
   Parting& operator=(Parting const&) = delete;

   ~Parting() { call(); }

   std::function<void()> call;
};

class KroParting final : public OrderedNode<KroParting, std::int32_t, Parting> {
public:
   using OrderedNode::OrderedNode;
   static AllocTrackTypeInfo memAllocationTracker_;
};

constinit AllocTrackTypeInfo KroParting::memAllocationTracker_{sizeof(KroParting), "KroParting"};

TEST(OrderedMap, destructorsOfValuesMayUseTheMap)
{
   OrderedMap<KroParting> sut;
   int calls = 0;
   for (int key = 0; key < 3; ++key) {
      sut.insert(Orvo::make<KroParting>(key, [&sut, &calls, key] {
         ++calls;
         EXPECT_FALSE(sut.contains(key));
         sut.erase(key + 1); // takes its neighbour along
      }));
   }

   sut.erase(0);

   EXPECT_EQ(calls, 3);
   EXPECT_TRUE(sut.empty());
}

TEST(OrderedMap, erasingAtAnIteratorGivesAPlaceThatIsThereWhenTheDestructorErasesMore)
{
   OrderedMap<KroParting> sut;
   for (int key = 0; key < 4; ++key) {
      sut.insert(Orvo::make<KroParting>(key, [&sut, key] {
         if (key == 1) {
            sut.erase(2); // what the iterator would have come to
         }
      }));
   }

   auto const at = sut.erase(++sut.begin());

   EXPECT_EQ(at.key(), 3);
   EXPECT_EQ(&*at, sut.find(3));
   EXPECT_EQ(sut.size(), 2U);
}

TEST(OrderedMap, destructorsOfValuesFindTheMapEmptyWhileItIsCleared)
{
   OrderedMap<KroParting> sut;
   int calls = 0;
   for (int key = 0; key < 3; ++key) {
      sut.insert(Orvo::make<KroParting>(key, [&sut, &calls] {
         ++calls;
         EXPECT_TRUE(sut.empty());
         EXPECT_FALSE(sut.erase(2));
      }));
   }

   sut.clear();

   EXPECT_EQ(calls, 3);
}

TEST(OrderedMap, keysAreComparedWithTheirOwnSign)
{
   auto const sut = numbered({4294967295, 0, 2147483648, 2147483647});

   EXPECT_EQ(keysOf(sut), (std::vector<std::uint32_t>{0, 2147483647, 2147483648, 4294967295}));
}

class KroFarewell final : public OrderedNode<KroFarewell, std::uint32_t, Farewell> {
public:
   using OrderedNode::OrderedNode;
   static AllocTrackTypeInfo memAllocationTracker_;
};

constinit AllocTrackTypeInfo KroFarewell::memAllocationTracker_{sizeof(KroFarewell), "KroFarewell"};

TEST(OrderedMap, survivesAReplacedValueThatRemovesItsKeyAsItGoes)
{
   OrderedMap<KroFarewell> sut;
   sut.is(1, Farewell([&sut] { sut.erase(1); }));

   sut.is(1, Farewell());

   EXPECT_TRUE(sut.empty());
}

} // namespace

} // namespace Kro::Test
