#include <Quorvel/Core/Memory/Control/Collection.h>

#include "CollectionFixture.h"
#include "support/ChangeRecorder.h"
#include "support/MessageOf.h"
#include "support/TestMount.h"

#include <Kro/Exception.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace {

using Quorvel::Core::Memory::Control::Collection;
using Quorvel::Core::Memory::Control::Offsetter;
using Quorvel::Core::Memory::Control::Detail::Attribute;
using Quorvel::Core::Memory::Control::Detail::Group;
using Quorvel::Core::Test::ChangeRecorder;
using Quorvel::Core::Test::LongRingEntry;
using Quorvel::Core::Test::messageOf;
using Quorvel::Core::Test::RingEntry;
using testing::ElementsAre;
using testing::IsEmpty;

class ControlCollection : public Quorvel::Core::Test::CollectionFixture {};

TEST_F(ControlCollection, startsEmpty)
{
   auto const sut = make();

   EXPECT_EQ(sut->useCount(), 1U);
   EXPECT_TRUE(sut->attribute().empty());
   EXPECT_TRUE(sut->group().empty());
   EXPECT_EQ(sut->capacity(), 0U);
   EXPECT_EQ(sut->offsetter(), nullptr);
   EXPECT_EQ(&sut->fwkType(), &Collection::kroType);
   EXPECT_EQ(&sut->typeData(), &Collection::kroType);
   EXPECT_EQ(sut->publisher(), nullptr);
}

TEST_F(ControlCollection, keepsCapacityAndOffsetter)
{
   Offsetter const offsetter = [](std::uint32_t, std::uint32_t, std::uint32_t) { return 0U; };
   auto const sut = make(offsetter);

   sut->capacityIs(4294967295U);

   EXPECT_EQ(sut->capacity(), 4294967295U);
   EXPECT_EQ(sut->offsetter(), offsetter);
}

TEST_F(ControlCollection, attributeIsFindsOrMakesAnAttribute)
{
   auto const sut = make();

   auto const made = sut->attributeIs(5, 8);

   EXPECT_EQ(made->id(), 5);
   EXPECT_EQ(made->size(), 8U);
   EXPECT_EQ(sut->attributeIs(5, 8), made);
   EXPECT_EQ(sut->attribute(5), made.get());
   EXPECT_EQ(sut->attribute(6), nullptr);
   EXPECT_EQ(made->useCount(), 2U);
}

TEST_F(ControlCollection, attributeIsRefusesAnotherSize)
{
   auto const sut = make();
   auto const made = sut->attributeIs(5, 8);
   sut->attributeIs(-5, 8);

   auto const text = messageOf<Kro::ReinstantiatingException>([&] { sut->attributeIs(5, 16); });
   auto const negative = messageOf<Kro::ReinstantiatingException>([&] { sut->attributeIs(-5, 4); });

   EXPECT_EQ(text, "Memory/Control/Collection attribute 5: size=16 is asked for, but size=8 exists");
   EXPECT_EQ(negative, "Memory/Control/Collection attribute -5: size=4 is asked for, but size=8 exists");
   EXPECT_EQ(sut->attribute().size(), 2U);
   EXPECT_EQ(made->size(), 8U);
}

TEST_F(ControlCollection, attributesAscendBySignedNumber)
{
   auto const sut = make();
   for (std::int32_t const id : {5, -1, 0}) {
      sut->attributeIs(id, 8);
   }

   std::vector<std::int32_t> ids;
   for (auto const& attribute : sut->attribute()) {
      ids.push_back(attribute.id());
   }

   EXPECT_THAT(ids, ElementsAre(-1, 0, 5));
}

TEST_F(ControlCollection, attributesIsMakesOneForEachFieldOfTheEntries)
{
   auto const sut = make();

   sut->attributesIs(RingEntry::kroType);
   sut->attributesIs(RingEntry::kroType);

   EXPECT_EQ(sut->attribute().size(), 3U);
   EXPECT_EQ(sut->attribute(RingEntry::commandNumber)->size(), 16U);
   EXPECT_EQ(sut->attribute(RingEntry::statusNumber)->size(), 4U);
   EXPECT_EQ(sut->attribute(RingEntry::tailNumber)->size(), 12U);
}

