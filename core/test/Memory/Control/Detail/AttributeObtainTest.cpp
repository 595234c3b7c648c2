// The address rule, case by case. AttributeLookupTest has it for cases that nobody thought of.

#include "AttributeFixture.h"
#include "support/ChangeRecorder.h"
#include "support/MessageOf.h"

#include <Kro/Exception.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace {

using Quorvel::Core::Memory::Control::Offsetter;
using Quorvel::Core::Test::AttributeFixture;
using Quorvel::Core::Test::ChangeRecorder;
using Quorvel::Core::Test::messageOf;
using testing::ElementsAre;

class ControlAttributeObtain : public AttributeFixture {
protected:
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
};

TEST_F(ControlAttributeObtain, obtainFindsTheEntriesOfAGroupAndNoneOutside)
{
   add(*sut, 1, 100, 50);

   EXPECT_EQ(find(*sut, 99), "index 99 is out of range.");
   EXPECT_EQ(find(*sut, 100), "chunk 1 + 0");
   EXPECT_EQ(find(*sut, 101), "chunk 1 + 16");
   EXPECT_EQ(find(*sut, 149), "chunk 1 + 784");
   EXPECT_EQ(find(*sut, 150), "index 150 is out of range.");
}

TEST_F(ControlAttributeObtain, obtainRefusesEveryIndexWhenThereIsNothing)
{
   EXPECT_EQ(find(*sut, 4096), "index 4096 is out of range.");
   EXPECT_EQ(find(*sut, 0), "index 0 is out of range.");
   EXPECT_EQ(find(*sut, 4294967295U), "index 4294967295 is out of range.");
}

TEST_F(ControlAttributeObtain, obtainFindsTheGroupAmongMany)
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

TEST_F(ControlAttributeObtain, obtainPrefersTheSmallerIdOfOverlappingGroups)
{
   add(*sut, 2, 0, 100);
   add(*sut, 1, 50, 100);

   EXPECT_EQ(find(*sut, 49), "chunk 2 + 784");
   EXPECT_EQ(find(*sut, 50), "chunk 1 + 0");
   EXPECT_EQ(find(*sut, 99), "chunk 1 + 784");
}

TEST_F(ControlAttributeObtain, obtainSkipsEmptyGroupsAndGroupsWithoutChunk)
{
   add(*sut, 0, 5, 0);
   sut->groupIs(groupOf(1, 0, 10));

   EXPECT_EQ(find(*sut, 5), "index 5 is out of range.");
   add(*sut, 2, 0, 10);
   EXPECT_EQ(find(*sut, 5), "chunk 2 + 80");
}

TEST_F(ControlAttributeObtain, obtainFindsNothingInAGroupWhoseEndWraps)
{
   add(*sut, 0, 4294967280U, 16);
   add(*sut, 1, 4294967280U, 32);

   EXPECT_EQ(find(*sut, 4294967285U), "index 4294967285 is out of range.");
   EXPECT_EQ(find(*sut, 4294967295U), "index 4294967295 is out of range.");
   EXPECT_EQ(find(*sut, 3), "index 3 is out of range.");
   add(*sut, 2, 4294967280U, 15);
   EXPECT_EQ(find(*sut, 4294967294U), "chunk 2 + 224");
}

TEST_F(ControlAttributeObtain, obtainWrapsTheOffsetInto32Bits)
{
   auto const wide = Orvo::make<Attribute>(1, 65536U);
   add(*wide, 0, 0, 70000);

   EXPECT_EQ(find(*wide, 65535), "chunk 0 + 4294901760");
   EXPECT_EQ(find(*wide, 65536), "chunk 0 + 0");
   EXPECT_EQ(find(*wide, 65537), "chunk 0 + 65536");
}

TEST_F(ControlAttributeObtain, obtainLeavesTheOffsetToTheOffsetter)
{
   add(*sut, 1, 100, 50);
   auto const none = Orvo::make<Attribute>(1, 0U);
   add(*none, 1, 100, 50);
   Offsetter const tripled = [](std::uint32_t, std::uint32_t index, std::uint32_t) { return 3 * index; };

   EXPECT_EQ(find(*sut, 120, tripled), "chunk 1 + 360");
   EXPECT_EQ(find(*none, 120, tripled), "chunk 1 + 360");
   EXPECT_EQ(find(*sut, 150, tripled), "index 150 is out of range.");
}

