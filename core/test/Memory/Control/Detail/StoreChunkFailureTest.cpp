// A store whose memory is refused, at each point in turn, and whose subscribers throw.

#include "support/ChangeRecorder.h"
#include "support/MemoryTest.h"
#include "support/MessageOf.h"
#include "support/RefusedAllocation.h"
#include "support/UtilityRecorder.h"

#include <Quorvel/Core/Memory/Control/Detail/StoreChunk.h>

#include <Kro/HashMapGeneric.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Kro::HashMapGeneric;
using Quorvel::Core::Memory::Control::Detail::Chunk;
using Quorvel::Core::Test::AllocationRecorder;
using Quorvel::Core::Test::ChangeRecorder;
using Quorvel::Core::Test::MemoryTest;
using Quorvel::Core::Test::messageOf;
using Quorvel::Core::Test::Refusal;
using Quorvel::Core::Test::refuseAllocation;
using Quorvel::Core::Test::UtilityRecorder;
using Quorvel::Utility::AffirmException;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class ControlStoreChunkFailure : public MemoryTest {
protected:
   ControlStoreChunkFailure()
   {
      store().chunkDelAll();
      UtilityRecorder::instance().takeCalls();
   }

   static std::vector<std::string> names()
   {
      std::vector<std::string> result;
      for (auto const& chunk : store().chunk()) {
         result.emplace_back(chunk->name());
      }
      std::sort(result.begin(), result.end());
      return result;
   }

   /// What must be the same again after a refusal; but for the store's array of buckets: one that has grown may stay.
   std::string state() const
   {
      AllocationRecorder::Pause const pause;
      auto const& elements = HashMapGeneric::memAllocationTracker_;
      return "stored " + testing::PrintToString(names()) + ", mapped " + testing::PrintToString(pinmem.stillMapped()) +
             ", " + std::to_string(Chunk::memAllocationTracker_.liveCount()) + " chunks, " +
             std::to_string(elements.liveCount()) + " elements, " +
             std::to_string(recorder.live() - elements.liveArrayCount()) + " allocations";
   }

   AllocationRecorder& recorder = AllocationRecorder::instance();
};

void throwWatcher(Orvo::Change const& /*change*/)
{
   throw std::runtime_error("watcher");
}

TEST_F(ControlStoreChunkFailure, chunkIsTakesTheChunkFromTheSlabAndItsPlaceInTheStore)
{
   recorder.startCalls();
   store().chunkIs("ring", 64, false);
   auto const calls = recorder.takeCalls();

   ASSERT_EQ(calls.size(), 2U);
   EXPECT_EQ(calls[0], "slabAlloc " + std::to_string(sizeof(Chunk)));
   EXPECT_THAT(calls[1], testing::StartsWith("slabAllocOrStdMalloc "));
}

TEST_F(ControlStoreChunkFailure, chunkIsOfWhatExistsAllocatesNothing)
{
   auto const chunk = store().chunkIs("ring", 64, false);
   recorder.startCalls();

   store().chunkIs("ring", 64, false);

   EXPECT_THAT(recorder.takeCalls(), IsEmpty());
}

TEST_F(ControlStoreChunkFailure, chunkIsWhoseAllocationsAreRefusedOneAfterTheOtherLeavesNoTrace)
{
   for (std::string const name : {"ring", "a name that is too long to fit in place, so that it is shared"}) {
      store().chunkDelAll();
      // The ninth chunk is the first that needs an array of buckets.
      for (int i = 0; i < 8; ++i) {
         store().chunkIs("other " + std::to_string(i), 64, false);
      }
      Orvo::String const ring = name;
      std::vector<std::uint64_t> refused;
      for (std::uint64_t nth = 1;; ++nth) {
         auto const before = state();
         {
            ChangeRecorder const changes(*store().publisher());
            auto const refusal = refuseAllocation(nth, [&] { store().chunkIs(ring, 64, false); });
            if (refusal == Refusal::none) {
               EXPECT_THAT(changes.changes(), ElementsAre("chunk(258) " + name));
               break;
            }
            EXPECT_EQ(refusal, Refusal::passed) << nth;
            EXPECT_THAT(changes.changes(), IsEmpty()) << nth;
         }
         EXPECT_EQ(state(), before) << nth;
         refused.push_back(static_cast<std::uint64_t>(nth));
      }

      // The chunk, the array, the element; the array stayed when the element was refused.
      EXPECT_THAT(refused, ElementsAre(1, 2, 3));
      EXPECT_EQ(store().chunk().size(), 9U);
      EXPECT_THAT(pinmem.stillMapped(), Contains(name));
      EXPECT_EQ(store().chunk(ring)->useCount(), 2U);
   }
}