TEST_F(ControlCollection, attributesIsTakesValuesAloneOfWhatATypeDeclares)
{
   auto const sut = make();

   // Two collections, one value, operations.
   sut->attributesIs(Collection::kroType);

   ASSERT_EQ(sut->attribute().size(), 1U);
   EXPECT_EQ(sut->attribute(134)->size(), sizeof(sut->capacity()));
}

TEST_F(ControlCollection, attributesIsRefusesAFieldOfAnotherSize)
{
   auto const sut = make();
   sut->attributeIs(RingEntry::statusNumber, 5);

   EXPECT_EQ(
      messageOf<Kro::ReinstantiatingException>([&] { sut->attributesIs(RingEntry::kroType); }),
      "Memory/Control/Collection attribute 3: size=4 is asked for, but size=5 exists");
}

TEST_F(ControlCollection, attributeDelHandsTheAttributeOver)
{
   auto const sut = make();
   sut->attributeIs(5, 8);
   sut->attributeIs(6, 8);
   sut->attributeIs(7, 8);

   auto const taken = sut->attributeDel(5);
   EXPECT_EQ(taken->useCount(), 1U);
   EXPECT_EQ(sut->attributeDel(5), nullptr);
   EXPECT_EQ(sut->attributeDel(sut->attribute().begin())->id(), 7);
   sut->attributeDelAll();

   EXPECT_TRUE(sut->attribute().empty());
}

TEST_F(ControlCollection, groupIsFindsOrMakesAGroup)
{
   auto const sut = make();

   auto const made = sut->groupIs(2, 10, 4);

   EXPECT_EQ(made->id(), 2U);
   EXPECT_EQ(made->head(), 10U);
   EXPECT_EQ(made->size(), 4U);
   EXPECT_EQ(sut->groupIs(2, 10, 4), made);
   EXPECT_EQ(sut->group(2), made.get());
   EXPECT_EQ(sut->group(3), nullptr);
   EXPECT_EQ(made->useCount(), 2U);
}

TEST_F(ControlCollection, groupIsRefusesAnotherHeadAndThenAnotherSize)
{
   auto const sut = make();
   sut->groupIs(2, 10, 4);

   auto const head = messageOf<Kro::ReinstantiatingException>([&] { sut->groupIs(2, 11, 4); });
   auto const both = messageOf<Kro::ReinstantiatingException>([&] { sut->groupIs(2, 9, 5); });
   auto const size = messageOf<Kro::ReinstantiatingException>([&] { sut->groupIs(2, 10, 5); });
   auto const smaller = messageOf<Kro::ReinstantiatingException>([&] { sut->groupIs(2, 10, 3); });

   EXPECT_EQ(head, "Memory/Control/Collection group 2: head=11 is asked for, but head=10 exists");
   EXPECT_EQ(both, "Memory/Control/Collection group 2: head=9 is asked for, but head=10 exists");
   EXPECT_EQ(size, "Memory/Control/Collection group 2: size=5 is asked for, but size=4 exists");
   EXPECT_EQ(smaller, "Memory/Control/Collection group 2: size=3 is asked for, but size=4 exists");
   EXPECT_EQ(sut->group().size(), 1U);
   EXPECT_EQ(sut->group(2)->size(), 4U);
}

TEST_F(ControlCollection, nodeOfAGroupIsMadeWithTheGroup)
{
   auto const node = Collection::KroGroup::groupIs(2, 10, 4);

   EXPECT_EQ(node->useCount(), 1U);
   EXPECT_EQ(node->key(), 2U);
   EXPECT_EQ(node->value()->id(), 2U);
   EXPECT_EQ(node->value()->head(), 10U);
   EXPECT_EQ(node->value()->size(), 4U);
   EXPECT_EQ(node->value()->useCount(), 1U);
}

TEST_F(ControlCollection, groupDelHandsTheGroupOverAndLeavesTheFieldsTheirStorage)
{
   auto const sut = make();
   join(*sut, 1, 4, sut->groupIs(0, 0, 8), "a");

   auto const taken = sut->groupDel(0);

   EXPECT_EQ(taken->useCount(), 2U);
   EXPECT_EQ(sut->groupDel(0), nullptr);
   EXPECT_EQ(sut->addressBus(1, 7), pinmem.addressBus("a") + 28);
}

