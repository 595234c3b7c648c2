#include "look/Wording.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace Look;
using namespace std::string_literals;

TEST(LookPrintable, leavesUtf8AsItIs)
{
   EXPECT_EQ(
      printable("nvme0.queue1 \"<&>\" \u00e9 \u6f22 \U0001f600"), "nvme0.queue1 \"<&>\" \u00e9 \u6f22 \U0001f600");
}

TEST(LookPrintable, showsTheEmptyNameAsQuotes)
{
   EXPECT_EQ(printable(""), "\"\"");
}

TEST(LookPrintable, escapesControlCharactersAndTheBackslash)
{
   EXPECT_EQ(printable("a\0b\n\x1b[31m\x7f\\x41"s), R"(a\x00b\x0a\x1b[31m\x7f\x5cx41)");
   EXPECT_EQ(printable("\u0085\u2028"), R"(\xc2\x85\xe2\x80\xa8)");
}

TEST(LookPrintable, escapesWhatTurnsTheDirectionOfWriting)
{
   EXPECT_EQ(printable("\u202egpj"), R"(\xe2\x80\xaegpj)");
   EXPECT_EQ(printable("\u2066\u200f"), R"(\xe2\x81\xa6\xe2\x80\x8f)");
}

TEST(LookPrintable, escapesWhatXmlForbids)
{
   EXPECT_EQ(printable("\uffff\ufffe"), R"(\xef\xbf\xbf\xef\xbf\xbe)");
   EXPECT_EQ(
      printable("\ufffd\U0010ffff"), "\ufffd"
                                     R"(\xf4\x8f\xbf\xbf)");
}

TEST(LookPrintable, escapesEachByteThatIsNoUtf8)
{
   EXPECT_EQ(printable("\xff"), R"(\xff)");
   EXPECT_EQ(
      printable("\x80"
                "a"),
      R"(\x80a)");
   EXPECT_EQ(printable("a\xe2\x82"), R"(a\xe2\x82)"); // cut off
   EXPECT_EQ(printable("\xc3("), R"(\xc3()");         // not continued
   EXPECT_EQ(printable("\xc0\xaf"), R"(\xc0\xaf)");   // longer than need be
   EXPECT_EQ(printable("\xe0\x80\xaf"), R"(\xe0\x80\xaf)");
   EXPECT_EQ(printable("\xed\xa0\x80"), R"(\xed\xa0\x80)");         // half of a surrogate pair
   EXPECT_EQ(printable("\xf4\x90\x80\x80"), R"(\xf4\x90\x80\x80)"); // above the last character
}

TEST(LookWidth, countsCharactersNotBytes)
{
   EXPECT_EQ(width(""), 0U);
   EXPECT_EQ(width("abc"), 3U);
   EXPECT_EQ(width("\u00e9\u6f22\U0001f600"), 3U);
}

TEST(LookShortened, leavesWhatIsShortEnough)
{
   EXPECT_EQ(shortened("abcde", 5), "abcde");
   EXPECT_EQ(shortened("", 3), "");
}

TEST(LookShortened, cutsTheMiddleOfWhatIsTooLong)
{
   EXPECT_EQ(shortened("abcdef", 5), "ab\u2026ef");
   EXPECT_EQ(shortened("abcdef", 4), "a\u2026ef");
   EXPECT_EQ(shortened("abcdef", 3), "a\u2026f");
}

TEST(LookShortened, cutsBetweenCharacters)
{
   EXPECT_EQ(shortened("\u00e9\u6f22\U0001f600\u6f22\u00e9", 3), "\u00e9\u2026\u00e9");
}

TEST(LookSizeText, namesTheUnit)
{
   EXPECT_EQ(sizeText(0), "0 B");
   EXPECT_EQ(sizeText(1023), "1023 B");
   EXPECT_EQ(sizeText(1024), "1 KiB");
   EXPECT_EQ(sizeText(1536), "1.5 KiB");
   EXPECT_EQ(sizeText(1 << 20), "1 MiB");
   EXPECT_EQ(sizeText(1ULL << 32), "4 GiB");
   EXPECT_EQ(sizeText(1ULL << 50), "1048576 GiB");
}

TEST(LookSizeText, keepsTheDigitBehindThePointOfWhatIsRoundedToAWholeNumber)
{
   EXPECT_EQ(sizeText(0xffffffff), "4.0 GiB");
   EXPECT_EQ(sizeText(1025), "1.0 KiB");
}

TEST(LookRangeText, givesFirstAndLastAddress)
{
   EXPECT_EQ(rangeText(0x1000, 1), "0x000000001000 - 0x000000001000");
   EXPECT_EQ(rangeText(0x8000000000001000, 0xffffffff), "0x8000000000001000 - 0x8000000100000ffe");
}

TEST(LookRangeText, saysThatThereAreNoBytes)
{
   EXPECT_EQ(rangeText(0x7f0000001000, 0), "0x7f0000001000 (empty)");
}

TEST(LookFieldText, givesNameAndNumber)
{
   EXPECT_EQ(fieldText({2, "command", 64}), "command (2)");
   EXPECT_EQ(fieldText({-3, "", 64}), "(-3)");
}

TEST(LookEntriesText, namesFirstAndLast)
{
   EXPECT_EQ(entriesText({0, 8, 0}), "no entries");
   EXPECT_EQ(entriesText({0, 8, 1}), "entry 8");
   EXPECT_EQ(entriesText({0, 8, 2}), "entries 8 to 9");
   EXPECT_EQ(entriesText({0, 1, 0xfffffffe}), "entries 1 to 4294967294");
}

TEST(LookEntriesText, knowsThatAGroupWhoseEndWrapsCoversNone)
{
   EXPECT_EQ(entriesText({0, 1, 0xffffffff}), "no entries");
   EXPECT_EQ(entriesText({0, 0xfffffff0, 0x20}), "no entries");
}

TEST(LookCountText, putsMoreThanOneIntoThePlural)
{
   EXPECT_EQ(countText(0, "chunk"), "0 chunks");
   EXPECT_EQ(countText(1, "chunk"), "1 chunk");
   EXPECT_EQ(countText(1, "entry"), "1 entry");
   EXPECT_EQ(countText(2, "entry"), "2 entries");
}

TEST(LookBeyond, countsTheBytesThatLieBehindTheChunk)
{
   Chunk const chunk{"c", 100, false, 0, 0};
   Part part;
   part.spans = {{0, 100}};
   EXPECT_EQ(beyond(part, chunk), 0U);
   part.spans = {{0, 101}};
   EXPECT_EQ(beyond(part, chunk), 1U);
   part.spans = {{0, 10}, {90, 110}, {120, 125}};
   EXPECT_EQ(beyond(part, chunk), 15U);
}

} // namespace
