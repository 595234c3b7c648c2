#include <Orvo/String.h>

#include <TolSlab/Slab.h>

#include <limits>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_set>
#include <utility>

#include <gtest/gtest.h>

using Orvo::join;
using Orvo::String;

namespace {

constinit String const constantInitialised;

std::string pattern(std::size_t size)
{
   std::string text;
   for (std::size_t i = 0; i < size; ++i) {
      text += static_cast<char>('a' + i % 26);
   }
   return text;
}

} // namespace

static_assert(sizeof(String) == 16);
static_assert(std::is_nothrow_copy_constructible_v<String> && std::is_nothrow_move_constructible_v<String>);
static_assert(std::is_convertible_v<char const*, String> && std::is_convertible_v<std::string, String>);
static_assert(!std::is_convertible_v<String, std::string> && std::is_constructible_v<std::string, String>);
static_assert(!std::is_convertible_v<String, char const*>);

TEST(String, isEmptyByDefault)
{
   EXPECT_TRUE(constantInitialised.empty());
   EXPECT_EQ(constantInitialised.size(), 0u);
   EXPECT_STREQ(constantInitialised.c_str(), "");
   EXPECT_EQ(constantInitialised, String(""));
}

TEST(String, keepsTextsOfEveryLengthAndEndsThemWithNul)
{
   for (std::size_t size = 0; size <= 100; ++size) {
      auto const text = pattern(size);

      String const sut(text);

      ASSERT_EQ(sut.size(), size);
      ASSERT_EQ(sut.empty(), size == 0);
      ASSERT_EQ(sut.view(), text);
      ASSERT_EQ(sut[size], '\0');
      ASSERT_EQ(std::string(sut.begin(), sut.end()), text);
      ASSERT_EQ(sut, text);
   }
}

TEST(String, isMadeFromEveryKindOfText)
{
   std::string_view const view("view and more", 4);
   auto const take = [](String const& text) { return std::string(text); };

   EXPECT_EQ(take("literal"), "literal");
   EXPECT_EQ(take(std::string("string")), "string");
   EXPECT_EQ(take(view), "view");
   EXPECT_EQ(take(String("characters", 4)), "char");
}

TEST(String, refusesANullPointer)
{
   char const* const null = nullptr;

   EXPECT_THROW(String{null}, std::logic_error);
   EXPECT_THROW(static_cast<void>(String("a") == null), std::logic_error);
   EXPECT_THROW(static_cast<void>(join("a", null)), std::logic_error);
   EXPECT_THROW(static_cast<void>(String("a") + null), std::logic_error);
}

TEST(String, refusesMoreCharactersThanItCanCount)
{
   char const character = 'x';

   EXPECT_THROW(String(&character, std::numeric_limits<std::size_t>::max()), std::length_error);
}

TEST(String, keepsEmbeddedNulBytes)
{
   using namespace std::string_view_literals;
   auto const text = "a\0b"sv;

   String const sut(text);
   String const longer("0123456789\0abcdefghijk"sv);

   EXPECT_EQ(sut.size(), 3u);
   EXPECT_EQ(sut, text);
   EXPECT_NE(sut, "a");
   EXPECT_NE(sut, String("a"));
   EXPECT_NE(String("\0"sv), String());
   EXPECT_EQ(longer.size(), 22u);
   EXPECT_EQ(longer[10], '\0');
   EXPECT_EQ(longer[11], 'a');
}

TEST(String, tellsTextsApartThatDifferOnlyInTrailingNulBytes)
{
   for (std::size_t size = 0; size <= 20; ++size) {
      String const sut(std::string(size, '\0'));
      String const longer(std::string(size + 1, '\0'));

      EXPECT_EQ(sut, std::string(size, '\0'));
      EXPECT_NE(sut, longer) << size;
      EXPECT_LT(sut, longer) << size;
      EXPECT_NE(sut.hash(), longer.hash()) << size;
      EXPECT_STREQ(sut.c_str(), "") << "as C sees it";
   }
}

TEST(String, keepsBytesAboveAscii)
{
   std::string const text(15, '\xff');

   String const sut(text);

   EXPECT_EQ(sut.size(), 15u);
   EXPECT_EQ(sut, text);
}

TEST(String, copiesShareLongCharactersAndOutliveTheirSource)
{
   auto const text = pattern(40);
   auto* const source = new String(text);

   String const copy = *source;
   EXPECT_EQ(copy.data(), source->data());
   delete source;

   EXPECT_EQ(copy, text);
}

