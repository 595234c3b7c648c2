#include <KroOrvo/Impl.h>

#include "Types.h"

#include <Kro/Dir.h>
#include <Kro/TypeOf.h>

#include <gtest/gtest.h>

#include <limits>

namespace Test {
namespace {

using KroOrvo::Impl::valueToStrep;

Orvo::String textOf(Orvo::Node const& node)
{
   return valueToStrep(static_cast<Kro::KroType const&>(node.typeData()), &node);
}

TEST(Impl, aValueIsItsTypeWithItsAttributesInOrderOfDeclaration)
{
   Sample sut{"a", true, -1, 7, 9};

   EXPECT_EQ(valueToStrep(Sample::kroType, &sut), R"(Sample(text="a", flag=true, small=-1, large=7, half=4))");
}

TEST(Impl, numbersArePrintedToTheirLimits)
{
   Sample sut{"", false, std::numeric_limits<std::int16_t>::min(), std::numeric_limits<std::uint64_t>::max(), 0};

   EXPECT_EQ(
      valueToStrep(Sample::kroType, &sut),
      R"(Sample(text="", flag=false, small=-32768, large=18446744073709551615, half=0))");
}

TEST(Impl, textsAreEscaped)
{
   Sample const sut{std::string_view("\"\\\0\n", 4), false, 0, 0, 0};

   EXPECT_EQ(
      valueToStrep(Sample::kroType, &sut), R"(Sample(text="\"\\\x00\x0a", flag=false, small=0, large=0, half=0))");
}

TEST(Impl, aLeafStandsAlone)
{
   std::int32_t const number = -5;
   Orvo::String const text = "a";

   EXPECT_EQ(valueToStrep(Kro::Leaf::int32, &number), "-5");
   EXPECT_EQ(valueToStrep(Kro::Leaf::text, &text), "\"a\"");
}

TEST(Impl, aValueWithoutDataIsTheEmptyText)
{
   Bare const sut;

   EXPECT_EQ(valueToStrep(Bare::kroType, &sut), "");
}

TEST(Impl, anEmptyEntityShowsEmptyCollectionsAndNull)
{
   auto const sut = Orvo::make<Holder>("h");

   EXPECT_EQ(textOf(*sut), "Holder(sample={}, tag={}, leaf={}, partner=null)");
}

TEST(Impl, collectionsShowKeyAndElementInTheirOrder)
{
   auto const sut = Orvo::make<Holder>("h");
   sut->sample.is(2, Sample{"b", false, 0, 0, 0});
   sut->sample.is(-1, Sample{"a", false, 0, 0, 0});
   sut->tag.is("t");

   EXPECT_EQ(
      textOf(*sut), R"(Holder(sample={-1=Sample(text="a", flag=false, small=0, large=0, half=0), )"
                    R"(2=Sample(text="b", flag=false, small=0, large=0, half=0)}, tag={"t"}, leaf={}, partner=null))");
}

TEST(Impl, pointersToEntitiesAreTheirFullNamesAndToOtherNodesTheNodes)
{
   auto const sut = Orvo::make<Holder>("h");
   auto const directory = Orvo::make<Kro::Dir>("dir");
   sut->partner = directory->createEntity("Kro::Dir", "a \"name\"");
   sut->leaf.is("null", nullptr);

   EXPECT_EQ(textOf(*sut), R"(Holder(sample={}, tag={}, leaf={"null"=null}, partner="dir/a \"name\""))");

   sut->leaf.erase("null");
   sut->leaf.is("leaf", Orvo::make<Leaf>(8U));
   EXPECT_EQ(textOf(*sut), R"(Holder(sample={}, tag={}, leaf={"leaf"=Leaf(size=8)}, partner="dir/a \"name\""))");
}

TEST(Impl, inheritedAttributesComeFirst)
{
   auto const sut = Orvo::make<Derived>("d");

   EXPECT_EQ(textOf(*sut), "Derived(sample={}, tag={}, leaf={}, partner=null, extra=3)");
}

TEST(Impl, equalValuesHaveEqualTexts)
{
   auto const a = Orvo::make<Holder>("a");
   auto const b = Orvo::make<Holder>("b");
   for (char const* tag : {"x", "y", "z"}) {
      a->tag.is(tag);
   }
   for (char const* tag : {"z", "x", "y"}) {
      b->tag.is(tag);
   }

   EXPECT_EQ(textOf(*a), textOf(*b));
}

} // namespace
} // namespace Test
