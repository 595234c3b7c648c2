// A chunk that cannot be made: no mapping and no memory is left behind.

#include "support/MemoryTest.h"
#include "support/RefusedAllocation.h"
#include "support/UtilityRecorder.h"

#include <Quorvel/Core/Memory/Control/Detail/Chunk.h>

#include <Quorvel/Utility/Affirm.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace {

using Quorvel::Core::Memory::Control::Detail::Chunk;
using Quorvel::Core::Test::AllocationRecorder;
using Quorvel::Core::Test::MemoryTest;
using Quorvel::Core::Test::Refusal;
using Quorvel::Core::Test::refuseAllocation;
using Quorvel::Core::Test::UtilityRecorder;
using Quorvel::Utility::AffirmException;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class ControlChunkFailure : public MemoryTest {
protected:
   ControlChunkFailure()
   {
      store(); // made now, not by the first chunk that goes
      UtilityRecorder::instance().takeCalls();
   }

   static Orvo::Ptr<Chunk> make() { return Orvo::make<Chunk>("ring", 64U, false); }

   AllocationRecorder& recorder = AllocationRecorder::instance();
};

TEST_F(ControlChunkFailure, withoutMemoryForTheObjectNoBlockIsAskedFor)
{
   auto const before = Chunk::memAllocationTracker_.liveCount();

   EXPECT_EQ(refuseAllocation(1, [] { static_cast<void>(make()); }), Refusal::passed);
   EXPECT_THAT(pinmem.takeCalls(), IsEmpty());
   EXPECT_EQ(Chunk::memAllocationTracker_.liveCount(), before);

   // There is no second allocation.
   EXPECT_EQ(refuseAllocation(2, [] { static_cast<void>(make()); }), Refusal::none);
}

TEST_F(ControlChunkFailure, withoutABlockOrAMappingTheObjectIsGivenBackAndNothingUnmapped)
{
   auto const size = std::to_string(sizeof(Chunk));
   auto const before = recorder.live();

   for (bool const isMapped : {false, true}) {
      isMapped ? pinmem.failMap(1) : pinmem.failAlloc(1);
      recorder.startCalls();
      EXPECT_THROW(make(), AffirmException);
      auto const calls = recorder.takeCalls();

      EXPECT_EQ(calls.front(), "slabAlloc " + size);
      EXPECT_THAT(calls, testing::Contains("slabFree " + size));
      EXPECT_EQ(recorder.live(), before);
      EXPECT_THAT(pinmem.takeCalls(), testing::Not(testing::Contains(HasSubstr("unmap"))));
   }
}

TEST_F(ControlChunkFailure, initializeAgainThatIsRefusedLeavesAddressesAndMappingAsTheyWere)
{
   auto sut = make();
   auto const addressBus = sut->addressBus();
   auto const addressVirtual = sut->addressVirtual();

   for (bool const isMapped : {false, true}) {
      isMapped ? pinmem.failMap(1) : pinmem.failAlloc(1);
      EXPECT_THROW(sut->initialize(), AffirmException);
      EXPECT_EQ(sut->addressBus(), addressBus);
      EXPECT_EQ(sut->addressVirtual(), addressVirtual);
   }

   pinmem.takeCalls();
   sut.reset();
   EXPECT_THAT(pinmem.takeCalls(), ElementsAre("unmap 'ring'"));
   EXPECT_THAT(pinmem.stillMapped(), IsEmpty());
   EXPECT_THAT(pinmem.mistakes(), IsEmpty());
}

} // namespace
