// What a look-up must not do, however many groups there are and whichever way it is answered: allocate, touch a reference
// count, write anything at all to the collection's memory.

#include "support/AllocationRecorder.h"
#include "support/ChildProcess.h"
#include "support/MemoryTest.h"
#include "support/WriteGuard.h"

#include <Quorvel/Core/Memory/Control/Collection.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ostream>
#include <vector>

namespace {

using Quorvel::Core::Memory::Control::Collection;
using Quorvel::Core::Memory::Control::Offsetter;
using Quorvel::Core::Memory::Control::Detail::Attribute;
using Quorvel::Core::Memory::Control::Detail::Chunk;
using Quorvel::Core::Memory::Control::Detail::Group;
using Quorvel::Core::Test::AllocationRecorder;
using Quorvel::Core::Test::inChild;
using Quorvel::Core::Test::MemoryTest;
using Quorvel::Core::Test::WriteGuard;

constexpr std::int32_t field = 3;
constexpr std::int32_t otherField = 7;
constexpr std::uint32_t entries = 4; ///< of each group
constexpr std::uint32_t size = 8;    ///< of a field, in bytes

/// By what a look-up is answered.
enum class Road {
   index,    ///< groups side by side
   overlaps, ///< two groups that overlap, behind all others
   lonely    ///< a chunk without a group, behind all others
};

struct Case {
   std::uint32_t groups;
   Road road;
   bool hasOffsetter;
};

void PrintTo(Case const& parameter, std::ostream* stream)
{
   constexpr char const* roads[] = {"Index", "Overlaps", "Lonely"};
   *stream << parameter.groups << "Groups" << roads[static_cast<std::size_t>(parameter.road)]
           << (parameter.hasOffsetter ? "Offsetter" : "");
}

/// The counts of references to all that a collection holds, and of those to it.
std::vector<std::uint32_t> countsOf(Collection const& collection)
{
   std::vector<std::uint32_t> counts{collection.useCount()};
   for (auto const& group : collection.group()) {
      counts.push_back(group->useCount());
   }
   for (auto const& attribute : collection.attribute()) {
      counts.push_back(attribute.useCount());
      for (auto const& chunk : attribute.chunk()) {
         counts.push_back(chunk->useCount());
      }
   }
   return counts;
}

/// What the offsetter looks at each time it is asked.
struct Watch {
   Collection const* collection = nullptr;
   std::vector<std::uint32_t> expected;
   std::uint64_t calls = 0;
   std::uint64_t differences = 0;
};

Watch watch;

std::uint32_t watchedOffset(std::uint32_t head, std::uint32_t index, std::uint32_t bytes)
{
   if (watch.collection != nullptr) {
      AllocationRecorder::Pause const pause;
      ++watch.calls;
      watch.differences += countsOf(*watch.collection) != watch.expected ? 1U : 0U;
   }
   return (index - head) * bytes;
}

class ControlLookupCost : public MemoryTest, public testing::WithParamInterface<Case> {
protected:
   void SetUp() override
   {
      for (auto const id : {field, otherField}) {
         sut->attributeIs(id, size);
      }
      for (std::uint32_t id = 0; id < GetParam().groups; ++id) {
         add(id, id * entries);
      }
      if (GetParam().road == Road::overlaps) {
         add(GetParam().groups, 100000);
         add(GetParam().groups + 1, 100002);
      }
      for (auto& attribute : sut->attribute()) {
         if (GetParam().road == Road::lonely) {
            attribute.chunkIs(4294967295U, chunkOf(0));
         }
      }
   }

   void TearDown() override
   {
      watch = Watch();
      sut.reset();
      MemoryTest::TearDown();
   }

   static Orvo::Ptr<Chunk> chunkOf(std::uint32_t id)
   {
      return store().chunkIs(Orvo::join("chunk ", id), entries * size, false);
   }

   void add(std::uint32_t id, std::uint32_t head)
   {
      auto const group = sut->groupIs(id, head, entries);
      for (auto& attribute : sut->attribute()) {
         attribute.groupIs(group);
         attribute.chunkIs(id, chunkOf(id));
      }
   }

