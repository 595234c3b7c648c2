#include <Kro/Slot.h>
#include <Kro/Table.h>

#include "support/Card.h"
#include "support/Made.h"
#include "support/MessageOf.h"

#include <Kro/Exception.h>

#include <gtest/gtest.h>

#include <array>
#include <cstdint>

namespace Test {
namespace {

using Kro::GenericIf;
using Kro::Slot;

/// How many objects there are, and how many of them have memory.
struct Live {
   int witnesses = Witness::live;
   int engines = Engine::live;
   std::uint64_t allocated = Engine::memAllocationTracker_.liveCount();

   friend bool operator==(Live const&, Live const&) = default;
};

template <class... Argument>
Slot make(Kro::KroType const& type, Argument... argument)
{
   return Slot::make(type, std::array<GenericIf, sizeof...(Argument)>{GenericIf::of(argument)...});
}

template <class... Argument>
std::string refusal(Kro::KroType const& type, Argument... argument)
{
   return messageOf<Kro::NewEntityArgsException>([&] { auto const sut = make(type, argument...); });
}

TEST(SlotMake, picksTheConstructorOfAValueByItsArguments)
{
   auto const none = make(Witness::kroType);
   auto const one = make(Witness::kroType, std::uint32_t{5});
   auto const two = make(Witness::kroType, Orvo::String("w"), std::uint32_t{7});

   EXPECT_EQ(none.genericIf().as<Witness>().number(), 0U);
   EXPECT_EQ(one.genericIf().as<Witness>().number(), 5U);
   EXPECT_EQ(two.genericIf().as<Witness>().number(), 7U);
   EXPECT_EQ(two.genericIf().as<Witness>().label(), "w");
}

TEST(SlotMake, makesAnEntityHeldByAPointer)
{
   auto const before = Live();
   {
      auto const sut = make(Engine::kroType, Orvo::String("e"), std::uint32_t{5});

      auto const& engine = sut.genericIf().as<Orvo::Ptr<Engine>>();
      EXPECT_EQ(engine->name(), "e");
      EXPECT_EQ(engine->power(), 5U);
      EXPECT_EQ(engine->useCount(), 1U);
      EXPECT_EQ(&sut.object().as<Engine>(), engine.get());
   }
   EXPECT_EQ(Live(), before);
}

TEST(SlotMake, passesPointersAsArguments)
{
   auto const original = Orvo::make<Engine>("e", 9U);

   auto const sut = make(Engine::kroType, Orvo::String("copy"), original);

   EXPECT_EQ(sut.object().as<Engine>().power(), 9U);
   EXPECT_EQ(original->useCount(), 1U);
}

TEST(SlotMake, makesAnEntityByAFunction)
{
   auto const original = Orvo::make<Engine>("e", 9U);

   auto const sut = make(Engine::kroType, original.get());

   EXPECT_EQ(sut.object().as<Engine>().name(), "e'");
   EXPECT_EQ(sut.object().as<Engine>().useCount(), 1U);
}

TEST(SlotMake, keepsTheNullThatAFunctionGives)
{
   auto const sut = make(Engine::kroType, static_cast<Engine*>(nullptr));

   EXPECT_EQ(sut.genericIf().as<Orvo::Ptr<Engine>>(), nullptr);
   EXPECT_EQ(sut.object().voidPtr(), nullptr);
}

TEST(SlotMake, takesTheMarkedAttributesOrTheNameOrNothingWhenNoConstructorIsDeclared)
{
   auto const lane = make(Lane::kroType, std::int32_t{-4}, std::uint32_t{100});
   auto const picky = make(Picky::kroType, Orvo::String("p"));
   auto const wide = make(Wide::kroType);

   EXPECT_EQ(lane.object().as<Lane>().key(), -4);
   EXPECT_EQ(picky.object().as<Picky>().name(), "p");
   EXPECT_EQ(wide.genericIf().as<Wide>().highest, 0U);
   EXPECT_EQ(make(Port::kroType, Orvo::String("x")).genericIf().as<Port>().name(), "x");
}

TEST(SlotMake, refusesOtherArgumentsAndSaysWhichConstructorsThereAre)
{
   auto const before = Live();
   constexpr auto witness = "an object of type 'Test::Witness' cannot be made: it has no constructor that takes ";
   constexpr auto has = ", but one that takes () and one that takes (text, uint32) and one that takes (uint32)";

   EXPECT_EQ(refusal(Witness::kroType, std::int32_t{5}), std::string(witness) + "(int32)" + has);
   EXPECT_EQ(refusal(Witness::kroType, Orvo::String("w")), std::string(witness) + "(text)" + has) << "one too few";
   EXPECT_EQ(
      refusal(Witness::kroType, Orvo::String("w"), std::uint32_t{7}, std::uint32_t{7}),
      std::string(witness) + "(text, uint32, uint32)" + has)
      << "one too many";
   EXPECT_EQ(
      refusal(Witness::kroType, std::uint32_t{7}, Orvo::String("w")), std::string(witness) + "(uint32, text)" + has)
      << "in the other order";
   EXPECT_EQ(Live(), before);
}

TEST(SlotMake, refusesOtherArgumentsOfAnEntity)
{
   EXPECT_EQ(
      refusal(Engine::kroType),
      "an object of type 'Test::Engine' cannot be made: it has no constructor that takes (), but one that takes "
      "(text, uint32) and one that takes (text, Orvo::Ptr<Test::Engine>) and one that takes (Test::Engine*)");
   EXPECT_EQ(
      refusal(Card::kroType, Orvo::make<Engine>("e", 1U)),
      "an object of type 'Test::Card' cannot be made: it has no constructor that takes (Orvo::Ptr<Test::Engine>), but "
      "one that takes (text)");
}

TEST(SlotMake, refusesTypesWithoutAnyConstructor)
{
   EXPECT_EQ(
      refusal(Fixed::kroType, Orvo::String("f")),
      "an object of type 'Test::Fixed' cannot be made: it has no constructor that takes (text)");
   EXPECT_EQ(
      refusal(Kro::Entity::kroType, Orvo::String("e")),
      "an object of type 'Kro::Entity' cannot be made: it has no constructor that takes (text)")
      << "an abstract type";
   EXPECT_EQ(
      refusal(Kro::Leaf::uint32), "an object of type 'uint32' cannot be made: it has no constructor that takes ()");
}

TEST(SlotMake, anArgumentBoundToNothingIsOfNoType)
{
   EXPECT_EQ(
      messageOf<Kro::NewEntityArgsException>(
         [] { auto const sut = Slot::make(Port::kroType, std::array{GenericIf(Kro::typeRefOf<Orvo::String>())}); }),
      "an object of type 'Test::Port' cannot be made: it has no constructor that takes (nothing), but one that takes "
      "(text)");
}

TEST(SlotMake, aConstructorThatThrowsLeavesNothing)
{
   auto const before = Live();

   EXPECT_EQ(
      messageOf<Kro::RangeException>([] { auto const sut = make(Witness::kroType, std::uint32_t{13}); }),
      "no witness 13");
   EXPECT_EQ(
      messageOf<Kro::RangeException>(
         [] { auto const sut = make(Engine::kroType, Orvo::String("e"), std::uint32_t{13}); }),
      "no engine 13");
   EXPECT_EQ(Live(), before);
}

/// Has a record of its own, but answers its base's.
class Forgetful final : public Card {
public:
   using Card::Card;

   ~Forgetful() override { nodeFlagSet(flagDeleteOnLastUser, false); }

   static Kro::KroType const kroType;
   struct Declaration;
};

struct Forgetful::Declaration {
   static constexpr auto table = Kro::table<Forgetful, Card>(Kro::computed<300, &Forgetful::label>("ownLabel"));
};

constinit Kro::KroType const Forgetful::kroType =
   Kro::entityType<Forgetful, Forgetful::Declaration>("Test::Forgetful", &testModule);

TEST(SlotMake, refusesAnEntityThatAnswersAnotherType)
{
   auto const live = Card::live;

   EXPECT_EQ(
      messageOf<Kro::NewEntityArgsException>(
         [] { Kro::Slot::make(Forgetful::kroType, std::array{Kro::GenericIf::of(Orvo::String("f"))}); }),
      "an object of type 'Test::Forgetful' cannot be made: its typeData() answers 'Test::Card'");
   EXPECT_EQ(Card::live, live);
}

} // namespace
} // namespace Test
