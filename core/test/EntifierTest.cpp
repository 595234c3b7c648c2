#include "support/ChildProcess.h"

#include <Quorvel/Core/Entifier.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <iostream>
#include <string>
#include <type_traits>
#include <utility>

#include <dlfcn.h>

// What templates become. The cell's identifier is the real platform's here; EntifierCellTest.cpp has a stand-in for it.

namespace {

using Quorvel::Core::Detail::MakerPathMount;
using Quorvel::Core::Test::inChild;

MakerPathMount with(std::string cellId, std::string sliceId, std::string arg0, std::string arg1)
{
   MakerPathMount maker;
   maker.cellIdValue = std::move(cellId);
   maker.sliceIdValue = std::move(sliceId);
   maker.arg0Value = std::move(arg0);
   maker.arg1Value = std::move(arg1);
   return maker;
}

TEST(MakerPathMount, isAValueOfFourTextsInTheOrderOfThePlaceholders)
{
   static_assert(std::is_same_v<MakerPathMount::String, std::string>);
   static_assert(std::is_same_v<MakerPathMount::CString, char const*>);
   static_assert(std::is_standard_layout_v<MakerPathMount>);
   static_assert(sizeof(MakerPathMount) == 4 * sizeof(std::string));

   EXPECT_EQ(offsetof(MakerPathMount, cellIdValue), 0u);
   EXPECT_LT(offsetof(MakerPathMount, cellIdValue), offsetof(MakerPathMount, sliceIdValue));
   EXPECT_LT(offsetof(MakerPathMount, sliceIdValue), offsetof(MakerPathMount, arg0Value));
   EXPECT_LT(offsetof(MakerPathMount, arg0Value), offsetof(MakerPathMount, arg1Value));
}

TEST(MakerPathMount, namesItsFourPlaceholders)
{
   static_assert(std::is_same_v<decltype(MakerPathMount::Constant::arrayArgPath), char const* const[4]>);

   EXPECT_THAT(
      MakerPathMount::Constant::arrayArgPath,
      testing::ElementsAre(
         testing::StrEq("%cellId"), testing::StrEq("%sliceId"), testing::StrEq("%arg0"), testing::StrEq("%arg1")));
}

TEST(MakerPathMount, sharesOneArrayOfPlaceholdersWithItsClients)
{
   auto const* const exported =
      ::dlsym(RTLD_DEFAULT, "_ZN7Quorvel4Core6Detail14MakerPathMount8Constant12arrayArgPathE");

   EXPECT_EQ(exported, &MakerPathMount::Constant::arrayArgPath);
}

TEST(MakerPathMount, replacesEachPlaceholderByItsOwnValue)
{
   auto const sut = with("c", "s", "x", "y");

   EXPECT_EQ(sut.makePath("%cellId"), "c");
   EXPECT_EQ(sut.makePath("%sliceId"), "s");
   EXPECT_EQ(sut.makePath("%arg0"), "x");
   EXPECT_EQ(sut.makePath("%arg1"), "y");
   EXPECT_EQ(sut.makePath("/%arg1/%arg0/%sliceId/%cellId/"), "/y/x/s/c/");
}

TEST(MakerPathMount, takesTheValueThatBelongsToThePlaceholdersPlaceInTheArray)
{
   MakerPathMount::String MakerPathMount::*const fields[] = {
      &MakerPathMount::cellIdValue, &MakerPathMount::sliceIdValue, &MakerPathMount::arg0Value,
      &MakerPathMount::arg1Value};
   for (std::size_t i = 0; i < 4; ++i) {
      MakerPathMount sut;
      sut.*fields[i] = "v";

      EXPECT_EQ(sut.makePath(MakerPathMount::Constant::arrayArgPath[i]), "v") << i;
   }
}

TEST(MakerPathMount, leavesATemplateWithoutPercentAsItIs)
{
   EXPECT_EQ(MakerPathMount().makePath("/a/b"), "/a/b");
   EXPECT_EQ(MakerPathMount().makePath(""), "");
   EXPECT_EQ(with("c", "s", "x", "y").makePath("/cellId/$&"), "/cellId/$&");
}

TEST(MakerPathMount, leavesAPercentThatBeginsNoPlaceholder)
{
   auto const sut = with("c", "s", "x", "y");

   EXPECT_EQ(sut.makePath("100%/%foo/%cellid/%arg2/%Arg0/% arg0/%"), "100%/%foo/%cellid/%arg2/%Arg0/% arg0/%");
   EXPECT_EQ(sut.makePath("%%cellId%"), "%c%");
   EXPECT_EQ(MakerPathMount().makePath("%"), "%");
}

TEST(MakerPathMount, doesNotLookAtWhatFollowsAPlaceholder)
{
   auto const sut = with("c", "s", "p", "q");

   EXPECT_EQ(sut.makePath("%arg10"), "q0");
   EXPECT_EQ(sut.makePath("%sliceIdX"), "sX");
   EXPECT_EQ(sut.makePath("%cellIdsliceId"), "csliceId");
}

TEST(MakerPathMount, replacesEveryOccurrence)
{
   auto const sut = with("7", "", "", "");

   EXPECT_EQ(sut.makePath("%cellId%cellId"), "77");
   EXPECT_EQ(sut.makePath("/%cellId/a/%cellId/%cellId"), "/7/a/7/7");
}

TEST(MakerPathMount, doesNotSearchWhatAPlaceholderBroughtInForThatPlaceholderAgain)
{
   EXPECT_EQ(with("x%cellId", "", "", "").makePath("%cellId"), "x%cellId");
   EXPECT_EQ(with("%cell", "", "", "").makePath("%cellIdId"), "%cellId") << "nor what it makes with its neighbours";
}

TEST(MakerPathMount, replacesInWhatEarlierValuesBroughtIn)
{
   EXPECT_EQ(with("%arg0", "", "z", "").makePath("%cellId"), "z");
   EXPECT_EQ(with("%sliceId", "%arg0", "%arg1", "end").makePath("%cellId"), "end");
   EXPECT_EQ(with("%ar", "", "z", "").makePath("%cellIdg0"), "z") << "a placeholder that one value completes";
}

TEST(MakerPathMount, leavesWhatLaterValuesBroughtIn)
{
   EXPECT_EQ(with("c", "s", "x", "%arg0").makePath("%arg1"), "%arg0");
   EXPECT_EQ(with("c", "%cellId", "x", "y").makePath("%sliceId"), "%cellId");
}

TEST(MakerPathMount, needsNoValueForWhatDoesNotOccur)
{
   EXPECT_EQ(with("3", "", "", "q").makePath("/x/%cellId/%arg1"), "/x/3/q");
   EXPECT_EQ(MakerPathMount().makePath("100%"), "100%");
}

TEST(MakerPathMount, takesAValueAsAFormat)
{
   EXPECT_EQ(with("", "", "$&", "").makePath("/%arg0/"), "/%arg0/");
   EXPECT_EQ(with("", "", "[$&$&]", "").makePath("%arg0"), "[%arg0%arg0]");
   EXPECT_EQ(with("", "", "a$$b", "").makePath("%arg0"), "a$b");
   EXPECT_EQ(with("", "", "$`", "").makePath("L%arg0R"), "LLR");
   EXPECT_EQ(with("", "", "$'", "").makePath("L%arg0R"), "LRR");
   EXPECT_EQ(with("", "", "$$&", "").makePath("%arg0"), "$&") << "one pass over the format";
}

TEST(MakerPathMount, takesADollarThatMeansNothingAsItself)
{
   EXPECT_EQ(with("$", "", "", "").makePath("<%cellId>"), "<$>");
   EXPECT_EQ(with("$x$", "", "", "").makePath("<%cellId>"), "<$x$>");
   EXPECT_EQ(with("a$1b$12c", "", "", "").makePath("<%cellId>"), "<abc>") << "no part of a placeholder has a number";
}

TEST(MakerPathMount, insertsTheTextBeforeSinceTheLastOccurrenceAndAllTheTextAfter)
{
   EXPECT_EQ(with("", "", "($`)", "").makePath("a%arg0b%arg0c"), "a(a)b(b)c");
   EXPECT_EQ(with("", "", "($')", "").makePath("a%arg0b%arg0c"), "a(b%arg0c)b(c)c");
}

TEST(MakerPathMount, keepsBytesOfEveryKind)
{
   std::string all;
   for (int byte = 0; byte < 256; ++byte) {
      if (byte != '$') {
         all.push_back(static_cast<char>(byte));
      }
   }

   EXPECT_EQ(with(all, "", "", "").makePath("<%cellId>"), "<" + all + ">");
   EXPECT_EQ(with("7", "", "", "").makePath("\n%cellId\xff.*"), "\n7\xff.*");
}

TEST(MakerPathMount, expandsLongTemplates)
{
   constexpr std::size_t count = 100'000;
   std::string text;
   std::string expected;
   for (std::size_t i = 0; i < count; ++i) {
      text += "some/text/%arg1/";
      expected += "some/text/y/";
   }

   EXPECT_EQ(with("", "", "", "y").makePath(text.c_str()), expected);
   EXPECT_EQ(
      with("", "", "", "y").makePath((std::string(count, '%') + "arg1").c_str()), std::string(count - 1, '%') + "y");
}

TEST(MakerPathMount, changesNoValueAndGivesTheSameTwice)
{
   auto const sut = with("%arg0", "s", "x", "$&");

   EXPECT_EQ(sut.makePath("%cellId%arg1"), "x%arg1");
   EXPECT_EQ(sut.makePath("%cellId%arg1"), "x%arg1");
   EXPECT_EQ(sut.cellIdValue, "%arg0");
   EXPECT_EQ(sut.arg1Value, "$&");
}

constexpr char const* emptyValue = "^Entifier:31: assertion failed: Unexpected empty path argument string\\.\n$";

TEST(MakerPathMountDeathTest, endsTheProcessWhenAValueIsMissing)
{
   EXPECT_DEATH(with("c", "", "x", "y").makePath("/x/%sliceId"), emptyValue);
   EXPECT_DEATH(with("", "s", "x", "y").makePath("%cellId"), emptyValue) << "the cell is not asked for";
   EXPECT_DEATH(with("c", "s", "", "y").makePath("%arg0"), emptyValue);
   EXPECT_DEATH(with("c", "s", "x", "").makePath("%arg1"), emptyValue);
}

TEST(MakerPathMountDeathTest, takesAnyTextThatBeginsLikeAPlaceholderForIt)
{
   EXPECT_DEATH(with("c", "s", "x", "").makePath("%arg10"), emptyValue);
   EXPECT_DEATH(with("c", "", "x", "y").makePath("%sliceIdX"), emptyValue);
}

TEST(MakerPathMountDeathTest, endsTheProcessWhenAValueIsMissingForWhatAnEarlierOneBroughtIn)
{
   EXPECT_DEATH(with("%arg1", "", "", "").makePath("%cellId"), emptyValue);
}

TEST(MakerPathMountDeathTest, endsTheProcessOnANullTemplate)
{
   static_assert(noexcept(MakerPathMount().makePath("")));
   char const* const null = nullptr;

   EXPECT_EXIT(MakerPathMount().makePath(null), testing::KilledBySignal(SIGABRT), "");
}

TEST(MakerPathMount, asksThePlatformForTheCell)
{
   auto const result =
      inChild({{"CELL_ID", "4294967295"}}, [] { std::cout << MakerPathMount::cellId() << std::flush; });

   EXPECT_EQ(result.output, "4294967295");
   EXPECT_EQ(result.status, 0);
}

TEST(MakerPathMount, passesThePlatformsRefusalOn)
{
   auto const result = inChild({{"CELL_ID", "seven"}}, [] { MakerPathMount::cellId(); });

   EXPECT_THAT(result.errors, testing::HasSubstr("CELL_ID='seven' is no cell identifier"));
   EXPECT_EQ(result.status, 1);
}

} // namespace
