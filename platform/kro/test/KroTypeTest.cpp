#include <Kro/KroType.h>

#include "support/Card.h"
#include "support/MessageOf.h"

#include <Kro/Exception.h>
#include <Kro/GenericIf.h>
#include <Kro/KroModule.h>
#include <Kro/Table.h>

#include <gtest/gtest.h>

#include <iterator>
#include <limits>
#include <string>
#include <string_view>
#include <utility>

namespace Test {
namespace {

TEST(KroType, attrFindsByName)
{
   EXPECT_EQ(Port::kroType.attr("name").number, 2);
   EXPECT_EQ(Port::kroType.attr("note").number, 6);
}

TEST(KroType, attrFindsInheritedAttributes)
{
   auto const& speed = FastCard::kroType.attr("speed");

   EXPECT_EQ(&speed, &Card::kroType.attr("speed"));
}

TEST(KroType, attrPrefersTheTypesOwnAttribute)
{
   EXPECT_NE(&FastCard::kroType.attr("nameString"), &Card::kroType.attr("nameString"));
   EXPECT_EQ(&Card::kroType.attr("nameString"), &Kro::Entity::kroType.attr("nameString"));
}

TEST(KroType, attrNamesTypeAndAttributeThatIsUnknown)
{
   auto const text = messageOf<Kro::AttrNotFoundException>([] { Port::kroType.attr("lane"); });

   EXPECT_EQ(text, "type 'Test::Port' has no attribute 'lane'");
}

TEST(KroType, findAttrComparesWholeNames)
{
   EXPECT_EQ(Port::kroType.findAttr("nam"), nullptr);
   EXPECT_EQ(Port::kroType.findAttr("names"), nullptr);
   EXPECT_EQ(Port::kroType.findAttr("Name"), nullptr);
   EXPECT_EQ(Port::kroType.findAttr(""), nullptr);
   EXPECT_EQ(Port::kroType.findAttr(std::string_view("name\0", 5)), nullptr);
}

/// Names of every length that is treated on its own, and two that are alike at both ends.
struct Named {
   bool attribute = false;

