#include <Quorvel/Core/Memory/Control/Run.h>

#include "support/ChildProcess.h"
#include "support/MemoryTest.h"
#include "support/MessageOf.h"

#include <Quorvel/Core/Memory/Control/Collection.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Quorvel::Core::Memory::Control::Collection;
using Quorvel::Core::Memory::Control::Runs;
using Quorvel::Core::Test::inChild;
using Quorvel::Core::Test::MemoryTest;
using Quorvel::Core::Test::messageOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::uint32_t anywhere(std::uint32_t /*head*/, std::uint32_t /*index*/, std::uint32_t /*size*/)
{
   return 0;
}

class ControlRun : public MemoryTest {
protected:
   void add(std::uint32_t id, std::uint32_t head, std::uint32_t size, bool isIncapableDma = false)
   {
      auto const attribute = sut->attributeIs(5, 8);
      attribute->groupIs(sut->groupIs(id, head, size));
      attribute->chunkIs(id, store().chunkIs(Orvo::join("chunk ", id), 4096, isIncapableDma));
   }

   /// "first+count" of each run.
   std::vector<std::string> entries() const
   {
      std::vector<std::string> lines;
      for (auto const run : sut->runs<std::uint64_t>(5)) {
         lines.push_back(std::to_string(run.first) + "+" + std::to_string(run.count));
      }
      return lines;
   }

   void TearDown() override
   {
      sut.reset();
      MemoryTest::TearDown();
   }

   Orvo::Ptr<Collection> sut = Orvo::make<Collection>(nullptr);
};

TEST_F(ControlRun, thereIsNoneWithoutGroups)
{
   sut->attributeIs(5, 8);

   EXPECT_THAT(entries(), IsEmpty());
}

TEST_F(ControlRun, thereIsOneForEachGroupAscendingByEntry)
{
   add(2, 0, 10);
   add(0, 10, 5);
   add(1, 100, 1);

   EXPECT_THAT(entries(), ElementsAre("0+10", "10+5", "100+1"));
}

TEST_F(ControlRun, leavesOutGroupsThatCoverNothingOrHaveNoChunk)
{
   add(0, 0, 0);
   add(1, 4294967290U, 100);
   add(2, 4, 2);
   sut->attribute(5)->groupIs(sut->groupIs(3, 50, 5));

   EXPECT_THAT(entries(), ElementsAre("4+2"));
}

TEST_F(ControlRun, givesEachEntryToTheFirstGroupThatCoversIt)
{
   add(0, 10, 5);
   add(1, 0, 30);

   EXPECT_THAT(entries(), ElementsAre("0+10", "10+5", "15+15"));
}

TEST_F(ControlRun, isNotCutShortByGroupsThatCoverNothingWhereOthersOverlap)
{
   add(0, 5, 0);
   add(1, 7, 4294967295U);
   add(2, 0, 10);
   add(3, 0, 20);

   EXPECT_THAT(entries(), ElementsAre("0+10", "10+10"));
}

TEST_F(ControlRun, liesWhereEachEntryLies)
{
   add(0, 0, 3);
   add(1, 3, 4, true);
   add(2, 20, 100);
   std::uint32_t seen = 0;

   for (auto const run : sut->runs<std::uint64_t>(5)) {
      for (std::uint32_t i = 0; i < run.count; ++i) {
         auto const entry = run.first + i;
         EXPECT_EQ(reinterpret_cast<std::uint64_t>(run.memory.get() + i), sut->addressVirtual(5, entry));
         EXPECT_EQ(run.addressBus == 0 ? 0 : run.addressBus + i * 8, sut->addressBus(5, entry));
         ++seen;
      }
   }

   EXPECT_EQ(seen, 107U);
}

TEST_F(ControlRun, countsInBytesWhenBytesAreAskedFor)
{
   add(0, 7, 3);
   auto const runs = sut->runs<std::byte>(5);

   auto const run = *runs.begin();

   EXPECT_EQ(run.first, 7U);
   EXPECT_EQ(run.count, 3U);
   EXPECT_EQ(reinterpret_cast<std::uint64_t>(run.memory.get()), sut->addressVirtual(5, 7));
}

TEST_F(ControlRun, showsWhatIsAddedAheadDuringAWalk)
{
   add(0, 0, 2);
   std::vector<std::uint32_t> firsts;

   for (auto const run : sut->runs<std::uint64_t>(5)) {
      firsts.push_back(run.first);
      if (firsts.size() == 1) {
         add(1, 10, 2);
      }
   }

   EXPECT_THAT(firsts, ElementsAre(0U, 10U));
}

TEST_F(ControlRun, isGoneWithItsChunkAndTheOthersAreLeft)
{
   for (std::uint32_t id = 0; id < 7; ++id) {
      add(id, 10 + id * 10, 5);
   }
   auto const attribute = sut->attribute(5);

   attribute->chunkDel(0);
   EXPECT_THAT(entries(), ElementsAre("20+5", "30+5", "40+5", "50+5", "60+5", "70+5"));

   attribute->chunkDel(3);
   EXPECT_THAT(entries(), ElementsAre("20+5", "30+5", "50+5", "60+5", "70+5"));

   attribute->chunkDel(6);
   EXPECT_THAT(entries(), ElementsAre("20+5", "30+5", "50+5", "60+5"));

   attribute->chunkDelAll();
   EXPECT_THAT(entries(), IsEmpty());
}

TEST_F(ControlRun, isGoneWithTheOnlyChunk)
{
   add(0, 10, 5);

   sut->attribute(5)->chunkDel(0);

   EXPECT_THAT(entries(), IsEmpty());
}

TEST_F(ControlRun, isRefusedForATypeOfAnotherSize)
{
   add(0, 0, 2);

   EXPECT_EQ(
      messageOf<std::invalid_argument>([&] { sut->runs<std::uint32_t>(5); }),
      "attribute=5 has size=8, but runs with size=4 are asked for.");
}

TEST_F(ControlRun, isRefusedWhereAnOffsetterPlacesTheEntries)
{
   auto const placed = Orvo::make<Collection>(anywhere);
   placed->attributeIs(-2, 8);

   EXPECT_EQ(
      messageOf<std::invalid_argument>([&] { placed->runs<std::uint64_t>(-2); }),
      "attribute=-2 has no runs: the collection has an offsetter.");
}

TEST_F(ControlRun, stopsTheProcessAtAChunkWithoutGroupWhereverItsKeyIs)
{
   add(1, 0, 5);
   add(2, 5, 5);

   for (std::uint32_t const lonely : {0U, 3U}) {
      sut->attribute(5)->chunkIs(lonely, store().chunkIs("lonely", 4096, false));
      auto const result = inChild({}, [&] { sut->runs<std::uint64_t>(5).begin(); });
      sut->attribute(5)->chunkDel(lonely);

      EXPECT_EQ(result.status, 256 + SIGABRT) << lonely;
      EXPECT_THAT(result.errors, HasSubstr("every chunk has its group")) << lonely;
   }
   EXPECT_THAT(entries(), ElementsAre("0+5", "5+5"));
}

TEST_F(ControlRun, ofAnUnknownFieldStopsTheProcess)
{
   auto const result = inChild({}, [&] { sut->runs<std::uint64_t>(6); });

   EXPECT_EQ(result.status, 256 + SIGABRT);
   EXPECT_THAT(result.errors, HasSubstr("assertion failed: the attribute id is known"));
}

} // namespace
