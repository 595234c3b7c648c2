#include <Quorvel/Core/Memory/Control/Detail/Chunk.h>

#include "support/ChangeRecorder.h"
#include "support/MemoryTest.h"
#include "support/MessageOf.h"

#include <Quorvel/Utility/Affirm.h>
#include <pinmem/Manager.h>
#include <pinmem/pinmem.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace {

using Quorvel::Core::Memory::Control::Detail::Chunk;
using Quorvel::Core::Test::brokenPromiseOf;
using Quorvel::Core::Test::ChangeRecorder;
using Quorvel::Core::Test::MemoryTest;
using testing::ElementsAre;
using testing::IsEmpty;

/// Decides what kind of machine this is, for one test.
class MachineSize {
public:
   explicit MachineSize(char const* isSmall) { ::setenv("ORVO_SMALL_MEMORY", isSmall, 1); }

   MachineSize(MachineSize const&) = delete;
   MachineSize& operator=(MachineSize const&) = delete;

   ~MachineSize() { ::unsetenv("ORVO_SMALL_MEMORY"); }
};

class ControlChunk : public MemoryTest {
protected:
   ControlChunk() { pinmem_lib::Manager::agentName = "agent"; }

   ~ControlChunk() override { pinmem_lib::Manager::agentName = nameBefore_; }

   static Orvo::Ptr<Chunk> chunkOf(Orvo::String const& name, std::uint32_t size, bool isIncapableDma)
   {
      return Orvo::make<Chunk>(name, size, isIncapableDma);
   }

   static Orvo::Ptr<Chunk> ring() { return chunkOf("ring", 64, false); }

   MachineSize machine{"0"};

private:
   char const* nameBefore_ = pinmem_lib::Manager::agentName;
};

TEST_F(ControlChunk, allocatesAndMapsItsBlock)
{
   auto const sut = chunkOf("ring", 4096, false);

   EXPECT_THAT(pinmem.takeCalls(), ElementsAre("alloc 'ring' 4096 'agent' 4", "map 'ring'"));
   EXPECT_EQ(sut->useCount(), 1U);
   EXPECT_EQ(sut->name(), "ring");
   EXPECT_EQ(sut->size(), 4096U);
   EXPECT_FALSE(sut->isIncapableDma());
   EXPECT_EQ(sut->addressBus(), pinmem.addressBus("ring"));
   EXPECT_EQ(sut->addressVirtual(), reinterpret_cast<std::uint64_t>(pinmem.bytes("ring").data()));
}

TEST_F(ControlChunk, asksForRoomyDmaMemoryOnALargeMachineAndForFrugalOnASmallOne)
{
   auto const large = chunkOf("large", 1, false);
   MachineSize const smallMachine("1");
   auto const small = chunkOf("small", 1, false);

   EXPECT_THAT(
      pinmem.takeCalls(),
      ElementsAre("alloc 'large' 1 'agent' 4", "map 'large'", "alloc 'small' 1 'agent' 0", "map 'small'"));
}

TEST_F(ControlChunk, asksForOrdinaryMemoryWhereDmaIsNotNeededWhateverTheMachine)
{
   auto const large = chunkOf("large", 1, true);
   MachineSize const smallMachine("1");
   auto const small = chunkOf("small", 1, true);

   EXPECT_THAT(
      pinmem.takeCalls(),
      ElementsAre("alloc 'large' 1 'agent' 1", "map 'large'", "alloc 'small' 1 'agent' 1", "map 'small'"));
   EXPECT_TRUE(large->isIncapableDma());
   EXPECT_NE(large->addressBus(), 0U);
}

TEST_F(ControlChunk, labelsTheBlockWithTheModuleInAProcessWithoutName)
{
   pinmem_lib::Manager::agentName = nullptr;
   auto const unnamed = chunkOf("unnamed", 1, false);
   pinmem_lib::Manager::agentName = "";
   auto const empty = chunkOf("empty", 1, false);

   EXPECT_THAT(
      pinmem.takeCalls(),
      ElementsAre(
         "alloc 'unnamed' 1 '@Memory/Control/Chunk' 4", "map 'unnamed'", "alloc 'empty' 1 '' 4", "map 'empty'"));
}

TEST_F(ControlChunk, passesOnEverySizeAndTheEmptyName)
{
   auto const none = chunkOf("", 0, false);
   auto const all = chunkOf("all", 4294967295U, false);

   EXPECT_THAT(
      pinmem.takeCalls(),
      ElementsAre("alloc '' 0 'agent' 4", "map ''", "alloc 'all' 4294967295 'agent' 4", "map 'all'"));
   EXPECT_EQ(none->size(), 0U);
   EXPECT_EQ(all->size(), 4294967295U);
}

TEST_F(ControlChunk, isNotMadeWithoutMemory)
{
   pinmem.failAlloc(1);
   auto const before = Chunk::memAllocationTracker_.liveCount();

   auto const file = brokenPromiseOf(ring);

   EXPECT_EQ(file, "Memory/Control/Detail/Chunk.cpp");
   EXPECT_THAT(pinmem.takeCalls(), ElementsAre("alloc 'ring' 64 'agent' 4"));
   EXPECT_EQ(Chunk::memAllocationTracker_.liveCount(), before);
}

TEST_F(ControlChunk, isNotMadeWithoutAMapping)
{
   pinmem.failMap(1);
   auto const before = Chunk::memAllocationTracker_.liveCount();

   auto const file = brokenPromiseOf(ring);

   EXPECT_EQ(file, "Memory/Control/Detail/Chunk.cpp");
   EXPECT_THAT(pinmem.takeCalls(), ElementsAre("alloc 'ring' 64 'agent' 4", "map 'ring'"));
   EXPECT_EQ(Chunk::memAllocationTracker_.liveCount(), before);
}

