// Descriptions whose memory is refused, at each point in turn.

#include "support/RefusedAllocation.h"
#include "support/TestMount.h"

#include <Quorvel/Core/Memory/Info/Collection.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace {

using Quorvel::Core::Memory::Info::Collection;
using Quorvel::Core::Memory::Info::Detail::Chunk;
using Quorvel::Core::Memory::Info::Detail::Group;
using Quorvel::Core::Test::describeRing;
using Quorvel::Core::Test::Refusal;
using Quorvel::Core::Test::refuseAllocation;

class InfoCollectionFailure : public testing::Test {
protected:
   /// Makes the call with each of its allocations refused, one after the other, until it succeeds. Until then nothing changes.
   template <class Call>
   void expectNoTraceUntilItSucceeds(Call const& call)
   {
      auto const before = sut;
      for (std::uint64_t nth = 1;; ++nth) {
         auto const refusal = refuseAllocation(nth, call);
         if (refusal == Refusal::none) {
            EXPECT_GT(nth, 1U);
            EXPECT_NE(sut, before);
            return;
         }
         ASSERT_EQ(refusal, Refusal::passed) << nth;
         ASSERT_EQ(sut, before) << nth;
      }
   }

   static inline Orvo::String const longName = std::string(100, 'n');

   Collection sut = describeRing("a prefix that is too long to be kept in place");
};

TEST_F(InfoCollectionFailure, addNameAttributeThatIsRefusedLeavesNoTrace)
{
   expectNoTraceUntilItSucceeds([this] { sut.addNameAttribute(longName); });
}

TEST_F(InfoCollectionFailure, addGroupThatIsRefusedLeavesNoTrace)
{
   expectNoTraceUntilItSucceeds([this] { sut.addGroup(2, 4); });
}

TEST_F(InfoCollectionFailure, createChunkThatIsRefusedLeavesNoTrace)
{
   for (unsigned i = 0; i < 20; ++i) { // so that the chunks need more room now and then
      SCOPED_TRACE(i);
      Orvo::String const field = Orvo::join(longName, i);
      sut.addNameAttribute(field);

      expectNoTraceUntilItSucceeds([&] { sut.createChunk(1, field, longName, 1, false); });
   }
}

TEST_F(InfoCollectionFailure, groupIsThatIsRefusedKeepsTheGroupThatIsThere)
{
   Group group(1, 2, 3);
   Chunk chunk;
   chunk.nameAttributeIs(longName);
   group.chunkIs(chunk);
   group.chunkInternalIs(1, chunk);

   expectNoTraceUntilItSucceeds([&] { sut.groupIs(group); });
}

} // namespace
