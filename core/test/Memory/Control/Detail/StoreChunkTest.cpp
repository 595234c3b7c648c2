#include <Quorvel/Core/Memory/Control/Detail/StoreChunk.h>

#include "support/ChangeRecorder.h"
#include "support/MemoryTest.h"
#include "support/MessageOf.h"

#include <Kro/Exception.h>
#include <Quorvel/Utility/Affirm.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace {

using Quorvel::Core::Memory::Control::Detail::Chunk;
using Quorvel::Core::Memory::Control::Detail::StoreChunk;
using Quorvel::Core::Test::ChangeRecorder;
using Quorvel::Core::Test::MemoryTest;
using Quorvel::Core::Test::messageOf;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

constexpr char const* storeName = "Quorvel::Core::Memory::Control::Detail::StoreChunk";

class ControlStoreChunk : public MemoryTest {
protected:
   ControlStoreChunk() { store().chunkDelAll(); }

   static std::vector<std::string> names()
   {
      std::vector<std::string> result;
      for (auto const& chunk : store().chunk()) {
         result.emplace_back(chunk->name());
      }
      return result;
   }
};

TEST_F(ControlStoreChunk, instanceIsTheOneStoreAndTheFrameworksSingleton)
{
   auto const sut = StoreChunk::instance();

   EXPECT_EQ(sut, StoreChunk::instance());
   EXPECT_EQ(sut, Kro::Entity::singletonExists(storeName));
   EXPECT_EQ(sut->name(), storeName);
   EXPECT_EQ(sut->nameString(), storeName);
   EXPECT_EQ(&sut->fwkType(), &StoreChunk::kroType);
   EXPECT_EQ(StoreChunk::memAllocationTracker_.liveCount(), 1U);
}

TEST_F(ControlStoreChunk, instanceGivesOneMoreReferenceEachTime)
{
   auto const first = StoreChunk::instance();
   auto const before = first->useCount();

   auto const second = StoreChunk::instance();

   EXPECT_EQ(first->useCount(), before + 1);
}

TEST_F(ControlStoreChunk, chunkIsMakesAndKeepsAChunk)
{
   auto const chunk = store().chunkIs("ring", 64, false);

   EXPECT_EQ(chunk->name(), "ring");
   EXPECT_EQ(chunk->size(), 64U);
   EXPECT_EQ(chunk->useCount(), 2U);
   EXPECT_EQ(store().chunk("ring"), chunk);
   EXPECT_THAT(pinmem.stillMapped(), ElementsAre("ring"));
}

TEST_F(ControlStoreChunk, chunkIsGivesTheSameChunkAgainWithoutAllocatingOrPublishing)
{
   auto const chunk = store().chunkIs("ring", 64, true);
   pinmem.takeCalls();
   ChangeRecorder const changes(*store().publisher());

   auto const again = store().chunkIs("ring", 64, true);

   EXPECT_EQ(again, chunk);
   EXPECT_EQ(chunk->useCount(), 3U);
   EXPECT_THAT(pinmem.takeCalls(), IsEmpty());
   EXPECT_THAT(changes.changes(), IsEmpty());
}

TEST_F(ControlStoreChunk, chunkIsRefusesAnotherSizeFirst)
{
   auto const chunk = store().chunkIs("ring", 64, false);
   pinmem.takeCalls();
   ChangeRecorder const changes(*store().publisher());

   auto const size = messageOf<Kro::ReinstantiatingException>([] { store().chunkIs("ring", 65, false); });
   auto const both = messageOf<Kro::ReinstantiatingException>([] { store().chunkIs("ring", 63, true); });

   EXPECT_EQ(size, "Memory/Control/Chunk 'ring': size=65 is asked for, but size=64 exists");
   EXPECT_EQ(both, "Memory/Control/Chunk 'ring': size=63 is asked for, but size=64 exists");
   EXPECT_EQ(chunk->useCount(), 2U);
   EXPECT_THAT(pinmem.takeCalls(), IsEmpty());
   EXPECT_THAT(changes.changes(), IsEmpty());
}

TEST_F(ControlStoreChunk, chunkIsRefusesAnotherDmaCapability)
{
   store().chunkIs("capable", 64, false);
   store().chunkIs("incapable", 64, true);

   EXPECT_EQ(
      messageOf<Kro::ReinstantiatingException>([] { store().chunkIs("capable", 64, true); }),
      "Memory/Control/Chunk 'capable': isIncapableDma=true is asked for, but isIncapableDma=false exists");
   EXPECT_EQ(
      messageOf<Kro::ReinstantiatingException>([] { store().chunkIs("incapable", 64, false); }),
      "Memory/Control/Chunk 'incapable': isIncapableDma=false is asked for, but isIncapableDma=true exists");
}

