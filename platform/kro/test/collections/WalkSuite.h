#pragma once

#include "CollectionFixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <utility>
#include <vector>

/// What every kind of collection promises about walks during which it changes.
namespace Kro::Test {

template <class Kind>
class CollectionWalk : public CollectionTest<Kind> {};

TYPED_TEST_SUITE_P(CollectionWalk);

TYPED_TEST_P(CollectionWalk, erasingAtAnIteratorGivesThePlaceBehindIt)
{
   auto const order = this->inOrder(this->upTo(10));
   auto sut = this->filled(order);
   auto at = sut.begin();
   ++at;

   at = sut.erase(at);

   EXPECT_EQ(this->numberOf(at.key()), order[2]);
   EXPECT_EQ(sut.size(), 9U);
   while (at != sut.end()) {
      at = sut.erase(at);
   }
   EXPECT_EQ(this->walk(sut), std::vector<int>{order[0]});
}

TYPED_TEST_P(CollectionWalk, erasingAtAnIteratorWhoseElementIsGoneErasesNothing)
{
   auto const order = this->inOrder(this->upTo(10));
   auto sut = this->filled(order);
   auto const at = sut.begin();
   sut.erase(this->key(order[0]));

   auto const next = sut.erase(at);

   EXPECT_EQ(sut.size(), 9U);
   EXPECT_EQ(this->numberOf(next.key()), order[1]);
}

TYPED_TEST_P(CollectionWalk, erasingAtAnIteratorAfterAnotherChangeErasesItsElement)
{
   auto const order = this->inOrder(this->upTo(10));
   auto sut = this->filled(order);
   auto const at = ++sut.begin();
   sut.erase(this->key(order[0]));

   auto const next = sut.erase(at);

   EXPECT_FALSE(sut.contains(this->key(order[1])));
   EXPECT_EQ(this->numberOf(next.key()), order[2]);
}

TYPED_TEST_P(CollectionWalk, aWalkThatErasesEachElementReachesAll)
{
   auto sut = this->filled(this->upTo(elementCount));
   int count = 0;

   for (auto at = sut.begin(); at != sut.end(); ++at) {
      auto const key = at.key();
      EXPECT_TRUE(sut.erase(key));
      ++count;
   }

   EXPECT_EQ(count, elementCount);
   EXPECT_TRUE(sut.empty());
}

TYPED_TEST_P(CollectionWalk, aWalkEndsWhenTheCollectionIsClearedInIt)
{
   auto sut = this->filled(this->upTo(10));
   auto at = ++sut.begin();

   sut.clear();
   EXPECT_NE(at, sut.end());
   ++at;

   EXPECT_EQ(at, sut.end());
}

TYPED_TEST_P(CollectionWalk, aWalkSkipsWhatWasErasedAheadOfIt)
{
   auto const order = this->inOrder(this->upTo(10));
   auto sut = this->filled(order);
   auto at = ++sut.begin();
   sut.erase(this->key(order[2]));
   sut.erase(this->key(order[1]));

   ++at;

   EXPECT_EQ(this->numberOf(at.key()), order[3]);
}

TYPED_TEST_P(CollectionWalk, aWalkDoesNotReachAnElementAgainThatWasErasedAndPutBack)
{
   auto const order = this->inOrder(this->upTo(10));
   auto sut = this->filled(order);
   auto at = ++sut.begin();
   sut.erase(this->key(order[1]));
   this->put(sut, order[1]);

   ++at;

   EXPECT_EQ(this->numberOf(at.key()), order[2]);
}

TYPED_TEST_P(CollectionWalk, twoIteratorsAtTheSameElementAreEqual)
{
   auto const sut = this->filled(this->upTo(10));
   auto one = sut.begin();
   auto other = sut.begin();

   EXPECT_EQ(one, other);
   EXPECT_EQ(one++, other);
   EXPECT_NE(one, other);
   EXPECT_EQ(one, ++other);
}

TYPED_TEST_P(CollectionWalk, erasingAtTheLastElementGivesTheEnd)
{
   auto const order = this->inOrder(this->upTo(2));
   auto sut = this->filled(order);

   EXPECT_EQ(sut.erase(++sut.begin()), sut.end());
   EXPECT_EQ(this->walk(sut), std::vector<int>{order[0]});
   EXPECT_EQ(sut.erase(sut.begin()), sut.end());
   EXPECT_TRUE(sut.empty());
}

TYPED_TEST_P(CollectionWalk, aWalkGoesOnBehindItsPlaceAfterEverythingElseWasErased)
{
   auto const order = this->inOrder(this->upTo(100));
   auto sut = this->filled(order);
   auto at = std::next(sut.begin(), 50);
   for (int const number : order) {
      if (number != order[50] && number != order[98]) {
         sut.erase(this->key(number));
      }
   }

   ++at;
   EXPECT_EQ(this->numberOf(at.key()), order[98]);
   EXPECT_EQ(++at, sut.end());
}

TYPED_TEST_P(CollectionWalk, aWalkGoesOnBehindItsPlaceAfterClearingAndRefilling)
{
   auto const order = this->inOrder(this->upTo(100));
   auto sut = this->filled(order);
   auto at = std::next(sut.begin(), 50);
   sut.clear();
   for (int const number : this->shuffled(order, 3)) {
      this->put(sut, number);
   }

   for (std::size_t i = 51; i < order.size(); ++i) {
      ++at;
      ASSERT_NE(at, sut.end());
      ASSERT_EQ(this->numberOf(at.key()), order[i]);
   }
   EXPECT_EQ(++at, sut.end());
}

TYPED_TEST_P(CollectionWalk, aWalkInACollectionThatGrowsReachesEachOldElementOnce)
{
   auto const arraysBefore = HashMapGeneric::memAllocationTracker_.arrayAllocations();
   constexpr int oldCount = 8;
   auto sut = this->filled(this->upTo(oldCount));
   std::map<int, int> reached;
   int added = oldCount;

   for (auto at = sut.begin(); at != sut.end(); ++at) {
      ++reached[this->numberOf(at.key())];
      for (int i = 0; i < 49 && added < elementCount; ++i) {
         this->put(sut, added++);
      }
   }

   EXPECT_EQ(sut.size(), static_cast<std::size_t>(elementCount));
   for (int number = 0; number < oldCount; ++number) {
      EXPECT_EQ(reached[number], 1);
   }
   for (auto const& [number, times] : reached) {
      EXPECT_EQ(times, 1) << number;
   }
   if constexpr (!TypeParam::isOrdered) {
      // 16, 32, … 512 buckets: each step was made, and during the walk.
      EXPECT_EQ(HashMapGeneric::memAllocationTracker_.arrayAllocations() - arraysBefore, 6U);
   }
}

TYPED_TEST_P(CollectionWalk, aWalkInACollectionThatShrinksReachesEachRemainingElementOnce)
{
   auto sut = this->filled(this->upTo(elementCount));
   auto const arraysBefore = HashMapGeneric::memAllocationTracker_.arrayAllocations();
   auto const victims = this->shuffled(this->upTo(elementCount), 4);
   std::size_t next = 0;
   std::vector<int> reached;

   for (auto at = sut.begin(); at != sut.end(); ++at) {
      reached.push_back(this->numberOf(at.key()));
      for (int i = 0; i < 50 && next < victims.size() - 4; ++i) {
         sut.erase(this->key(victims[next++]));
      }
   }

   EXPECT_EQ(sut.size(), 4U);
   for (int const number : this->walk(sut)) {
      EXPECT_EQ(std::count(reached.begin(), reached.end(), number), 1);
   }
   EXPECT_EQ(this->inOrder(reached), reached);
   EXPECT_EQ(std::adjacent_find(reached.begin(), reached.end()), reached.end());
   if constexpr (!TypeParam::isOrdered) {
      EXPECT_EQ(HashMapGeneric::memAllocationTracker_.arrayAllocations() - arraysBefore, 4U); // 256, … 32 buckets
   }
}

TYPED_TEST_P(CollectionWalk, aWalkGoesOnInWhatIsMovedOrSwappedIn)
{
   auto const order = this->inOrder(this->upTo(10));
   auto sut = this->filled(order);
   auto at = std::next(sut.begin(), 2);

   sut = this->filled({order[0], order[1], order[5], order[8]});
   ++at;
   EXPECT_EQ(this->numberOf(at.key()), order[5]);

   auto other = this->filled({order[4], order[5], order[9]});
   std::swap(sut, other);
   ++at;
   EXPECT_EQ(this->numberOf(at.key()), order[9]);
   EXPECT_EQ(++at, sut.end());
}

TYPED_TEST_P(CollectionWalk, walksOfOneCollectionDoNotDisturbEachOther)
{
   auto const order = this->inOrder(this->upTo(5));
   auto sut = this->filled(order);
   auto one = sut.begin();
   auto other = sut.begin();

   one = sut.erase(one);
   EXPECT_EQ(this->numberOf((++other).key()), order[1]);
   other = sut.erase(other);
   EXPECT_EQ(this->numberOf((++one).key()), order[2]);

   EXPECT_EQ(one, other);
   EXPECT_EQ(this->walk(sut), (std::vector<int>{order[2], order[3], order[4]}));
}

REGISTER_TYPED_TEST_SUITE_P(
   CollectionWalk, erasingAtAnIteratorGivesThePlaceBehindIt, erasingAtAnIteratorWhoseElementIsGoneErasesNothing,
   erasingAtAnIteratorAfterAnotherChangeErasesItsElement, aWalkThatErasesEachElementReachesAll,
   aWalkEndsWhenTheCollectionIsClearedInIt, aWalkSkipsWhatWasErasedAheadOfIt,
   aWalkDoesNotReachAnElementAgainThatWasErasedAndPutBack, twoIteratorsAtTheSameElementAreEqual,
   erasingAtTheLastElementGivesTheEnd, aWalkGoesOnBehindItsPlaceAfterEverythingElseWasErased,
   aWalkGoesOnBehindItsPlaceAfterClearingAndRefilling, aWalkInACollectionThatGrowsReachesEachOldElementOnce,
   aWalkInACollectionThatShrinksReachesEachRemainingElementOnce, aWalkGoesOnInWhatIsMovedOrSwappedIn,
   walksOfOneCollectionDoNotDisturbEachOther);

} // namespace Kro::Test
