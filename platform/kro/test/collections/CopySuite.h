#pragma once

#include "CollectionFixture.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

/// What every kind of collection promises about copies, moves and equality.
namespace Kro::Test {

template <class Kind>
class CollectionCopy : public CollectionTest<Kind> {};

TYPED_TEST_SUITE_P(CollectionCopy);

TYPED_TEST_P(CollectionCopy, copyingAndAssigningGiveAnEqualIndependentCollectionInTheSameOrder)
{
   if constexpr (TypeParam::isCopyable) {
      for (int const count : {0, 1, 8, 9, elementCount - 1}) {
         auto original = this->filled(this->upTo(count));

         auto const copy = original;
         auto assigned = this->filled({elementCount - 1});
         assigned = original;

         EXPECT_EQ(copy, original);
         EXPECT_EQ(assigned, original);
         EXPECT_EQ(this->walk(copy), this->walk(original));

         this->put(original, elementCount - 1);
         EXPECT_NE(copy, original);
         EXPECT_EQ(copy.size(), static_cast<std::size_t>(count));
         EXPECT_TRUE(original.contains(this->key(elementCount - 1)));
      }
   }
}

TYPED_TEST_P(CollectionCopy, assigningItselfChangesNothing)
{
   if constexpr (TypeParam::isCopyable) {
      auto sut = this->filled(this->upTo(10));
      auto const& itself = sut;

      sut = itself;

      EXPECT_EQ(this->walk(sut), this->inOrder(this->upTo(10)));
   }
}

TYPED_TEST_P(CollectionCopy, movingTakesTheElementsOverAndLeavesTheSourceEmptyAndUsable)
{
   auto source = this->filled(this->upTo(20));
   auto const* const element = source.find(this->key(3));

   auto sut = std::move(source);
   EXPECT_EQ(sut.find(this->key(3)), element);
   EXPECT_EQ(this->walk(sut), this->inOrder(this->upTo(20)));
   EXPECT_TRUE(source.empty());

   this->put(source, 5);
   sut = std::move(source);
   EXPECT_EQ(this->walk(sut), std::vector<int>{5});
   EXPECT_TRUE(source.empty());
}

TYPED_TEST_P(CollectionCopy, equalityComparesKeysAndValues)
{
   if constexpr (TypeParam::isComparedByValue) {
      auto const one = this->filled({1, 2, 3});

      EXPECT_EQ(one, this->filled({3, 1, 2}));
      EXPECT_NE(one, this->filled({1, 2}));
      EXPECT_NE(one, this->filled({1, 2, 4}));
      if constexpr (TypeParam::hasValues) {
         auto other = one;
         TypeParam::put(other, 3, 300);
         EXPECT_NE(one, other);
      }
   }
}

REGISTER_TYPED_TEST_SUITE_P(
   CollectionCopy, copyingAndAssigningGiveAnEqualIndependentCollectionInTheSameOrder, assigningItselfChangesNothing,
   movingTakesTheElementsOverAndLeavesTheSourceEmptyAndUsable, equalityComparesKeysAndValues);

} // namespace Kro::Test
