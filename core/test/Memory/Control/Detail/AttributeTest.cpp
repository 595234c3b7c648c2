#include <Quorvel/Core/Memory/Control/Detail/Attribute.h>

#include "support/MemoryTest.h"
#include "support/MessageOf.h"

#include <Kro/Exception.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace {

using Quorvel::Core::Memory::Control::Offsetter;
using Quorvel::Core::Memory::Control::Detail::Attribute;
using Quorvel::Core::Memory::Control::Detail::Chunk;
using Quorvel::Core::Memory::Control::Detail::Group;
using Quorvel::Core::Test::MemoryTest;
using Quorvel::Core::Test::messageOf;
using testing::ElementsAre;
using testing::IsEmpty;

class ControlAttribute : public MemoryTest {
protected:
   static Orvo::Ptr<Group> groupOf(std::uint32_t id, std::uint32_t head, std::uint32_t size)
   {
      return Orvo::make<Group>(id, head, size);
   }

   static Orvo::Ptr<Chunk> chunkOf(Orvo::String const& name) { return store().chunkIs(name, 4096, false); }

   /// Gives the attribute a group and a chunk for it, "chunk <id>".
   static void add(Attribute& sut, std::uint32_t id, std::uint32_t head, std::uint32_t size)
   {
      sut.groupIs(groupOf(id, head, size));
      sut.chunkIs(id, chunkOf(Orvo::join("chunk ", id)));
   }

   /// "chunk 1 + 784", or the text of the range error.
   static std::string find(Attribute const& sut, std::uint32_t index, Offsetter offsetter = nullptr)
   {
      std::string found;
      auto const refusal = messageOf<Kro::RangeException>([&] {
         auto const [chunk, offset] = sut.obtainChunkAndOffset(index, offsetter);
         found = std::string(chunk->name()) + " + " + std::to_string(offset);
      });
      return found.empty() ? refusal : found;
   }

   template <class Collection>
   static std::vector<std::uint32_t> keysOf(Collection const& collection)
   {
      std::vector<std::uint32_t> keys;
      for (auto at = collection.begin(); at != collection.end(); ++at) {
         keys.push_back(at.key());
      }
      return keys;
   }

   Orvo::Ptr<Attribute> sut = Orvo::make<Attribute>(5, 16U);