TEST_F(ControlCollection, groupsAreDeletedAtAnIteratorOrAllTogether)
{
   auto const sut = make();
   for (std::uint32_t const id : {4294967295U, 1U, 0U}) {
      sut->groupIs(id, 0, 1);
   }

   EXPECT_EQ(sut->groupDel(sut->group().begin()).key(), 1U);
   EXPECT_EQ(sut->group().size(), 2U);
   sut->groupDelAll();

   EXPECT_TRUE(sut->group().empty());
}

TEST_F(ControlCollection, destructorLetsAttributesAndGroupsGoBeforeTheSynchronizer)
{
   auto const attributes = Attribute::memAllocationTracker_.liveCount();
   auto const groups = Group::memAllocationTracker_.liveCount();
   std::vector<std::uint64_t> left;
   auto sut = make();
   join(*sut, 1, 4, sut->groupIs(0, 0, 8), "a");
   std::shared_ptr<int> witness(new int(0), [&](int* value) {
      left = {Attribute::memAllocationTracker_.liveCount(), Group::memAllocationTracker_.liveCount()};
      delete value;
   });
   sut->synchronizerIs([held = std::move(witness)](std::uint32_t) {});
   ASSERT_THAT(left, IsEmpty());

   sut.reset();

   EXPECT_THAT(left, ElementsAre(attributes, groups));
   EXPECT_EQ(store().chunk("a")->useCount(), 2U);
}

TEST_F(ControlCollection, destructorMarksTheCollectionAndLetsAttributesGoBeforeGroups)
{
   ChangeRecorder changes(*store().publisher());
   {
      Collection sut(nullptr); // not counted, so that nobody else marks it
      join(sut, 1, 4, sut.groupIs(0, 0, 8), "a");
      // The attribute has the last reference to its chunk; another of the name makes its end heard.
      store().chunkDel("a");
      store().chunkIs("a", 4096, false);
      EXPECT_FALSE(sut.isBeingDestroyed());
      changes.thenDo([&](Orvo::Change const&) {
         EXPECT_TRUE(sut.isBeingDestroyed());
         EXPECT_TRUE(sut.attribute().empty());
         EXPECT_EQ(sut.group().size(), 1U);
      });
   }

   EXPECT_THAT(changes.changes(), testing::SizeIs(4));
}

TEST_F(ControlCollection, comesFromTheSlabAndIsTrackedWithItsNodes)
{
   auto const collections = Collection::memAllocationTracker_.liveCount();
   auto const nodes = Collection::KroGroup::memAllocationTracker_.liveCount();
   {
      auto const sut = make();
      sut->groupIs(0, 0, 1);
      sut->groupIs(0, 0, 1);
      EXPECT_EQ(Collection::memAllocationTracker_.liveCount(), collections + 1);
      EXPECT_EQ(Collection::KroGroup::memAllocationTracker_.liveCount(), nodes + 1);
   }
   EXPECT_EQ(Collection::memAllocationTracker_.liveCount(), collections);
   EXPECT_EQ(Collection::KroGroup::memAllocationTracker_.liveCount(), nodes);
}

TEST_F(ControlCollection, composeNameAppendsControl)
{
   EXPECT_EQ(Collection::composeName("ring"), "ringControl");
   EXPECT_EQ(Collection::composeName(""), "Control");
}

TEST_F(ControlCollection, attributesIsTakesInheritedFields)
{
   auto const sut = make();

   sut->attributesIs(LongRingEntry::kroType);

   EXPECT_EQ(sut->attribute().size(), 4U);
   ASSERT_NE(sut->attribute(RingEntry::statusNumber), nullptr);
   ASSERT_NE(sut->attribute(LongRingEntry::extraNumber), nullptr);
   EXPECT_EQ(sut->attribute(RingEntry::statusNumber)->size(), 4U);
   EXPECT_EQ(sut->attribute(LongRingEntry::extraNumber)->size(), 8U);
}

} // namespace
