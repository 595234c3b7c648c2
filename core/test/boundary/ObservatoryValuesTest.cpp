// The plugin's value types: made, read, written, compared, hashed, printed and parsed by reflection.

#include "boundary/Observatory.h"
#include "support/ChildProcess.h"
#include "support/MessageOf.h"

#include <Kro/Exception.h>
#include <Kro/Slot.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

namespace {

using Kro::GenericIf;
using Kro::Slot;
using Quorvel::Core::Test::inChild;
using Quorvel::Core::Test::messageOf;
using Quorvel::Core::Test::Observatory::elementsOf;
using Quorvel::Core::Test::Observatory::textOf;
using Quorvel::Core::Test::Observatory::type;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;

Slot angle(std::int32_t degrees, bool isNorth)
{
   return Slot::make(type("Angle"), std::array{GenericIf::of(degrees), GenericIf::of(isNorth)});
}

Slot reading(Orvo::String label)
{
   return Slot::make(type("Reading"), std::array{GenericIf::of(label), angle(1, true).genericIf()});
}

Slot parsed(char const* name, std::string_view text)
{
   return Slot::read({&type(name), Kro::Form::plain}, text);
}

template <class T>
void write(Slot const& value, int number, T written)
{
   ASSERT_EQ(value.genericIf().set(number, GenericIf::of(written)), Kro::success) << number;
}

/// A reading in which every number is at its end.
template <template <class> class End>
Slot extremeReading(bool isValid)
{
   auto sut = Slot::make(type("Reading"));
   write(sut, -32768, End<std::int16_t>::value);
   write(sut, -1, End<std::int32_t>::value);
   write(sut, 0, End<std::int64_t>::value);
   write(sut, 1, isValid);
   write(sut, 2, Orvo::String("a \"quoted\" one, longer than sixteen bytes"));
   write(sut, 130, End<std::uint16_t>::value);
   write(sut, 131, End<std::uint32_t>::value);
   write(sut, 5000, End<std::uint64_t>::value);
   EXPECT_EQ(sut.genericIf().set(5001, angle(-180, false).genericIf()), Kro::success);
   write(sut, 32767, Orvo::String("\n"));
   return sut;
}

template <class T>
struct Lowest {
   static constexpr T value = std::numeric_limits<T>::min();
};

template <class T>
struct Highest {
   static constexpr T value = std::numeric_limits<T>::max();
};

constexpr auto lowestText =
   R"(Observatory::Reading(offset=-32768, weight=-2147483648, flux=-9223372036854775808, isValid=false, )"
   R"(label="a \"quoted\" one, longer than sixteen bytes", count=0, exposure=0, photons=0, )"
   R"(direction=Observatory::Angle(degrees=-180, isNorth=false), note="\x0a"))";
constexpr auto highestText =
   R"(Observatory::Reading(offset=32767, weight=2147483647, flux=9223372036854775807, isValid=true, )"
   R"(label="a \"quoted\" one, longer than sixteen bytes", count=65535, exposure=4294967295, )"
   R"(photons=18446744073709551615, direction=Observatory::Angle(degrees=-180, isNorth=false), note="\x0a"))";

TEST(ObservatoryValues, areMadeByTheNameOfTheirTypeAndPrinted)
{
   EXPECT_EQ(textOf(angle(-90, false).genericIf()), "Observatory::Angle(degrees=-90, isNorth=false)");
   EXPECT_EQ(
      textOf(reading("north").genericIf()), "Observatory::Reading(offset=0, weight=0, flux=0, isValid=false, "
                                            "label=\"north\", count=0, exposure=0, photons=0, "
                                            "direction=Observatory::Angle(degrees=1, isNorth=true), note=\"\")");
}

TEST(ObservatoryValues, areNotMadeFromOtherArguments)
{
   std::uint32_t degrees = 1;

   EXPECT_EQ(
      messageOf<Kro::NewEntityArgsException>([&] { Slot::make(type("Angle"), std::array{GenericIf::of(degrees)}); }),
      "an object of type 'Observatory::Angle' cannot be made: it has no constructor that takes (uint32), but one that "
      "takes (int32, bool)");
}

TEST(ObservatoryValues, keepEveryNumberThatIsWrittenToTheirEnds)
{
   EXPECT_EQ(textOf(extremeReading<Lowest>(false).genericIf()), lowestText);
   EXPECT_EQ(textOf(extremeReading<Highest>(true).genericIf()), highestText);
   EXPECT_EQ(textOf(extremeReading<Highest>(true).genericIf(), 5000), "18446744073709551615");
   EXPECT_EQ(textOf(extremeReading<Lowest>(true).genericIf(), -32768), "-32768");
}

TEST(ObservatoryValues, areReadBackFromTheirText)
{
   auto const lowest = parsed("Reading", lowestText);
   auto const highest = parsed("Reading", highestText);

   EXPECT_TRUE(lowest.genericIf().isEqual(extremeReading<Lowest>(false).genericIf()));
   EXPECT_TRUE(highest.genericIf().isEqual(extremeReading<Highest>(true).genericIf()));
   EXPECT_EQ(textOf(lowest.genericIf()), lowestText);
   EXPECT_EQ(textOf(highest.genericIf()), highestText);
}

