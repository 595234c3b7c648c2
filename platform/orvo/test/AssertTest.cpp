#include <Orvo/Assert.h>

#include <csignal>

#include <gtest/gtest.h>

TEST(Assert, doesNothingWhenTheConditionHolds)
{
   int const value = 1;

   Orvo::assertThat(value == 1, "value");
   ORVO_ASSERT(&value, "a pointer is a condition too");
}

TEST(AssertDeathTest, printsPlaceAndTextAndAborts)
{
   EXPECT_EXIT(
      Orvo::assertionFailed("slots are full", "Map.cpp", 42), testing::KilledBySignal(SIGABRT),
      "^Map.cpp:42: assertion failed: slots are full\n$");
}

TEST(AssertDeathTest, namesTheCallersPlaceInEveryBuild)
{
   EXPECT_EXIT(
      Orvo::assertThat(false, "it broke"), testing::KilledBySignal(SIGABRT),
      "AssertTest.cpp:[0-9]+: assertion failed: it broke");
   EXPECT_EXIT(
      ORVO_ASSERT(nullptr, "no pointer"), testing::KilledBySignal(SIGABRT),
      "AssertTest.cpp:[0-9]+: assertion failed: no pointer");
}
