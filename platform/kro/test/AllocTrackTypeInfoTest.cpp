#include <Kro/AllocTrackTypeInfo.h>

#include <gtest/gtest.h>

#include <cstdlib>

namespace Kro::Test {

namespace {

constinit AllocTrackTypeInfo usedBeforeMain{24, "Early"};
bool const isCountedBeforeMain = (usedBeforeMain.trackAllocation(), true);

TEST(AllocTrackTypeInfo, keepsSizeAndNameForTheAllocator)
{
   AllocTrackTypeInfo const sut{48, "Chunk"};

   EXPECT_EQ(sut.size, 48U);
   EXPECT_STREQ(sut.name, "Chunk");
   EXPECT_EQ(sut.liveCount(), 0U);
   EXPECT_EQ(sut.allocations(), 0U);
   EXPECT_EQ(sut.deallocations(), 0U);
}

TEST(AllocTrackTypeInfo, countsObjects)
{
   AllocTrackTypeInfo sut{48, "Chunk"};

   sut.trackAllocation();
   sut.trackAllocation();
   sut.trackAllocation();
   sut.trackDeallocation();

   EXPECT_EQ(sut.allocations(), 3U);
   EXPECT_EQ(sut.deallocations(), 1U);
   EXPECT_EQ(sut.liveCount(), 2U);
   EXPECT_EQ(sut.arrayAllocations(), 0U);
}

TEST(AllocTrackTypeInfo, countsArraysAndTheirElementsApartFromObjects)
{
   AllocTrackTypeInfo sut{0, "buckets"};

   sut.trackArrayAllocation(8);
   sut.trackArrayAllocation(16);
   sut.trackArrayDeallocation(8);

   EXPECT_EQ(sut.arrayAllocations(), 2U);
   EXPECT_EQ(sut.arrayDeallocations(), 1U);
   EXPECT_EQ(sut.liveArrayCount(), 1U);
   EXPECT_EQ(sut.liveArrayElements(), 16U);
   EXPECT_EQ(sut.allocations(), 0U);
   EXPECT_EQ(sut.liveCount(), 0U);
}

TEST(AllocTrackTypeInfo, countsBeforeMain)
{
   EXPECT_TRUE(isCountedBeforeMain);
   EXPECT_EQ(usedBeforeMain.allocations(), 1U);
}

/// Destroyed at the end of the process.
struct CountsAtTheEnd {
   ~CountsAtTheEnd()
   {
      usedBeforeMain.trackDeallocation();
      usedBeforeMain.trackArrayAllocation(5);
      bool const isRight = usedBeforeMain.liveCount() == 0 && usedBeforeMain.liveArrayElements() == 5;
      std::_Exit(isRight ? 7 : 1);
   }
};

TEST(AllocTrackTypeInfoDeathTest, countsWhileStaticObjectsAreDestroyed)
{
   EXPECT_EXIT(
      {
         static CountsAtTheEnd const last;
         std::exit(0);
      },
      testing::ExitedWithCode(7), "");
}

} // namespace

} // namespace Kro::Test