TEST(ObservatoryValues, areNotReadFromATruncatedText)
{
   std::string const whole = lowestText;

   for (std::size_t size = 0; size < whole.size(); ++size) {
      EXPECT_THROW(parsed("Reading", whole.substr(0, size)), Kro::ParseException) << size;
   }
   EXPECT_THROW(parsed("Reading", whole + " "), Kro::ParseException);
}

TEST(ObservatoryValues, refuseATextForReasonsOfTheirOwn)
{
   EXPECT_EQ(textOf(parsed("Angle", "Observatory::Angle(degrees=180, isNorth=true)").genericIf(), 2), "180");
   EXPECT_EQ(
      messageOf<Kro::ParseException>([] { parsed("Angle", "Observatory::Angle(degrees=181, isNorth=true)"); }),
      "position=0: an angle from -180 to 180 degrees is expected, but \"Observatory::Angle(degre\"... is found");
}

TEST(ObservatoryValues, areEqualWhenWhatIsComparedIs)
{
   auto const same = extremeReading<Lowest>(false);
   write(same, 32767, Orvo::String("another note"));

   EXPECT_TRUE(same.genericIf().isEqual(extremeReading<Lowest>(false).genericIf()));
   for (int const number : {-32768, -1, 0, 1, 2, 130, 131, 5000, 5001}) {
      auto const other = extremeReading<Lowest>(false);
      Slot const fresh(type("Reading").findAttr(number)->type);
      if (number == 1 || number == 130 || number == 131 || number == 5000) { // fresh ones are at their lowest end
         auto const highest = extremeReading<Highest>(true);
         ASSERT_EQ(highest.genericIf().get(number, fresh.genericIf()), Kro::success);
      }
      ASSERT_EQ(other.genericIf().set(number, fresh.genericIf()), Kro::success);
      EXPECT_FALSE(other.genericIf().isEqual(same.genericIf())) << number;
   }
}

TEST(ObservatoryValues, areNotComparedWithThoseOfAnotherType)
{
   EXPECT_EQ(
      messageOf<Kro::TypeException>([] { angle(1, true).genericIf().isEqual(reading("a").genericIf()); }),
      "a slot of type 'Observatory::Angle' cannot be used as 'Observatory::Reading'");
}

TEST(ObservatoryValues, haveOneHashWhenTheyAreEqual)
{
   EXPECT_EQ(reading("a").genericIf().hash(), reading("a").genericIf().hash());
   EXPECT_NE(reading("a").genericIf().hash(), reading("b").genericIf().hash());
   EXPECT_NE(angle(1, true).genericIf().hash(), angle(1, false).genericIf().hash());
}

TEST(ObservatoryValues, withoutHashRefuseToBeHashed)
{
   EXPECT_EQ(
      messageOf<Kro::UnhashableException>([] { Slot::make(type("Night")).genericIf().hash(); }),
      "a value of type 'Observatory::Night' has no hash");
}

TEST(ObservatoryValues, areCopiedWithTheirCollections)
{
   auto const night = Slot::make(type("Night"));
   std::int32_t key = 7;
   night.genericIf().collectionIs(2, std::array{GenericIf::of(key), reading("a").genericIf()});

   auto const copy = Slot::copyOf(night.genericIf());
   night.genericIf().collectionDelAll(2);

   EXPECT_EQ(textOf(copy.genericIf(), 5), "\"1 readings\"");
   EXPECT_EQ(textOf(night.genericIf(), 5), "\"0 readings\"");
}

class ObservatoryNight : public testing::Test {
protected:
   void readingIs(std::int32_t key, char const* label)
   {
      EXPECT_EQ(sut.collectionIs(2, std::array{GenericIf::of(key), reading(label).genericIf()}), Kro::success);
   }

   void placeIs(Orvo::String name, std::int32_t degrees)
   {
      EXPECT_EQ(sut.collectionIs(3, std::array{GenericIf::of(name), angle(degrees, true).genericIf()}), Kro::success);
   }

   std::vector<std::string> labels() const
   {
      std::vector<std::string> all;
      sut.visit(2, [&](GenericIf const& key, GenericIf const& element) {
         all.push_back(textOf(key) + " " + textOf(element, 2));
         return true;
      });
      return all;
   }

   Slot const slot = Slot::make(type("Night"));
   GenericIf const sut = slot.genericIf();
};

TEST_F(ObservatoryNight, ofNothingHasNoElements)
{
   std::size_t size = 99;

   EXPECT_EQ(sut.size(2, size), Kro::success);
   EXPECT_EQ(size, 0U);
   EXPECT_THAT(labels(), IsEmpty());
   EXPECT_EQ(textOf(sut), "Observatory::Night(reading={}, place={}, observer={}, title=\"0 readings\", changes=0)");
}

TEST_F(ObservatoryNight, walksItsReadingsInTheOrderOfTheirKeys)
{
   readingIs(5, "c");
   readingIs(-5, "a");
   readingIs(0, "b");

   EXPECT_THAT(labels(), ElementsAre("-5 \"a\"", "0 \"b\"", "5 \"c\""));
}

