#include <Kro/CharRange.h>

#include "support/MessageOf.h"

#include <Kro/Exception.h>

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>

namespace Kro {
namespace {

using Test::messageOf;

std::string refusal(CharRange const& range)
{
   return messageOf<ParseException>([&] { range.refuse("a flag"); });
}

TEST(CharRange, anEmptyTextIsAnEmptyRangeAtTheBegin)
{
   CharRange sut("");

   EXPECT_TRUE(sut.isEmpty());
   EXPECT_EQ(sut.rest(), "");
   EXPECT_EQ(sut.position(), 0U);
   EXPECT_TRUE(sut.skip(""));
   EXPECT_FALSE(sut.skip("a"));
}

TEST(CharRange, advanceLeavesWhatIsStillToBeRead)
{
   CharRange sut("abc");

   sut.advance(1);
   EXPECT_EQ(sut.rest(), "bc");
   EXPECT_EQ(sut.position(), 1U);
   EXPECT_FALSE(sut.isEmpty());

   sut.advance(2);
   EXPECT_EQ(sut.rest(), "");
   EXPECT_EQ(sut.position(), 3U);
   EXPECT_TRUE(sut.isEmpty());
}

TEST(CharRange, skipComparesEveryCharacterWhateverTheLength)
{
   std::string const all = "abcdefghijklmnopqrstuvwxyz";
   for (std::size_t size = 0; size <= 20; ++size) {
      auto const expected = all.substr(0, size);
      CharRange range(all);
      ASSERT_TRUE(range.skip(expected)) << size;
      ASSERT_EQ(range.rest(), std::string_view(all).substr(size));
      for (std::size_t at = 0; at < size; ++at) {
         auto other = expected;
         other[at] = '#';
         CharRange sut(all);
         ASSERT_FALSE(sut.skip(other)) << size << ' ' << at;
         ASSERT_EQ(sut.position(), 0U);
      }
   }
}

TEST(CharRange, skipRefusesWhatGoesBeyondTheEnd)
{
   std::string const all = "abcdefghijklmnopqrstuvwxyz";
   for (std::size_t size = 1; size <= 20; ++size) {
      CharRange sut(std::string_view(all).substr(0, size - 1)); // the missing character stands there, outside the range
      EXPECT_FALSE(sut.skip(std::string_view(all).substr(0, size))) << size;
      EXPECT_EQ(sut.position(), 0U);
   }
}

TEST(CharRange, takeValueEndsOutsideTheValuesOwnBracketsAndQuotes)
{
   std::pair<std::string_view, std::string_view> const cases[] = {
      {"", ""},
      {",", ""},
      {")", ""},
      {"}", ""},
      {"=", ""},
      {"12", "12"},
      {"12, b=1)", "12"},
      {"12)", "12"},
      {"12}", "12"},
      {"1=2", "1"},
      {R"("a")", R"("a")"},
      {R"("a,=)}", b)", R"("a,=)}")"},
      {R"("\"", b)", R"("\"")"},
      {R"("\\", b)", R"("\\")"},
      {R"("\\\"", b)", R"("\\\"")"},
      {"T(), b", "T()"},
      {"T(a=1, b=2), c=3", "T(a=1, b=2)"},
      {"T(a=U(b=1), c=2))", "T(a=U(b=1), c=2)"},
      {"{1=T(a=1), 2=T(a=2)}, c", "{1=T(a=1), 2=T(a=2)}"},
      {R"_(T(a=")"), b)_", R"_(T(a=")"))_"},
      {R"(T(a="), b)", R"(T(a="), b)"}, // the quote is never closed
      {R"(T(a="\)", R"(T(a="\)"},       // the text ends in an escape
      {"T(a=1, b=2", "T(a=1, b=2"},     // the bracket is never closed
      {"T(a=1}, b=2", "T(a=1}"},        // closed by another one: the value's reader refuses it
      {"T(a=1)garbage, b", "T(a=1)garbage"},
   };
   for (auto const& [text, expected] : cases) {
      CharRange sut(text);
      auto const value = sut.takeValue();
      EXPECT_EQ(value.rest(), expected) << text;
      EXPECT_EQ(value.position(), 0U);
      EXPECT_EQ(sut.rest(), text.substr(expected.size())) << text;
      EXPECT_EQ(sut.position(), expected.size());
   }
}

