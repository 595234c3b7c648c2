#include "collections/Farewell.h"
#include "collections/Fragile.h"
#include "collections/HashKinds.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

// What only hash maps promise; the rest is in the suite of all collections.

namespace Kro::Test {

namespace {

using NamedMap = HashMapNamedKind::Collection;

TEST(HashMap, aKeyInTheValueIsNotStoredTwice)
{
   using Apart = HashMapNode<HN_Test, Orvo::String, Named, KeyApart>;
   using InValue = HashMapNode<HN_Test, Orvo::String, Named, NameOf>;
   using BehindPointer = HashMapNode<HN_Test, Orvo::String, Orvo::Ptr<Live>, LiveNameOf>;

   EXPECT_EQ(sizeof(InValue) + sizeof(Orvo::String), sizeof(Apart));
   EXPECT_EQ(sizeof(BehindPointer), sizeof(HashMapGeneric::Link) + sizeof(Orvo::String) + sizeof(void*));
}

TEST(HashMap, findsAnObjectUnderTheNameThatItHadWhenItWasAdded)
{
   HashMapPtrKind::Collection sut;
   auto const live = Orvo::make<Live>(1, 1);
   auto const name = live->value.name;
   sut.is(live);

   live->value.name = "another";

   ASSERT_NE(sut.find(name), nullptr);
   EXPECT_EQ(*sut.find(name), live);
   EXPECT_TRUE(sut.erase(name));
}

TEST(HashMap, insertAddsOnlyWhatIsNotThere)
{
   HashMap<HN_Test, Orvo::String, int> sut;

   EXPECT_TRUE(sut.insert("a", 1));
   EXPECT_FALSE(sut.insert("a", 2));

   EXPECT_EQ(*sut.find("a"), 1);
   EXPECT_EQ(sut.size(), 1U);
}

TEST(HashMap, valuesCanBeChangedWhereTheyAre)
{
   HashMap<HN_Test, Orvo::String, int> sut;

   sut.is("a", 1) += 1;
   *sut.find("a") += 1;

   EXPECT_EQ(*std::as_const(sut).find("a"), 3);
}

TEST(HashMap, holdsValuesThatCanOnlyBeMoved)
{
   HashMap<HN_Test, Orvo::String, std::unique_ptr<int>> sut;

   sut.is("a", std::make_unique<int>(1));
   auto const taken = sut.take("a");

   ASSERT_TRUE(taken.has_value());
   EXPECT_EQ(**taken, 1);
   EXPECT_TRUE(sut.empty());
}

TEST(HashMap, theKeysWithTheSmallestAndTheGreatestHashAreFirstAndLast)
{
   HashMap<HN_Test, Colliding::Key, int> sut;
   for (int number = 0; number < 30; ++number) {
      sut.is(Colliding::key(number), number);
   }

   std::vector<std::uint64_t> hashes;
   for (auto at = sut.begin(); at != sut.end(); ++at) {
      hashes.push_back(at.key().hash());
   }

   EXPECT_EQ(hashes.front(), 0U);
   EXPECT_EQ(hashes.back(), ~std::uint64_t{0});
   EXPECT_TRUE(std::is_sorted(hashes.begin(), hashes.end()));
}

TEST(HashMap, copiesUpToEightElementsWithoutAnArray)
{
   auto const& tracker = HashMapGeneric::memAllocationTracker_;
   HashMap<HN_Test, Orvo::String, int> original;
   for (int number = 0; number < 9; ++number) {
      original.is(Orvo::join("key", static_cast<unsigned>(number)), number);
   }
   auto const arraysBefore = tracker.arrayAllocations();

   auto const copyOfNine = original;
   EXPECT_EQ(tracker.arrayAllocations(), arraysBefore + 1);
   original.erase("key8");
   auto copyOfEight = original;
   EXPECT_EQ(tracker.arrayAllocations(), arraysBefore + 1);
   EXPECT_EQ(copyOfEight, original);
   copyOfEight.is("key8", 8);
   EXPECT_EQ(tracker.arrayAllocations(), arraysBefore + 2);

   EXPECT_EQ(copyOfEight, copyOfNine);
}

TEST(HashMap, aWalkGoesOnWhenTheArrayComesAndGoes)
{
   auto const& tracker = HashMapGeneric::memAllocationTracker_;
   auto const arraysBefore = tracker.liveArrayCount();
   HashMap<HN_Test, Colliding::Key, int> sut;
   auto const keyOf = [](int number) { return Colliding::key(number); };
   for (int number = 0; number < 8; ++number) {
      sut.is(keyOf(number), number);
   }
   std::vector<int> order(sut.begin(), sut.end());
   auto at = std::next(sut.begin(), 3);

   sut.is(keyOf(8), 8);
   ASSERT_EQ(tracker.liveArrayCount(), arraysBefore + 1);
   sut.erase(keyOf(8));
   EXPECT_EQ(*++at, order[4]);
   for (int const number : order) {
      if (number != order[7]) {
         sut.erase(keyOf(number));
      }
   }
   ASSERT_EQ(tracker.liveArrayCount(), arraysBefore);

   EXPECT_EQ(*++at, order[7]);
   EXPECT_EQ(++at, sut.end());
}

TEST(HashMap, addressesOfNeighboursHaveDifferentHashesThatFillTheTopBits)
{
   constexpr std::size_t count = 1024;
   std::vector<int> top(count);
   for (std::size_t i = 0; i < count; ++i) {
      auto const* const address = reinterpret_cast<int const*>(std::uintptr_t{0x7f0000000000} + 64 * i);
      ++top[HashMapKey<int const*>::hash(address) >> 54];
   }

   EXPECT_LE(*std::max_element(top.begin(), top.end()), 6); // evenly distributed ones would reach 5 or 6
}

TEST(HashMapDeathTest, aValueUnderAnotherKeyThanItsOwnEndsTheProcess)
{
   NamedMap sut;
   Named const value(1, 1);

   EXPECT_DEATH(sut.is("another", value), ": assertion failed: fwkKey\\(\\) == KeyFunktor\\(\\)\\( _value \\)\n$");
   EXPECT_DEATH(sut.insert("another", value), ": assertion failed: fwkKey\\(\\) == KeyFunktor\\(\\)\\( _value \\)\n$");

   sut.is(value.name, value);
   EXPECT_TRUE(sut.contains(value.name));
}

TEST(HashMapDeathTest, aRawCursorThatIsUsedAfterAChangeEndsTheProcess)
{
   NamedMap sut;
   sut.is(Named(1, 1));
   auto cursor = sut.rawBegin();
   ASSERT_NE(cursor.link(), nullptr);
   EXPECT_TRUE(cursor.isCurrent());

   sut.is(Named(2, 2));

   EXPECT_FALSE(cursor.isCurrent());
   EXPECT_DEATH(static_cast<void>(cursor.link()), ": assertion failed: version_ == hashMap_->version\\(\\)\n$");
   EXPECT_DEATH(cursor.advance(), ": assertion failed: version_ == hashMap_->version\\(\\)\n$");
}

TEST(HashMap, whatFailsLeavesNothingBehind)
{
   auto const& tracker = HashMapGeneric::memAllocationTracker_;
   auto const liveBefore = tracker.liveCount();
   auto const liveArraysBefore = tracker.liveArrayCount();
   {
      HashMap<HN_Test, Orvo::String, Fragile> original;
      HashMap<HN_Test, Orvo::String, Fragile> target;
      Fragile const value;
      Fragile::copiesLeft = 100;
      for (int number = 0; number < 20; ++number) {
         original.is(ShortText::key(number), value);
      }
      target.is("only", value);

      for (int copies = 0; copies < 20; ++copies) {
         Fragile::copiesLeft = copies;
         EXPECT_THROW(target = original, std::runtime_error);
      }
      Fragile::copiesLeft = 0;
      EXPECT_THROW(target.is("more", value), std::runtime_error);

      EXPECT_EQ(target.size(), 1U);
      EXPECT_TRUE(target.contains("only"));
      EXPECT_EQ(Fragile::live, 22);
   }
   EXPECT_EQ(Fragile::live, 0);
   EXPECT_EQ(tracker.liveCount(), liveBefore);
   EXPECT_EQ(tracker.liveArrayCount(), liveArraysBefore);
}

/// Calls back when it is destroyed.
struct Parting {
   explicit Parting(std::function<void()> theCall) : call(std::move(theCall)) {}

