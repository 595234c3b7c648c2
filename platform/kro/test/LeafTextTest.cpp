#include <Kro/LeafText.h>

#include "support/LeafText.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <string_view>

namespace Kro {
namespace {

using namespace std::string_view_literals;
using Test::isRead;
using Test::read;
using Test::refusal;
using Test::textOf;

template <class T>
class LeafTextNumber : public testing::Test {};

using Numbers = testing::Types<std::int16_t, std::int32_t, std::int64_t, std::uint16_t, std::uint32_t, std::uint64_t>;
TYPED_TEST_SUITE(LeafTextNumber, Numbers);

/// A number one further from 0, which the type may be too small for.
std::string oneFurther(std::string number)
{
   auto at = number.find_last_not_of('9'); // no limit consists of nines
   ++number[at];
   for (++at; at < number.size(); ++at) {
      number[at] = '0';
   }
   return number;
}

TYPED_TEST(LeafTextNumber, isDecimalToItsLimitsAndCanBeReadBack)
{
   using Limits = std::numeric_limits<TypeParam>;
   for (TypeParam const value : {Limits::min(), TypeParam{0}, TypeParam{1}, TypeParam{10}, Limits::max()}) {
      EXPECT_EQ(textOf(value), std::to_string(value));
      EXPECT_EQ(read<TypeParam>(std::to_string(value)), value);
   }
}

TYPED_TEST(LeafTextNumber, isRefusedBeyondItsLimits)
{
   using Limits = std::numeric_limits<TypeParam>;
   auto const lowest = std::to_string(Limits::min());
   auto const highest = std::to_string(Limits::max());
   auto const expected = "position=0: a number from " + lowest + " to " + highest + " is expected, but \"";
   auto const tooHigh = oneFurther(highest);
   auto const tooLow = Limits::is_signed ? oneFurther(lowest) : "-1";

   EXPECT_EQ(refusal<TypeParam>(tooHigh), expected + tooHigh + "\" is found");
   EXPECT_EQ(refusal<TypeParam>(tooLow), expected + tooLow + "\" is found");
   EXPECT_EQ(refusal<TypeParam>(std::string(1'000'000, '9')), expected + std::string(24, '9') + "\"... is found");
}

TYPED_TEST(LeafTextNumber, isRefusedWhereItIsNoNumber)
{
   using Limits = std::numeric_limits<TypeParam>;
   auto const expected = "position=0: a number from " + std::to_string(Limits::min()) + " to " +
                         std::to_string(Limits::max()) + " is expected, but ";

   EXPECT_EQ(refusal<TypeParam>(""), expected + "the text ends");
   for (auto const text : {"a", " 1", "+1", "-", "--1", "-a", "\"1\"", ".5", "\xb2"}) {
      EXPECT_EQ(refusal<TypeParam>(text), expected + textOf<Orvo::String>(text) + " is found");
   }
   EXPECT_EQ(refusal<TypeParam>("\0"sv), expected + R"("\x00" is found)");
}

TYPED_TEST(LeafTextNumber, isRefusedWithANeedlessZero)
{
   EXPECT_EQ(refusal<TypeParam>("00"), R"(position=0: a number in its shortest form is expected, but "00" is found)");
   EXPECT_EQ(refusal<TypeParam>("01"), R"(position=0: a number in its shortest form is expected, but "01" is found)");
   EXPECT_FALSE(isRead<TypeParam>(std::string(1'000'000, '0') + "1"));
   for (auto const text : {"-0", "-00", "-01"}) {
      EXPECT_FALSE(isRead<TypeParam>(text)) << text;
   }
}

TYPED_TEST(LeafTextNumber, isRefusedWithSomethingBehindIt)
{
   for (auto const text : {"1 ", "1a", "1.0", "1e1", "0x1", "1,", "1)", "1\n"}) {
      auto const left = textOf<Orvo::String>(std::string_view(text).substr(1));
      EXPECT_EQ(refusal<TypeParam>(text), "position=1: the end of the text is expected, but " + left + " is found");
   }
   EXPECT_FALSE(isRead<TypeParam>("1\0"sv));
}

TEST(LeafText, aNegativeZeroIsNotTheShortestForm)
{
   EXPECT_EQ(
      refusal<std::int32_t>("-0"), R"(position=0: a number in its shortest form is expected, but "-0" is found)");
}

TEST(LeafText, flagsAreWords)
{
   EXPECT_EQ(textOf(true), "true");
   EXPECT_EQ(textOf(false), "false");
   EXPECT_TRUE(read<bool>("true"));
   EXPECT_FALSE(read<bool>("false"));
}

TEST(LeafText, aFlagIsRefusedInAnyOtherForm)
{
   EXPECT_EQ(refusal<bool>(""), "position=0: true or false is expected, but the text ends");
   EXPECT_EQ(refusal<bool>("tru"), R"(position=0: true or false is expected, but "tru" is found)");
   EXPECT_EQ(refusal<bool>("falsehood"), R"(position=5: the end of the text is expected, but "hood" is found)");
   for (auto const text : {"t", "True", "TRUE", "1", "0", " true", "true ", "truefalse", "fals", "yes"}) {
      EXPECT_FALSE(isRead<bool>(text)) << text;
   }
}

TEST(LeafText, aReaderLeavesWhatFollowsItsValue)
{
   CharRange range(R"(12"a",true)");
   std::uint16_t number = 0;
   bool flag = false;
   Orvo::String text;

   EXPECT_EQ(Leaf::uint16.ops.read(&number, range), nullptr);
   EXPECT_EQ(Leaf::text.ops.read(&text, range), nullptr); // an empty text needs no destructor
   range.advance(1);
   EXPECT_EQ(Leaf::boolean.ops.read(&flag, range), nullptr);

   EXPECT_EQ(number, 12U);
   EXPECT_EQ(text, "a");
   EXPECT_TRUE(flag);
   EXPECT_TRUE(range.isEmpty());
}

} // namespace
} // namespace Kro
