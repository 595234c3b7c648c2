#include <Orvo/UseCount.h>

#include <gtest/gtest.h>

using Orvo::UseCount;

namespace {

constexpr std::uint32_t flag = 0x20000000;
constexpr std::uint32_t otherFlag = 0x80000000;

} // namespace

TEST(UseCount, startsWithOneUserAndTheGivenFlags)
{
   UseCount const sut(flag);

   EXPECT_EQ(sut.count(), 1u);
   EXPECT_TRUE(sut.flag(flag));
   EXPECT_FALSE(sut.flag(otherFlag));
}

TEST(UseCount, returnsWhatIsLeftAfterADrop)
{
   UseCount sut(flag);
   sut.take();

   EXPECT_EQ(sut.drop(), flag | 1);
   EXPECT_EQ(sut.drop(), flag);
   EXPECT_EQ(sut.count(), 0u);
}

TEST(UseCount, setsAndClearsFlagsWithoutTouchingTheCountOrOtherFlags)
{
   UseCount sut(flag);
   sut.take();

   sut.flagSet(otherFlag, true);
   EXPECT_TRUE(sut.flag(flag));
   EXPECT_TRUE(sut.flag(otherFlag));
   EXPECT_EQ(sut.count(), 2u);

   sut.flagSet(flag, false);
   EXPECT_FALSE(sut.flag(flag));
   EXPECT_TRUE(sut.flag(otherFlag));
   EXPECT_EQ(sut.count(), 2u);
}

TEST(UseCount, ignoresCountBitsInAFlagRequest)
{
   UseCount sut;

   sut.flagSet(UseCount::countMask, true);
   EXPECT_EQ(sut.count(), 1u);
   sut.flagSet(UseCount::countMask, false);
   EXPECT_EQ(sut.count(), 1u);
}
