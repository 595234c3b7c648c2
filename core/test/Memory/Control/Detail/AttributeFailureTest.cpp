// An attribute one of whose allocations is refused, each in turn: what it holds then, and what it finds.

#include "AttributeFailureFixture.h"
#include "support/RefusedAllocation.h"

#include <Quorvel/Core/Memory/Control/Detail/Attribute.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace {

using Quorvel::Core::Memory::Control::Detail::Attribute;
using Quorvel::Core::Memory::Control::Detail::Group;
using Quorvel::Core::Test::AllocationRecorder;
using Quorvel::Core::Test::Refusal;
using Quorvel::Core::Test::refuseAllocation;
using testing::ElementsAre;
using testing::IsEmpty;

using Step = std::function<void(Attribute&)>;

void nothing(Attribute& /*sut*/) {}

/// A way to give an attribute groups and chunks, before the step that is refused.
struct Beginning {
   char const* name;
   Step make;
};

class ControlAttributeFailure : public Quorvel::Core::Test::AttributeFailureFixture {
protected:
   /// From where the next group may begin, to where the others have left room.
   std::vector<Beginning> beginnings() const
   {
      return {
         {"nothing", [](Attribute&) {}},
         {"one", [this](Attribute& sut) { add(sut, 0, 0); }},
         {"ascending",
          [this](Attribute& sut) {
             for (std::uint32_t id = 0; id < 32; ++id) {
                add(sut, id, id * width);
             }
          }},
         {"descending, as many as wait unsorted",
          [this](Attribute& sut) {
             for (std::uint32_t id = 0; id < 9; ++id) {
                add(sut, id, 490 - id * width);
             }
          }},
         {"of different sizes",
          [this](Attribute& sut) {
             for (std::uint32_t id = 0; id < 16; ++id) {
                add(sut, id, id * 20, 1 + id * id % 19);
             }
          }},
         {"half of them erased",
          [this](Attribute& sut) {
             for (std::uint32_t id = 0; id < 16; ++id) {
                add(sut, id, id * width);
             }
             for (std::uint32_t id = 0; id < 8; ++id) {
                sut.chunkDel(id);
             }
          }},
         {"overlapping",
          [this](Attribute& sut) {
             add(sut, 3, 0, 15);
             add(sut, 1, 10, 15);
          }},
         {"overlapping till the last change", [this](Attribute& sut) {
             add(sut, 3, 0, 15);
             add(sut, 1, 10, 15);
             add(sut, 5, 40, 15);
             sut.chunkDel(3);
             sut.chunkDel(1);
          }}};
   }

   /// Does the step to each beginning with its first allocation refused, then its second, and so on till it has fewer.
   /// A step that ends with the refusal must have changed nothing, one that bears it must have done what it is for; both
   /// can be done again.
   void refuseEach(Step const& prepare, Step const& step, std::function<bool(Attribute const&)> const& isDone)
   {
      for (auto const& beginning : beginnings()) {
         SCOPED_TRACE(beginning.name);
         auto const before = liveNodes();
         auto refusal = Refusal::passed;
         for (std::uint64_t nth = 1; refusal != Refusal::none; ++nth) {
            SCOPED_TRACE(nth);
            auto const sut = Orvo::make<Attribute>(1, 16U);
            beginning.make(*sut);
            prepare(*sut);
            auto const groups = sut->group().version();
            auto const held = sut->chunk().version();
            auto const nodes = liveNodes();

            refusal = refuseAllocation(nth, [&] { step(*sut); });

            if (refusal == Refusal::passed) {
               EXPECT_EQ(sut->group().version(), groups);
               EXPECT_EQ(sut->chunk().version(), held);
               EXPECT_EQ(liveNodes(), nodes);
               ++passed;
            } else {
               EXPECT_TRUE(isDone(*sut));
               borne += refusal == Refusal::borne ? 1U : 0U;
            }
            expectRule(*sut);
            step(*sut);
            EXPECT_TRUE(isDone(*sut));
            expectRule(*sut);
            add(*sut, 70, 510);
            add(*sut, 71, 500);
            expectRule(*sut);
         }
         EXPECT_EQ(liveNodes(), before);
      }
   }

   static std::uint64_t liveNodes()
   {
      return Attribute::KroGroup::memAllocationTracker_.liveCount() +
             Attribute::KroChunk::memAllocationTracker_.liveCount();
   }

   unsigned passed = 0;
   unsigned borne = 0;
   AllocationRecorder& recorder = AllocationRecorder::instance();
};

TEST_F(ControlAttributeFailure, groupIsTakesANodeFromTheSlabAndNothingElse)
{
   auto const sut = Orvo::make<Attribute>(1, 16U);
   auto const group = groupOf(1, 0);
   auto const other = groupOf(1, 5);

   recorder.startCalls();
   sut->groupIs(group);
   EXPECT_THAT(recorder.takeCalls(), ElementsAre("slabAlloc " + std::to_string(sizeof(Attribute::KroGroup))));

   recorder.startCalls();
   sut->groupIs(group);
   sut->groupIs(other);
   EXPECT_THAT(recorder.takeCalls(), IsEmpty());
}

