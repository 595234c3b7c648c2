#include <Kro/QuotedText.h>

#include "support/LeafText.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>

namespace Kro {
namespace {

using namespace std::string_view_literals;
using Test::isRead;
using Test::read;
using Test::refusal;
using Test::textOf;

TEST(QuotedText, textsAreQuotedAndWhatDoesNotPrintIsEscaped)
{
   EXPECT_EQ(textOf<Orvo::String>(""), R"("")");
   EXPECT_EQ(textOf<Orvo::String>("a b"), R"("a b")");
   EXPECT_EQ(textOf<Orvo::String>("\"\\"), R"("\"\\")");
   EXPECT_EQ(textOf<Orvo::String>("\0\n\x1f\x7f"sv), R"("\x00\x0a\x1f\x7f")");
   EXPECT_EQ(textOf<Orvo::String>("\x20\xc3\xa9\xff"), "\" \xc3\xa9\xff\"");
}

TEST(QuotedText, everyByteCanBeReadBack)
{
   for (int byte = 0; byte < 256; ++byte) {
      std::string const value(1, static_cast<char>(byte));
      auto const text = textOf<Orvo::String>(value);
      bool const isEscaped = byte == '"' || byte == '\\';
      bool const isByNumber = byte < 0x20 || byte == 0x7f;
      EXPECT_EQ(text.size(), isByNumber ? 6U : isEscaped ? 4U : 3U) << byte;
      EXPECT_EQ(read<Orvo::String>(text), value) << byte;
      EXPECT_EQ(isRead<Orvo::String>("\"" + value + "\""), !isByNumber && !isEscaped) << byte;
   }
}

TEST(QuotedText, aByteThatIsEscapedIsFoundAtEveryPlace)
{
   for (std::size_t size = 1; size <= 25; ++size) {
      for (std::size_t at = 0; at < size; ++at) {
         for (char const special : "\0\x1f\x7f\"\\"sv) {
            // Bytes that only just need no escape, and the ones whose highest bit is set.
            for (char const plain : "\x20!#[]~\x80\x9f\xa2\xdc\xff"sv) {
               std::string value(size, plain);
               value[at] = special;
               auto const text = textOf<Orvo::String>(value);
               auto const escaped = textOf<Orvo::String>(std::string(1, special));
               ASSERT_EQ(
                  text, "\"" + std::string(at, plain) + escaped.substr(1, escaped.size() - 2) +
                           std::string(size - at - 1, plain) + "\"");
               ASSERT_EQ(read<Orvo::String>(text), value);
            }
         }
      }
   }
}

TEST(QuotedText, aTextIsRefusedWithoutItsQuotes)
{
   EXPECT_EQ(refusal<Orvo::String>(""), "position=0: a quoted text is expected, but the text ends");
   EXPECT_EQ(refusal<Orvo::String>("a"), R"(position=0: a quoted text is expected, but "a" is found)");
   EXPECT_EQ(refusal<Orvo::String>("'a'"), R"(position=0: a quoted text is expected, but "'a'" is found)");
   EXPECT_EQ(
      refusal<Orvo::String>("\""),
      "position=1: a closing quote or a printing character is expected, but the text ends");
   EXPECT_EQ(
      refusal<Orvo::String>("\"ab"),
      "position=3: a closing quote or a printing character is expected, but the text ends");
   EXPECT_EQ(refusal<Orvo::String>(R"("a"b")"), R"(position=3: the end of the text is expected, but "b\"" is found)");
   EXPECT_EQ(refusal<Orvo::String>(R"("" )"), R"(position=2: the end of the text is expected, but " " is found)");
}

TEST(QuotedText, aTextIsRefusedWithAByteThatDoesNotPrint)
{
   EXPECT_EQ(
      refusal<Orvo::String>("\"a\nb\""),
      R"(position=2: a closing quote or a printing character is expected, but "\x0ab\"" is found)");
   EXPECT_EQ(
      refusal<Orvo::String>("\"\\\\\0\""sv),
      R"(position=3: a closing quote or a printing character is expected, but "\x00\"" is found)");
}

TEST(QuotedText, aTextIsRefusedWithAnEscapeThatIsNotItsOwn)
{
   constexpr auto expected = R"(one of the escapes \", \\, \x00 to \x1f and \x7f is expected, but )";
   EXPECT_EQ(refusal<Orvo::String>("\"a\\"), std::string("position=2: ") + expected + R"("\\" is found)");
   EXPECT_EQ(refusal<Orvo::String>(R"("\x41")"), std::string("position=1: ") + expected + R"("\\x41\"" is found)");
   for (auto const escape : {R"(\a)",   R"(\n)",   R"(\')",   R"(\0)",   R"(\x)",   R"(\x0)",   R"(\x0g)",
                             R"(\x0A)", R"(\x1F)", R"(\x7F)", R"(\x7e)", R"(\x20)", R"(\x22)",  R"(\x5c)",
                             R"(\x80)", R"(\xff)", R"(\X00)", R"(\x 0)", R"(\x+1)", R"(\x000)", R"(\ )"}) {
      auto const text = "\"" + std::string(escape) + "\"";
      bool const isNulThenDigit = std::string_view(escape) == R"(\x000)"; // the one that is good, to see that it is
      EXPECT_EQ(isRead<Orvo::String>(text), isNulThenDigit) << text;
   }
}

TEST(QuotedText, aTextThatEndsTooSoonIsRefusedAtEveryByte)
{
   auto const text = textOf<Orvo::String>("plain \"quoted\" \\ \x01\x7f \xc3\xa9 and plain again"sv);
   for (std::size_t size = 0; size < text.size(); ++size) {
      EXPECT_FALSE(isRead<Orvo::String>(std::string_view(text).substr(0, size))) << size;
   }
   EXPECT_TRUE(isRead<Orvo::String>(text));
}

TEST(QuotedText, aRefusedValueIsNotMadeAndTheRangeStandsAtTheMistake)
{
   CharRange range(R"("a\q")");
   Orvo::String untouched = "as it was";

   auto const* const expected = Leaf::text.ops.read(&untouched, range);

   EXPECT_STREQ(expected, R"(one of the escapes \", \\, \x00 to \x1f and \x7f)");
   EXPECT_EQ(range.position(), 2U);
   EXPECT_EQ(untouched, "as it was");
}

TEST(QuotedText, aTextOfAMegabyteCanBeReadBack)
{
   for (std::string_view const part : {"a", "\"", "\x01", "0123456\\", "\xff"}) {
      std::string value;
      while (value.size() < (1U << 20U)) {
         value += part;
      }
      EXPECT_EQ(read<Orvo::String>(textOf<Orvo::String>(value)), value);
   }
}

TEST(QuotedText, aTextWithOneByteChangedIsRefusedOrIsTheTextOfAnotherValue)
{
   constexpr auto seed = 20'001;
   std::mt19937 random(seed);
   auto const below = [&](unsigned limit) { return std::uniform_int_distribution<unsigned>(0, limit - 1)(random); };
   for (int round = 0; round < 300; ++round) {
      std::string value;
      for (auto size = below(24); value.size() < size;) {
         value += below(3) == 0 ? "\"\\x01f\x7f\0\n"[below(9)] : static_cast<char>(below(256));
      }
      auto const text = textOf<Orvo::String>(value);
      ASSERT_EQ(read<Orvo::String>(text), value) << "seed " << seed << ", round " << round;
      for (std::size_t at = 0; at < text.size(); ++at) {
         auto changed = text;
         changed[at] = static_cast<char>(below(256));
         if (isRead<Orvo::String>(changed)) {
            ASSERT_EQ(textOf(read<Orvo::String>(changed)), changed) << "seed " << seed << ", round " << round;
         }
      }
   }
}

} // namespace
} // namespace Kro
