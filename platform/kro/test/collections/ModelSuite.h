#pragma once

#include "CollectionFixture.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <map>
#include <random>
#include <set>
#include <utility>
#include <vector>

/// Every kind of collection beside a `std::map`, through random operations.
///
/// The order of a collection is a function of its content, so elements are spoken of by their rank in it: then one model
/// tells for each kind both what is there and in which order it is walked over. What fails names its seed.
namespace Kro::Test {

template <class Kind>
class CollectionModel : public CollectionTest<Kind> {
protected:
   using Base = CollectionTest<Kind>;
   using Sut = typename Base::Sut;
   using Model = std::map<int, int>; ///< rank to content

   static constexpr std::array<unsigned, 3> seeds{1, 12345, 987654321};
   static constexpr int rankCount = 60; ///< few, so that random operations meet

   struct Both {
      Sut sut;
      Model model;
   };

   static int numberAt(int rank)
   {
      static auto const order = Base::inOrder(Base::upTo(rankCount));
      return order[static_cast<std::size_t>(rank)];
   }

   static typename Base::Key const& keyAt(int rank)
   {
      static auto const keys = [] {
         std::vector<typename Base::Key> all;
         for (int each = 0; each < rankCount; ++each) {
            all.push_back(Base::key(numberAt(each)));
         }
         return all;
      }();
      return keys[static_cast<std::size_t>(rank)];
   }

   int below(int bound) { return static_cast<int>(random_() % static_cast<unsigned>(bound)); }

   void seedIs(unsigned seed) { random_.seed(seed); }

   static void put(Both& both, int rank, int content)
   {
      Kind::put(both.sut, numberAt(rank), content);
      both.model[rank] = content;
   }

   static void erase(Both& both, int rank) { ASSERT_EQ(both.sut.erase(keyAt(rank)), both.model.erase(rank) == 1); }

   static void take(Both& both, int rank)
   {
      if constexpr (Kind::hasValues) {
         auto const taken = both.sut.take(keyAt(rank));
         auto const found = both.model.find(rank);
         ASSERT_EQ(static_cast<bool>(taken), found != both.model.end());
         if (taken) {
            ASSERT_EQ(Kind::contentOf(*taken), found->second);
            both.model.erase(found);
         }
      } else {
         erase(both, rank);
      }
   }

   /// A walk to the end that erases some of what it reaches.
   void eraseInAWalk(Both& both)
   {
      auto expected = both.model.begin();
      for (auto at = both.sut.begin(); at != both.sut.end();) {
         ASSERT_NE(expected, both.model.end());
         ASSERT_EQ(at.key(), keyAt(expected->first));
         if (below(3) == 0) {
            at = both.sut.erase(at);
            expected = both.model.erase(expected);
         } else {
            ++at;
            ++expected;
         }
      }
      ASSERT_EQ(expected, both.model.end());
   }