TEST_F(ControlAttributeObtain, obtainGivesTheOffsetterHeadIndexAndSize)
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

TEST_F(ControlAttributeObtain, obtainAddsNoReference)
{
   add(*sut, 1, 0, 10);
   auto const before = sut->chunk(1)->useCount();

   auto const found = sut->obtainChunkAndOffset(3, nullptr);

   EXPECT_EQ(found.first->useCount(), before);
   EXPECT_EQ(sut->useCount(), 1U);
}

TEST_F(ControlAttributeObtain, obtainChangesNothingWhenItRefuses)
{
   add(*sut, 1, 0, 10);
   auto const groups = sut->group().version();
   auto const chunks = sut->chunk().version();
   auto const groupUsers = sut->group(1)->useCount();
   auto const chunkUsers = sut->chunk(1)->useCount();

   EXPECT_EQ(find(*sut, 10), "index 10 is out of range.");

   EXPECT_EQ(sut->group(1)->useCount(), groupUsers);
   EXPECT_EQ(sut->chunk(1)->useCount(), chunkUsers);
   EXPECT_EQ(sut->group().version(), groups);
   EXPECT_EQ(sut->chunk().version(), chunks);
   EXPECT_EQ(find(*sut, 9), "chunk 1 + 144");
}

TEST_F(ControlAttributeObtain, obtainSeesEveryChangeAtOnce)
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

/// A chunk that nobody but the attribute has, and whose end the store's subscribers hear of.
class ControlAttributeLastUser : public ControlAttributeObtain {
protected:
   ControlAttributeLastUser()
   {
      add(*sut, 1, 0, 10);
      store().chunkDel("chunk 1");
      store().chunkIs("chunk 1", 4096, false); // taken out when the attribute's goes: that is published
      changes.thenDo([this](Orvo::Change const&) { heard.push_back(find(*sut, 5)); });
   }

   std::vector<std::string> heard; ///< what a look-up gives meanwhile
   ChangeRecorder changes{*store().publisher()};
};

TEST_F(ControlAttributeLastUser, hearsOfAReplacedChunkWhenTheNewOneIsThere)
{
   auto const chunk = Orvo::make<Chunk>("new", 4096U, false);

   sut->chunkIs(1, chunk);

   EXPECT_THAT(heard, ElementsAre("new + 80"));
}

TEST_F(ControlAttributeLastUser, hearsOfADeletedChunkWhenItIsFoundNoMore)
{
   sut->chunkDel(1);
   EXPECT_THAT(heard, ElementsAre("index 5 is out of range."));
}

TEST_F(ControlAttributeLastUser, hearsOfAChunkDeletedAtAnIteratorWhenItIsFoundNoMore)
{
   auto const next = sut->chunkDel(sut->chunk().begin());

   EXPECT_EQ(next, sut->chunk().end());
   EXPECT_THAT(heard, ElementsAre("index 5 is out of range."));
}

TEST_F(ControlAttributeLastUser, hearsOfAllChunksDeletedWhenTheyAreFoundNoMore)
{
   sut->chunkDelAll();

   EXPECT_THAT(heard, ElementsAre("index 5 is out of range."));
}

TEST_F(ControlAttributeLastUser, mayAddChunksWhileAllAreDeleted)
{
   changes.thenDo([this](Orvo::Change const&) { sut->chunkIs(1, Orvo::make<Chunk>("again", 4096U, false)); });

   sut->chunkDelAll();

   EXPECT_EQ(find(*sut, 5), "again + 80");
}

TEST_F(ControlAttributeObtain, obtainStopsTheProcessAtAChunkWithoutGroup)
{
   add(*sut, 1, 0, 10);
   sut->chunkIs(2, chunkOf("orphan"));

   EXPECT_EQ(find(*sut, 9), "chunk 1 + 144");
   EXPECT_DEATH(find(*sut, 10), "every chunk has its group");
}

} // namespace
