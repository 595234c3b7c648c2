#include <Quorvel/Core/Memory/Control/Detail/Attribute.h>

#include "AttributeFixture.h"
#include "support/ChangeRecorder.h"
#include "support/MessageOf.h"

#include <Kro/Exception.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <vector>

namespace {

using Quorvel::Core::Test::ChangeRecorder;
using Quorvel::Core::Test::messageOf;
using testing::ElementsAre;

class ControlAttribute : public Quorvel::Core::Test::AttributeFixture {
protected:
   template <class Collection>
   static std::vector<std::uint32_t> keysOf(Collection const& collection)
   {
      std::vector<std::uint32_t> keys;
      for (auto at = collection.begin(); at != collection.end(); ++at) {
         keys.push_back(at.key());
      }
      return keys;
   }
};

TEST_F(ControlAttribute, takesIdAndSizeAndIsEmpty)
{
   auto const negative = Orvo::make<Attribute>(std::numeric_limits<std::int32_t>::min(), 4294967295U);

   EXPECT_EQ(sut->id(), 5);
   EXPECT_EQ(sut->size(), 16U);
   EXPECT_EQ(sut->useCount(), 1U);
   EXPECT_TRUE(sut->group().empty());
   EXPECT_TRUE(sut->chunk().empty());
   EXPECT_EQ(negative->id(), std::numeric_limits<std::int32_t>::min());
   EXPECT_EQ(negative->size(), 4294967295U);
   EXPECT_EQ(&sut->fwkType(), &Attribute::kroType);
   EXPECT_EQ(&sut->typeData(), &Attribute::kroType);
}

TEST_F(ControlAttribute, groupIsKeepsTheGroupUnderItsId)
{
   auto const group = groupOf(7, 0, 10);

   sut->groupIs(group);

   EXPECT_EQ(sut->group(7), group.get());
   EXPECT_EQ(sut->group(8), nullptr);
   EXPECT_EQ(group->useCount(), 2U);
}

TEST_F(ControlAttribute, groupIsOfTheSameGroupAgainDoesNothing)
{
   auto const group = groupOf(7, 0, 10);
   sut->groupIs(group);
   auto const version = sut->group().version();

   sut->groupIs(group);

   EXPECT_EQ(group->useCount(), 2U);
   EXPECT_EQ(sut->group().version(), version);
}

TEST_F(ControlAttribute, groupIsReplacesAnotherGroupOfTheId)
{
   auto const first = groupOf(7, 0, 10);
   auto const second = groupOf(7, 5, 6);
   sut->groupIs(first);

   sut->groupIs(second);

   EXPECT_EQ(sut->group().size(), 1U);
   EXPECT_EQ(sut->group(7), second.get());
   EXPECT_EQ(first->useCount(), 1U);
   EXPECT_EQ(second->useCount(), 2U);
}

TEST_F(ControlAttribute, groupIsRefusesNull)
{
   auto const refusal = [&] { return messageOf<Kro::ArgNullPointerException>([&] { sut->groupIs(nullptr); }); };
   EXPECT_EQ(refusal(), "Memory/Control/Collection: group cannot be null");
   sut->groupIs(groupOf(7, 0, 10));

   EXPECT_EQ(refusal(), "Memory/Control/Collection: group cannot be null");

   EXPECT_THAT(keysOf(sut->group()), ElementsAre(7));
}

TEST_F(ControlAttribute, groupDelHandsTheGroupOver)
{
   sut->groupIs(groupOf(7, 0, 10));

   auto const group = sut->groupDel(7);

   EXPECT_EQ(group->useCount(), 1U);
   EXPECT_EQ(sut->groupDel(7), nullptr);
   EXPECT_TRUE(sut->group().empty());
}

TEST_F(ControlAttribute, groupsAscendAndAreDeletedAtAnIteratorOrAllTogether)
{
   for (std::uint32_t const id : {4294967295U, 1U, 0U}) {
      sut->groupIs(groupOf(id, 0, 1));
   }
   EXPECT_THAT(keysOf(sut->group()), ElementsAre(0, 1, 4294967295U));

   auto const next = sut->groupDel(++sut->group().begin());
   EXPECT_EQ(next.key(), 4294967295U);
   EXPECT_THAT(keysOf(sut->group()), ElementsAre(0, 4294967295U));

   sut->groupDelAll();
   EXPECT_TRUE(sut->group().empty());
}

TEST_F(ControlAttribute, chunkIsKeepsTheChunkUnderTheKeyWithOrWithoutAGroup)
{
   auto const chunk = chunkOf("a");

   sut->chunkIs(9, chunk);

   EXPECT_EQ(sut->chunk(9), chunk.get());
   EXPECT_EQ(sut->chunk(8), nullptr);
   EXPECT_EQ(chunk->useCount(), 3U);
}

TEST_F(ControlAttribute, chunkIsOfTheSameChunkAgainDoesNothing)
{
   auto const chunk = chunkOf("a");
   sut->chunkIs(9, chunk);
   auto const version = sut->chunk().version();

   sut->chunkIs(9, chunk);

   EXPECT_EQ(chunk->useCount(), 3U);
   EXPECT_EQ(sut->chunk().version(), version);
}

TEST_F(ControlAttribute, chunkIsReplacesAnotherChunk)
{
   auto const first = chunkOf("a");
   auto const second = chunkOf("b");
   sut->chunkIs(9, first);

   sut->chunkIs(9, second);

   EXPECT_EQ(sut->chunk(9), second.get());
   EXPECT_EQ(sut->chunk().size(), 1U);
   EXPECT_EQ(first->useCount(), 2U);
   EXPECT_EQ(second->useCount(), 3U);
}

TEST_F(ControlAttribute, chunkIsOfNullRemovesTheChunk)
{
   auto const chunk = chunkOf("a");
   sut->chunkIs(9, chunk);

   sut->chunkIs(9, nullptr);
   sut->chunkIs(9, nullptr);

   EXPECT_TRUE(sut->chunk().empty());
   EXPECT_EQ(chunk->useCount(), 2U);
}

TEST_F(ControlAttribute, chunkDelHandsTheChunkOver)
{
   sut->chunkIs(9, chunkOf("a"));

   auto const chunk = sut->chunkDel(9);

   EXPECT_EQ(chunk->name(), "a");
   EXPECT_EQ(chunk->useCount(), 2U);
   EXPECT_EQ(sut->chunkDel(9), nullptr);
}

TEST_F(ControlAttribute, chunksAscendAndAreDeletedAtAnIteratorOrAllTogether)
{
   for (std::uint32_t const key : {4294967295U, 1U, 0U}) {
      sut->chunkIs(key, chunkOf("a"));
   }
   EXPECT_THAT(keysOf(sut->chunk()), ElementsAre(0, 1, 4294967295U));

   auto const next = sut->chunkDel(sut->chunk().begin());
   EXPECT_EQ(next.key(), 1U);

   sut->chunkDelAll();
   EXPECT_TRUE(sut->chunk().empty());
}

TEST_F(ControlAttribute, nodesAreTracked)
{
   auto const groups = Attribute::KroGroup::memAllocationTracker_.liveCount();
   auto const chunks = Attribute::KroChunk::memAllocationTracker_.liveCount();

   add(*sut, 1, 0, 10);
   add(*sut, 1, 0, 20);
   EXPECT_EQ(Attribute::KroGroup::memAllocationTracker_.liveCount(), groups + 1);
   EXPECT_EQ(Attribute::KroChunk::memAllocationTracker_.liveCount(), chunks + 1);

   auto const attributes = Attribute::memAllocationTracker_.liveCount();
   sut.reset();
   EXPECT_EQ(Attribute::memAllocationTracker_.liveCount(), attributes - 1);
   EXPECT_EQ(Attribute::KroGroup::memAllocationTracker_.liveCount(), groups);
   EXPECT_EQ(Attribute::KroChunk::memAllocationTracker_.liveCount(), chunks);
}

TEST_F(ControlAttribute, destructorMarksTheAttributeAndLetsChunksGoBeforeGroups)
{
   ChangeRecorder changes(*store().publisher());
   {
      Attribute attribute(1, 16); // not counted, so that nobody else marks it
      add(attribute, 1, 0, 10);
      // The attribute has the last reference to its chunk; another of the name makes its end heard.
      store().chunkDel("chunk 1");
      store().chunkIs("chunk 1", 4096, false);
      EXPECT_FALSE(attribute.isBeingDestroyed());
      changes.thenDo([&](Orvo::Change const&) {
         EXPECT_TRUE(attribute.isBeingDestroyed());
         EXPECT_TRUE(attribute.chunk().empty());
         EXPECT_EQ(attribute.group().size(), 1U);
      });
   }

   EXPECT_THAT(changes.changes(), testing::SizeIs(4));
}

TEST_F(ControlAttribute, destructorUnmapsAChunkThatNobodyElseUses)
{
   sut->chunkIs(1, chunkOf("a"));
   store().chunkDel("a");
   pinmem.takeCalls();

   sut.reset();

   EXPECT_THAT(pinmem.takeCalls(), ElementsAre("unmap 'a'"));
}

} // namespace
