#pragma once

#include "CollectionKinds.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <numeric>
#include <random>
#include <set>
#include <vector>

/// What every kind of collection promises, ordered or hashed, map, set or entities. The kinds are named in the sources
/// that include this.
namespace Kro::Test {

template <class Kind>
class Collection : public testing::Test {
protected:
   using Sut = typename Kind::Collection;
   using Key = typename Kind::Key;

   Collection()
      : liveNodesBefore_(Kind::liveNodes()), liveArraysBefore_(HashMapGeneric::memAllocationTracker_.liveArrayCount())
   {}

   ~Collection() override
   {
      EXPECT_EQ(Witness::live, 0);
      EXPECT_EQ(Kind::liveNodes(), liveNodesBefore_);
      EXPECT_EQ(HashMapGeneric::memAllocationTracker_.liveArrayCount(), liveArraysBefore_);
   }

   static Key key(int number) { return Kind::key(number); }

   static void put(Sut& sut, int number) { Kind::put(sut, number, number); }

   static Sut filled(std::vector<int> const& numbers)
   {
      Sut sut;
      for (int const number : numbers) {
         put(sut, number);
      }
      return sut;
   }

   static std::vector<int> upTo(int count)
   {
      std::vector<int> numbers(static_cast<std::size_t>(count));
      std::iota(numbers.begin(), numbers.end(), 0);
      return numbers;
   }

   static std::vector<int> shuffled(std::vector<int> numbers, unsigned seed)
   {
      std::shuffle(numbers.begin(), numbers.end(), std::mt19937(seed));
      return numbers;
   }

   /// The numbers in the order in which a collection walks over them.
   static std::vector<int> inOrder(std::vector<int> numbers)
   {
      std::sort(numbers.begin(), numbers.end(), Kind::isBefore);
      return numbers;
   }

   static int numberOf(Key const& wanted)
   {
      static auto const numbers = [] {
         std::map<Key, int> all;
         for (int number = 0; number < elementCount; ++number) {
            all.emplace(key(number), number);
         }
         return all;
      }();
      return numbers.at(wanted);
   }

