// What each kind of attribute allows, by number and by name, and what an interface tells of the object behind it.
#include <Kro/GenericIf.h>

#include "support/Card.h"
#include "support/MessageOf.h"

#include <Kro/Exception.h>
#include <Kro/Slot.h>

#include <gtest/gtest.h>

#include <string_view>

namespace Test {
namespace {

using Kro::GenericIf;

constexpr auto yes = Kro::success;
constexpr auto no = Kro::notAllowed;

/// What an attribute answers to: reading, writing, a call without arguments, and being walked.
struct Row {
   int number;
   std::string_view name;
   Kro::Kind kind;
   Kro::AccessResult get;
   Kro::AccessResult set;
   Kro::AccessResult call;
   Kro::AccessResult size;
};

// clang-format off: a row for each attribute
constexpr Row rows[] = {{258, "speed", Kro::Kind::value, yes, yes, no, no},
                        {259, "serial", Kro::Kind::value, yes, no, no, no},
                        {260, "label", Kro::Kind::value, yes, no, no, no},
                        {261, "partner", Kro::Kind::value, yes, yes, no, no},
                        {262, "borrowed", Kro::Kind::value, yes, no, no, no},
                        {263, "port", Kro::Kind::collection, no, no, no, yes},
                        {264, "limit", Kro::Kind::collection, no, no, no, yes},
                        {265, "tag", Kro::Kind::collection, no, no, no, yes},
                        {266, "lane", Kro::Kind::collection, no, no, no, yes},
                        {267, "scale", Kro::Kind::operation, no, no, no, no},
                        {268, "fail", Kro::Kind::operation, no, no, no, no},
                        {269, "total", Kro::Kind::computed, yes, no, yes, no},
                        {270, "sum", Kro::Kind::computed, no, no, no, no},
                        {271, "sumOfNine", Kro::Kind::computed, no, no, no, no},
                        {272, "liveCards", Kro::Kind::statics, yes, no, yes, no},
                        {273, "handlePort", Kro::Kind::reactor, no, no, no, no},
                        {274, "ring", Kro::Kind::collection, no, no, no, no},
                        {154, "nameString", Kro::Kind::computed, yes, no, yes, no}};

// clang-format on

TEST(GenericIfKinds, everyAttributeOfTheCardHasARow)
{
   EXPECT_EQ(std::size(rows), Card::kroType.attrs.size() + Kro::Entity::kroType.attrs.size());
   for (auto const& row : rows) {
      EXPECT_EQ(Card::kroType.attr(row.name).number, row.number);
      EXPECT_EQ(Card::kroType.attr(row.name).kind, row.kind) << row.name;
   }
}

TEST(GenericIfKinds, eachAllowsWhatItDoesByNumberAndByName)
{
   auto const card = Orvo::make<Card>("a");
   auto const sut = GenericIf::ofNode(*card);

   for (auto const& row : rows) {
      Kro::Slot const slot(row.get == yes ? Card::kroType.attr(row.name).type : Kro::typeRefOf<std::uint32_t>());
      auto const value = slot.genericIf();
      std::size_t size = 99;
      EXPECT_EQ(sut.get(row.number, value), row.get) << row.name;
      EXPECT_EQ(sut.get(row.name, value), row.get) << row.name;
      EXPECT_EQ(sut.set(row.number, value), row.set) << row.name;
      EXPECT_EQ(sut.set(row.name, value), row.set) << row.name;
      EXPECT_EQ(sut.call(row.number), row.call) << row.name;
      EXPECT_EQ(sut.size(row.number, size), row.size) << row.name;
      EXPECT_EQ(size, row.size == yes ? 0U : 99U) << row.name;
   }
}

TEST(GenericIfKinds, withoutAnObjectStaticsAloneAreReached)
{
   auto const sut = Card::kroType.genericIf();

   for (auto const& row : rows) {
      Kro::Slot const slot(Kro::typeRefOf<std::int32_t>());
      auto const wanted = row.kind == Kro::Kind::statics ? yes : no;
      std::size_t size = 99;
      EXPECT_EQ(sut.get(row.number, slot.genericIf()), wanted) << row.name;
      EXPECT_EQ(sut.get(row.name, slot.genericIf()), wanted) << row.name;
      EXPECT_EQ(sut.set(row.name, slot.genericIf()), no) << row.name;
      EXPECT_EQ(sut.call(row.number), wanted) << row.name;
      EXPECT_EQ(sut.size(row.number, size), no) << row.name;
   }
}

TEST(GenericIfKinds, namesThatTheTypeDoesNotHaveGiveTheirOwnCode)
{
   auto const card = Orvo::make<Card>("a");
   auto const sut = GenericIf::ofNode(*card);
   std::uint32_t number = 7;

   for (std::string_view const name : {"", "spee", "speeds", "Speed", "boost"}) {
      EXPECT_EQ(sut.get(name, GenericIf::of(number)), Kro::noSuchAttribute) << name;
      EXPECT_EQ(sut.set(name, GenericIf::of(number)), Kro::noSuchAttribute) << name;
   }
   EXPECT_EQ(number, 7U);
}

TEST(GenericIfKinds, namesReachWhatIsInheritedAndTheTypesOwnFirst)
{
   auto const card = Orvo::make<FastCard>("a");
   auto const sut = GenericIf::ofNode(*card);
   std::uint32_t speed = 0;
   std::uint16_t boost = 0;
   Orvo::String name;

   EXPECT_EQ(sut.get("speed", GenericIf::of(speed)), yes) << "by number the derived type hides it";
   EXPECT_EQ(sut.get("boost", GenericIf::of(boost)), yes);
   EXPECT_EQ(sut.get("nameString", GenericIf::of(name)), yes);

   EXPECT_EQ(speed, 1U);
   EXPECT_EQ(boost, 7U);
   EXPECT_EQ(name, "fast a");
}

TEST(GenericIfKinds, aSlotOfAnotherTypeLeavesBothSidesAsTheyAre)
{
   Port port("p", 4);
   auto const sut = GenericIf::of(port);
   std::uint64_t wrong = 77;

   EXPECT_EQ(
      messageOf<Kro::TypeException>([&] { static_cast<void>(sut.get("lanes", GenericIf::of(wrong))); }),
      "a slot of type 'uint64' cannot be used as 'uint32'");
   EXPECT_EQ(
      messageOf<Kro::TypeException>([&] { static_cast<void>(sut.set("lanes", GenericIf::of(wrong))); }),
      "a slot of type 'uint64' cannot be used as 'uint32'");
   EXPECT_EQ(
      messageOf<Kro::TypeException>([&] { static_cast<void>(sut.set("lanes", Kro::Leaf::uint32.genericIf())); }),
      "a slot of type 'nothing' cannot be used as 'uint32'");
   EXPECT_EQ(wrong, 77U);
   EXPECT_EQ(port.lanes(), 4U);
}

TEST(GenericIfKinds, pointeeIsWhatAPointerPointsTo)
{
   Orvo::Ptr<Kro::Entity> ptr = Orvo::make<FastCard>("a");
   auto* raw = ptr.get();
   auto lane = Orvo::make<Lane>(1, 2U);
   Port port;
   Port* value = &port;

   EXPECT_EQ(GenericIf::of(ptr).pointee().type(), Kro::typeRefOf<FastCard>()) << "by its own type";
   EXPECT_EQ(GenericIf::of(raw).pointee().voidPtr(), static_cast<Orvo::Node*>(raw));
   EXPECT_EQ(GenericIf::of(lane).pointee().voidPtr(), static_cast<Orvo::Node*>(lane.get()));
   EXPECT_EQ(GenericIf::of(value).pointee().type(), Kro::typeRefOf<Port>());
   EXPECT_EQ(GenericIf::of(value).pointee().voidPtr(), &port);
}

TEST(GenericIfKinds, pointeeOfNothingIsBoundToNothing)
{
   Orvo::Ptr<Card> ptr;
   Card* raw = nullptr;
   Port port;

   EXPECT_EQ(GenericIf::of(ptr).pointee().voidPtr(), nullptr);
   EXPECT_EQ(GenericIf::of(raw).pointee().voidPtr(), nullptr);
   EXPECT_EQ(GenericIf::of(port).pointee().voidPtr(), nullptr) << "no pointer";
   EXPECT_EQ(GenericIf(Kro::typeRefOf<Card*>()).pointee().voidPtr(), nullptr) << "no slot";
}

TEST(GenericIfKinds, valuesAreEqualByTheirTable)
{
   Port const a("p", 4);
   Port b("p", 4);
   Port const c("p", 5);
   b.noteIs("not compared");

   EXPECT_TRUE(GenericIf::of(a).isEqual(GenericIf::of(a)));
   EXPECT_TRUE(GenericIf::of(a).isEqual(GenericIf::of(b)));
   EXPECT_FALSE(GenericIf::of(a).isEqual(GenericIf::of(c)));
}

TEST(GenericIfKinds, entitiesAreEqualWhenTheyAreTheSameByWhateverTypeTheyAreKnown)
{
   Orvo::Ptr<Card> const fast = Orvo::make<FastCard>("a");
   auto const card = Orvo::make<Card>("a");

   EXPECT_TRUE(GenericIf::of(*fast).isEqual(GenericIf::ofNode(*fast))) << "as Card and as FastCard";
   EXPECT_FALSE(GenericIf::ofNode(*fast).isEqual(GenericIf::ofNode(*card)));
   EXPECT_FALSE(GenericIf::of(*fast).isEqual(GenericIf::of(*card)));
}

TEST(GenericIfKinds, pointersAreEqualWhenTheyPointToTheSame)
{
   auto a = Orvo::make<Card>("a");
   auto same = a;
   auto other = Orvo::make<Card>("a");
   Orvo::Ptr<Card> none;

   EXPECT_TRUE(GenericIf::of(a).isEqual(GenericIf::of(same)));
   EXPECT_FALSE(GenericIf::of(a).isEqual(GenericIf::of(other)));
   EXPECT_FALSE(GenericIf::of(a).isEqual(GenericIf::of(none)));
   EXPECT_TRUE(GenericIf::of(none).isEqual(GenericIf::of(none)));
}

TEST(GenericIfKinds, whatCannotBeComparedIsRefused)
{
   Port port;
   std::uint32_t number = 0;
   Descriptor entry{};
   auto const card = Orvo::make<Card>("a");
   auto const refusal = [](GenericIf const& a, GenericIf const& b) {
      return messageOf<Kro::TypeException>([&] { static_cast<void>(a.isEqual(b)); });
   };

   EXPECT_EQ(
      refusal(GenericIf::of(port), GenericIf::of(number)), "a slot of type 'Test::Port' cannot be used as 'uint32'");
   EXPECT_EQ(
      refusal(GenericIf::of(*card), GenericIf::of(port)), "a slot of type 'Test::Card' cannot be used as 'Test::Port'");
   EXPECT_EQ(
      refusal(Port::kroType.genericIf(), GenericIf::of(port)),
      "a slot of type 'nothing' cannot be used as 'Test::Port'");
   EXPECT_EQ(
      refusal(GenericIf::of(port), Port::kroType.genericIf()),
      "a slot of type 'nothing' cannot be used as 'Test::Port'");
   EXPECT_EQ(
      refusal(GenericIf::of(entry), GenericIf::of(entry)), "values of type 'Test::Descriptor' cannot be compared");
   EXPECT_EQ(refusal(GenericIf({}, &number), GenericIf({}, &number)), "values of type 'nothing' cannot be compared");
}

TEST(GenericIfKinds, asGivesAnEntityAsItsOwnTypeAndItsBases)
{
   Orvo::Ptr<Kro::Entity> const entity = Orvo::make<FastCard>("a");
   auto const own = GenericIf::ofNode(*entity);
   auto const known = GenericIf::of(*entity);

   EXPECT_EQ(&own.as<Kro::Entity>(), entity.get());
   EXPECT_EQ(&own.as<Card>(), entity.get());
   EXPECT_EQ(&own.as<FastCard>(), entity.get());
   EXPECT_EQ(&known.as<FastCard>(), entity.get()) << "known by a base, but it is one";
}

TEST(GenericIfKinds, asRefusesUnrelatedTypesAndWhatIsBoundToNothing)
{
   auto const card = Orvo::make<Card>("a");
   auto pointer = card;
   Port port;
   auto const asCard = [](GenericIf const& sut) {
      return messageOf<Kro::TypeException>([&] { static_cast<void>(sut.as<FastCard>()); });
   };

   EXPECT_EQ(asCard(GenericIf::of(*card)), "a slot of type 'Test::Card' cannot be used as 'Test::FastCard'");
   EXPECT_EQ(asCard(GenericIf::of(port)), "a slot of type 'Test::Port' cannot be used as 'Test::FastCard'");
   EXPECT_EQ(
      asCard(GenericIf::of(pointer)), "a slot of type 'Orvo::Ptr<Test::Card>' cannot be used as 'Test::FastCard'");
   EXPECT_EQ(asCard(FastCard::kroType.genericIf()), "a slot of type 'nothing' cannot be used as 'Test::FastCard'");
   EXPECT_EQ(
      messageOf<Kro::TypeException>([&] { static_cast<void>(GenericIf::of(*card).as<Port>()); }),
      "a slot of type 'Test::Card' cannot be used as 'Test::Port'");
}

} // namespace
} // namespace Test
