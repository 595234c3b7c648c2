#pragma once

#include "CollectionFixture.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

/// What every kind of collection promises about what it holds.
namespace Kro::Test {

template <class Kind>
class CollectionContent : public CollectionTest<Kind> {};

TYPED_TEST_SUITE_P(CollectionContent);

TYPED_TEST_P(CollectionContent, isEmptyAtFirstAndHasAllocatedNothing)
{
   auto const arraysBefore = HashMapGeneric::memAllocationTracker_.arrayAllocations();

   typename TestFixture::Sut const sut;

   EXPECT_TRUE(sut.empty());
   EXPECT_EQ(sut.size(), 0U);
   EXPECT_EQ(sut.begin(), sut.end());
   EXPECT_EQ(sut.find(this->key(0)), nullptr);
   EXPECT_FALSE(sut.contains(this->key(0)));
   EXPECT_EQ(HashMapGeneric::memAllocationTracker_.arrayAllocations(), arraysBefore);
}

TYPED_TEST_P(CollectionContent, findsWhatWasPutAndNothingElse)
{
   auto const sut = this->filled(this->shuffled(this->upTo(elementCount - 1), 1));

   EXPECT_EQ(sut.size(), static_cast<std::size_t>(elementCount - 1));
   for (int number = 0; number < elementCount - 1; ++number) {
      ASSERT_TRUE(sut.contains(this->key(number)));
      ASSERT_NE(sut.find(this->key(number)), nullptr);
      if constexpr (TypeParam::hasValues) {
         ASSERT_EQ(TypeParam::contentOf(*sut.find(this->key(number))), number);
      }
   }
   EXPECT_FALSE(sut.contains(this->key(elementCount - 1)));
   EXPECT_EQ(sut.find(this->key(elementCount - 1)), nullptr);
}

TYPED_TEST_P(CollectionContent, eachElementIsOneTrackedAllocation)
{
   auto const before = TypeParam::liveNodes();
   auto sut = this->filled(this->upTo(20));
   EXPECT_EQ(TypeParam::liveNodes(), before + 20);

   TypeParam::put(sut, 7, 700);
   EXPECT_EQ(TypeParam::liveNodes(), before + 20);
   sut.erase(this->key(7));
   EXPECT_EQ(TypeParam::liveNodes(), before + 19);
   sut.clear();
   EXPECT_EQ(TypeParam::liveNodes(), before);
}

TYPED_TEST_P(CollectionContent, puttingAgainReplacesTheValueInItsPlace)
{
   auto sut = this->filled(this->upTo(20));
   auto const* const before = sut.find(this->key(7));

   TypeParam::put(sut, 7, 700);

   EXPECT_EQ(sut.size(), 20U);
   EXPECT_EQ(sut.find(this->key(7)), before);
   EXPECT_EQ(this->walk(sut), this->inOrder(this->upTo(20)));
   if constexpr (TypeParam::hasValues) {
      EXPECT_EQ(TypeParam::contentOf(*sut.find(this->key(7))), 700);
   }
}

TYPED_TEST_P(CollectionContent, walksInAnOrderThatDependsOnTheContentAlone)
{
   for (int const count : {1, 2, 3, 7, 8, 9, 63, 64, 65, elementCount}) {
      auto const numbers = this->upTo(count);

      EXPECT_EQ(this->walk(this->filled(numbers)), this->inOrder(numbers));
      EXPECT_EQ(this->walk(this->filled(this->shuffled(numbers, 2))), this->inOrder(numbers));

      auto grownAndShrunk = this->filled(this->upTo(elementCount));
      for (int number = count; number < elementCount; ++number) {
         grownAndShrunk.erase(this->key(number));
      }
      EXPECT_EQ(this->walk(grownAndShrunk), this->inOrder(numbers));
   }
}

TYPED_TEST_P(CollectionContent, erasesByKeyWhatIsThere)
{
   auto sut = this->filled({1, 2, 3});

   EXPECT_TRUE(sut.erase(this->key(2)));
   EXPECT_FALSE(sut.erase(this->key(2)));
   EXPECT_FALSE(sut.erase(this->key(0)));

   EXPECT_EQ(this->walk(sut), this->inOrder({1, 3}));
}

TYPED_TEST_P(CollectionContent, erasesAlsoByTheKeyThatTheElementHolds)
{
   auto sut = this->filled(this->upTo(5));

   while (!sut.empty()) {
      auto const at = sut.begin();
      EXPECT_TRUE(sut.erase(at.key()));
   }

   EXPECT_EQ(sut.begin(), sut.end());
}

TYPED_TEST_P(CollectionContent, takeGivesTheValueBackAndLeavesNothing)
{
   if constexpr (TypeParam::hasValues) {
      auto sut = this->filled({1, 2, 3});

      auto const taken = sut.take(this->key(2));
      auto const again = sut.take(this->key(2));

      ASSERT_TRUE(static_cast<bool>(taken));
      EXPECT_EQ(TypeParam::contentOf(*taken), 2);
      EXPECT_FALSE(static_cast<bool>(again));
      EXPECT_EQ(this->walk(sut), this->inOrder({1, 3}));
   }
}

TYPED_TEST_P(CollectionContent, clearingLeavesAnEmptyCollectionThatCanBeUsedAgain)
{
   auto sut = this->filled(this->upTo(100));

   sut.clear();
   EXPECT_TRUE(sut.empty());
   EXPECT_EQ(sut.begin(), sut.end());
   sut.clear();

   this->put(sut, 5);
   EXPECT_EQ(this->walk(sut), std::vector<int>{5});
}

TYPED_TEST_P(CollectionContent, everyChangeRaisesTheVersionAndNothingElseDoes)
{
   typename TestFixture::Sut sut;
   auto last = sut.version();
   auto const isRaised = [&] { return std::exchange(last, sut.version()) < last; };

   this->put(sut, 1);
   EXPECT_TRUE(isRaised());
   this->put(sut, 2);
   EXPECT_TRUE(isRaised());
   sut.erase(this->key(1));
   EXPECT_TRUE(isRaised());
   sut.erase(sut.begin());
   EXPECT_TRUE(isRaised());
   sut.clear();
   EXPECT_TRUE(isRaised());
   {
      auto other = std::move(sut);
      EXPECT_TRUE(isRaised());
      sut = std::move(other);
      EXPECT_TRUE(isRaised());
   }

   sut.erase(this->key(1));
   static_cast<void>(sut.find(this->key(1)));
   this->walk(sut);
   EXPECT_FALSE(isRaised());
}

REGISTER_TYPED_TEST_SUITE_P(
   CollectionContent, isEmptyAtFirstAndHasAllocatedNothing, findsWhatWasPutAndNothingElse,
   eachElementIsOneTrackedAllocation, puttingAgainReplacesTheValueInItsPlace,
   walksInAnOrderThatDependsOnTheContentAlone, erasesByKeyWhatIsThere, erasesAlsoByTheKeyThatTheElementHolds,
   takeGivesTheValueBackAndLeavesNothing, clearingLeavesAnEmptyCollectionThatCanBeUsedAgain,
   everyChangeRaisesTheVersionAndNothingElseDoes);

} // namespace Kro::Test