TEST_F(ControlChunk, canBeMadeAfterAFailure)
{
   pinmem.failAlloc(1);
   EXPECT_THROW(ring(), Quorvel::Utility::AffirmException);
   pinmem.failMap(1);
   EXPECT_THROW(ring(), Quorvel::Utility::AffirmException);

   auto const sut = ring();

   EXPECT_NE(sut->addressBus(), 0U);
   EXPECT_NE(sut->addressVirtual(), 0U);
}

TEST_F(ControlChunk, unmapsOnceWhenTheLastReferenceGoes)
{
   auto sut = ring();
   auto other = sut;
   pinmem.takeCalls();

   sut.reset();
   EXPECT_THAT(pinmem.takeCalls(), IsEmpty());
   other.reset();

   EXPECT_THAT(pinmem.takeCalls(), ElementsAre("unmap 'ring'"));
}

TEST_F(ControlChunk, leavesTheBytesInTheBlock)
{
   auto first = ring();
   auto const addressBus = first->addressBus();
   *reinterpret_cast<std::uint32_t*>(first->addressVirtual()) = 0x12345678;
   first.reset();

   auto const second = ring();

   EXPECT_EQ(second->addressBus(), addressBus);
   EXPECT_EQ(*reinterpret_cast<std::uint32_t*>(second->addressVirtual()), 0x12345678U);
}

TEST_F(ControlChunk, takesWhateverTheStoreHoldsUnderItsNameWithIt)
{
   auto first = store().chunkIs("ring", 64, false);
   store().chunkDel("ring");
   auto second = store().chunkIs("ring", 64, false);
   ASSERT_NE(first, second);
   pinmem.takeCalls();

   first.reset();
   EXPECT_EQ(store().chunk("ring"), nullptr);
   EXPECT_THAT(pinmem.takeCalls(), ElementsAre("unmap 'ring'"));
   EXPECT_EQ(second->useCount(), 1U);

   second.reset();
   EXPECT_THAT(pinmem.takeCalls(), ElementsAre("unmap 'ring'"));
}

TEST_F(ControlChunk, takesTheStoresLastReferenceToAnotherChunkOfItsNameWithIt)
{
   auto first = store().chunkIs("ring", 64, false);
   store().chunkDel("ring");
   store().chunkIs("ring", 64, false);
   pinmem.takeCalls();

   first.reset();

   EXPECT_THAT(pinmem.takeCalls(), ElementsAre("unmap 'ring'", "unmap 'ring'"));
   EXPECT_THAT(pinmem.stillMapped(), IsEmpty());
}

TEST_F(ControlChunk, unmapsBeforeTheStoreLetsGoOfItsName)
{
   auto first = store().chunkIs("ring", 64, false);
   store().chunkDel("ring");
   auto const second = store().chunkIs("ring", 64, false);
   pinmem.takeCalls();
   std::vector<std::string> callsBefore;
   ChangeRecorder changes(*store().publisher());
   changes.thenDo([&](Orvo::Change const&) { callsBefore = pinmem.takeCalls(); });

   first.reset();

   EXPECT_THAT(changes.changes(), ElementsAre("chunk(258) ring"));
   EXPECT_THAT(callsBefore, ElementsAre("unmap 'ring'"));
   EXPECT_THAT(pinmem.takeCalls(), IsEmpty());
}

TEST_F(ControlChunk, marksItselfAsBeingDestroyedBeforeItActsOnTheStore)
{
   store().chunkIs("ring", 64, false); // taken out when the other one of its name goes: that is published
   bool isMarked = false;
   ChangeRecorder changes(*store().publisher());
   {
      Chunk const sut("ring", 64, false); // not counted, so that nobody else marks it
      changes.thenDo([&](Orvo::Change const&) { isMarked = sut.isBeingDestroyed(); });
      EXPECT_FALSE(sut.isBeingDestroyed());
   }

   EXPECT_TRUE(isMarked);
}

TEST_F(ControlChunk, initializeAgainAllocatesAndMapsAgain)
{
   auto const sut = ring();
   pinmem.takeCalls();

   sut->initialize();

   EXPECT_THAT(pinmem.takeCalls(), ElementsAre("alloc 'ring' 64 'agent' 4", "map 'ring'"));
   // The chunk itself unmaps once; the second mapping is the caller's.
   pinmem_unmap("ring", sut->addressVirtual(), 0);
}

TEST_F(ControlChunk, pinmemSeesTheNameUpToItsFirstNul)
{
   auto const sut = chunkOf(std::string_view("a\0b", 3), 64, false);

   EXPECT_THAT(pinmem.takeCalls(), ElementsAre("alloc 'a' 64 'agent' 4", "map 'a'"));
}

TEST_F(ControlChunk, comesFromTheSlabAndIsTracked)
{
   auto const before = Chunk::memAllocationTracker_.liveCount();
   {
      auto const sut = ring();
      EXPECT_EQ(Chunk::memAllocationTracker_.liveCount(), before + 1);
   }
   EXPECT_EQ(Chunk::memAllocationTracker_.liveCount(), before);
}

TEST_F(ControlChunk, knowsItsType)
{
   auto const sut = ring();

   EXPECT_EQ(&sut->typeData(), &Chunk::kroType);
   EXPECT_EQ(&sut->fwkType(), &Chunk::kroType);
   EXPECT_EQ(sut->publisher(), nullptr);
   static_assert(std::is_base_of_v<Orvo::Node, Chunk> && !std::is_base_of_v<Kro::Entity, Chunk>);
}

} // namespace