TEST(String, givesItsMemoryBackWithTheLastCopy)
{
   for (std::size_t const size : {16u, 100u, 1007u, 1008u, 5000u}) {
      auto const before = TolSlab::slabCountersTotal().live;
      {
         String const sut(pattern(size));
         String copy = sut;
         String const moved = std::move(copy);
         EXPECT_EQ(TolSlab::slabCountersTotal().live, before + 1);
      }
      EXPECT_EQ(TolSlab::slabCountersTotal().live, before) << size;
   }
}

TEST(String, needsNoMemoryUpToFifteenCharacters)
{
   auto const before = TolSlab::slabCountersTotal().live;

   String const sut(pattern(15));

   EXPECT_EQ(TolSlab::slabCountersTotal().live, before);
}

TEST(String, isEmptyAfterAMove)
{
   for (auto const size : {5u, 50u}) {
      String source(pattern(size));

      String const target = std::move(source);

      EXPECT_EQ(target, pattern(size));
      EXPECT_TRUE(source.empty());
      EXPECT_EQ(source, String());
   }
}

TEST(String, assignsTextsOfEveryKindOverEachOther)
{
   auto const longText = pattern(30);
   String sut = "short";

   sut = longText;
   EXPECT_EQ(sut, longText);
   sut = "literal";
   EXPECT_EQ(sut, "literal");
   String const other(longText);
   sut = other;
   EXPECT_EQ(sut, other);
   auto const& alias = sut;
   sut = alias;
   EXPECT_EQ(sut, longText);
   sut = String();
   EXPECT_TRUE(sut.empty());
}

TEST(String, assignedToItselfKeepsItsCharacters)
{
   for (std::size_t const size : {0u, 1u, 15u, 16u, 40u}) {
      auto const before = TolSlab::slabCountersTotal().live;
      {
         String sut(pattern(size));
         auto& alias = sut;

         sut = alias;
         EXPECT_EQ(sut, pattern(size));
         sut = std::move(alias);
         EXPECT_EQ(sut, pattern(size));
         swap(sut, alias);
         EXPECT_EQ(sut, pattern(size));
      }
      EXPECT_EQ(TolSlab::slabCountersTotal().live, before) << size;
   }
}

TEST(String, appendedToItselfIsTwiceItsCharacters)
{
   for (std::size_t const size : {0u, 1u, 7u, 8u, 15u, 16u, 40u}) {
      String sut(pattern(size));

      sut = sut + sut;
      EXPECT_EQ(sut, pattern(size) + pattern(size)) << size;
      sut = join(sut, sut.c_str(), sut.view());

      auto expected = pattern(size);
      expected += expected;
      EXPECT_EQ(sut, expected + expected + expected) << size;
   }
}

TEST(String, assignedAPartOfItselfTakesThatPart)
{
   String sut(pattern(40));

   sut = sut.view().substr(10, 20);
   EXPECT_EQ(sut, pattern(40).substr(10, 20));
   sut = sut.c_str() + 10;

   EXPECT_EQ(sut, pattern(40).substr(20, 10));
}

TEST(String, keepsAVeryLongText)
{
   auto const text = pattern(1'000'000);

   String const sut(text);
   auto const twice = sut + sut;

   EXPECT_EQ(sut.size(), 1'000'000u);
   EXPECT_EQ(sut, text);
   EXPECT_EQ(twice.size(), 2'000'000u);
   EXPECT_EQ(twice.view().substr(1'000'000), text);
   EXPECT_EQ(twice.hash(), Orvo::textHash(text + text));
}

TEST(String, swapsTextsInPlaceAndShared)
{
   String left = "short";
   String right(pattern(40));

   swap(left, right);

   EXPECT_EQ(left, pattern(40));
   EXPECT_EQ(right, "short");
}

TEST(String, comparesEqualOnlyToTheSameCharacters)
{
   for (std::size_t const size : {1u, 7u, 8u, 9u, 15u, 16u, 17u, 40u}) {
      auto const text = pattern(size);
      for (std::size_t i = 0; i < size; ++i) {
         auto changed = text;
         changed[i] = '#';
         ASSERT_NE(String(text), String(changed)) << size << " at " << i;
         ASSERT_NE(String(text), changed);
      }
      EXPECT_EQ(String(text), String(text));
      EXPECT_NE(String(text), String(text + "x"));
   }
}

