// A mount whose memory is refused, at each point in turn.

#include "support/RefusedAllocation.h"
#include "support/TestMount.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace {

using Quorvel::Core::Test::describeMount;
using Quorvel::Core::Test::describeRing;
using Quorvel::Core::Test::Refusal;
using Quorvel::Core::Test::refuseAllocation;

TEST(InfoMountFailure, collectionIsThatIsRefusedKeepsTheDerivedViewAndOneOfTheTwoCollections)
{
   auto const before = describeMount("a", "a prefix that is too long to be kept in place");
   auto const ring = describeRing("another prefix that is too long to be kept in place", 3);
   for (std::uint64_t nth = 1;; ++nth) {
      auto sut = before;

      auto const refusal = refuseAllocation(nth, [&] { sut.collectionIs(ring); });

      if (refusal == Refusal::none) {
         EXPECT_GT(nth, 10U);
         EXPECT_EQ(sut.collection("ring"), ring);
         return;
      }
      ASSERT_EQ(refusal, Refusal::passed) << nth;
      ASSERT_EQ(sut.collectionInternal(), before.collectionInternal()) << nth;
      auto const stored = sut.collection("ring");
      ASSERT_TRUE(stored == ring || stored == before.collection("ring")) << nth;
      ASSERT_EQ(sut.collection("buffer"), before.collection("buffer")) << nth;
   }
}

} // namespace
