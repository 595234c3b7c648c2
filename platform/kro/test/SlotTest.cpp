#include <Kro/Slot.h>

#include "support/Card.h"
#include "support/Made.h"
#include "support/MessageOf.h"

#include <Kro/Exception.h>

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <utility>

namespace Test {
namespace {

using Kro::Form;
using Kro::GenericIf;
using Kro::Slot;
using Kro::TypeRef;

template <class T>
constexpr TypeRef typeOfSlot = Kro::typeRefOf<T>();

template <class T>
T& in(Slot const& slot)
{
   return slot.genericIf().as<T>();
}

template <class T>
Orvo::Ptr<T>& pointerIn(Slot const& slot)
{
   return slot.genericIf().as<Orvo::Ptr<T>>();
}

TEST(Slot, holdsTheDefaultOfAValueAndEndsIt)
{
   {
      Slot const sut(typeOfSlot<Witness>);

      EXPECT_EQ(Witness::live, 1);
      EXPECT_EQ(in<Witness>(sut).number(), 0U);
      EXPECT_EQ(sut.object().voidPtr(), sut.genericIf().voidPtr());
   }
   EXPECT_EQ(Witness::live, 0);
}

TEST(Slot, holdsZeroForANumberAndAnEmptyText)
{
   EXPECT_EQ(in<std::uint64_t>(Slot(typeOfSlot<std::uint64_t>)), 0U);
   EXPECT_FALSE(in<bool>(Slot(typeOfSlot<bool>)));
   EXPECT_EQ(in<Orvo::String>(Slot(typeOfSlot<Orvo::String>)), "");
}

TEST(Slot, holdsANullPointerOfBothForms)
{
   Slot const ptr(typeOfSlot<Orvo::Ptr<Card>>);
   Slot const raw(typeOfSlot<Card*>);

   EXPECT_EQ(pointerIn<Card>(ptr), nullptr);
   EXPECT_EQ(in<Card*>(raw), nullptr);
   EXPECT_EQ(ptr.object().voidPtr(), nullptr);
   EXPECT_EQ(raw.object().type(), TypeRef{});
}

TEST(Slot, isAlignedAsTheTypeWantsIt)
{
   std::array<Slot, 3> const all{Slot(typeOfSlot<Witness>), Slot(typeOfSlot<Witness>), Slot(typeOfSlot<Witness>)};

   for (auto const& sut : all) {
      EXPECT_EQ(reinterpret_cast<std::uintptr_t>(sut.genericIf().voidPtr()) % alignof(Witness), 0U);
   }
}

TEST(Slot, refusesTypesWithoutADefault)
{
   auto const refusal = [](TypeRef type) { return messageOf<Kro::TypeException>([type] { Slot const sut(type); }); };

   EXPECT_EQ(refusal(typeOfSlot<Descriptor>), "a value of type 'Test::Descriptor' has no default");
   EXPECT_EQ(refusal(typeOfSlot<Card>), "a value of type 'Test::Card' has no default") << "an entity without pointer";
   EXPECT_EQ(refusal({&Kro::Leaf::bytes, Form::plain}), "a value of type 'bytes' has no default");
   EXPECT_EQ(refusal({}), "a value of type 'nothing' has no default");
   EXPECT_EQ(refusal({&Port::kroType, Form::ptr}), "a value of type 'Orvo::Ptr<Test::Port>' has no default")
      << "a value counts no references";
}

TEST(Slot, movingTakesTheValueOver)
{
   Slot from(typeOfSlot<Witness>);
   auto* const value = from.genericIf().voidPtr();

   Slot const sut(std::move(from));

   EXPECT_EQ(sut.genericIf().voidPtr(), value);
   EXPECT_EQ(from.genericIf().voidPtr(), nullptr); // NOLINT(bugprone-use-after-move): what it promises
   EXPECT_EQ(from.object().voidPtr(), nullptr);
   EXPECT_EQ(Witness::live, 1);
}

TEST(Slot, assigningEndsTheOldValueAndTakesTheNewOneOverWithItsType)
{
   auto const card = Orvo::make<Card>("a");
   {
      Slot sut(typeOfSlot<Witness>);
      auto from = Slot::pointerTo(Card::kroType, card.get());

      sut = std::move(from);

      EXPECT_EQ(Witness::live, 0);
      EXPECT_EQ(sut.genericIf().type(), typeOfSlot<Orvo::Ptr<Card>>);
      EXPECT_EQ(card->useCount(), 2U);

      sut = Slot(typeOfSlot<std::uint32_t>);

      EXPECT_EQ(card->useCount(), 1U);
   }
   EXPECT_EQ(card->useCount(), 1U);
}

TEST(Slot, assigningItToItselfKeepsIt)
{
   Slot sut(typeOfSlot<Witness>);
   auto& same = sut;

   sut = std::move(same);

   EXPECT_NE(sut.genericIf().voidPtr(), nullptr);
   EXPECT_EQ(Witness::live, 1);
}

TEST(Slot, aMovedFromOneCanBeAssignedAgain)
{
   Slot sut(typeOfSlot<Witness>);
   Slot const first(std::move(sut));

   sut = Slot(typeOfSlot<Witness>); // NOLINT(bugprone-use-after-move): what it promises

   EXPECT_EQ(Witness::live, 2);
   EXPECT_NE(sut.genericIf().voidPtr(), nullptr);
}

TEST(Slot, copyOfAValueIsAnotherValue)
{
   Witness original("w", 7);

   auto const sut = Slot::copyOf(GenericIf::of(original));

   EXPECT_NE(sut.genericIf().voidPtr(), &original);
   EXPECT_TRUE(sut.genericIf().isEqual(GenericIf::of(original)));
   EXPECT_EQ(Witness::live, 2);
}

TEST(Slot, copyOfAPointerKeepsOneMoreReference)
{
   auto card = Orvo::make<Card>("a");
   auto* raw = card.get();
   {
      auto const ptr = Slot::copyOf(GenericIf::of(card));
      EXPECT_EQ(card->useCount(), 2U);
      auto const again = Slot::copyOf(ptr.genericIf());
      EXPECT_EQ(card->useCount(), 3U);
      auto const borrowed = Slot::copyOf(GenericIf::of(raw));
      EXPECT_EQ(card->useCount(), 3U) << "a plain pointer keeps none";

      EXPECT_EQ(ptr.object().voidPtr(), static_cast<Orvo::Node*>(raw));
      EXPECT_EQ(borrowed.object().type(), typeOfSlot<Card>);
   }
   EXPECT_EQ(card->useCount(), 1U);
}

TEST(Slot, theLastReferenceEndsTheEntity)
{
   auto const before = Card::live;
   auto card = Orvo::make<FastCard>("a");
   auto sut = Slot::pointerTo(Card::kroType, card.get());
   card = nullptr;
   EXPECT_EQ(Card::live, before + 1);

   sut = Slot(typeOfSlot<bool>);

   EXPECT_EQ(Card::live, before);
}

TEST(Slot, copyOfANullPointerIsNull)
{
   Orvo::Ptr<Card> none;

   EXPECT_EQ(pointerIn<Card>(Slot::copyOf(GenericIf::of(none))), nullptr);
}

TEST(Slot, copyOfWhatCannotBeCopiedIsRefused)
{
   auto const card = Orvo::make<Card>("a");
   Descriptor entry{};
   std::uint32_t number = 0;
   auto const refusal = [](GenericIf const& from) {
      return messageOf<Kro::TypeException>([&from] { auto const sut = Slot::copyOf(from); });
   };

   EXPECT_EQ(refusal(GenericIf::of(*card)), "a value of type 'Test::Card' cannot be copied");
   EXPECT_EQ(refusal(GenericIf::of(entry)), "a value of type 'Test::Descriptor' cannot be copied");
   EXPECT_EQ(refusal(Port::kroType.genericIf()), "a slot of type 'nothing' cannot be used as 'Test::Port'");
   EXPECT_EQ(refusal(GenericIf(TypeRef{}, &number)), "a value of type 'nothing' cannot be copied");
}

TEST(Slot, aCopyThatThrowsLeavesNothing)
{
   Witness original("w", 14);

   EXPECT_EQ(
      messageOf<Kro::RangeException>([&] { auto const sut = Slot::copyOf(GenericIf::of(original)); }),
      "no copy of witness 14");
   EXPECT_EQ(Witness::live, 1);
}

TEST(Slot, pointerToSeesTheEntityAsTheWantedType)
{
   auto const lane = Orvo::make<Lane>(4, 100U);
   auto const card = Orvo::make<FastCard>("a");

   auto const shifted = Slot::pointerTo(Lane::kroType, lane.get());
   auto const base = Slot::pointerTo(Kro::Entity::kroType, card.get());

   EXPECT_EQ(pointerIn<Lane>(shifted), lane) << "its node does not lie at its start";
   EXPECT_EQ(lane->useCount(), 2U);
   EXPECT_EQ(pointerIn<Kro::Entity>(base).get(), card.get());
   EXPECT_EQ(base.object().type(), typeOfSlot<FastCard>) << "the entity's own type";
   EXPECT_EQ(pointerIn<Card>(Slot::pointerTo(Card::kroType, nullptr)), nullptr);
}

TEST(Slot, pointerToRefusesAnUnrelatedEntity)
{
   auto const card = Orvo::make<Card>("a");

   EXPECT_EQ(
      messageOf<Kro::TypeException>([&] { auto const sut = Slot::pointerTo(FastCard::kroType, card.get()); }),
      "a slot of type 'Test::Card' cannot be used as 'Test::FastCard'");
   EXPECT_EQ(
      messageOf<Kro::TypeException>([&] { auto const sut = Slot::pointerTo(Port::kroType, nullptr); }),
      "a value of type 'Orvo::Ptr<Test::Port>' has no default");
   EXPECT_EQ(card->useCount(), 1U);
}

TEST(Slot, readMakesAValueFromItsWholeText)
{
   EXPECT_EQ(in<std::uint32_t>(Slot::read(typeOfSlot<std::uint32_t>, "17")), 17U);
   EXPECT_THROW(auto const sut = Slot::read(typeOfSlot<std::uint32_t>, "17 "), Kro::ParseException);
   EXPECT_THROW(auto const sut = Slot::read(typeOfSlot<std::uint32_t>, ""), Kro::ParseException);
}

TEST(Slot, readOfATypeWithoutTextIsRefused)
{
   auto const refusal = [](TypeRef type) {
      return messageOf<Kro::TypeException>([type] { auto const sut = Slot::read(type, "17"); });
   };

   EXPECT_EQ(refusal(typeOfSlot<Card*>), "a value of type 'Test::Card*' cannot be read from text");
   EXPECT_EQ(refusal(typeOfSlot<Odd>), "a value of type 'Test::Odd' cannot be read from text") << "it has a getter";
   EXPECT_EQ(refusal({}), "a value of type 'nothing' cannot be read from text");
}

} // namespace
} // namespace Test
