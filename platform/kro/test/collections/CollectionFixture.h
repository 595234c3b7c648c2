#pragma once

#include "Witness.h"

#include <Kro/HashMapGeneric.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <numeric>
#include <random>
#include <vector>

/// What the suites of tests that run over every kind of collection start from. `ContentSuite.h`, `CopySuite.h`,
/// `WalkSuite.h` and `ModelSuite.h` say what each kind promises, ordered or hashed, map, set or entities; the sources
/// `…CollectionTest.cpp` name the kinds.
namespace Kro::Test {

template <class Kind>
class CollectionTest : public testing::Test {
protected:
   using Sut = typename Kind::Collection;
   using Key = typename Kind::Key;

   CollectionTest()
      : liveNodesBefore_(Kind::liveNodes()), liveArraysBefore_(HashMapGeneric::memAllocationTracker_.liveArrayCount())
   {}

   ~CollectionTest() override
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

} // namespace Kro::Test