   void TearDown() override
   {
      sut.reset();
      MemoryTest::TearDown();
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
   sut->groupIs(groupOf(7, 0, 10));

   auto const text = messageOf<Kro::ArgNullPointerException>([&] { sut->groupIs(nullptr); });

   EXPECT_EQ(text, "Memory/Control/Collection: group cannot be null");
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

TEST_F(ControlAttribute, destructorUnmapsAChunkThatNobodyElseUses)
{
   sut->chunkIs(1, chunkOf("a"));
   store().chunkDel("a");
   pinmem.takeCalls();

   sut.reset();

   EXPECT_THAT(pinmem.takeCalls(), ElementsAre("unmap 'a'"));
}

TEST_F(ControlAttribute, obtainFindsTheEntriesOfAGroupAndNoneOutside)
{
   add(*sut, 1, 100, 50);

   EXPECT_EQ(find(*sut, 99), "index 99 is out of range.");
   EXPECT_EQ(find(*sut, 100), "chunk 1 + 0");
   EXPECT_EQ(find(*sut, 101), "chunk 1 + 16");
   EXPECT_EQ(find(*sut, 149), "chunk 1 + 784");
   EXPECT_EQ(find(*sut, 150), "index 150 is out of range.");
}

TEST_F(ControlAttribute, obtainRefusesEveryIndexWhenThereIsNothing)
{
   EXPECT_EQ(find(*sut, 4096), "index 4096 is out of range.");
   EXPECT_EQ(find(*sut, 0), "index 0 is out of range.");
   EXPECT_EQ(find(*sut, 4294967295U), "index 4294967295 is out of range.");
}

TEST_F(ControlAttribute, obtainFindsTheGroupAmongMany)
{
   for (std::uint32_t id = 0; id < 100; ++id) {
      add(*sut, id, id * 10, 10);
   }

   EXPECT_EQ(find(*sut, 0), "chunk 0 + 0");
   EXPECT_EQ(find(*sut, 509), "chunk 50 + 144");
   EXPECT_EQ(find(*sut, 510), "chunk 51 + 0");
   EXPECT_EQ(find(*sut, 999), "chunk 99 + 144");
   EXPECT_EQ(find(*sut, 1000), "index 1000 is out of range.");
}

TEST_F(ControlAttribute, obtainPrefersTheSmallerIdOfOverlappingGroups)
{
   add(*sut, 2, 0, 100);
   add(*sut, 1, 50, 100);

   EXPECT_EQ(find(*sut, 49), "chunk 2 + 784");
   EXPECT_EQ(find(*sut, 50), "chunk 1 + 0");
   EXPECT_EQ(find(*sut, 99), "chunk 1 + 784");
}

TEST_F(ControlAttribute, obtainSkipsEmptyGroupsAndGroupsWithoutChunk)
{
   add(*sut, 0, 5, 0);
   sut->groupIs(groupOf(1, 0, 10));

   EXPECT_EQ(find(*sut, 5), "index 5 is out of range.");
   add(*sut, 2, 0, 10);
   EXPECT_EQ(find(*sut, 5), "chunk 2 + 80");
}

TEST_F(ControlAttribute, obtainFindsNothingInAGroupWhoseEndWraps)
{
   add(*sut, 0, 4294967280U, 16);
   add(*sut, 1, 4294967280U, 32);

   EXPECT_EQ(find(*sut, 4294967285U), "index 4294967285 is out of range.");
   EXPECT_EQ(find(*sut, 4294967295U), "index 4294967295 is out of range.");
   EXPECT_EQ(find(*sut, 3), "index 3 is out of range.");
   add(*sut, 2, 4294967280U, 15);
   EXPECT_EQ(find(*sut, 4294967294U), "chunk 2 + 224");
}

TEST_F(ControlAttribute, obtainWrapsTheOffsetInto32Bits)
{
   auto const wide = Orvo::make<Attribute>(1, 65536U);
   add(*wide, 0, 0, 70000);

   EXPECT_EQ(find(*wide, 65535), "chunk 0 + 4294901760");
   EXPECT_EQ(find(*wide, 65536), "chunk 0 + 0");
   EXPECT_EQ(find(*wide, 65537), "chunk 0 + 65536");
}

TEST_F(ControlAttribute, obtainLeavesTheOffsetToTheOffsetter)
{
   add(*sut, 1, 100, 50);
   auto const none = Orvo::make<Attribute>(1, 0U);
   add(*none, 1, 100, 50);
   Offsetter const tripled = [](std::uint32_t, std::uint32_t index, std::uint32_t) { return 3 * index; };

   EXPECT_EQ(find(*sut, 120, tripled), "chunk 1 + 360");
   EXPECT_EQ(find(*none, 120, tripled), "chunk 1 + 360");
   EXPECT_EQ(find(*sut, 150, tripled), "index 150 is out of range.");
}

TEST_F(ControlAttribute, obtainGivesTheOffsetterHeadIndexAndSize)
{
   add(*sut, 1, 100, 50);

   EXPECT_EQ(
      find(
         *sut, 123,
         [](std::uint32_t head, std::uint32_t index, std::uint32_t size) {
            return head * 1000000 + index * 1000 + size;
         }),
      "chunk 1 + 100123016");
}

TEST_F(ControlAttribute, obtainAddsNoReference)
{
   add(*sut, 1, 0, 10);
   auto const before = sut->chunk(1)->useCount();

   auto const found = sut->obtainChunkAndOffset(3, nullptr);

   EXPECT_EQ(found.first->useCount(), before);
   EXPECT_EQ(sut->useCount(), 1U);
}

TEST_F(ControlAttribute, obtainChangesNothingWhenItRefuses)
{
   add(*sut, 1, 0, 10);
   auto const groups = sut->group().version();
   auto const chunks = sut->chunk().version();

   EXPECT_EQ(find(*sut, 10), "index 10 is out of range.");

   EXPECT_EQ(sut->group().version(), groups);
   EXPECT_EQ(sut->chunk().version(), chunks);
   EXPECT_EQ(find(*sut, 9), "chunk 1 + 144");
}

TEST_F(ControlAttribute, obtainSeesEveryChangeAtOnce)
{
   add(*sut, 1, 0, 10);
   EXPECT_EQ(find(*sut, 5), "chunk 1 + 80");

   sut->groupIs(groupOf(1, 5, 10));
   EXPECT_EQ(find(*sut, 5), "chunk 1 + 0");
   EXPECT_EQ(find(*sut, 14), "chunk 1 + 144");

   sut->chunkIs(1, chunkOf("other"));
   EXPECT_EQ(find(*sut, 14), "other + 144");

   sut->chunkDel(1);
   EXPECT_EQ(find(*sut, 14), "index 14 is out of range.");
}

TEST_F(ControlAttribute, obtainStopsTheProcessAtAChunkWithoutGroup)
{
   add(*sut, 1, 0, 10);
   sut->chunkIs(2, chunkOf("orphan"));

   EXPECT_EQ(find(*sut, 9), "chunk 1 + 144");
   EXPECT_DEATH(find(*sut, 10), "every chunk has its group");
}

} // namespace
