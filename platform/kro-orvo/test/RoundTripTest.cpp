#include "Readable.h"

#include <KroOrvo/Impl.h>

#include <Kro/Exception.h>
#include <Kro/Slot.h>
#include <Kro/TypeOf.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <optional>
#include <random>
#include <string>
#include <string_view>

namespace Test {
namespace {

constexpr unsigned seed = 20'002;

template <class T>
std::string print(T const& value)
{
   return std::string(KroOrvo::Impl::valueToStrep(*Kro::typeOf<T>(), &value));
}

template <class T>
T read(std::string_view text)
{
   auto const slot = Kro::Slot::read({Kro::typeOf<T>()}, text);
   return *static_cast<T const*>(slot.genericIf().voidPtr());
}

/// Any other exception fails the test.
template <class T>
std::optional<T> readIfItIsOne(std::string_view text)
{
   try {
      return read<T>(text);
   } catch (Kro::ParseException const& refusal) {
      EXPECT_LE(refusal.position(), text.size());
      return std::nullopt;
   }
}

class Random {
public:
   explicit Random(unsigned start) : engine_(start) {}

   unsigned below(unsigned limit) { return std::uniform_int_distribution<unsigned>(0, limit - 1)(engine_); }

   /// Limits, small ones and any.
   template <class T>
   T number()
   {
      using Limits = std::numeric_limits<T>;
      switch (below(4)) {
      case 0:
         return Limits::max();
      case 1:
         return Limits::min();
      case 2:
         return static_cast<T>(below(12));
      default:
         return std::uniform_int_distribution<T>(Limits::min(), Limits::max())(engine_);
      }
   }

   /// Mostly what a reader might stumble over.
   Orvo::String text()
   {
      constexpr std::string_view awkward("\"\\(),={} \0\n\x7f\x80x0", 16);
      std::string text;
      for (auto left = below(20); left > 0; --left) {
         text += below(2) == 0 ? awkward[below(awkward.size())] : static_cast<char>(below(256));
      }
      return text;
   }

