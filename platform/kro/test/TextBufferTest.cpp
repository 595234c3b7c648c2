#include <Kro/TextBuffer.h>

#include <gtest/gtest.h>

#include <string>

namespace Kro {
namespace {

std::string pattern(std::size_t size)
{
   std::string text;
   while (text.size() < size) {
      text += static_cast<char>('!' + text.size() % 90);
   }
   return text;
}

TEST(TextBuffer, aNewOneIsEmpty)
{
   TextBuffer const sut;

   EXPECT_EQ(sut.size(), 0U);
   EXPECT_EQ(sut.view(), "");
}

TEST(TextBuffer, charactersAndTextsFollowEachOther)
{
   TextBuffer sut;

   sut.append('a');
   sut.append("");
   sut.append("bc");
   sut.append('\0');

   EXPECT_EQ(sut.view(), std::string_view("abc\0", 4));
}

TEST(TextBuffer, textsOfEveryLengthAreCopiedWhole)
{
   for (std::size_t size = 0; size <= 40; ++size) {
      TextBuffer sut;
      sut.append('<');
      sut.append(pattern(size));
      sut.append('>');
      EXPECT_EQ(sut.view(), "<" + pattern(size) + ">");
   }
}

TEST(TextBuffer, growsFromAnyLengthByAnyLength)
{
   for (std::size_t const before : {0U, 1U, 487U, 488U, 489U, 2000U}) {
      for (std::size_t const more : {1U, 2U, 488U, 489U, 5000U}) {
         TextBuffer sut;
         sut.append(pattern(before));
         sut.append(pattern(more));
         EXPECT_EQ(sut.view(), pattern(before) + pattern(more));
      }
   }
}

TEST(TextBuffer, oneCharacterAfterTheOtherMakesAMillion)
{
   auto const text = pattern(1'000'000);
   TextBuffer sut;

   for (char const c : text) {
      sut.append(c);
   }

   EXPECT_EQ(sut.view(), text);
}

TEST(TextBuffer, extendGivesRoomThatPutFills)
{
   TextBuffer sut;
   sut.append("a");

   auto* const end = TextBuffer::put(sut.extend(3), "bc");
   *end = 'd';

   EXPECT_EQ(sut.view(), "abcd");
}

TEST(TextBuffer, shrinkDropsTheLastCharacters)
{
   TextBuffer sut;
   sut.append(pattern(1000));

   sut.shrink(1000);
   EXPECT_EQ(sut.view(), pattern(1000));
   sut.shrink(2);
   sut.append('#');
   EXPECT_EQ(sut.view(), "!\"#");
   sut.shrink(0);
   EXPECT_EQ(sut.view(), "");
}

} // namespace
} // namespace Kro
