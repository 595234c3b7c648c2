#include <Orvo/ThreadControl.h>

#include <thread>

#include <gtest/gtest.h>

using Orvo::ThreadControl;

namespace {

bool const wereThreadsInUseAtStart = ThreadControl::threadsInUse();

} // namespace

TEST(ThreadControl, turnsWhenForcedAndStaysSo)
{
   EXPECT_FALSE(wereThreadsInUseAtStart);

   ThreadControl::forceThreadsInUse();
   EXPECT_TRUE(ThreadControl::threadsInUse());

   ThreadControl::forceThreadsInUse();
   EXPECT_TRUE(ThreadControl::threadsInUse());
}

TEST(ThreadControl, turnsForTheFirstThreadBeforeItRuns)
{
   bool seenByThread = false;

   std::thread([&] { seenByThread = ThreadControl::threadsInUse(); }).join();

   EXPECT_TRUE(seenByThread);
   EXPECT_TRUE(ThreadControl::threadsInUse());
}
