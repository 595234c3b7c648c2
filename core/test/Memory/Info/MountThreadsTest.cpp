#include "support/TestMount.h"

#include <Quorvel/Core/Memory/Info/Mount.h>

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <thread>
#include <vector>

namespace {

using Quorvel::Core::Memory::Info::Collection;
using Quorvel::Core::Memory::Info::Mount;
using Quorvel::Core::Memory::Info::Detail::Group;
using Quorvel::Core::Test::describeMount;
using Quorvel::Core::Test::describeRing;

std::array<std::uint64_t, 3> liveNodes()
{
   return {
      Group::KroChunkInternal::memAllocationTracker_.liveCount(),
      Collection::KroGroup::memAllocationTracker_.liveCount(),
      Mount::KroCollectionInternal::memAllocationTracker_.liveCount()};
}

TEST(InfoMountThreads, copiesThatAreChangedOnManyThreadsLeaveNoNodeBehindAndTheOriginalAlone)
{
   auto const original = describeMount("a/path/that/does/not/fit/in/place", "a prefix that does not fit in place");
   auto const expected = original;
   auto const before = liveNodes();

   std::vector<std::thread> threads;
   for (int i = 0; i < 4; ++i) {
      threads.emplace_back([&original] {
         for (int repeat = 0; repeat < 50; ++repeat) {
            auto copy = original;
            copy.collectionIs(describeRing("another prefix", 3));
            auto const last = copy;
            copy.collectionDelAll();
         }
      });
   }
   for (auto& thread : threads) {
      thread.join();
   }

   EXPECT_EQ(liveNodes(), before);
   EXPECT_EQ(original, expected);
}

} // namespace