   static Kro::KroType const kroType;
   struct Declaration;
};

constexpr std::string_view names[] = {
   "a",
   "ab",
   "abc",
   "abcd",
   "abcdefg",
   "abcdefgh",
   "abcdefghi",
   "abcdefghijklmno",
   "abcdefghijklmnop",
   "abcdefghijklmnopq",
   "abcdefgh_first_abcdefgh",
   "abcdefgh_other_abcdefgh"};

struct Named::Declaration {
   template <std::size_t... I>
   static consteval auto make(std::index_sequence<I...> /*positions*/)
   {
      return Kro::table<Named>(Kro::value<static_cast<std::int16_t>(2 + I), &Named::attribute>(names[I])...);
   }
};

struct NamedTable {
   static constexpr auto table = Named::Declaration::make(std::make_index_sequence<std::size(names)>());
};

constinit Kro::KroType const Named::kroType = Kro::valueType<Named, NamedTable>("Named", nullptr);

TEST(KroType, findAttrFindsNamesOfEveryLengthAndNoOther)
{
   auto const& sut = Named::kroType;

   for (std::size_t i = 0; i < std::size(names); ++i) {
      std::string const copy(names[i]);
      auto const* found = sut.findAttr(copy);
      ASSERT_NE(found, nullptr) << copy;
      EXPECT_EQ(found->number, static_cast<int>(i) + 2);

      for (std::size_t k = 0; k < copy.size(); ++k) {
         auto other = copy;
         other[k] = '#';
         EXPECT_EQ(sut.findAttr(other), nullptr) << other;
      }
      EXPECT_EQ(sut.findAttr(copy + '#'), nullptr);
      EXPECT_EQ(sut.findAttr(std::string_view(copy.data() + 1, copy.size() - 1)), nullptr);
   }
   EXPECT_EQ(sut.findAttr(""), nullptr);
   EXPECT_EQ(sut.findAttr("abcdefgh_third_abcdefgh"), nullptr) << "alike at both ends";
}

TEST(KroType, findAttrOfATypeWithoutAttributesFindsNothing)
{
   EXPECT_EQ(Kro::Leaf::uint32.findAttr(""), nullptr);
   EXPECT_EQ(Kro::Leaf::uint32.findAttr("a"), nullptr);
   EXPECT_EQ(Kro::Leaf::uint32.findAttr(0), nullptr);
}

TEST(KroType, findAttrFindsEveryAttributeOfEveryTypeByNameAndNumber)
{
   for (auto const* type : {&Card::kroType, &FastCard::kroType, &Lane::kroType, &Wide::kroType, &Port::kroType}) {
      for (auto const& attr : type->attrs) {
         EXPECT_EQ(type->findAttr(attr.name), &attr) << attr.name;
         EXPECT_EQ(type->findAttr(attr.number), &attr) << attr.name;
      }
   }
}

TEST(KroType, nameOfTellsTheFormOfASlot)
{
   EXPECT_EQ(Kro::nameOf(Kro::typeRefOf<std::uint32_t>()), "uint32");
   EXPECT_EQ(Kro::nameOf(Kro::typeRefOf<Card*>()), "Test::Card*");
   EXPECT_EQ(Kro::nameOf(Kro::typeRefOf<Orvo::Ptr<Card>>()), "Orvo::Ptr<Test::Card>");
   EXPECT_EQ(Kro::nameOf({}), "nothing");
}

TEST(KroType, findAttrByNumberKnowsEveryNumberAndNoOther)
{
   EXPECT_EQ(Port::kroType.findAttr(1), nullptr);
   EXPECT_EQ(Port::kroType.findAttr(2)->name, "name");
   EXPECT_EQ(Port::kroType.findAttr(3)->name, "lanes");
   EXPECT_EQ(Port::kroType.findAttr(4), nullptr) << "a gap";
   EXPECT_EQ(Port::kroType.findAttr(5)->name, "isOpen");
   EXPECT_EQ(Port::kroType.findAttr(6)->name, "note");
   EXPECT_EQ(Port::kroType.findAttr(7), nullptr);
}

TEST(KroType, findAttrByNumberDoesNotWrap)
{
   EXPECT_EQ(Port::kroType.findAttr(65536 + 2), nullptr);
   EXPECT_EQ(Port::kroType.findAttr(-65536 + 2), nullptr);
   EXPECT_EQ(Wide::kroType.findAttr(65536 + 2), nullptr);
   EXPECT_EQ(Port::kroType.findAttr(std::numeric_limits<int>::min()), nullptr);
   EXPECT_EQ(Port::kroType.findAttr(std::numeric_limits<int>::max()), nullptr);
   EXPECT_EQ(Lane::kroType.findAttr(std::numeric_limits<int>::max()), nullptr);
}

TEST(KroType, findAttrByNumberFindsNegativeAndFarApartNumbers)
{
   EXPECT_EQ(Wide::kroType.findAttr(-32768)->name, "lowest");
   EXPECT_EQ(Wide::kroType.findAttr(-1)->name, "minus");
   EXPECT_EQ(Wide::kroType.findAttr(0)->name, "zero");
   EXPECT_EQ(Wide::kroType.findAttr(1), nullptr);
   EXPECT_EQ(Wide::kroType.findAttr(2)->name, "two");
   EXPECT_EQ(Wide::kroType.findAttr(32767)->name, "highest");
   EXPECT_EQ(Wide::kroType.findAttr(32768), nullptr);
   EXPECT_EQ(Wide::kroType.findAttr(-32769), nullptr);
   EXPECT_EQ(Lane::kroType.findAttr(-2)->name, "id");
}

TEST(KroType, findAttrByNumberPrefersTheTypesOwnAttribute)
{
   EXPECT_EQ(FastCard::kroType.findAttr(258)->name, "boost");
   EXPECT_EQ(FastCard::kroType.findAttr(259)->name, "serial");
}

TEST(KroType, isAFollowsTheBases)
{
   EXPECT_TRUE(FastCard::kroType.isA(FastCard::kroType));
   EXPECT_TRUE(FastCard::kroType.isA(Kro::Entity::kroType));
   EXPECT_FALSE(Card::kroType.isA(FastCard::kroType));
   EXPECT_FALSE(Port::kroType.isA(Card::kroType));
}

TEST(KroType, indexIsTheModulesFirstPlusThePosition)
{
   EXPECT_EQ(Port::kroType.index(), testModule.firstIndex);
   EXPECT_EQ(Picky::kroType.index(), testModule.firstIndex + testModule.types.size() - 1);
}

TEST(KroType, indexOfATypeInNoModuleIsRefused)
{
   auto const text = messageOf<Kro::TypeNotFoundException>([] { static_cast<void>(Kro::Leaf::int32.index()); });

   EXPECT_EQ(text, "type 'int32' has no index: it is in no registered module");
}

TEST(KroType, indexOfATypeThatItsModuleDoesNotListIsRefused)
{
   Kro::TypeData data;
   data.name = "Test::Unlisted";
   data.module = &testModule;
   Kro::KroType const unlisted(data);

   auto const text = messageOf<Kro::TypeNotFoundException>([&] { static_cast<void>(unlisted.index()); });

   EXPECT_EQ(text, "type 'Test::Unlisted' has no index: its module 'Test' does not list it");
}

TEST(KroType, genericIfIsOfTheTypeAndUnbound)
{
   auto const sut = Port::kroType.genericIf();

   EXPECT_EQ(sut.type(), Kro::typeRefOf<Port>());
   EXPECT_EQ(sut.voidPtr(), nullptr);
}

TEST(KroType, fwkTypeIsTheTypeOfTheLiveObject)
{
   Orvo::Ptr<Card> const card = Orvo::make<FastCard>("a");

   EXPECT_EQ(&Kro::fwkType(*card), &FastCard::kroType);
   EXPECT_EQ(&card->fwkType(), &FastCard::kroType);
}

} // namespace
} // namespace Test
