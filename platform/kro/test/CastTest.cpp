#include <Kro/Cast.h>

#include "support/Card.h"
#include "support/MessageOf.h"

#include <Kro/Exception.h>
#include <Kro/TypeOf.h>

#include <gtest/gtest.h>

namespace Test {
namespace {

using Kro::polymorphicCast;
using Kro::valueCast;

TEST(Cast, polymorphicCastSeesAnEntityAsItsOwnTypeAndItsBases)
{
   auto const card = Orvo::make<FastCard>("a");
   auto const lane = Orvo::make<Lane>(1, 2U);

   EXPECT_EQ(polymorphicCast(FastCard::kroType, *card, FastCard::kroType), card.get());
   EXPECT_EQ(polymorphicCast(FastCard::kroType, *card, Card::kroType), static_cast<Card*>(card.get()));
   EXPECT_EQ(polymorphicCast(FastCard::kroType, *card, Kro::Entity::kroType), static_cast<Kro::Entity*>(card.get()));
   EXPECT_EQ(polymorphicCast(Lane::kroType, *lane, Lane::kroType), lane.get()) << "its node does not lie at its start";
}

TEST(Cast, polymorphicCastSeesAnEntityKnownByABaseAsWhatItIs)
{
   Orvo::Ptr<Kro::Entity> const card = Orvo::make<FastCard>("a");

   EXPECT_EQ(polymorphicCast(Kro::Entity::kroType, *card, Card::kroType), dynamic_cast<Card*>(card.get()));
}

TEST(Cast, polymorphicCastRefusesAnUnrelatedType)
{
   auto const card = Orvo::make<Card>("a");
   auto const refusal = [&card](Kro::KroType const& to) {
      return messageOf<Kro::TypeException>([&] { polymorphicCast(Card::kroType, *card, to); });
   };

   EXPECT_EQ(refusal(FastCard::kroType), "a slot of type 'Test::Card' cannot be used as 'Test::FastCard'")
      << "a derived type, but not the entity's";
   EXPECT_EQ(refusal(Picky::kroType), "a slot of type 'Test::Card' cannot be used as 'Test::Picky'");
   EXPECT_EQ(refusal(Port::kroType), "a slot of type 'Test::Card' cannot be used as 'Test::Port'") << "a value type";
}

TEST(CastDeathTest, polymorphicCastFromAValueTypeEndsTheProcess)
{
   auto const card = Orvo::make<Card>("a");

   EXPECT_DEATH(polymorphicCast(Port::kroType, *card, Card::kroType), "fromType\\.isPolymorphic\\(\\)");
}

TEST(Cast, valueCastGivesTheValueAsItsOwnType)
{
   Port port;
   std::uint32_t number = 0;

   EXPECT_EQ(valueCast(Port::kroType, &port, Port::kroType), &port);
   EXPECT_EQ(valueCast(Kro::Leaf::uint32, &number, Kro::Leaf::uint32), &number);
   EXPECT_EQ(valueCast(Port::kroType, nullptr, Port::kroType), nullptr);
}

TEST(Cast, valueCastRefusesAnotherType)
{
   std::uint32_t number = 0;

   EXPECT_EQ(
      messageOf<Kro::TypeException>([&] { valueCast(Kro::Leaf::uint32, &number, Kro::Leaf::int32); }),
      "a slot of type 'uint32' cannot be used as 'int32'");
}

TEST(CastDeathTest, valueCastToAnEntityTypeEndsTheProcess)
{
   Port port;

   EXPECT_DEATH(valueCast(Port::kroType, &port, Card::kroType), "!toType\\.isPolymorphic\\(\\)");
}

} // namespace
} // namespace Test
