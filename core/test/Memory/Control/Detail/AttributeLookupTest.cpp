#include <Quorvel/Core/Memory/Control/Detail/Attribute.h>

#include "support/AddressRule.h"
#include "support/MemoryTest.h"
#include "support/MessageOf.h"

#include <Kro/Exception.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace {

using Quorvel::Core::Memory::Control::Offsetter;
using Quorvel::Core::Memory::Control::Detail::Attribute;
using Quorvel::Core::Memory::Control::Detail::Chunk;
using Quorvel::Core::Memory::Control::Detail::Group;
using Quorvel::Core::Test::Found;
using Quorvel::Core::Test::MemoryTest;
using Quorvel::Core::Test::messageOf;
using Quorvel::Core::Test::walk;

std::uint32_t threeTimes(std::uint32_t head, std::uint32_t index, std::uint32_t size)
{
   return 3 * index + head + size;
}

/// What attributes look like, from tidy to odd.
struct Shape {
   std::uint32_t ids;      ///< keys are below
   std::uint32_t range;    ///< heads are below, counted from `origin`
   std::uint32_t origin;   ///< near 2^32 groups wrap
   std::uint32_t largest;  ///< sizes are up to
   bool isTidy;            ///< head = id * largest, so that nothing overlaps
   unsigned lonelyPercent; ///< how often a chunk comes without its group
};

class ControlAttributeLookup : public MemoryTest {
protected:
   void SetUp() override
   {
      for (std::uint32_t i = 0; i < 8; ++i) {
         chunks.push_back(store().chunkIs(Orvo::join("chunk ", i), 64, i % 2 == 0));
      }
   }

   void TearDown() override
   {
      chunks.clear();
      MemoryTest::TearDown();
   }

   void change(Attribute& sut, Shape const& shape)
   {
      auto const id = static_cast<std::uint32_t>(random() % shape.ids);
      auto const& chunk = chunks[random() % chunks.size()];
      auto const head = shape.isTidy ? shape.origin + id * shape.largest
                                     : shape.origin + static_cast<std::uint32_t>(random() % shape.range);
      auto const size =
         shape.isTidy ? shape.largest : static_cast<std::uint32_t>(random() % (std::uint64_t{shape.largest} + 1));
      switch (random() % 12) {
      case 0:
         sut.groupDel(id);
         break;
      case 1:
         sut.chunkDel(id);
         break;
      case 2:
         sut.chunkIs(id, nullptr);
         break;
      case 3:
         sut.chunkIs(id, chunk);
         break;
      case 4:
         if (random() % 40 == 0) {
            sut.chunkDelAll();
         }
         break;
      case 5:
         if (random() % 40 == 0) {
            sut.groupDelAll();
            sut.chunkDelAll();
         }
         break;
      default:
         if (random() % 100 >= shape.lonelyPercent) {
            sut.groupIs(Orvo::make<Group>(id, head, size));
         }
         sut.chunkIs(id, chunk);
      }
   }

   void expectRule(Attribute const& sut, std::uint32_t index, Offsetter offsetter)
   {
      bool isFatal = false;
      auto const expected = walk(sut, index, offsetter, isFatal);
      if (isFatal) {
         ++fatal;
         return;
      }
      ++lookups;
      if (expected) {
         ASSERT_EQ(sut.obtainChunkAndOffset(index, offsetter), *expected) << "entry " << index;
         return;
      }
      // Exceptions are slow: each of a few is looked at.
      if (random() % 16 == 0) {
         ASSERT_EQ(
            messageOf<Kro::RangeException>([&] { sut.obtainChunkAndOffset(index, offsetter); }),
            "index " + std::to_string(index) + " is out of range.");
      }
   }

   /// Every entry from `from` on, below `end`, lies in the stretch that says so, or in none.
   void expectStretches(Attribute const& sut, std::uint32_t from, std::uint32_t end)
   {
      bool isFatal = false;
      walk(sut, 4294967295U, nullptr, isFatal);
      if (isFatal) {
         return;
      }
      auto stretch = sut.nextStretch(from);
      for (auto entry = from; entry != end; ++entry) {
         auto const expected = walk(sut, entry, nullptr, isFatal);
         if (stretch && entry - stretch->first == stretch->count) {
            stretch = sut.nextStretch(entry);
         }
         ASSERT_TRUE(!stretch || stretch->count >= 1) << "entry " << entry;
         ASSERT_EQ(expected.has_value(), stretch && stretch->first <= entry) << "entry " << entry;
         if (expected) {
            ASSERT_EQ(stretch->chunk, expected->first) << "entry " << entry;
            std::uint32_t const offset = stretch->offset + (entry - stretch->first) * sut.size();
            ASSERT_EQ(offset, expected->second) << "entry " << entry;
         }
         ++stretched;
      }
   }

   /// Gives the attribute a group of ten entries and, as its chunk, that of the number `id`.
   void addTen(Attribute& sut, std::uint32_t id, std::uint32_t head) const
   {
      sut.groupIs(Orvo::make<Group>(id, head, 10U));
      sut.chunkIs(id, chunks[id]);
   }

   void expectFound(Attribute const& sut, std::uint32_t index, std::uint32_t id, std::uint32_t offset) const
   {
      EXPECT_EQ(sut.obtainChunkAndOffset(index, nullptr), Found(chunks[id].get(), offset)) << "entry " << index;
   }

   static void expectStop(Attribute const& sut, std::uint32_t index)
   {
      EXPECT_DEATH(sut.obtainChunkAndOffset(index, nullptr), "every chunk has its group") << "entry " << index;
   }