TEST_F(ObservatoryNight, replacesFindsAndRemovesReadings)
{
   readingIs(1, "first");
   readingIs(1, "second");
   std::int32_t key = 1;
   std::string found;
   Slot const removed({&type("Reading"), Kro::Form::plain});

   EXPECT_EQ(
      sut.find(2, GenericIf::of(key), [&](GenericIf const& element) { found = textOf(element, 2); }), Kro::success);
   EXPECT_EQ(found, "\"second\"");
   EXPECT_EQ(sut.collectionDel(2, std::array{GenericIf::of(key)}, removed.genericIf()), Kro::success);
   EXPECT_EQ(textOf(removed.genericIf(), 2), "\"second\"");
   EXPECT_THAT(labels(), IsEmpty());
}

TEST_F(ObservatoryNight, letsAWalkChangeWhatItWalks)
{
   for (std::int32_t key = 0; key < 6; ++key) {
      readingIs(key, "any");
   }

   sut.visit(2, [&](GenericIf const& key, GenericIf const&) {
      std::int32_t const at = key.as<std::int32_t>();
      for (std::int32_t gone : {at, at + 1}) {
         EXPECT_EQ(sut.collectionDel(2, std::array{GenericIf::of(gone)}, GenericIf(Kro::TypeRef{})), Kro::success);
      }
      return at < 2;
   });

   EXPECT_THAT(labels(), ElementsAre("4 \"any\"", "5 \"any\""));
}

TEST_F(ObservatoryNight, findsPlacesByTheirHash)
{
   for (std::int32_t i = 0; i < 100; ++i) {
      placeIs(Orvo::String("place " + std::to_string(i)), i);
   }
   std::size_t size = 0;
   Orvo::String name = "place 42";
   Orvo::String unknown = "place 100";
   std::string found;
   bool isFound = false;
   bool isRemoved = false;

   EXPECT_EQ(sut.size(3, size), Kro::success);
   EXPECT_EQ(size, 100U);
   EXPECT_EQ(elementsOf(sut, 3).size(), 100U);
   sut.find(3, GenericIf::of(name), [&](GenericIf const& element) { found = textOf(element); });
   EXPECT_EQ(found, "Observatory::Angle(degrees=42, isNorth=true)");
   sut.find(3, GenericIf::of(unknown), [&](GenericIf const&) { isFound = true; });
   EXPECT_FALSE(isFound);
   EXPECT_EQ(sut.collectionDel(3, std::array{GenericIf::of(name)}, GenericIf::of(isRemoved)), Kro::success);
   EXPECT_TRUE(isRemoved);
   EXPECT_EQ(elementsOf(sut, 3).size(), 99U);
}

TEST_F(ObservatoryNight, keepsItsObserversInASet)
{
   Orvo::String name = "ada";
   bool isNew = false;

   EXPECT_EQ(sut.collectionIs(4, std::array{GenericIf::of(name)}, GenericIf::of(isNew)), Kro::success);
   EXPECT_TRUE(isNew);
   EXPECT_EQ(sut.collectionIs(4, std::array{GenericIf::of(name)}, GenericIf::of(isNew)), Kro::success);
   EXPECT_FALSE(isNew);
   EXPECT_THAT(elementsOf(sut, 4), ElementsAre("\"ada\""));
   EXPECT_EQ(sut.collectionDelAll(4), Kro::notAllowed);
}

TEST_F(ObservatoryNight, tellsItsReactorOfReadings)
{
   readingIs(1, "a");
   std::int32_t key = 1;
   sut.collectionDel(2, std::array{GenericIf::of(key)}, GenericIf(Kro::TypeRef{}));
   EXPECT_EQ(textOf(sut, 6), "2");

   EXPECT_EQ(sut.call(7, std::array{GenericIf::of(key)}), Kro::success);

   EXPECT_EQ(textOf(sut, 6), "3");
}

TEST_F(ObservatoryNight, ofEqualContentIsEqualHoweverItCameToBe)
{
   readingIs(1, "a");
   placeIs("x", 1);
   placeIs("y", 2);
   Slot const other = Slot::make(type("Night"));
   EXPECT_FALSE(sut.isEqual(other.genericIf()));

   Orvo::String const names[] = {"y", "x"};
   for (std::int32_t i : {0, 1}) {
      auto name = names[i];
      other.genericIf().collectionIs(3, std::array{GenericIf::of(name), angle(2 - i, true).genericIf()});
   }
   std::int32_t key = 1;
   other.genericIf().collectionIs(2, std::array{GenericIf::of(key), reading("a").genericIf()});

   EXPECT_TRUE(sut.isEqual(other.genericIf()));
   EXPECT_EQ(textOf(sut), textOf(other.genericIf()));
}

TEST_F(ObservatoryNight, endsTheProcessInsteadOfBeingRead)
{
   auto const result = inChild({}, [] { parsed("Night", "Observatory::Night(reading={})"); });

   EXPECT_EQ(result.status, 256 + SIGABRT);
   EXPECT_THAT(result.errors, EndsWith("No String constructor for Night - has collection\n"));
}

} // namespace
