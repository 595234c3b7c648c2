#include "collections/OrderedKinds.h"

#include <gtest/gtest.h>

// What only collections of entities promise; the rest is in the suite of all collections.

namespace Kro::Test {

namespace {

using Sut = OrderedEntities<Thing, std::int32_t>;

TEST(OrderedEntities, theEntityItselfIsTheMember)
{
   auto const thing = Orvo::make<Thing>(-5, 1, 2);
   Sut sut;

   sut.insert(thing);

   EXPECT_EQ(sut.find(-5), thing.get());
   EXPECT_EQ(&*sut.begin(), thing.get());
   EXPECT_EQ(thing->useCount.count(), 2U);
   EXPECT_TRUE(thing->isMember());
}

TEST(OrderedEntities, takeHandsTheReferenceOver)
{
   Sut sut;
   sut.insert(Orvo::make<Thing>(1, 1, 1));

   auto const thing = sut.take(1);

   ASSERT_TRUE(thing);
   EXPECT_EQ(thing->useCount.count(), 1U);
   EXPECT_FALSE(thing->isMember());
   EXPECT_FALSE(sut.take(1));
}

TEST(OrderedEntities, anEntityThatOthersUseOutlivesTheCollection)
{
   auto const thing = Orvo::make<Thing>(1, 1, 1);
   {
      Sut sut;
      sut.insert(thing);
   }

   EXPECT_EQ(thing->useCount.count(), 1U);
   EXPECT_FALSE(thing->isMember());
}

TEST(OrderedEntities, anEntityMayMoveToAnotherCollection)
{
   auto const thing = Orvo::make<Thing>(1, 1, 1);
   Sut one;
   Sut other;
   one.insert(thing);

   other.insert(one.take(1));

   EXPECT_EQ(other.find(1), thing.get());
   EXPECT_TRUE(one.empty());
}

TEST(OrderedEntitiesDeathTest, insertOfAnEntityOfAnotherCollectionEndsTheProcess)
{
   auto const thing = Orvo::make<Thing>(1, 1, 1);
   Sut sut;
   Sut other;
   sut.insert(thing);

   EXPECT_DEATH(other.insert(thing), ": assertion failed: element is already a member of an ordered collection\n$");
}

TEST(OrderedEntitiesDeathTest, insertOfAKeyThatExistsEndsTheProcess)
{
   Sut sut;
   sut.insert(Orvo::make<Thing>(1, 1, 1));
   auto const thing = Orvo::make<Thing>(1, 2, 2);

   EXPECT_DEATH(sut.insert(thing), ": assertion failed: duplicate key in an ordered map\n$");
}

TEST(OrderedEntitiesDeathTest, destroyingAMemberPastItsReferencesEndsTheProcess)
{
   auto const destroyAMember = [] {
      Sut sut;
      auto* const thing = new Thing(1, 1, 1);
      sut.insert(Orvo::Ptr<Thing>::adopt(thing));
      delete thing;
   };

   EXPECT_DEATH(destroyAMember(), ": assertion failed: element is destroyed as a member of an ordered collection\n$");
}

} // namespace

} // namespace Kro::Test