   std::mt19937 random;
   std::vector<Orvo::Ptr<Chunk>> chunks;
   std::uint64_t lookups = 0;
   std::uint64_t fatal = 0;
   std::uint64_t stretched = 0;
};

TEST_F(ControlAttributeLookup, agreesWithTheRuleWhateverTheGroupsLookLike)
{
   constexpr Shape shapes[] = {
      {64, 1, 0, 16, true, 0},
      {64, 1, 1000, 16, true, 5},
      {4000, 1, 7, 100, true, 0},
      {16, 4096, 0, 64, false, 0},
      {16, 256, 0, 64, false, 0},
      {64, 100000, 50, 40, false, 2},
      {300, 4000000, 0, 30, false, 0},
      {8, 64, 4294967264U, 48, false, 0},
      {40, 4096, 4294963200U, 200, false, 1},
      {5, 16, 0, 3, false, 10},
      {200, 65536, 0, 4294967295U, false, 0}};
   unsigned seed = 0;
   for (auto const& shape : shapes) {
      for (unsigned round = 0; round < 200; ++round) {
         SCOPED_TRACE("seed " + std::to_string(seed));
         random.seed(seed++);
         auto const sut = Orvo::make<Attribute>(1, round % 2 == 0 ? 16U : 4294967295U);
         auto const range = shape.isTidy ? shape.ids * shape.largest : shape.range + shape.largest;
         for (unsigned step = 0; step < 120; ++step) {
            change(*sut, shape);
            for (unsigned lookup = 0; lookup < 24; ++lookup) {
               auto const index = shape.origin - 4 + static_cast<std::uint32_t>(random() % (std::uint64_t{range} + 8));
               expectRule(*sut, index, lookup % 4 == 0 ? threeTimes : nullptr);
            }
         }
         if (HasFatalFailure()) {
            return;
         }
      }
   }
   EXPECT_GT(lookups, 2'000'000U);
   EXPECT_GT(fatal, 1000U);
}

TEST_F(ControlAttributeLookup, stretchesHoldEveryEntryThatTheRuleFinds)
{
   constexpr Shape shapes[] = {
      {20, 1, 0, 16, true, 0},
      {16, 256, 0, 64, false, 0},
      {16, 200, 0, 4, false, 1},
      {8, 64, 4294967000U, 100, false, 0}};
   unsigned seed = 1000;
   for (auto const& shape : shapes) {
      for (unsigned round = 0; round < 40; ++round) {
         SCOPED_TRACE("seed " + std::to_string(seed));
         random.seed(seed++);
         std::uint32_t const sizes[] = {16, 0, 1U << 30U, 3, 3000000000U};
         auto const sut = Orvo::make<Attribute>(1, sizes[round % 5]);
         for (unsigned step = 0; step < 40; ++step) {
            change(*sut, shape);
            expectStretches(*sut, shape.origin, shape.origin + 290);
         }
         if (HasFatalFailure()) {
            return;
         }
      }
   }
   EXPECT_GT(stretched, 500'000U);
}

TEST_F(ControlAttributeLookup, stopsTheProcessAtALonelyChunkBelowGroupsThatAscend)
{
   auto const sut = Orvo::make<Attribute>(1, 16U);
   addTen(*sut, 1, 0);
   addTen(*sut, 2, 10);
   sut->chunkIs(0, chunks[0]);
   addTen(*sut, 3, 20);

   expectStop(*sut, 0);
   expectStop(*sut, 15);
   expectStop(*sut, 29);

   sut->chunkDel(0);
   expectFound(*sut, 0, 1, 0);
   expectFound(*sut, 15, 2, 80);
   expectFound(*sut, 29, 3, 144);
}

TEST_F(ControlAttributeLookup, stopsTheProcessAtALonelyChunkBelowAGroupThatCameLate)
{
   auto const sut = Orvo::make<Attribute>(1, 16U);
   addTen(*sut, 1, 100);
   addTen(*sut, 2, 0);
   sut->chunkIs(0, chunks[0]);
   addTen(*sut, 3, 50);

   expectStop(*sut, 5);
   expectStop(*sut, 55);
   expectStop(*sut, 105);

   sut->groupIs(Orvo::make<Group>(0U, 200U, 10U));
   expectFound(*sut, 5, 2, 80);
   expectFound(*sut, 55, 3, 80);
   expectFound(*sut, 105, 1, 80);
   expectFound(*sut, 205, 0, 80);
}

TEST_F(ControlAttributeLookup, stopsTheProcessAtTheChunksThatAreLeftWhenAllGroupsAreDeletedAndOneIsBack)
{
   auto const sut = Orvo::make<Attribute>(1, 16U);
   addTen(*sut, 0, 0);
   addTen(*sut, 1, 10);
   addTen(*sut, 2, 20);
   sut->groupDelAll();

   sut->groupIs(Orvo::make<Group>(1U, 10U, 10U));
   expectStop(*sut, 15);
   sut->chunkIs(3, chunks[3]);
   expectStop(*sut, 15);

   sut->groupIs(Orvo::make<Group>(0U, 0U, 10U));
   expectFound(*sut, 5, 0, 80);
   expectFound(*sut, 15, 1, 80);
   expectStop(*sut, 25);

   sut->groupIs(Orvo::make<Group>(2U, 20U, 10U));
   expectFound(*sut, 25, 2, 80);
}

TEST_F(ControlAttributeLookup, stopsTheProcessAtAChunkWhoseGroupIsDeletedBelowOthers)
{
   auto const sut = Orvo::make<Attribute>(1, 16U);
   addTen(*sut, 0, 0);
   addTen(*sut, 1, 10);

   sut->groupDel(0);

   expectStop(*sut, 15);
   sut->chunkDel(0);
   expectFound(*sut, 15, 1, 80);
}

} // namespace