   static void expectSame(Both const& both)
   {
      ASSERT_EQ(both.sut.size(), both.model.size());
      ASSERT_EQ(both.sut.empty(), both.model.empty());
      auto at = both.sut.begin();
      for (auto const& [rank, content] : both.model) {
         ASSERT_NE(at, both.sut.end());
         ASSERT_EQ(at.key(), keyAt(rank));
         if constexpr (Kind::hasValues) {
            ASSERT_EQ(Kind::contentOf(*at), content);
         }
         ++at;
      }
      ASSERT_EQ(at, both.sut.end());
      for (int rank = 0; rank < rankCount; ++rank) {
         ASSERT_EQ(both.sut.contains(keyAt(rank)), both.model.contains(rank));
      }
   }

private:
   std::mt19937 random_;
};

TYPED_TEST_SUITE_P(CollectionModel);

TYPED_TEST_P(CollectionModel, severalCollectionsDoLikeTheirModelsWhateverIsDoneToThem)
{
   for (auto const seed : this->seeds) {
      SCOPED_TRACE(testing::Message() << "seed " << seed);
      this->seedIs(seed);
      std::array<typename TestFixture::Both, 3> all;
      for (int step = 0; step < 1'500; ++step) {
         SCOPED_TRACE(testing::Message() << "step " << step);
         auto& one = all[static_cast<std::size_t>(this->below(3))];
         auto& other = all[static_cast<std::size_t>(this->below(3))]; // may be the same
         int const action = this->below(100);
         if (action < 55) {
            this->put(one, this->below(this->rankCount), step);
         } else if (action < 70) {
            this->erase(one, this->below(this->rankCount));
         } else if (action < 75) {
            this->take(one, this->below(this->rankCount));
         } else if (action < 80) {
            this->eraseInAWalk(one);
         } else if (action < 82) {
            one.sut.clear();
            one.model.clear();
         } else if (action < 86) {
            one.sut = std::move(other.sut);
            if (&one != &other) {
               one.model = std::exchange(other.model, {});
            }
         } else if (action < 90) {
            std::swap(one.sut, other.sut);
            std::swap(one.model, other.model);
         } else if constexpr (TypeParam::isCopyable) {
            if (action < 95) {
               one.sut = other.sut;
               one.model = other.model;
            } else {
               auto copy = typename TestFixture::Both{other.sut, other.model};
               ASSERT_NO_FATAL_FAILURE(this->expectSame(copy));
               this->put(copy, this->below(this->rankCount), step);
               ASSERT_NO_FATAL_FAILURE(this->expectSame(other));
               one.sut = std::move(copy.sut);
               one.model = copy.model;
            }
         }
         ASSERT_NO_FATAL_FAILURE(this->expectSame(one));
         ASSERT_NO_FATAL_FAILURE(this->expectSame(other));
         if constexpr (TypeParam::isComparedByValue && TypeParam::hasValues) {
            ASSERT_EQ(one.sut == other.sut, one.model == other.model);
         }
      }
   }
}

/// One iterator goes on through all of it. `++` has to reach the first element behind its place; in a hash collection it
/// may pass over what was added since the step before.
TYPED_TEST_P(CollectionModel, aWalkFindsItsPlaceAgainWhateverIsDoneToTheCollection)
{
   for (auto const seed : this->seeds) {
      SCOPED_TRACE(testing::Message() << "seed " << seed);
      this->seedIs(seed);
      typename TestFixture::Both both;
      typename TestFixture::Both spare;
      auto at = both.sut.end();
      int place = -1;        // rank at which the iterator stands
      bool isThere = false;  // the element that it reached is still in the collection
      std::set<int> isAdded; // since the step before
      auto const isReached = [&] {
         auto expected = both.model.upper_bound(place);
         while (expected != both.model.end() && (at == both.sut.end() || at.key() != this->keyAt(expected->first))) {
            ASSERT_TRUE(!TypeParam::isOrdered && isAdded.contains(expected->first))
               << "passed over " << expected->first;
            ++expected;
         }
         ASSERT_EQ(at == both.sut.end(), expected == both.model.end());
         isThere = at != both.sut.end();
         place = isThere ? expected->first : -1;
         isAdded.clear();
         if constexpr (TypeParam::hasValues) {
            if (isThere) {
               ASSERT_EQ(TypeParam::contentOf(*at), expected->second);
            }
         }
      };
      auto const isReplaced = [&] { // by other content, whose elements are others even under the same keys
         isThere = false;
         for (auto const& element : both.model) {
            isAdded.insert(element.first);
         }
      };
      for (int step = 0; step < 3'000; ++step) {
         SCOPED_TRACE(testing::Message() << "step " << step);
         int const rank = this->below(this->rankCount);
         int const action = this->below(100);
         if (action < 30) {
            if (!both.model.contains(rank)) {
               isAdded.insert(rank);
            }
            this->put(both, rank, step);
         } else if (action < 45) {
            ASSERT_NO_FATAL_FAILURE(this->erase(both, rank));
            isThere = isThere && rank != place;
         } else if (action < 55 && isThere) {
            both.model.erase(place);
            at = both.sut.erase(at);
            ASSERT_NO_FATAL_FAILURE(isReached());
         } else if (action < 90) {
            if (at == both.sut.end()) {
               at = both.sut.begin();
               isAdded.clear();
               place = -1;
            } else {
               ++at;
            }
            ASSERT_NO_FATAL_FAILURE(isReached());
         } else if (action < 93) {
            this->put(spare, rank, step);
         } else if (action < 95) {
            std::swap(both.sut, spare.sut);
            std::swap(both.model, spare.model);
            isReplaced();
         } else if (action < 96) {
            both.sut.clear();
            both.model.clear();
            isThere = false;
         } else if constexpr (TypeParam::isCopyable) {
            if (action < 98) {
               both.sut = spare.sut;
               both.model = spare.model;
               isReplaced();
            }
         }
         ASSERT_EQ(both.sut.size(), both.model.size());
      }
      this->expectSame(both);
   }
}

REGISTER_TYPED_TEST_SUITE_P(
   CollectionModel, severalCollectionsDoLikeTheirModelsWhateverIsDoneToThem,
   aWalkFindsItsPlaceAgainWhateverIsDoneToTheCollection);

} // namespace Kro::Test