   /// Looks each entry up in each way.
   /// @return a sum, so that nothing is left out
   std::uint64_t lookUpAll() const
   {
      std::uint64_t sum = 0;
      auto const& attribute = *sut->attribute(field);
      for (std::uint32_t index = 0; index < GetParam().groups * entries; ++index) {
         sum += sut->addressBus(field, index);
         sum += sut->addressVirtual(otherField, index);
         auto const [chunk, offset] = attribute.obtainChunkAndOffset(index, sut->offsetter());
         sum += chunk->size() + offset;
         sut->reset(index);
      }
      return sum;
   }

   /// @return how many entries the runs have
   std::uint64_t runThroughAll() const
   {
      std::uint64_t count = 0;
      for (auto const run : sut->runs<std::uint64_t>(field)) {
         count += run.count;
      }
      return count;
   }

   bool hasRuns() const { return !GetParam().hasOffsetter && GetParam().road != Road::lonely; }

   AllocationRecorder& recorder = AllocationRecorder::instance();
   Orvo::Ptr<Collection> sut = Orvo::make<Collection>(GetParam().hasOffsetter ? watchedOffset : nullptr);
};

TEST_P(ControlLookupCost, nothingIsAllocated)
{
   auto const before = recorder.allocations();

   auto const sum = lookUpAll();
   EXPECT_EQ(recorder.allocations(), before);
   EXPECT_NE(sum, 0U);

   if (hasRuns()) {
      auto const beforeRuns = recorder.allocations();
      auto const count = runThroughAll();
      EXPECT_EQ(recorder.allocations(), beforeRuns);
      EXPECT_GE(count, GetParam().groups * entries);
   }
}

TEST_P(ControlLookupCost, noReferenceCountIsAnotherAfterwardsOrMeanwhile)
{
   auto const before = countsOf(*sut);
   watch = Watch{sut.get(), before, 0, 0};

   lookUpAll();
   if (hasRuns()) {
      runThroughAll();
   }

   EXPECT_EQ(countsOf(*sut), before);
   EXPECT_EQ(watch.calls, GetParam().hasOffsetter ? GetParam().groups * entries * 5 : 0U);
   EXPECT_EQ(watch.differences, 0U);
}

TEST_P(ControlLookupCost, nothingIsWrittenToTheMemoryOfCollectionFieldsGroupsAndChunks)
{
   // In a child: a write ends the process.
   auto const result = inChild({}, [this] {
      WriteGuard guard;
      guard.add(sut.get(), sizeof(Collection));
      for (auto const& group : sut->group()) {
         guard.add(group.get(), sizeof(Group));
      }
      for (auto const& attribute : sut->attribute()) {
         guard.add(&attribute, sizeof(Attribute));
         for (auto const& chunk : attribute.chunk()) {
            guard.add(chunk.get(), sizeof(Chunk));
         }
      }
      guard.begin();
      auto const sum = lookUpAll();
      auto const count = hasRuns() ? runThroughAll() : 1;
      guard.end();
      std::printf("%s", sum != 0 && count != 0 ? "looked up" : "");
   });

   EXPECT_EQ(result.output, "looked up");
   EXPECT_EQ(result.status, 0);
}

INSTANTIATE_TEST_SUITE_P(
   Roads, ControlLookupCost,
   testing::Values(
      Case{1, Road::index, false}, Case{1, Road::index, true}, Case{1, Road::overlaps, false},
      Case{1, Road::lonely, true}, Case{16, Road::index, false}, Case{16, Road::index, true},
      Case{16, Road::overlaps, false}, Case{16, Road::overlaps, true}, Case{300, Road::index, false},
      Case{300, Road::index, true}, Case{300, Road::overlaps, false}, Case{300, Road::lonely, false}),
   testing::PrintToStringParamName());

TEST(ControlLookupCostGuard, endsAProcessThatTouchesACount)
{
   auto const result = inChild({}, [] {
      auto const group = Orvo::make<Group>(1U, 2U, 3U);
      WriteGuard guard;
      guard.add(group.get(), sizeof(Group));
      guard.begin();
      Orvo::Ptr<Group> const another = group;
      guard.end();
   });

   EXPECT_NE(result.status, 0);
}

} // namespace
