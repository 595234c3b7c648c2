// An attribute that lacks memory now and then through a long life, and how soon it asks again.

#include "AttributeFailureFixture.h"
#include "support/RefusedAllocation.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace {

using Quorvel::Core::Test::AllocationRecorder;
using Quorvel::Core::Test::Refusal;
using Quorvel::Core::Test::refuseAllocation;
using Quorvel::Core::Test::refuseAllocations;
using testing::ElementsAre;

class ControlAttributeHistoryFailure : public Quorvel::Core::Test::AttributeFailureFixture {
protected:
   /// Sets the chunk of a key while the shortcut finds no memory, however often it asks.
   /// @return whether it asked
   static bool asksForMemory(Attribute& sut, std::uint32_t key, Orvo::Ptr<Chunk> const& chunk)
   {
      auto const refusal = refuseAllocations(
         {.first = 1, .allocator = AllocationRecorder::Allocator::heap}, [&] { sut.chunkIs(key, chunk); });
      return refusal == Refusal::borne;
   }

   unsigned passed = 0;
   unsigned borne = 0;
};

TEST_F(ControlAttributeHistoryFailure, keepsToTheRuleThroughRandomChangesAnyOfWhoseAllocationsMayBeRefused)
{
   std::uint64_t steps = 0;
   for (unsigned seed = 0; seed < 80; ++seed) {
      SCOPED_TRACE("seed " + std::to_string(seed));
      std::mt19937 random(seed);
      bool const isTidy = seed % 3 != 0;
      auto const sut = Orvo::make<Attribute>(1, 16U);
      for (unsigned step = 0; step < 60 && !HasFatalFailure(); ++step, ++steps) {
         auto const id = static_cast<std::uint32_t>(random() % 50);
         auto const head = isTidy ? id * width : static_cast<std::uint32_t>(random() % 500);
         auto const group = groupOf(id, head, isTidy ? width : static_cast<std::uint32_t>(random() % 25));
         bool const isDeletion = random() % 4 == 0;

         auto const refusal = refuseAllocation(random() % 5, [&] {
            if (isDeletion) {
               sut->chunkDel(id);
               sut->groupDel(id);
            } else {
               sut->groupIs(group);
               sut->chunkIs(id, chunks[id % chunks.size()]);
            }
         });

         passed += refusal == Refusal::passed ? 1U : 0U;
         borne += refusal == Refusal::borne ? 1U : 0U;
         expectRule(*sut);
      }
   }
   EXPECT_GT(steps, 4000U);
   EXPECT_GT(passed, 250U);
   EXPECT_GT(borne, 100U);
}

TEST_F(ControlAttributeHistoryFailure, keepsToTheRuleThroughLongHistoriesWhoseShortcutLacksMemoryOnceOrManyTimesInARow)
{
   for (unsigned seed = 0; seed < 60; ++seed) {
      SCOPED_TRACE("seed " + std::to_string(seed));
      std::mt19937 random(seed);
      bool const isRegular = seed % 2 == 0;
      bool const isAscending = seed % 3 == 0;
      auto const sut = Orvo::make<Attribute>(1, 16U);
      for (std::uint32_t step = 0; step < 300 && !HasFatalFailure(); ++step) {
         auto const id = isAscending ? step : static_cast<std::uint32_t>(random() % 400);
         auto const group = groupOf(id, id * width, isRegular ? width : 1 + id * 7 % width);
         bool const isDeletion = random() % 4 == 0;
         AllocationRecorder::Failures const failures{
            .first = 1 + random() % 3, .count = random() % 20, .allocator = AllocationRecorder::Allocator::heap};

         auto const refusal = refuseAllocations(failures, [&] {
            if (isDeletion) {
               sut->chunkDel(id);
            } else {
               sut->groupIs(group);
               sut->chunkIs(id, chunks[id % chunks.size()]);
            }
         });

         EXPECT_NE(refusal, Refusal::passed);
         borne += refusal == Refusal::borne ? 1U : 0U;
         for (unsigned lookup = 0; lookup < 8; ++lookup) {
            expectRuleAt(*sut, static_cast<std::uint32_t>(random() % (400 * width)));
         }
      }
   }
   EXPECT_GT(borne, 500U);
}

TEST_F(ControlAttributeHistoryFailure, triesAgainAtTheNextChangeAndThenMoreAndMoreSeldom)
{
   auto const sut = Orvo::make<Attribute>(1, 16U);
   for (std::uint32_t id = 0; id < 100; ++id) {
      add(*sut, id, id * width);
   }
   bool isRefused = false;
   for (std::uint32_t id = 100; !isRefused; ++id) {
      sut->groupIs(groupOf(id, id * width));
      isRefused = asksForMemory(*sut, id, chunks[0]);
   }

   std::vector<bool> asks;
   for (unsigned change = 1; change <= 15; ++change) {
      asks.push_back(asksForMemory(*sut, 0, chunks[change % 2]));
   }

   EXPECT_THAT(asks, ElementsAre(1, 0, 1, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 1));
}

TEST_F(ControlAttributeHistoryFailure, triesAgainWhenGroupsNoLongerOverlapThoughEachChangeAddsOne)
{
   auto const sut = Orvo::make<Attribute>(1, 16U);
   add(*sut, 0, 0);
   add(*sut, 1, width / 2);
   sut->groupIs(groupOf(1, width));

   std::vector<bool> asks;
   for (std::uint32_t id = 2; id < 4; ++id) {
      sut->groupIs(groupOf(id, id * width));
      asks.push_back(asksForMemory(*sut, id, chunks[0]));
   }

   // Three changes since there were two chunks that overlapped.
   EXPECT_THAT(asks, ElementsAre(false, true));
}

TEST_F(ControlAttributeHistoryFailure, triesAgainWhenGroupsNoLongerOverlapThoughEachChangeTakesOneAway)
{
   auto const sut = Orvo::make<Attribute>(1, 16U);
   for (std::uint32_t id = 0; id < 8; ++id) {
      add(*sut, id, id * width);
   }
   add(*sut, 8, 0);

   // Nine chunks overlapped; the fifth change leaves four.
   for (std::uint32_t id = 8; id > 4; --id) {
      sut->chunkDel(id);
   }

   auto const refusal =
      refuseAllocations({.first = 1, .allocator = AllocationRecorder::Allocator::heap}, [&] { sut->chunkDel(4); });
   EXPECT_EQ(refusal, Refusal::borne);
}

TEST_F(ControlAttributeHistoryFailure, startsAnewWhenAllChunksAreDeletedThatOverlapped)
{
   auto const sut = Orvo::make<Attribute>(1, 16U);
   add(*sut, 0, 0);
   add(*sut, 1, width / 2);

   sut->chunkDelAll();

   EXPECT_TRUE(asksForMemory(*sut, 0, chunks[0]));
}

TEST_F(ControlAttributeHistoryFailure, startsAnewWhenAllGroupsAreDeletedThatOverlapped)
{
   auto const sut = Orvo::make<Attribute>(1, 16U);
   add(*sut, 0, 0);
   add(*sut, 1, width / 2);

   sut->groupDelAll();

   auto const refusal = refuseAllocations(
      {.first = 1, .allocator = AllocationRecorder::Allocator::heap}, [&] { sut->groupIs(groupOf(0, 0)); });
   EXPECT_EQ(refusal, Refusal::borne);
}

} // namespace
