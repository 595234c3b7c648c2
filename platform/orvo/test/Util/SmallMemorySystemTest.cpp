#include <Orvo/Util/SmallMemorySystem.h>

#include <cstdlib>

#include <unistd.h>

#include <gtest/gtest.h>

using Orvo::Util::isSmallMemorySystem;

namespace {

class SmallMemorySystem : public testing::Test {
protected:
   void SetUp() override { unsetenv("ORVO_SMALL_MEMORY"); }

   void TearDown() override { unsetenv("ORVO_SMALL_MEMORY"); }
};

} // namespace

TEST_F(SmallMemorySystem, answersFromThePhysicalMemory)
{
   auto const bytes = static_cast<double>(sysconf(_SC_PHYS_PAGES)) * static_cast<double>(sysconf(_SC_PAGESIZE));

   EXPECT_EQ(isSmallMemorySystem(), bytes < 1024.0 * 1024 * 1024);
}

TEST_F(SmallMemorySystem, obeysTheEnvironmentAtEveryCall)
{
   setenv("ORVO_SMALL_MEMORY", "1", 1);
   EXPECT_TRUE(isSmallMemorySystem());
   setenv("ORVO_SMALL_MEMORY", "0", 1);
   EXPECT_FALSE(isSmallMemorySystem());
}

TEST_F(SmallMemorySystem, ignoresOtherValues)
{
   auto const answer = isSmallMemorySystem();

   for (auto const* const value : {"", "yes", "01", "2"}) {
      setenv("ORVO_SMALL_MEMORY", value, 1);
      EXPECT_EQ(isSmallMemorySystem(), answer) << value;
   }
}
