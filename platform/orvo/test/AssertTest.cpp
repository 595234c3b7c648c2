#include <Orvo/Assert.h>

#include <csignal>
#include <cstdlib>
#include <memory>

#include <gtest/gtest.h>

TEST(Assert, doesNothingWhenTheConditionHolds)
{
   int const value = 1;

   Orvo::assertThat(value == 1, "value");
   ORVO_ASSERT(&value, "a pointer is a condition too");
}

TEST(Assert, evaluatesItsConditionOnce)
{
   int evaluations = 0;

   ORVO_ASSERT(++evaluations, "counted");

   EXPECT_EQ(evaluations, 1);
}

TEST(Assert, takesAConditionThatConvertsToBoolOnlyExplicitly)
{
   ORVO_ASSERT(std::make_unique<int>(1), "a pointer that owns");
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

TEST(AssertDeathTest, printsPercentSignsAndLinesOfTheTextAsTheyAre)
{
   EXPECT_EXIT(
      Orvo::assertionFailed("100% of %s\nare taken", "Map.cpp", 7), testing::KilledBySignal(SIGABRT),
      "^Map.cpp:7: assertion failed: 100% of %s\nare taken\n$");
}

TEST(AssertDeathTest, printsThePlaceWithoutAText)
{
   EXPECT_EXIT(
      Orvo::assertionFailed("", "Map.cpp", 2147483647), testing::KilledBySignal(SIGABRT),
      "^Map.cpp:2147483647: assertion failed: \n$");
}

TEST(AssertDeathTest, endsTheProcessThoughTheCallerCatchesEverything)
{
   auto const failInATryBlock = [] {
      try {
         Orvo::assertThat(false, "not to be caught");
      } catch (...) {
         std::_Exit(0);
      }
   };

   EXPECT_EXIT(failInATryBlock(), testing::KilledBySignal(SIGABRT), "assertion failed: not to be caught");
}