   Parting(Parting&&) = default;
   Parting(Parting const&) = delete;
   Parting& operator=(Parting const&) = delete;

   ~Parting()
   {
      if (call) {
         call();
      }
   }

   std::function<void()> call;
};

TEST(HashMap, destructorsOfValuesMayUseTheMap)
{
   HashMap<HN_Test, Orvo::String, Parting> sut;
   int calls = 0;
   sut.insert("a", Parting([&] {
                 ++calls;
                 EXPECT_FALSE(sut.contains("a"));
                 sut.erase("b");
              }));
   sut.insert("b", Parting([&] { ++calls; }));
   sut.insert("c", Parting([&] {
                 ++calls;
                 EXPECT_TRUE(sut.empty());
              }));

   sut.erase("a");
   EXPECT_EQ(sut.size(), 1U);
   sut.clear();

   EXPECT_EQ(calls, 3);
}

TEST(HashMap, erasingAtAnIteratorGivesAPlaceThatIsThereWhenTheDestructorErasesMore)
{
   std::vector<int const*> order;
   HashMap<HN_Test, int const*, Parting> sut;
   for (int number = 0; number < 4; ++number) {
      auto const* const key = Address::key(number);
      sut.insert(key, Parting([&sut, &order, key] {
                    if (key == order[1]) {
                       sut.erase(order[2]); // what the iterator would have come to
                    }
                 }));
   }
   for (auto at = sut.begin(); at != sut.end(); ++at) {
      order.push_back(at.key());
   }

   auto const at = sut.erase(++sut.begin());

   EXPECT_EQ(at.key(), order[3]);
   EXPECT_EQ(sut.size(), 2U);
}

// Built before main, destroyed after it: the destructor finds slab and trackers at work.
HashMap<HN_Test, Orvo::String, int> const early = [] {
   HashMap<HN_Test, Orvo::String, int> map;
   map.is("built before main", 5);
   return map;
}();

TEST(HashMap, canBeBuiltBeforeMain)
{
   ASSERT_NE(early.find("built before main"), nullptr);
   EXPECT_EQ(*early.find("built before main"), 5);
}

TEST(HashMap, survivesAReplacedValueThatRemovesItsKeyAsItGoes)
{
   HashMap<HN_Test, Orvo::String, Farewell> sut;
   sut.is("a", Farewell([&sut] { sut.erase("a"); }));

   sut.is("a", Farewell());

   EXPECT_TRUE(sut.empty());
}

} // namespace

} // namespace Kro::Test
