// A collection whose memory is refused, at each point in turn.

#include "support/MemoryTest.h"
#include "support/RefusedAllocation.h"
#include "support/TestMount.h"
#include "support/UtilityRecorder.h"

#include <Quorvel/Core/Memory/Control/Collection.h>

#include <Kro/Exception.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace {

using Quorvel::Core::Memory::Control::Collection;
using Quorvel::Core::Memory::Control::Detail::Attribute;
using Quorvel::Core::Memory::Control::Detail::Group;
using Quorvel::Core::Test::AllocationRecorder;
using Quorvel::Core::Test::MemoryTest;
using Quorvel::Core::Test::Refusal;
using Quorvel::Core::Test::refuseAllocation;
using Quorvel::Core::Test::RingEntry;
using Quorvel::Core::Test::UtilityRecorder;
using testing::ElementsAre;
using testing::IsEmpty;

class ControlCollectionFailure : public MemoryTest {
protected:
   /// What must be the same again after a refusal.
   std::string state() const
   {
      AllocationRecorder::Pause const pause;
      std::string text;
      for (auto const& attribute : sut->attribute()) {
         text += "attribute " + std::to_string(attribute.id()) + ", ";
      }
      for (auto const& group : sut->group()) {
         text += "group " + std::to_string(group->id()) + ", ";
      }
      return text + std::to_string(Attribute::memAllocationTracker_.liveCount()) + " attributes, " +
             std::to_string(Group::memAllocationTracker_.liveCount()) + " groups, " +
             std::to_string(Collection::KroGroup::memAllocationTracker_.liveCount()) + " nodes, " +
             std::to_string(recorder.live()) + " allocations";
   }

   /// @return how many allocations of the call were refused, one after the other, before it succeeded
   template <class Call>
   std::uint64_t refuseEach(Call const& call) const
   {
      for (std::uint64_t nth = 1;; ++nth) {
         auto const before = state();
         auto const refusal = refuseAllocation(nth, call);
         if (refusal == Refusal::none) {
            return nth - 1;
         }
         EXPECT_EQ(refusal, Refusal::passed) << nth;
         EXPECT_EQ(state(), before) << nth;
      }
   }

   AllocationRecorder& recorder = AllocationRecorder::instance();
   Orvo::Ptr<Collection> sut = Orvo::make<Collection>(nullptr);
};

TEST_F(ControlCollectionFailure, collectionThatIsRefusedLeavesNothingBehind)
{
   EXPECT_EQ(refuseEach([] { static_cast<void>(Orvo::make<Collection>(nullptr)); }), 1U);
}

TEST_F(ControlCollectionFailure, attributeIsThatIsRefusedLeavesNoTraceAndSucceedsThen)
{
   sut->attributeIs(1, 4);

   EXPECT_EQ(refuseEach([this] { sut->attributeIs(2, 8); }), 1U);

   EXPECT_EQ(sut->attribute(2)->size(), 8U);
   EXPECT_EQ(sut->attribute(2)->useCount(), 1U);
}

TEST_F(ControlCollectionFailure, attributeIsTakesTheAttributeFromTheSlabAndNothingElse)
{
   recorder.startCalls();
   sut->attributeIs(1, 4);
   sut->attributeIs(1, 4);

   EXPECT_THAT(recorder.takeCalls(), ElementsAre("slabAlloc " + std::to_string(sizeof(Attribute))));
}

TEST_F(ControlCollectionFailure, attributesIsThatIsRefusedKeepsTheFieldsThatItMade)
{
   for (std::uint64_t nth = 1; nth <= 3; ++nth) {
      sut->attributeDelAll();

      EXPECT_EQ(refuseAllocation(nth, [this] { sut->attributesIs(RingEntry::kroType); }), Refusal::passed);

      EXPECT_EQ(sut->attribute().size(), nth - 1);
      sut->attributesIs(RingEntry::kroType);
      EXPECT_EQ(sut->attribute().size(), 3U);
   }
}

TEST_F(ControlCollectionFailure, groupIsThatIsRefusedFreesTheGroupAndSucceedsThen)
{
   sut->groupIs(1, 0, 4);

   // The group, then its place in the collection.
   EXPECT_EQ(refuseEach([this] { sut->groupIs(2, 4, 8); }), 2U);

   EXPECT_EQ(sut->group(2)->head(), 4U);
   EXPECT_EQ(sut->group(2)->useCount(), 1U);
}

TEST_F(ControlCollectionFailure, groupIsTakesGroupAndNodeFromTheSlab)
{
   recorder.startCalls();
   sut->groupIs(2, 4, 8);
   sut->groupIs(2, 4, 8);

   EXPECT_THAT(
      recorder.takeCalls(),
      ElementsAre(
         "slabAlloc " + std::to_string(sizeof(Group)), "slabAlloc " + std::to_string(sizeof(Collection::KroGroup))));
}

TEST_F(ControlCollectionFailure, synchronizerIsThatIsRefusedKeepsTheOneBefore)
{
   sut->groupIs(1, 0, 2);
   std::vector<std::uint32_t> indexes;
   sut->synchronizerIs([&indexes](std::uint32_t index) { indexes.push_back(index); });
   std::function<void(std::uint32_t)> another = [&indexes](std::uint32_t index) { indexes.push_back(index + 100); };

   EXPECT_EQ(refuseAllocation(1, [&] { sut->synchronizerIs(std::move(another)); }), Refusal::passed);
   sut->synchronizeAll();

   EXPECT_THAT(indexes, ElementsAre(0, 1));
}

TEST_F(ControlCollectionFailure, synchronizeAllAllocatesNothing)
{
   sut->groupIs(1, 0, 2);
   std::uint64_t sum = 0;
   sut->synchronizerIs([&sum, held = std::string(100, 'x')](std::uint32_t index) { sum += index + held.size(); });

   EXPECT_EQ(refuseAllocation(1, [this] { sut->synchronizeAll(); }), Refusal::none);

   EXPECT_EQ(sum, 201U);
   EXPECT_EQ(sut->useCount(), 1U);
}

TEST_F(ControlCollectionFailure, refusalOfAnIndexIsRaisedOnce)
{
   sut->attributeIs(1, 4);
   UtilityRecorder::instance().takeCalls();

   EXPECT_THROW(sut->addressBus(1, 0), Kro::RangeException);
   EXPECT_THROW(sut->addressVirtual(1, 0), Kro::RangeException);
   EXPECT_THROW(sut->reset(0), Kro::RangeException);

   std::string const refusal = "raise Kro::RangeException";
   EXPECT_THAT(UtilityRecorder::instance().takeCalls(), ElementsAre(refusal, refusal, refusal));
}

} // namespace