TEST_F(ControlAttributeFailure, chunkIsTakesANodeFromTheSlabAndGivesItBack)
{
   auto const sut = Orvo::make<Attribute>(1, 16U);
   auto const size = std::to_string(sizeof(Attribute::KroChunk));

   recorder.startCalls();
   sut->chunkIs(1, nullptr);
   sut->chunkIs(1, chunks[0]);
   sut->chunkIs(1, chunks[0]);
   sut->chunkIs(1, chunks[1]);
   sut->chunkIs(1, nullptr);

   EXPECT_THAT(recorder.takeCalls(), ElementsAre("slabAlloc " + size, "slabFree " + size));
}

TEST_F(ControlAttributeFailure, attributeAndGroupComeFromTheSlab)
{
   recorder.startCalls();
   static_cast<void>(Orvo::make<Attribute>(1, 16U));
   static_cast<void>(groupOf(1, 0));

   auto const attribute = std::to_string(sizeof(Attribute));
   auto const group = std::to_string(sizeof(Group));
   EXPECT_THAT(
      recorder.takeCalls(),
      ElementsAre("slabAlloc " + attribute, "slabFree " + attribute, "slabAlloc " + group, "slabFree " + group));
}

TEST_F(ControlAttributeFailure, groupThatIsRefusedChangesNothing)
{
   auto const group = groupOf(60, 500);

   refuseEach(
      nothing, [&](Attribute& sut) { sut.groupIs(group); },
      [&](Attribute const& sut) { return sut.group(60) == group.get(); });

   EXPECT_EQ(passed, beginnings().size());
   EXPECT_EQ(borne, 0U);
   EXPECT_EQ(group->useCount(), 1U);
}

TEST_F(ControlAttributeFailure, groupOfAChunkThatWaitsForItIsThereOrNot)
{
   auto const group = groupOf(60, 500);

   refuseEach(
      [this](Attribute& sut) { sut.chunkIs(60, chunks[0]); }, [&](Attribute& sut) { sut.groupIs(group); },
      [&](Attribute const& sut) { return sut.group(60) == group.get(); });

   EXPECT_EQ(passed, beginnings().size());
   EXPECT_GT(borne, 4U);
}

TEST_F(ControlAttributeFailure, groupThatReplacesAnotherIsThereWhateverIsRefused)
{
   auto const first = groupOf(60, 500);
   auto const second = groupOf(60, 520, 30);

   refuseEach(
      [&](Attribute& sut) {
         sut.groupIs(first);
         sut.chunkIs(60, chunks[0]);
      },
      [&](Attribute& sut) { sut.groupIs(second); },
      [&](Attribute const& sut) { return sut.group(60) == second.get(); });

   EXPECT_EQ(passed, 0U);
   EXPECT_EQ(first->useCount(), 1U);
}

TEST_F(ControlAttributeFailure, chunkThatIsRefusedChangesNothingAndIsThereWhereOnlyTheShortcutLacksIt)
{
   auto const group = groupOf(60, 500);

   refuseEach(
      [&](Attribute& sut) { sut.groupIs(group); }, [this](Attribute& sut) { sut.chunkIs(60, chunks[0]); },
      [this](Attribute const& sut) { return sut.chunk(60) == chunks[0].get(); });

   EXPECT_EQ(passed, beginnings().size());
   EXPECT_GT(borne, 4U);
   EXPECT_EQ(group->useCount(), 1U);
   EXPECT_EQ(chunks[0]->useCount(), 2U);
}

TEST_F(ControlAttributeFailure, chunkBetweenOthersIsThereOrNot)
{
   auto const group = groupOf(60, 35, 3);

   refuseEach(
      [&](Attribute& sut) { sut.groupIs(group); }, [this](Attribute& sut) { sut.chunkIs(60, chunks[0]); },
      [this](Attribute const& sut) { return sut.chunk(60) == chunks[0].get(); });

   EXPECT_EQ(passed, beginnings().size());
}

TEST_F(ControlAttributeFailure, deletionsAreDoneWhateverIsRefused)
{
   refuseEach(
      [this](Attribute& sut) { add(sut, 60, 500); },
      [](Attribute& sut) {
         // Down to where the shortcut sorts what is left, and past it.
         for (std::uint32_t id = 0; id < 12; ++id) {
            sut.chunkDel(id);
         }
      },
      [](Attribute const& sut) { return sut.chunk(0) == nullptr && sut.chunk(11) == nullptr; });
   EXPECT_EQ(passed, 0U);

   refuseEach(
      [this](Attribute& sut) { add(sut, 60, 500); },
      [](Attribute& sut) {
         for (std::uint32_t id = 0; id < 60; ++id) {
            sut.groupDel(id);
            sut.chunkIs(id, nullptr);
         }
      },
      [](Attribute const& sut) { return sut.chunk().size() == 1 && sut.group().size() == 1; });
   EXPECT_EQ(passed, 0U);
   EXPECT_GT(borne, 0U);
}

} // namespace
