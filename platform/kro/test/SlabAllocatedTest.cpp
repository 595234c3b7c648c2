#include <Kro/SlabAllocated.h>

#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <stdexcept>

namespace Kro::Test {

namespace {

class Chunk : public SlabAllocated<Chunk> {
public:
   static AllocTrackTypeInfo memAllocationTracker_;

   explicit Chunk(bool isRefused = false)
   {
      if (isRefused) {
         throw std::runtime_error("refused");
      }
   }

   virtual ~Chunk() = default;

   std::array<int, 10> content{};
};

constinit AllocTrackTypeInfo Chunk::memAllocationTracker_{sizeof(Chunk), "Chunk"};

/// Does not say where it is stored.
class LargeChunk : public Chunk {
public:
   std::array<int, 5000> more{};
};

/// Has a tracker of its own.
class TrackedChunk : public Chunk, public SlabAllocated<TrackedChunk> {
public:
   using SlabAllocated<TrackedChunk>::operator new;
   using SlabAllocated<TrackedChunk>::operator delete;
   static AllocTrackTypeInfo memAllocationTracker_;

   int more = 0;
};

constinit AllocTrackTypeInfo TrackedChunk::memAllocationTracker_{sizeof(TrackedChunk), "TrackedChunk"};

TEST(SlabAllocated, storesInTheSlabAndTracks)
{
   auto const& tracker = Chunk::memAllocationTracker_;
   auto const allocationsBefore = tracker.allocations();
   auto const inSlabBefore = TolSlab::slabCounters(sizeof(Chunk)).live;

   auto object = std::make_unique<Chunk>();

   EXPECT_EQ(tracker.allocations(), allocationsBefore + 1);
   EXPECT_EQ(tracker.liveCount(), 1U);
   EXPECT_EQ(TolSlab::slabCounters(sizeof(Chunk)).live, inSlabBefore + 1);

   object.reset();
   EXPECT_EQ(tracker.liveCount(), 0U);
   EXPECT_EQ(TolSlab::slabCounters(sizeof(Chunk)).live, inSlabBefore);
}

TEST(SlabAllocated, givesTheStorageBackWhenTheConstructorThrows)
{
   auto const inSlabBefore = TolSlab::slabCounters(sizeof(Chunk)).live;

   EXPECT_THROW(static_cast<void>(std::make_unique<Chunk>(true)), std::runtime_error);

   EXPECT_EQ(Chunk::memAllocationTracker_.liveCount(), 0U);
   EXPECT_EQ(TolSlab::slabCounters(sizeof(Chunk)).live, inSlabBefore);
}

TEST(SlabAllocated, aDerivedClassOfAnotherSizeIsTrackedWithItsBase)
{
   auto const liveBefore = TolSlab::slabCountersTotal().live;
   std::unique_ptr<Chunk> object = std::make_unique<LargeChunk>();

   EXPECT_EQ(Chunk::memAllocationTracker_.liveCount(), 1U);

   object.reset();
   EXPECT_EQ(Chunk::memAllocationTracker_.liveCount(), 0U);
   EXPECT_EQ(TolSlab::slabCountersTotal().live, liveBefore);
}

TEST(SlabAllocated, aDerivedClassMayHaveATrackerOfItsOwn)
{
   std::unique_ptr<Chunk> object = std::make_unique<TrackedChunk>();

   EXPECT_EQ(TrackedChunk::memAllocationTracker_.liveCount(), 1U);
   EXPECT_EQ(Chunk::memAllocationTracker_.liveCount(), 0U);

   object.reset();
   EXPECT_EQ(TrackedChunk::memAllocationTracker_.liveCount(), 0U);
}

TEST(SlabAllocated, deletingNullTracksNothing)
{
   auto const before = Chunk::memAllocationTracker_.deallocations();

   Chunk::operator delete(nullptr, sizeof(Chunk));

   EXPECT_EQ(Chunk::memAllocationTracker_.deallocations(), before);
}

} // namespace

} // namespace Kro::Test