TEST_F(ControlStoreChunkFailure, chunkIsWhoseMemoryIsRefusedLeavesNoTraceAndBreaksOnePromise)
{
   store().chunkIs("other", 64, false);
   auto const before = state();
   ChangeRecorder const changes(*store().publisher());
   constexpr auto promise = "affirm Memory/Control/Detail/Chunk.cpp";

   for (bool const isMapped : {false, true}) {
      isMapped ? pinmem.failMap(1) : pinmem.failAlloc(1);
      EXPECT_THROW(store().chunkIs("ring", 64, false), AffirmException);
      EXPECT_THAT(UtilityRecorder::instance().takeCalls(), ElementsAre(promise));
      EXPECT_EQ(state(), before);
   }

   EXPECT_THAT(changes.changes(), IsEmpty());
   store().chunkIs("ring", 64, false);
   EXPECT_THAT(changes.changes(), ElementsAre("chunk(258) ring"));
   EXPECT_THAT(UtilityRecorder::instance().takeCalls(), IsEmpty());
}

TEST_F(ControlStoreChunkFailure, seriesInWhichThePoolRunsDryKeepsWhatItHas)
{
   pinmem.failAlloc(4);
   std::vector<std::string> refused;

   for (int i = 0; i < 6; ++i) {
      auto const name = "block " + std::to_string(i);
      try {
         store().chunkIs(name, 64, false);
      } catch (AffirmException const&) {
         refused.push_back(name);
      }
   }

   EXPECT_THAT(refused, ElementsAre("block 3"));
   EXPECT_THAT(names(), ElementsAre("block 0", "block 1", "block 2", "block 4", "block 5"));
   EXPECT_EQ(pinmem.stillMapped(), names());
}

TEST_F(ControlStoreChunkFailure, subscriberThatThrowsInChunkIsFindsTheChunkThereForGood)
{
   ChangeRecorder changes(*store().publisher());
   changes.thenDo(throwWatcher);

   EXPECT_EQ(messageOf<std::runtime_error>([] { store().chunkIs("a", 64, false); }), "watcher");

   EXPECT_THAT(names(), ElementsAre("a"));
   EXPECT_THAT(pinmem.stillMapped(), ElementsAre("a"));
   // Not published again: it is there.
   auto const chunk = store().chunkIs("a", 64, false);
   EXPECT_EQ(chunk->useCount(), 2U);
   EXPECT_THAT(changes.changes(), ElementsAre("chunk(258) a"));
}

TEST_F(ControlStoreChunkFailure, subscriberThatThrowsInChunkDelFindsTheChunkGoneAndUnmapped)
{
   store().chunkIs("a", 64, false);
   ChangeRecorder changes(*store().publisher());
   changes.thenDo(throwWatcher);
   pinmem.takeCalls();

   EXPECT_EQ(messageOf<std::runtime_error>([] { store().chunkDel("a"); }), "watcher");

   EXPECT_THAT(names(), IsEmpty());
   EXPECT_THAT(pinmem.takeCalls(), ElementsAre("unmap 'a'"));
   EXPECT_EQ(store().chunkDel("a"), nullptr);
   EXPECT_THAT(changes.changes(), ElementsAre("chunk(258) a"));
}

TEST_F(ControlStoreChunkFailure, subscriberThatThrowsInChunkDelAllLeavesTheChunksThatWereNotReached)
{
   for (auto const* name : {"a", "b", "c", "d"}) {
      store().chunkIs(name, 64, false);
   }
   {
      ChangeRecorder changes(*store().publisher());
      changes.thenDo([&](Orvo::Change const& change) {
         if (changes.changes().size() == 2) {
            throwWatcher(change);
         }
      });

      EXPECT_EQ(messageOf<std::runtime_error>([] { store().chunkDelAll(); }), "watcher");

      EXPECT_EQ(changes.changes().size(), 2U);
      EXPECT_EQ(store().chunk().size(), 2U);
      EXPECT_EQ(pinmem.stillMapped(), names());
   }

   store().chunkDelAll();
   EXPECT_THAT(names(), IsEmpty());
   EXPECT_THAT(pinmem.stillMapped(), IsEmpty());
}

TEST_F(ControlStoreChunkFailure, subscribersBehindOneThatThrowsHearNothing)
{
   ChangeRecorder first(*store().publisher());
   ChangeRecorder const second(*store().publisher());
   first.thenDo(throwWatcher);

   EXPECT_THROW(store().chunkIs("a", 64, false), std::runtime_error);

   EXPECT_THAT(first.changes(), ElementsAre("chunk(258) a"));
   EXPECT_THAT(second.changes(), IsEmpty());
}

TEST_F(ControlStoreChunkFailure, nothingIsAllocatedToDeleteAChunk)
{
   for (int i = 0; i < 4; ++i) {
      store().chunkIs("a name that is too long to fit in place " + std::to_string(i), 64, false);
   }
   auto const before = recorder.allocations();

   store().chunkDel((*store().chunk().begin())->name());
   store().chunkDelAll();

   EXPECT_EQ(recorder.allocations(), before);
   EXPECT_THAT(pinmem.stillMapped(), IsEmpty());
}

} // namespace