TEST_F(ControlStoreChunk, refusalNamesAttributeAndValues)
{
   store().chunkIs("ring", 64, false);

   try {
      store().chunkIs("ring", 65, false);
      FAIL();
   } catch (Kro::ReinstantiatingException const& error) {
      EXPECT_EQ(error.attribute(), "size");
      EXPECT_EQ(error.existing(), "64");
      EXPECT_EQ(error.asked(), "65");
   }
}

TEST_F(ControlStoreChunk, chunkIsPublishesANewChunkOnceWhenItIsThere)
{
   ChangeRecorder changes(*store().publisher());
   bool isThere = false;
   changes.thenDo([&](Orvo::Change const& change) {
      isThere = store().chunk(change.key.text()) != nullptr;
      EXPECT_EQ(change.entity, StoreChunk::instance().get());
   });

   store().chunkIs("ring", 64, false);

   EXPECT_THAT(changes.changes(), ElementsAre("chunk(258) ring"));
   EXPECT_TRUE(isThere);
}

TEST_F(ControlStoreChunk, chunkIsGivesItsChunkThoughASubscriberHasTakenItOut)
{
   ChangeRecorder changes(*store().publisher());
   changes.thenDo([&](Orvo::Change const& change) {
      if (changes.changes().size() == 1) {
         store().chunkDel(change.key.text());
      }
   });

   auto const chunk = store().chunkIs("ring", 64, false);

   EXPECT_EQ(chunk->name(), "ring");
   EXPECT_EQ(chunk->useCount(), 1U);
   EXPECT_EQ(store().chunk("ring"), nullptr);
   EXPECT_THAT(pinmem.stillMapped(), ElementsAre("ring"));
}

TEST_F(ControlStoreChunk, chunkIsWithoutMemoryLeavesTheStoreAsItWas)
{
   store().chunkIs("other", 64, false);
   ChangeRecorder const changes(*store().publisher());
   auto const before = Chunk::memAllocationTracker_.liveCount();

   pinmem.failAlloc(1);
   EXPECT_THROW(store().chunkIs("ring", 64, false), Quorvel::Utility::AffirmException);
   pinmem.failMap(1);
   EXPECT_THROW(store().chunkIs("ring", 64, false), Quorvel::Utility::AffirmException);

   EXPECT_THAT(names(), ElementsAre("other"));
   EXPECT_THAT(changes.changes(), IsEmpty());
   EXPECT_EQ(Chunk::memAllocationTracker_.liveCount(), before);
   EXPECT_NE(store().chunkIs("ring", 64, false), nullptr);
}

TEST_F(ControlStoreChunk, keepsAChunkMappedWithoutOtherUsers)
{
   auto chunk = store().chunkIs("ring", 64, false);
   auto* const address = chunk.get();
   chunk.reset();
   pinmem.takeCalls();

   EXPECT_EQ(store().chunkIs("ring", 64, false), address);

   EXPECT_THAT(pinmem.takeCalls(), IsEmpty());
}

TEST_F(ControlStoreChunk, chunkDelHandsItsReferenceOver)
{
   store().chunkIs("ring", 64, false);
   pinmem.takeCalls();

   auto chunk = store().chunkDel("ring");

   EXPECT_EQ(chunk->useCount(), 1U);
   EXPECT_EQ(store().chunk("ring"), nullptr);
   EXPECT_THAT(pinmem.takeCalls(), IsEmpty());
   chunk.reset();
   EXPECT_THAT(pinmem.takeCalls(), ElementsAre("unmap 'ring'"));
}

TEST_F(ControlStoreChunk, chunkDelPublishesOnceWhenTheChunkIsOutButStillMapped)
{
   store().chunkIs("ring", 64, false);
   ChangeRecorder changes(*store().publisher());
   changes.thenDo([&](Orvo::Change const& change) {
      EXPECT_EQ(store().chunk(change.key.text()), nullptr);
      EXPECT_THAT(pinmem.stillMapped(), ElementsAre("ring"));
   });

   store().chunkDel("ring");

   EXPECT_THAT(changes.changes(), ElementsAre("chunk(258) ring"));
   EXPECT_THAT(pinmem.stillMapped(), IsEmpty());
}

TEST_F(ControlStoreChunk, chunkDelOfAnUnknownNameGivesNullAndPublishesNothing)
{
   ChangeRecorder const changes(*store().publisher());

   EXPECT_EQ(store().chunkDel("ring"), nullptr);

   EXPECT_THAT(changes.changes(), IsEmpty());
}

TEST_F(ControlStoreChunk, chunkDelTakesTheNameFromTheChunkItself)
{
   store().chunkIs("a name that does not fit in place", 64, false);

   store().chunkDel((*store().chunk().begin())->name());

   EXPECT_TRUE(store().chunk().empty());
}