   static std::vector<int> walk(Sut const& sut)
   {
      std::vector<int> numbers;
      for (auto at = sut.begin(); at != sut.end(); ++at) {
         numbers.push_back(numberOf(at.key()));
      }
      return numbers;
   }

private:
   std::uint64_t liveNodesBefore_;
   std::uint64_t liveArraysBefore_;
};

TYPED_TEST_SUITE_P(Collection);

TYPED_TEST_P(Collection, isEmptyAtFirstAndHasAllocatedNothing)
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

TYPED_TEST_P(Collection, findsWhatWasPutAndNothingElse)
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

TYPED_TEST_P(Collection, puttingAgainReplacesTheValueInItsPlace)
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

TYPED_TEST_P(Collection, walksInAnOrderThatDependsOnTheContentAlone)
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

TYPED_TEST_P(Collection, erasesByKeyWhatIsThere)
{
   auto sut = this->filled({1, 2, 3});

   EXPECT_TRUE(sut.erase(this->key(2)));
   EXPECT_FALSE(sut.erase(this->key(2)));
   EXPECT_FALSE(sut.erase(this->key(0)));

   EXPECT_EQ(this->walk(sut), this->inOrder({1, 3}));
}

TYPED_TEST_P(Collection, erasesAlsoByTheKeyThatTheElementHolds)
{
   auto sut = this->filled(this->upTo(5));

   while (!sut.empty()) {
      auto const at = sut.begin();
      EXPECT_TRUE(sut.erase(at.key()));
   }

   EXPECT_EQ(sut.begin(), sut.end());
}

TYPED_TEST_P(Collection, takeGivesTheValueBackAndLeavesNothing)
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

TYPED_TEST_P(Collection, clearingLeavesAnEmptyCollectionThatCanBeUsedAgain)
{
   auto sut = this->filled(this->upTo(100));

   sut.clear();
   EXPECT_TRUE(sut.empty());
   EXPECT_EQ(sut.begin(), sut.end());
   sut.clear();

   this->put(sut, 5);
   EXPECT_EQ(this->walk(sut), std::vector<int>{5});
}

TYPED_TEST_P(Collection, everyChangeRaisesTheVersionAndNothingElseDoes)
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

TYPED_TEST_P(Collection, copyingAndAssigningGiveAnEqualIndependentCollectionInTheSameOrder)
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

TYPED_TEST_P(Collection, assigningItselfChangesNothing)
{
   if constexpr (TypeParam::isCopyable) {
      auto sut = this->filled(this->upTo(10));
      auto const& itself = sut;

      sut = itself;

      EXPECT_EQ(this->walk(sut), this->inOrder(this->upTo(10)));
   }
}

TYPED_TEST_P(Collection, movingTakesTheElementsOverAndLeavesTheSourceEmptyAndUsable)
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

TYPED_TEST_P(Collection, equalityComparesKeysAndValues)
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

TYPED_TEST_P(Collection, erasingAtAnIteratorGivesThePlaceBehindIt)
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

TYPED_TEST_P(Collection, erasingAtAnIteratorWhoseElementIsGoneErasesNothing)
{
   auto const order = this->inOrder(this->upTo(10));
   auto sut = this->filled(order);
   auto const at = sut.begin();
   sut.erase(this->key(order[0]));

   auto const next = sut.erase(at);

   EXPECT_EQ(sut.size(), 9U);
   EXPECT_EQ(this->numberOf(next.key()), order[1]);
}

TYPED_TEST_P(Collection, erasingAtAnIteratorAfterAnotherChangeErasesItsElement)
{
   auto const order = this->inOrder(this->upTo(10));
   auto sut = this->filled(order);
   auto const at = ++sut.begin();
   sut.erase(this->key(order[0]));

   auto const next = sut.erase(at);

   EXPECT_FALSE(sut.contains(this->key(order[1])));
   EXPECT_EQ(this->numberOf(next.key()), order[2]);
}

TYPED_TEST_P(Collection, aWalkThatErasesEachElementReachesAll)
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

TYPED_TEST_P(Collection, aWalkEndsWhenTheCollectionIsClearedInIt)
{
   auto sut = this->filled(this->upTo(10));
   auto at = ++sut.begin();

   sut.clear();
   EXPECT_NE(at, sut.end());
   ++at;

   EXPECT_EQ(at, sut.end());
}

TYPED_TEST_P(Collection, aWalkSkipsWhatWasErasedAheadOfIt)
{
   auto const order = this->inOrder(this->upTo(10));
   auto sut = this->filled(order);
   auto at = ++sut.begin();
   sut.erase(this->key(order[2]));
   sut.erase(this->key(order[1]));

   ++at;

   EXPECT_EQ(this->numberOf(at.key()), order[3]);
}

TYPED_TEST_P(Collection, aWalkDoesNotReachAnElementAgainThatWasErasedAndPutBack)
{
   auto const order = this->inOrder(this->upTo(10));
   auto sut = this->filled(order);
   auto at = ++sut.begin();
   sut.erase(this->key(order[1]));
   this->put(sut, order[1]);

   ++at;

   EXPECT_EQ(this->numberOf(at.key()), order[2]);
}

TYPED_TEST_P(Collection, twoIteratorsAtTheSameElementAreEqual)
{
   auto const sut = this->filled(this->upTo(10));
   auto one = sut.begin();
   auto other = sut.begin();

   EXPECT_EQ(one, other);
   EXPECT_EQ(one++, other);
   EXPECT_NE(one, other);
   EXPECT_EQ(one, ++other);
}

/// Random changes, a model beside them, and walks that go on through all of it.
TYPED_TEST_P(Collection, behavesLikeAModelThroughRandomChangesAndWalks)
{
   typename TestFixture::Sut sut;
   std::map<int, int> model;
   std::mt19937 random(12345);
   auto const below = [&](int bound) { return static_cast<int>(random() % static_cast<unsigned>(bound)); };

   auto at = sut.end();
   std::set<int> due;  // were there when the walk began, are there still, and have not been reached
   std::set<int> seen; // have been reached
   auto const erased = [&](int number) {
      model.erase(number);
      due.erase(number);
   };
   bool isAtErased = false;

   for (int step = 0; step < 20'000; ++step) {
      // Phases of growing and of shrinking.
      int const number = below(elementCount);
      int const action = below(100);
      int const chanceToPut = (step / 1'000) % 2 == 0 ? 50 : 20;
      if (action < chanceToPut) {
         TypeParam::put(sut, number, step);
         model[number] = step;
      } else if (action < 60) {
         bool const wasThere = model.contains(number);
         isAtErased = isAtErased || (at != sut.end() && wasThere && this->numberOf(at.key()) == number);
         ASSERT_EQ(sut.erase(this->key(number)), wasThere);
         erased(number);
      } else if (action < 65 && at != sut.end() && !isAtErased) {
         erased(this->numberOf(at.key()));
         at = sut.erase(at);
         if (at != sut.end()) {
            int const reached = this->numberOf(at.key());
            ASSERT_TRUE(seen.insert(reached).second);
            due.erase(reached);
         }
      } else if (action < 95) {
         if (at == sut.end()) {
            ASSERT_TRUE(due.empty()) << "the walk has missed an element";
            seen.clear();
            at = sut.begin();
            for (auto const& element : model) {
               due.insert(element.first);
            }
         } else {
            ++at;
         }
         isAtErased = false;
         if (at != sut.end()) {
            int const reached = this->numberOf(at.key());
            ASSERT_TRUE(model.contains(reached));
            ASSERT_TRUE(seen.insert(reached).second) << "the walk has reached an element twice";
            due.erase(reached);
            if constexpr (TypeParam::hasValues) {
               ASSERT_EQ(TypeParam::contentOf(*at), model.at(reached));
            }
            if constexpr (TypeParam::isOrdered) {
               // Whatever is smaller is behind, whether it was there at the beginning or not.
               ASSERT_TRUE(due.empty() || *due.begin() > reached);
            }
         }
      } else if (step % 500 == 0) {
         sut.clear();
         model.clear();
         due.clear();
         isAtErased = true;
      }
      ASSERT_EQ(sut.size(), model.size());
   }
   std::vector<int> numbers;
   for (auto const& element : model) {
      numbers.push_back(element.first);
   }
   EXPECT_EQ(this->walk(sut), this->inOrder(numbers));
}

REGISTER_TYPED_TEST_SUITE_P(
   Collection, isEmptyAtFirstAndHasAllocatedNothing, findsWhatWasPutAndNothingElse,
   puttingAgainReplacesTheValueInItsPlace, walksInAnOrderThatDependsOnTheContentAlone, erasesByKeyWhatIsThere,
   erasesAlsoByTheKeyThatTheElementHolds, takeGivesTheValueBackAndLeavesNothing,
   clearingLeavesAnEmptyCollectionThatCanBeUsedAgain, everyChangeRaisesTheVersionAndNothingElseDoes,
   copyingAndAssigningGiveAnEqualIndependentCollectionInTheSameOrder, assigningItselfChangesNothing,
   movingTakesTheElementsOverAndLeavesTheSourceEmptyAndUsable, equalityComparesKeysAndValues,
   erasingAtAnIteratorGivesThePlaceBehindIt, erasingAtAnIteratorWhoseElementIsGoneErasesNothing,
   erasingAtAnIteratorAfterAnotherChangeErasesItsElement, aWalkThatErasesEachElementReachesAll,
   aWalkEndsWhenTheCollectionIsClearedInIt, aWalkSkipsWhatWasErasedAheadOfIt,
   aWalkDoesNotReachAnElementAgainThatWasErasedAndPutBack, twoIteratorsAtTheSameElementAreEqual,
   behavesLikeAModelThroughRandomChangesAndWalks);

} // namespace Kro::Test
