#include "../collections/HashKinds.h"
#include "../collections/OrderedKinds.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

// Constant operations may run on any threads at once; the race detector must agree.

namespace Kro::Test {

namespace {

template <class Kind>
class CollectionRead : public testing::Test {};

using Kinds = testing::Types<
   OrderedMapKind<std::int32_t>, OrderedEntitiesKind, HashMapKind<LongText>, HashMapKind<Colliding>, HashMapNamedKind,
   HashSetKind<Address>>;
TYPED_TEST_SUITE(CollectionRead, Kinds);

TYPED_TEST(CollectionRead, severalThreadsFindAndWalkAtOnce)
{
   typename TypeParam::Collection sut;
   for (int number = 0; number < elementCount; ++number) {
      TypeParam::put(sut, number, number);
   }
   auto const& constant = sut;
   std::atomic<int> found = 0;
   std::atomic<int> walked = 0;

   std::vector<std::thread> threads;
   for (int i = 0; i < 4; ++i) {
      threads.emplace_back([&] {
         for (int number = 0; number < elementCount; ++number) {
            found += constant.find(TypeParam::key(number)) != nullptr;
         }
         for (auto at = constant.begin(); at != constant.end(); ++at) {
            walked += constant.contains(at.key());
         }
      });
   }
   for (auto& thread : threads) {
      thread.join();
   }

   EXPECT_EQ(found, 4 * elementCount);
   EXPECT_EQ(walked, 4 * elementCount);
}

class KroNumber final : public OrderedNode<KroNumber, std::int32_t, int> {
public:
   using OrderedNode::OrderedNode;
   static AllocTrackTypeInfo memAllocationTracker_;
};

constinit AllocTrackTypeInfo KroNumber::memAllocationTracker_{sizeof(KroNumber), "KroNumber"};

TEST(CollectionChange, threadsChangeCollectionsOfTheirOwnAndTheTrackersStayExact)
{
   auto const& hashTracker = HashMapGeneric::memAllocationTracker_;
   auto const allocationsBefore = hashTracker.allocations();

   std::vector<std::thread> threads;
   for (int i = 0; i < 4; ++i) {
      threads.emplace_back([] {
         for (int round = 0; round < 10; ++round) {
            OrderedMap<KroNumber> ordered;
            HashMap<HN_Test, Orvo::String, int> hashed;
            for (int number = 0; number < elementCount; ++number) {
               ordered.is(number, number);
               hashed.is(ShortText::key(number), number);
            }
            EXPECT_TRUE(ordered.erase(5));
            EXPECT_TRUE(hashed.erase(ShortText::key(5)));
         }
      });
   }
   for (auto& thread : threads) {
      thread.join();
   }

   constexpr std::uint64_t made = 4 * 10 * elementCount;
   EXPECT_EQ(KroNumber::memAllocationTracker_.allocations(), made);
   EXPECT_EQ(KroNumber::memAllocationTracker_.liveCount(), 0U);
   EXPECT_EQ(hashTracker.allocations(), allocationsBefore + made);
   EXPECT_EQ(hashTracker.liveCount(), 0U);
   EXPECT_EQ(hashTracker.liveArrayCount(), 0U);
}

} // namespace

} // namespace Kro::Test
