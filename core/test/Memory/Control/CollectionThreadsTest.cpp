// Everything that may run together on a live collection, at once, however many groups it has and whichever way look-ups are
// answered.

#include "support/MemoryTest.h"
#include "support/Threads.h"

#include <Quorvel/Core/Memory/Control/Collection.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <ostream>
#include <vector>

namespace {

using Quorvel::Core::Memory::Control::Collection;
using Quorvel::Core::Test::MemoryTest;
using Quorvel::Core::Test::onThreads;
using Quorvel::Core::Test::threadCount;

constexpr std::int32_t dma = 1;      ///< a field in DMA memory
constexpr std::int32_t ordinary = 2; ///< one in ordinary memory
constexpr std::uint32_t entries = 4; ///< of each group
constexpr std::uint32_t size = 8;    ///< of a field, in bytes

/// By what look-ups are answered.
enum class Road {
   index,    ///< groups side by side, made in order
   late,     ///< the same, made in the other order
   overlaps, ///< two groups that overlap, behind all others
   lonely    ///< a chunk without a group, behind all others
};

struct Case {
   std::uint32_t groups;
   Road road;
};

void PrintTo(Case const& parameter, std::ostream* stream)
{
   constexpr char const* roads[] = {"Index", "Late", "Overlaps", "Lonely"};
   *stream << parameter.groups << "Groups" << roads[static_cast<std::size_t>(parameter.road)];
}

class ControlCollectionThreads : public MemoryTest, public testing::WithParamInterface<Case> {
protected:
   void SetUp() override
   {
      sut->attributeIs(dma, size);
      sut->attributeIs(ordinary, size);
      auto const groups = GetParam().groups;
      for (std::uint32_t i = 0; i < groups; ++i) {
         auto const id = GetParam().road == Road::late ? groups - 1 - i : i;
         add(id, id * entries, id);
      }
      if (GetParam().road == Road::overlaps) {
         add(groups, groups * entries, groups);
         add(groups + 1, groups * entries + 2, groups + 1);
      }
      for (auto& attribute : sut->attribute()) {
         if (GetParam().road == Road::lonely) {
            attribute.chunkIs(4294967295U, store().chunkIs("lonely", size, false));
         }
      }
      for (std::uint32_t index = 0; index < count(); ++index) {
         addressBus.push_back(sut->addressBus(dma, index));
         addressVirtual.push_back(sut->addressVirtual(ordinary, index));
      }
   }

   void TearDown() override
   {
      sut.reset();
      MemoryTest::TearDown();
   }

   /// Entries of the groups that do not overlap.
   std::uint32_t count() const { return GetParam().groups * entries; }

   void add(std::uint32_t id, std::uint32_t head, std::uint32_t chunk)
   {
      auto const group = sut->groupIs(id, head, entries);
      for (auto& attribute : sut->attribute()) {
         bool const isOrdinary = attribute.id() == ordinary;
         attribute.groupIs(group);
         attribute.chunkIs(
            id, store().chunkIs(Orvo::join(isOrdinary ? "ordinary " : "dma ", chunk), entries * size, isOrdinary));
      }
   }

   /// @return how many references there are to all that the collection holds
   std::uint64_t references() const
   {
      std::uint64_t sum = sut->useCount();
      for (auto const& group : sut->group()) {
         sum += group->useCount();
      }
      for (auto const& attribute : sut->attribute()) {
         sum += attribute.useCount();
         for (auto const& chunk : attribute.chunk()) {
            sum += chunk->useCount();
         }
      }
      return sum;
   }

