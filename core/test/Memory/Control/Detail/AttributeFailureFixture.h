#pragma once

#include "support/AddressRule.h"
#include "support/MemoryTest.h"
#include "support/MessageOf.h"

#include <Quorvel/Core/Memory/Control/Detail/Attribute.h>

#include <Kro/Exception.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace Quorvel::Core::Test {

/// A test of attributes whose memory is refused: what they are made of, and whether they keep to the address rule.
class AttributeFailureFixture : public MemoryTest {
protected:
   using Attribute = Memory::Control::Detail::Attribute;
   using Chunk = Memory::Control::Detail::Chunk;
   using Group = Memory::Control::Detail::Group;

   static constexpr std::uint32_t width = 10; ///< entries of most groups

   void SetUp() override
   {
      for (std::uint32_t i = 0; i < 4; ++i) {
         chunks.push_back(store().chunkIs(Orvo::join("chunk ", i), 64, false));
      }
   }

   void TearDown() override
   {
      chunks.clear();
      MemoryTest::TearDown();
   }

   static Orvo::Ptr<Group> groupOf(std::uint32_t id, std::uint32_t head, std::uint32_t size = width)
   {
      return Orvo::make<Group>(id, head, size);
   }

   void add(Attribute& sut, std::uint32_t id, std::uint32_t head, std::uint32_t size = width) const
   {
      sut.groupIs(groupOf(id, head, size));
      sut.chunkIs(id, chunks[id % chunks.size()]);
   }

   /// Looks at one entry, and for some at what is said where nothing covers it, or which stretch is the next.
   static void expectRuleAt(Attribute const& sut, std::uint32_t index)
   {
      expectRuleAt(sut, index, !hasLonelyChunk(sut));
   }

   /// Like expectRuleAt, for the first 600 entries.
   static void expectRule(Attribute const& sut)
   {
      bool const hasStretches = !hasLonelyChunk(sut);
      for (std::uint32_t index = 0; index < 600 && !HasFatalFailure(); ++index) {
         expectRuleAt(sut, index, hasStretches);
      }
   }

   std::vector<Orvo::Ptr<Chunk>> chunks;

private:
   /// @param hasStretches  whether the attribute may be asked for stretches: each of its chunks has its group
   static void expectRuleAt(Attribute const& sut, std::uint32_t index, bool hasStretches)
   {
      bool isFatal = false;
      auto const expected = walk(sut, index, nullptr, isFatal);
      if (isFatal) {
         return;
      }
      if (expected) {
         ASSERT_EQ(sut.obtainChunkAndOffset(index, nullptr), *expected) << index;
      } else if (index % 64 == 0) {
         ASSERT_EQ(
            messageOf<Kro::RangeException>([&] { sut.obtainChunkAndOffset(index, nullptr); }),
            "index " + std::to_string(index) + " is out of range.");
      }
      if (hasStretches && index % 8 == 0) {
         auto const stretch = sut.nextStretch(index);
         ASSERT_EQ(stretch && stretch->first == index, expected.has_value()) << index;
         ASSERT_TRUE(!expected || Found(stretch->chunk, stretch->offset) == *expected) << index;
      }
   }

   static bool hasLonelyChunk(Attribute const& sut)
   {
      bool isLonely = false;
      for (auto at = sut.chunk().begin(); at != sut.chunk().end(); ++at) {
         isLonely = isLonely || sut.group(at.key()) == nullptr;
      }
      return isLonely;
   }
};

} // namespace Quorvel::Core::Test