TEST(String, comparesWithAllTextsOnBothSides)
{
   String const sut = "middle";

   EXPECT_TRUE(sut == "middle" && "middle" == sut);
   EXPECT_TRUE(sut == std::string("middle") && std::string("middle") == sut);
   EXPECT_TRUE(sut == std::string_view("middle") && std::string_view("middle") == sut);
   EXPECT_TRUE(sut < "next" && "last" < sut);
   EXPECT_TRUE(sut < std::string("next") && std::string("last") < sut);
   EXPECT_TRUE(sut < std::string_view("next") && std::string_view("last") < sut);
   EXPECT_TRUE(sut != "other" && sut != String("other"));
}

TEST(String, ordersByUnsignedBytesAndLengthLast)
{
   EXPECT_LT(String("a"), String("b"));
   EXPECT_LT(String("a"), String("aa"));
   EXPECT_LT(String(), String("a"));
   EXPECT_LT(String("z"), String("\xff"));
   EXPECT_LT(String(pattern(20)), String(pattern(21)));
   EXPECT_EQ(String("a") <=> String("a"), std::strong_ordering::equal);
}

TEST(String, hashIsThatOfItsCharacters)
{
   for (std::size_t size = 0; size <= 50; ++size) {
      auto const text = pattern(size);
      EXPECT_EQ(String(text).hash(), Orvo::textHash(text)) << size;
   }
   EXPECT_EQ(join("abcdefgh", "ijklmnopqrst").hash(), Orvo::textHash("abcdefghijklmnopqrst"));
}

TEST(String, isAKeyOfStandardHashCollections)
{
   std::unordered_set<String> const set{"a", "b", "a", pattern(40), pattern(40)};

   EXPECT_EQ(set.size(), 3u);
   EXPECT_TRUE(set.contains(pattern(40)));
}

TEST(String, concatenatesWithAllTextsOnBothSides)
{
   String const sut = "b";

   EXPECT_EQ(sut + sut, "bb");
   EXPECT_EQ("a" + sut + "c", "abc");
   EXPECT_EQ(std::string("a") + sut + std::string("c"), "abc");
   EXPECT_EQ(std::string_view("a") + sut + std::string_view("c"), "abc");
   EXPECT_EQ(sut + String() + "", "b");
   EXPECT_EQ(sut + pattern(26), "babcdefghijklmnopqrstuvwxyz");
}

TEST(String, writesItsCharacters)
{
   using namespace std::string_view_literals;
   std::ostringstream stream;

   stream << String("a\0b"sv) << '|' << String(pattern(20));

   EXPECT_EQ(stream.str(), std::string("a\0b|"sv) + pattern(20));
}

TEST(Join, makesOneTextOfTextsAndUnsignedNumbers)
{
   String const name = "ring";

   EXPECT_EQ(
      join("size=", 42u, " of '", name, "' at ", std::string("index "), std::string_view("0"), "."),
      "size=42 of 'ring' at index 0.");
}

TEST(Join, writesNumbersOfEveryWidthInDecimal)
{
   EXPECT_EQ(join(0u), "0");
   EXPECT_EQ(join(std::uint8_t{255}, " ", std::uint16_t{65535}), "255 65535");
   EXPECT_EQ(join(std::numeric_limits<std::uint32_t>::max()), "4294967295");
   EXPECT_EQ(join(std::numeric_limits<std::uint64_t>::max()), "18446744073709551615");
   EXPECT_EQ(join(10u, 9u, 100u), "109100");
}

TEST(Join, makesExactlyTheLengthsAroundTheEndOfThePlaceInside)
{
   EXPECT_EQ(join(), "");
   EXPECT_EQ(join("", String(), ""), "");
   EXPECT_EQ(join(pattern(7), pattern(8)), pattern(7) + pattern(8));
   EXPECT_EQ(join(pattern(8), pattern(8)), pattern(8) + pattern(8));
   EXPECT_EQ(join(pattern(8), pattern(8)).c_str()[16], '\0');
}

TEST(Join, allocatesOnce)
{
   auto const before = TolSlab::slabCountersTotal().live;

   auto const sut = join(pattern(10), 12345678u, "and more");

   EXPECT_EQ(TolSlab::slabCountersTotal().live, before + 1);
   EXPECT_EQ(sut.size(), 26u);
}