   std::vector<std::uint64_t> addressBus;     ///< of each entry's field in DMA memory
   std::vector<std::uint64_t> addressVirtual; ///< of the other one
   Orvo::Ptr<Collection> sut = Orvo::make<Collection>(nullptr);
};

/// A chunk without a group stops the process that asks for runs.
class ControlRunThreads : public ControlCollectionThreads {};

TEST_P(ControlCollectionThreads, lookUpsGiveEachThreadTheSameAddresses)
{
   std::atomic<std::uint64_t> wrong = 0;
   auto const before = references();

   onThreads([&](std::size_t thread) {
      for (std::uint32_t i = 0; i < count(); ++i) {
         auto const index = (i + static_cast<std::uint32_t>(thread) * 7) % count();
         wrong += sut->addressBus(dma, index) != addressBus[index] ? 1U : 0U;
         wrong += sut->addressBus(ordinary, index) != 0 ? 1U : 0U;
         wrong += sut->addressVirtual(ordinary, index) != addressVirtual[index] ? 1U : 0U;
         auto const [chunk, offset] = sut->attribute(dma)->obtainChunkAndOffset(index, nullptr);
         wrong += chunk->addressBus() + offset != addressBus[index] ? 1U : 0U;
      }
   });

   EXPECT_EQ(wrong, 0U);
   EXPECT_EQ(references(), before);
}

TEST_P(ControlRunThreads, runsGiveEachThreadEveryEntry)
{
   std::atomic<std::uint64_t> wrong = 0;

   onThreads([&](std::size_t) {
      std::uint32_t next = 0;
      for (auto const run : sut->runs<std::uint64_t>(dma)) {
         if (run.first >= count()) {
            continue; // groups that overlap
         }
         wrong += run.first != next || run.addressBus != addressBus[run.first] ? 1U : 0U;
         next = run.first + run.count;
      }
      wrong += next != count() ? 1U : 0U;
   });

   EXPECT_EQ(wrong, 0U);
}

TEST_P(ControlCollectionThreads, entriesOfEachThreadAreWrittenAndResetBesideThoseOfOthers)
{
   onThreads([&](std::size_t thread) {
      for (auto index = static_cast<std::uint32_t>(thread); index < count(); index += threadCount) {
         for (auto const field : {dma, ordinary}) {
            std::memset(reinterpret_cast<void*>(sut->addressVirtual(field, index)), static_cast<int>(thread) + 1, size);
         }
         if (index / threadCount % 2 == 0) {
            sut->reset(index);
         }
      }
   });

   std::uint32_t wrong = 0;
   for (std::uint32_t index = 0; index < count(); ++index) {
      auto const expected = index / threadCount % 2 == 0 ? 0U : index % threadCount + 1;
      for (auto const field : {dma, ordinary}) {
         auto const* const bytes = reinterpret_cast<std::uint8_t const*>(sut->addressVirtual(field, index));
         wrong += std::count(bytes, bytes + size, expected) != size ? 1U : 0U;
      }
   }
   EXPECT_EQ(wrong, 0U);
}

TEST_P(ControlCollectionThreads, synchronizeAllCallsForEveryEntryOnEachThreadBesideLookUps)
{
   std::atomic<std::uint64_t> calls = 0;
   std::atomic<std::uint64_t> wrong = 0;
   sut->synchronizerIs([&, captured = std::vector<std::uint64_t>(100, 1)](std::uint32_t index) {
      calls += captured[index % 100];
      wrong += index < count() && sut->addressBus(dma, index) != addressBus[index] ? 1U : 0U;
   });
   auto const before = references();

   onThreads([&](std::size_t thread) {
      if (thread % 2 == 0) {
         sut->synchronizeAll();
         return;
      }
      for (std::uint32_t index = 0; index < count(); ++index) {
         wrong += sut->addressVirtual(ordinary, index) != addressVirtual[index] ? 1U : 0U;
      }
   });

   auto const overlapping = GetParam().road == Road::overlaps ? 2 * entries : 0;
   EXPECT_EQ(calls, threadCount / 2 * (count() + overlapping));
   EXPECT_EQ(wrong, 0U);
   EXPECT_EQ(references(), before);
}

constexpr Case withRuns[] = {{1, Road::index},     {1, Road::overlaps}, {16, Road::index}, {16, Road::late},
                             {16, Road::overlaps}, {300, Road::index},  {300, Road::late}, {300, Road::overlaps}};
constexpr Case withoutRuns[] = {{1, Road::lonely}, {16, Road::lonely}, {300, Road::lonely}};

INSTANTIATE_TEST_SUITE_P(
   Roads, ControlCollectionThreads, testing::ValuesIn(withRuns), testing::PrintToStringParamName());
INSTANTIATE_TEST_SUITE_P(
   LonelyRoads, ControlCollectionThreads, testing::ValuesIn(withoutRuns), testing::PrintToStringParamName());
INSTANTIATE_TEST_SUITE_P(Roads, ControlRunThreads, testing::ValuesIn(withRuns), testing::PrintToStringParamName());

} // namespace