TEST(CharRange, aTakenValueCountsItsPositionInTheWholeText)
{
   CharRange sut("a=T(1), b=2");
   sut.advance(2);

   auto value = sut.takeValue();

   EXPECT_EQ(value.position(), 2U);
   EXPECT_FALSE(value.skip("T(1),"));
   EXPECT_TRUE(value.skip("T(1)"));
   EXPECT_TRUE(value.isEmpty());
   EXPECT_EQ(value.position(), 6U);
   EXPECT_EQ(sut.position(), 6U);
}

TEST(CharRange, takeValueTakesAMillionOpenBracketsAtOnce)
{
   std::string const text(1'000'000, '(');
   CharRange sut(text);

   EXPECT_EQ(sut.takeValue().rest(), text);
   EXPECT_TRUE(sut.isEmpty());
}

TEST(CharRange, endIsRefusesWhatIsLeft)
{
   CharRange sut("ab");
   EXPECT_EQ(
      messageOf<ParseException>([&] { sut.endIs(); }),
      R"(position=0: the end of the text is expected, but "ab" is found)");

   sut.advance(1);
   EXPECT_EQ(
      messageOf<ParseException>([&] { sut.endIs(); }),
      R"(position=1: the end of the text is expected, but "b" is found)");

   sut.advance(1);
   EXPECT_NO_THROW(sut.endIs());
}

TEST(CharRange, endIsRefusesWhatIsLeftOfAValueThatWasCutOff)
{
   CharRange sut("T(1), b");
   auto value = sut.takeValue();
   value.advance(1);

   EXPECT_EQ(
      messageOf<ParseException>([&] { value.endIs(); }),
      R"_(position=1: the end of the value is expected, but "(1), b" is found)_");
}

TEST(CharRange, refuseTellsPositionExpectationAndWhatIsThere)
{
   CharRange sut("ab");
   sut.advance(1);

   try {
      sut.refuse("a flag");
   } catch (ParseException const& exception) {
      EXPECT_STREQ(exception.what(), R"(position=1: a flag is expected, but "b" is found)");
      EXPECT_EQ(exception.position(), 1U);
   }

   sut.advance(1);
   EXPECT_EQ(refusal(sut), "position=2: a flag is expected, but the text ends");
}

TEST(CharRange, refuseShowsWhatFollowsAValueThatWasCutOff)
{
   CharRange sut("T, b");
   auto value = sut.takeValue();
   value.advance(1);

   EXPECT_EQ(refusal(value), R"(position=1: a flag is expected, but ", b" is found)");
}

TEST(CharRange, refuseShowsTwentyFourBytesAtMost)
{
   EXPECT_EQ(
      refusal(CharRange("abcdefghijklmnopqrstuvwx")),
      R"(position=0: a flag is expected, but "abcdefghijklmnopqrstuvwx" is found)");
   EXPECT_EQ(
      refusal(CharRange("abcdefghijklmnopqrstuvwxy")),
      R"(position=0: a flag is expected, but "abcdefghijklmnopqrstuvwx"... is found)");
}

TEST(CharRange, refuseCutsNoCharacterInTwo)
{
   EXPECT_EQ(
      refusal(CharRange("abcdefghijklmnopqrstuvw\xc3\xa9y")), // two bytes, the second of which is the 25th
      R"(position=0: a flag is expected, but "abcdefghijklmnopqrstuvw"... is found)");
   EXPECT_EQ(
      refusal(CharRange("abcdefghijklmnopqrstu\xf0\x9f\x98\x80y")), // four bytes, the last of which is the 25th
      R"(position=0: a flag is expected, but "abcdefghijklmnopqrstu"... is found)");
   EXPECT_EQ(
      refusal(CharRange(std::string(40, '\x80'))), // no characters at all
      R"(position=0: a flag is expected, but ")" + std::string(20, '\x80') + R"("... is found)");
}

TEST(CharRange, refuseEscapesWhatDoesNotPrint)
{
   using namespace std::string_view_literals;

   EXPECT_EQ(refusal(CharRange("\0\"\x7f"sv)), R"(position=0: a flag is expected, but "\x00\"\x7f" is found)");
}

} // namespace
} // namespace Kro
