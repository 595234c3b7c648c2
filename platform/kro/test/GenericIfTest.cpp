#include <Kro/GenericIf.h>

#include "support/Card.h"
#include "support/MessageOf.h"

#include <Kro/Entity.h>
#include <Kro/Exception.h>

#include <gtest/gtest.h>

#include <array>

namespace Test {
namespace {

using Kro::GenericIf;

/// An entity and the interface to it.
class GenericIfTest : public testing::Test {
protected:
   template <class T>
   T read(int number)
   {
      T value{};
      EXPECT_EQ(sut.get(number, GenericIf::of(value)), Kro::success);
      return value;
   }

   template <class... Argument>
   Kro::AccessResult call(int number, Argument... argument)
   {
      return sut.call(number, std::array{GenericIf::of(argument)...});
   }

   Orvo::Ptr<Card> const card = Orvo::make<FastCard>("a");
   GenericIf const sut = GenericIf::ofNode(*card);
};

TEST(GenericIf, ofKnowsTheExactTypeOfASlot)
{
   std::uint32_t number = 0;
   Orvo::Ptr<Card> pointer;
   Card* raw = nullptr;

   EXPECT_EQ(GenericIf::of(number).type(), (Kro::TypeRef{&Kro::Leaf::uint32, Kro::Form::plain}));
   EXPECT_EQ(GenericIf::of(pointer).type(), (Kro::TypeRef{&Card::kroType, Kro::Form::ptr}));
   EXPECT_EQ(GenericIf::of(raw).type(), (Kro::TypeRef{&Card::kroType, Kro::Form::raw}));
   EXPECT_EQ(GenericIf::of(raw).voidPtr(), &raw);
}

TEST(GenericIf, voidPtrIsBindsAnotherObject)
{
   Port const first("first");
   Port second("second");
   auto sut = Port::kroType.genericIf();
   Orvo::String name;

   sut.voidPtrIs(&second);

   EXPECT_EQ(sut.get(2, GenericIf::of(name)), Kro::success);
   EXPECT_EQ(name, "second");
   EXPECT_EQ(GenericIf::of(first).get(2, GenericIf::of(name)), Kro::success);
   EXPECT_EQ(name, "first");
}

TEST(GenericIf, setWritesAValueAndGetReadsIt)
{
   Port port;
   std::uint32_t lanes = 16;
   auto const sut = GenericIf::of(port);

   EXPECT_EQ(sut.set(3, GenericIf::of(lanes)), Kro::success);

   lanes = 0;
   EXPECT_EQ(port.lanes(), 16U);
   EXPECT_EQ(sut.get(3, GenericIf::of(lanes)), Kro::success);
   EXPECT_EQ(lanes, 16U);
}

TEST(GenericIf, getReadsEveryWidthAndSignAtFarApartNumbers)
{
   Wide wide{-1, -2, -3, 65535, ~std::uint64_t{0}};
   auto const sut = GenericIf::of(wide);
   Wide out;

   EXPECT_EQ(sut.get(-32768, GenericIf::of(out.lowest)), Kro::success);
   EXPECT_EQ(sut.get(-1, GenericIf::of(out.minus)), Kro::success);
   EXPECT_EQ(sut.get(0, GenericIf::of(out.zero)), Kro::success);
   EXPECT_EQ(sut.get(2, GenericIf::of(out.two)), Kro::success);
   EXPECT_EQ(sut.get(32767, GenericIf::of(out.highest)), Kro::success);

   EXPECT_TRUE(Wide::kroType.ops.equal(&out, &wide));
}

TEST(GenericIf, setRefusesWhatCannotBeWritten)
{
   Port port("old");
   Orvo::String name = "new";
   Odd odd;
   std::uint32_t number = 1;

   EXPECT_EQ(GenericIf::of(port).set(2, GenericIf::of(name)), Kro::notAllowed);
   EXPECT_EQ(GenericIf::of(odd).set(5, GenericIf::of(number)), Kro::notAllowed) << "a constant member";
   EXPECT_EQ(GenericIf::of(odd).set(2, GenericIf::of(number)), Kro::notAllowed) << "a getter";
   EXPECT_EQ(port.name(), "old");
}

TEST_F(GenericIfTest, numbersThatTheTypeDoesNotHaveGiveTheirOwnCode)
{
   std::uint32_t number = 7;
   auto const slot = GenericIf::of(number);

   EXPECT_EQ(sut.get(131, slot), Kro::noSuchAttribute);
   EXPECT_EQ(sut.set(131, slot), Kro::noSuchAttribute);
   EXPECT_EQ(sut.call(131), Kro::noSuchAttribute);
   EXPECT_EQ(sut.collectionIs(131, {}), Kro::noSuchAttribute);
   EXPECT_EQ(sut.collectionDel(131, {}, slot), Kro::noSuchAttribute);
   EXPECT_EQ(sut.collectionDelAll(131), Kro::noSuchAttribute);
   EXPECT_EQ(number, 7U);
}

TEST_F(GenericIfTest, accessThatTheAttributeDoesNotAllowGivesItsOwnCode)
{
   std::uint32_t number = 7;
   auto const slot = GenericIf::of(number);

   EXPECT_EQ(sut.get(267, slot), Kro::notAllowed) << "an operation is no value";
   EXPECT_EQ(sut.get(263, slot), Kro::notAllowed) << "nor is a collection";
   EXPECT_EQ(sut.get(270, slot), Kro::notAllowed) << "nor what needs arguments";
   EXPECT_EQ(sut.get(273, slot), Kro::notAllowed) << "nor a reactor";
   EXPECT_EQ(sut.get(274, slot), Kro::notAllowed) << "nor entries in device memory";
   EXPECT_EQ(sut.set(269, slot), Kro::notAllowed) << "what is worked out cannot be written";
   EXPECT_EQ(sut.call(259), Kro::notAllowed) << "a value cannot be called";
   EXPECT_EQ(sut.collectionIs(259, {}), Kro::notAllowed) << "a value has no elements";
   EXPECT_EQ(sut.collectionDelAll(264), Kro::notAllowed) << "the owner has no such mutator";
   EXPECT_EQ(sut.collectionDelAll(274), Kro::notAllowed);
   EXPECT_EQ(number, 7U);
}

TEST_F(GenericIfTest, getReadsInheritedAttributesAndTheTypesOwnFirst)
{
   EXPECT_EQ(read<std::uint16_t>(258), 7) << "boost of the derived type";
   EXPECT_EQ(read<std::int64_t>(259), -5) << "serial of the base";
   EXPECT_EQ(read<Orvo::String>(154), "fast a");
   EXPECT_EQ(read<Orvo::String>(260), "card a");
}

TEST_F(GenericIfTest, getReadsPointersOfBothForms)
{
   auto const partner = Orvo::make<Card>("b");
   Orvo::Ptr<Kro::Entity> in = partner;

   EXPECT_EQ(sut.set(261, GenericIf::of(in)), Kro::success);

   EXPECT_EQ(read<Orvo::Ptr<Kro::Entity>>(261), partner);
   EXPECT_EQ(read<Card*>(262), card.get());
   in = nullptr;
   EXPECT_EQ(sut.set(261, GenericIf::of(in)), Kro::success);
   EXPECT_EQ(partner->useCount(), 1U);
}

TEST_F(GenericIfTest, getReadsWhatIsComputedWithoutArguments)
{
   card->limitIs(1, 10);
   card->limitIs(2, 10);

   EXPECT_EQ(read<std::uint64_t>(269), 2U);
   EXPECT_EQ(read<std::int32_t>(272), Card::live);
}

TEST(GenericIf, membersAreReachedThroughTheirOwnTypeWhenTheNodeIsNotFirst)
{
   auto const lane = Orvo::make<Lane>(-9, 100U);
   ASSERT_NE(static_cast<void*>(lane.get()), static_cast<void*>(static_cast<Orvo::Node*>(lane.get())));
   auto const sut = GenericIf::ofNode(*lane);
   std::int32_t id = 0;
   std::uint32_t speed = 0;

   EXPECT_EQ(sut.get(-2, GenericIf::of(id)), Kro::success);
   EXPECT_EQ(sut.get(130, GenericIf::of(speed)), Kro::success);

   EXPECT_EQ(id, -9);
   EXPECT_EQ(speed, 100U);
}

TEST_F(GenericIfTest, aSlotOfAnotherTypeIsRefused)
{
   std::int32_t wrong = 7;
   Orvo::Ptr<Card> derived;

   EXPECT_EQ(
      messageOf<Kro::TypeException>([&] { static_cast<void>(sut.get(260, GenericIf::of(wrong))); }),
      "a slot of type 'int32' cannot be used as 'text'");
   EXPECT_EQ(
      messageOf<Kro::TypeException>([&] { static_cast<void>(sut.set(261, GenericIf::of(derived))); }),
      "a slot of type 'Orvo::Ptr<Test::Card>' cannot be used as 'Orvo::Ptr<Kro::Entity>'");
   EXPECT_EQ(
      messageOf<Kro::TypeException>([&] { static_cast<void>(sut.get(262, GenericIf::of(derived))); }),
      "a slot of type 'Orvo::Ptr<Test::Card>' cannot be used as 'Test::Card*'");
   EXPECT_EQ(wrong, 7);
}

TEST_F(GenericIfTest, aSlotBoundToNothingIsOfNoType)
{
   EXPECT_EQ(
      messageOf<Kro::TypeException>(
         [&] { static_cast<void>(sut.get(260, GenericIf(Kro::typeRefOf<Orvo::String>()))); }),
      "a slot of type 'nothing' cannot be used as 'text'");
   EXPECT_EQ(sut.call(267, std::array{GenericIf(Kro::typeRefOf<std::uint32_t>())}), Kro::notAllowed);
}

TEST(GenericIf, anObjectBoundToNothingGivesItsStaticsAlone)
{
   auto const sut = Card::kroType.genericIf();
   std::uint32_t number = 7;
   std::int32_t count = -1;
   auto const slot = GenericIf::of(number);

   EXPECT_EQ(sut.get(258, slot), Kro::notAllowed);
   EXPECT_EQ(sut.set(258, slot), Kro::notAllowed);
   EXPECT_EQ(sut.call(267, std::array{slot}), Kro::notAllowed);
   EXPECT_EQ(sut.collectionIs(265, std::array{slot}), Kro::notAllowed);
   EXPECT_EQ(sut.collectionDelAll(263), Kro::notAllowed);
   EXPECT_EQ(sut.get(272, GenericIf::of(count)), Kro::success);
   EXPECT_EQ(count, Card::live);
   count = -1;
   EXPECT_EQ(sut.call(272, {}, GenericIf::of(count)), Kro::success);
   EXPECT_EQ(count, Card::live);
}

TEST(GenericIf, aPointerAndASlotOfNoTypeHaveNoAttributes)
{
   auto card = Orvo::make<Card>("a");
   std::uint32_t number = 0;

   EXPECT_EQ(GenericIf::of(card).get(258, GenericIf::of(number)), Kro::noSuchAttribute);
   EXPECT_EQ(GenericIf(Kro::TypeRef{}).get(258, GenericIf::of(number)), Kro::noSuchAttribute);
   EXPECT_EQ(GenericIf::of(number).get(2, GenericIf::of(number)), Kro::noSuchAttribute) << "nor has a leaf";
}

TEST_F(GenericIfTest, callPicksTheOverloadByItsArguments)
{
   Card& plain = *card;
   std::uint32_t three = 3;
   std::uint32_t two = 2;
   std::uint32_t speed = 0;

   EXPECT_EQ(call(267, three), Kro::success);
   EXPECT_EQ(sut.call(267, std::array{GenericIf::of(two), GenericIf::of(three)}, GenericIf::of(speed)), Kro::success);

   EXPECT_EQ(speed, 2U);
   EXPECT_EQ(plain.scale(1, 1), 2U);
}

TEST_F(GenericIfTest, callWithoutAMatchingOverloadIsNotAllowed)
{
   EXPECT_EQ(sut.call(267), Kro::notAllowed);
   EXPECT_EQ(call(267, std::int32_t{3}), Kro::notAllowed) << "signed";
   EXPECT_EQ(call(267, std::uint32_t{1}, std::uint32_t{1}, std::uint32_t{1}), Kro::notAllowed);
   EXPECT_EQ(card->scale(1, 1), 1U) << "nothing was called";
}

TEST_F(GenericIfTest, callRefusesAResultSlotOfAnotherTypeBeforeItCalls)
{
   std::uint32_t two = 2;
   std::uint64_t wrong = 0;

   EXPECT_EQ(
      messageOf<Kro::TypeException>([&] {
         static_cast<void>(sut.call(267, std::array{GenericIf::of(two), GenericIf::of(two)}, GenericIf::of(wrong)));
      }),
      "a slot of type 'uint64' cannot be used as 'uint32'");
   EXPECT_EQ(
      messageOf<Kro::TypeException>(
         [&] { static_cast<void>(sut.call(267, std::array{GenericIf::of(two)}, GenericIf::of(wrong))); }),
      "a slot of type 'uint64' cannot be used as 'nothing'");
   EXPECT_EQ(card->scale(1, 1), 1U);
}

TEST_F(GenericIfTest, callDropsTheResultThatNobodyWants)
{
   EXPECT_EQ(call(270, std::uint32_t{1}, std::uint32_t{2}), Kro::success);
}

TEST_F(GenericIfTest, callTakesManyArguments)
{
   std::uint32_t one = 1;
   std::uint32_t nine = 0;
   std::vector<GenericIf> const arguments(9, GenericIf::of(one));

   EXPECT_EQ(sut.call(271, arguments, GenericIf::of(nine)), Kro::success);

   EXPECT_EQ(nine, 9U);
}

TEST_F(GenericIfTest, callLetsTheOperationsOwnExceptionPass)
{
   EXPECT_EQ(messageOf<std::runtime_error>([&] { call(268, Orvo::String("broken")); }), "broken");
}

TEST_F(GenericIfTest, callReachesReactors)
{
   EXPECT_EQ(call(273, Orvo::String("p")), Kro::success);

   EXPECT_EQ(card->handled, std::vector<Orvo::String>{"p"});
}

TEST_F(GenericIfTest, genericIfGetReadsAnAttributeOfTheObjectsTypeOrItsBases)
{
   std::int64_t serial = 0;

   Card::kroType.attr("serial").genericIfGet(sut, GenericIf::of(serial));

   EXPECT_EQ(serial, -5);
}

TEST_F(GenericIfTest, genericIfGetRefusesWhatCannotBeRead)
{
   std::uint32_t number = 0;
   Port port;
   auto const slot = GenericIf::of(number);

   EXPECT_EQ(
      messageOf<Kro::TypeException>([&] { Card::kroType.attr("speed").genericIfGet(GenericIf::of(port), slot); }),
      "a slot of type 'Test::Port' has no such attribute 'speed'")
      << "an object of another type";
   EXPECT_EQ(
      messageOf<Kro::TypeException>([&] { Card::kroType.attr("scale").genericIfGet(sut, slot); }),
      "attribute 'scale' cannot be read like a value")
      << "an operation";
   EXPECT_EQ(
      messageOf<Kro::TypeException>([&] { Card::kroType.attr("serial").genericIfGet(sut, slot); }),
      "a slot of type 'uint32' cannot be used as 'int64'");
   EXPECT_EQ(
      messageOf<Kro::TypeException>([&] { Card::kroType.attr("speed").genericIfGet(Card::kroType.genericIf(), slot); }),
      "a slot of type 'nothing' cannot be used as 'Test::Card'")
      << "an object bound to nothing";
}

TEST(GenericIf, asGivesTheSlotOfItsTypeAlone)
{
   std::uint32_t number = 7;
   auto const sut = GenericIf::of(number);

   sut.as<std::uint32_t>() = 8;

   EXPECT_EQ(number, 8U);
   EXPECT_EQ(
      messageOf<Kro::TypeException>([&] { static_cast<void>(sut.as<std::uint64_t>()); }),
      "a slot of type 'uint32' cannot be used as 'uint64'");
}

TEST(GenericIf, throwUnhashableNamesTheType)
{
   EXPECT_EQ(
      messageOf<Kro::UnhashableException>([] { Kro::GenericIfImpl::throwUnhashableException(Odd::kroType); }),
      "a value of type 'Test::Odd' has no hash");
}

TEST(GenericIf, hashIsThatOfTheValue)
{
   Orvo::String text("ring");
   Orvo::String same("ring");
   Orvo::String other("rung");

   EXPECT_EQ(GenericIf::of(text).hash(), GenericIf::of(same).hash());
   EXPECT_NE(GenericIf::of(text).hash(), GenericIf::of(other).hash());
}

TEST(GenericIf, hashOfATypeWithoutOneIsRefused)
{
   Odd value;

   EXPECT_EQ(
      messageOf<Kro::UnhashableException>([&] { static_cast<void>(GenericIf::of(value).hash()); }),
      "a value of type 'Test::Odd' has no hash");
}

TEST(GenericIf, hashOfAPointerIsRefused)
{
   Orvo::Ptr<Card> none;

   EXPECT_THROW(static_cast<void>(GenericIf::of(none).hash()), Kro::TypeException);
}

} // namespace
} // namespace Test