TEST_F(ControlStoreChunk, chunkDelAllRemovesAndPublishesEachChunk)
{
   for (int i = 0; i < 100; ++i) {
      store().chunkIs("ring " + std::to_string(i), 64, false);
   }
   ChangeRecorder const changes(*store().publisher());

   store().chunkDelAll();

   EXPECT_TRUE(store().chunk().empty());
   EXPECT_THAT(pinmem.stillMapped(), IsEmpty());
   auto sorted = changes.changes();
   std::sort(sorted.begin(), sorted.end());
   EXPECT_EQ(sorted.size(), 100U);
   EXPECT_EQ(std::unique(sorted.begin(), sorted.end()), sorted.end());
}

TEST_F(ControlStoreChunk, chunkDelAllOfAnEmptyStorePublishesNothing)
{
   ChangeRecorder const changes(*store().publisher());

   store().chunkDelAll();

   EXPECT_THAT(changes.changes(), IsEmpty());
}

TEST_F(ControlStoreChunk, chunkDelAllUnmapsAtOnceWhatNobodyElseUses)
{
   store().chunkIs("unused", 64, false);
   auto const used = store().chunkIs("used", 64, false);

   store().chunkDelAll();

   EXPECT_THAT(pinmem.stillMapped(), ElementsAre("used"));
   EXPECT_EQ(used->useCount(), 1U);
}

TEST_F(ControlStoreChunk, chunkDelAllTakesTheNextOutWhenTheOneBeforeIsUnmapped)
{
   for (auto const* name : {"a", "b", "c"}) {
      store().chunkIs(name, 64, false);
   }
   std::vector<std::size_t> mapped;
   ChangeRecorder changes(*store().publisher());
   changes.thenDo([&](Orvo::Change const&) {
      mapped.push_back(pinmem.stillMapped().size());
      mapped.push_back(store().chunk().size());
   });

   store().chunkDelAll();

   EXPECT_THAT(mapped, ElementsAre(3, 2, 2, 1, 1, 0));
}

TEST_F(ControlStoreChunk, marksItselfAsBeingDestroyedBeforeItEmptiesItself)
{
   std::vector<bool> marks;
   ChangeRecorder changes(*store().publisher());
   {
      StoreChunk sut("another"); // not counted, so that nobody else marks it
      sut.publisher()->subscribe(changes);
      sut.chunkIs("a", 64, false);
      sut.chunkIs("b", 64, false);
      changes.thenDo([&](Orvo::Change const&) { marks.push_back(sut.isBeingDestroyed()); });
      EXPECT_FALSE(sut.isBeingDestroyed());
   }

   EXPECT_THAT(marks, ElementsAre(true, true));
}

TEST_F(ControlStoreChunk, keepsNamesApartThatDifferBehindANulThoughTheBlockIsOne)
{
   Orvo::String const name = std::string_view("a\0b", 3);
   auto const plain = store().chunkIs("a", 64, false);

   auto const other = store().chunkIs(name, 64, false);

   EXPECT_NE(other, plain);
   EXPECT_EQ(other->addressBus(), plain->addressBus());
   EXPECT_EQ(other->addressVirtual(), plain->addressVirtual());
   EXPECT_THAT(
      pinmem.takeCalls(),
      ElementsAre(testing::StartsWith("alloc 'a' 64 "), "map 'a'", testing::StartsWith("alloc 'a' 64 "), "map 'a'"));
   EXPECT_EQ(store().chunk(name), other);
   EXPECT_EQ(store().chunk("a"), plain);
   EXPECT_EQ(store().chunkDel("a"), plain);
   EXPECT_THAT(names(), ElementsAre(std::string("a\0b", 3)));
}

TEST_F(ControlStoreChunk, findsChunksByNameAndWalksThem)
{
   store().chunkIs("a", 64, false);
   store().chunkIs("b", 64, false);

   EXPECT_EQ(store().chunk("c"), nullptr);
   EXPECT_EQ(store().chunk("a")->name(), "a");
   EXPECT_THAT(names(), UnorderedElementsAre("a", "b"));
}

TEST_F(ControlStoreChunk, handleChunkChangesNothing)
{
   auto const chunk = store().chunkIs("a", 64, false);
   pinmem.takeCalls();
   ChangeRecorder const changes(*store().publisher());

   store().handleChunk("a");
   store().handleChunk("b");

   EXPECT_THAT(names(), ElementsAre("a"));
   EXPECT_EQ(chunk->useCount(), 2U);
   EXPECT_THAT(pinmem.takeCalls(), IsEmpty());
   EXPECT_THAT(changes.changes(), IsEmpty());
}

TEST_F(ControlStoreChunk, subscriberThatThrowsInsideAChunksDestructorEndsTheProcess)
{
   auto first = store().chunkIs("a", 64, false);
   store().chunkDel("a");
   store().chunkIs("a", 64, false);

   EXPECT_DEATH(
      {
         ChangeRecorder changes(*store().publisher());
         changes.thenDo([](Orvo::Change const& /*change*/) { throw std::runtime_error("watcher"); });
         first.reset();
      },
      "watcher");
}

} // namespace