   Nest nest()
   {
      Nest nest;
      nest.frame.leaves = {
         below(2) == 0,           number<std::int16_t>(),  number<std::int32_t>(),  number<std::int64_t>(),
         number<std::uint16_t>(), number<std::uint32_t>(), number<std::uint64_t>(), text()};
      nest.frame.label.text = text();
      nest.frame.name = text();
      nest.id = number<std::uint32_t>();
      nest.label.text = text();
      return nest;
   }

private:
   std::mt19937 engine_;
};

TEST(RoundTrip, everyLeafIsReadBackFromItsText)
{
   EXPECT_EQ(read<bool>(print(true)), true);
   EXPECT_EQ(read<std::int16_t>(print(std::int16_t{-32768})), -32768);
   EXPECT_EQ(read<std::int32_t>(print(std::int32_t{-5})), -5);
   EXPECT_EQ(read<std::int64_t>(print(std::int64_t{0})), 0);
   EXPECT_EQ(read<std::uint16_t>(print(std::uint16_t{65535})), 65535U);
   EXPECT_EQ(read<std::uint32_t>(print(std::uint32_t{1})), 1U);
   EXPECT_EQ(read<std::uint64_t>(print(std::uint64_t{7})), 7U);
   EXPECT_EQ(read<Orvo::String>(print(Orvo::String("a \"b\""))), "a \"b\"");
}

TEST(RoundTrip, everyFormOfValueTypeIsReadBackFromItsText)
{
   EXPECT_EQ(print(Label{"a"}), R"(Test::Label(text="a"))");
   EXPECT_EQ(read<Label>(R"(Test::Label(text="a"))"), Label{"a"});

   EXPECT_EQ(print(Nothing{}), "");
   EXPECT_EQ(read<Nothing>(""), Nothing{});

   Leaves const leaves{true, -1, -2, -3, 4, 5, 6, "seven"};
   constexpr auto leavesText =
      R"(Test::Leaves(flag=true, int16=-1, int32=-2, int64=-3, uint16=4, uint32=5, uint64=6, text="seven"))";
   EXPECT_EQ(print(leaves), leavesText);
   EXPECT_EQ(read<Leaves>(leavesText), leaves);

   Nest nest;
   nest.frame.leaves = leaves;
   nest.frame.label.text = "), b=";
   nest.id = 9;
   auto const nestText = "Test::Nest(frame=Test::Frame(before=, leaves=" + std::string(leavesText) +
                         R"(, label=Test::Label(text="), b="), between=, name=""), id=9, )"
                         R"(label=Test::Label(text=""), after=))";
   EXPECT_EQ(print(nest), nestText);
   EXPECT_EQ(read<Nest>(nestText), nest);
}

TEST(RoundTrip, anyValueIsReadBackFromItsText)
{
   Random random(seed);
   for (int round = 0; round < 2000; ++round) {
      auto const value = random.nest();
      auto const text = print(value);
      ASSERT_EQ(read<Nest>(text), value) << "seed " << seed << ", round " << round;
   }
}

TEST(RoundTrip, aTextWithOneByteChangedIsRefusedOrIsTheTextOfAnotherValue)
{
   Random random(seed);
   std::size_t others = 0;
   for (int round = 0; round < 30; ++round) {
      auto const text = print(random.nest());
      for (std::size_t at = 0; at < text.size(); ++at) {
         auto changed = text;
         changed[at] = static_cast<char>(text[at] + 1 + static_cast<int>(random.below(255)));
         if (auto const other = readIfItIsOne<Nest>(changed)) {
            ASSERT_EQ(print(*other), changed) << "seed " << seed << ", round " << round << ", byte " << at;
            ++others;
         }
      }
   }
   EXPECT_GT(others, 100U); // else the test has looked at refusals alone
}

TEST(RoundTrip, everySingleByteInThePlaceOfAnotherIsRefusedOrIsTheTextOfAnotherValue)
{
   Nest nest;
   nest.frame.leaves = {true, -10, 0, 7, 8, 100, 9, "a\"\\\n"};
   auto const text = print(nest);
   for (std::size_t at = 0; at < text.size(); ++at) {
      for (int byte = 0; byte < 256; ++byte) {
         auto changed = text;
         changed[at] = static_cast<char>(byte);
         if (auto const other = readIfItIsOne<Nest>(changed)) {
            ASSERT_EQ(print(*other), changed) << "byte " << at;
         }
      }
   }
}

TEST(RoundTrip, aTextThatIsTooShortOrTooLongByAByteIsRefusedOrIsTheTextOfAnotherValue)
{
   Random random(seed);
   for (int round = 0; round < 30; ++round) {
      auto const text = print(random.nest());
      for (std::size_t at = 0; at <= text.size(); ++at) {
         auto longer = text;
         longer.insert(at, 1, static_cast<char>(random.below(256)));
         auto shorter = text.substr(0, at) + text.substr(std::min(at + 1, text.size()));
         for (auto const& changed : {longer, shorter}) {
            if (auto const other = readIfItIsOne<Nest>(changed)) {
               ASSERT_EQ(print(*other), changed) << "seed " << seed << ", round " << round << ", byte " << at;
            }
         }
      }
   }
}

TEST(RoundTrip, aTextThatEndsTooSoonIsRefusedAtEveryByte)
{
   Random random(seed);
   for (int round = 0; round < 30; ++round) {
      auto const text = print(random.nest());
      for (std::size_t size = 0; size < text.size(); ++size) {
         ASSERT_FALSE(readIfItIsOne<Nest>(text.substr(0, size))) << "seed " << seed << ", round " << round;
      }
   }
}

TEST(RoundTrip, aMegabyteOfTextInAValueInAValueIsReadBack)
{
   for (char const c : {'a', '"', '(', '\0'}) {
      Nest nest;
      nest.frame.label.text = std::string(1U << 20U, c);
      EXPECT_EQ(read<Nest>(print(nest)), nest);
   }
}

} // namespace
} // namespace Test
