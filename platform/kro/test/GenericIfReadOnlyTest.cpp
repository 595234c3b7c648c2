// What is shown for reading alone cannot be changed behind its owner's back.
#include <Kro/GenericIf.h>

#include "support/Card.h"
#include "support/MessageOf.h"

#include <Kro/Exception.h>

#include <gtest/gtest.h>

#include <array>
#include <cstdint>

namespace Test {
namespace {

using Kro::GenericIf;

TEST(GenericIfReadOnly, isWhatAConstantVariableGives)
{
   Port const port("p", 2);
   std::uint32_t lanes = 0;
   auto const sut = GenericIf::of(port);

   EXPECT_TRUE(sut.isReadOnly());
   EXPECT_EQ(sut.get(3, GenericIf::of(lanes)), Kro::success);
   EXPECT_EQ(lanes, 2U);
   lanes = 7;
   EXPECT_EQ(sut.set(3, GenericIf::of(lanes)), Kro::notAllowed);
   EXPECT_EQ(port.lanes(), 2U);
}

TEST(GenericIfReadOnly, isAnElementThatAWalkShows)
{
   auto const card = Orvo::make<Card>("a");
   card->portIs(Port("p", 2));
   std::uint32_t lanes = 7;

   GenericIf::ofNode(*card).visit(263, [&](GenericIf const& key, GenericIf const& element) {
      EXPECT_TRUE(key.isReadOnly());
      EXPECT_EQ(element.set(3, GenericIf::of(lanes)), Kro::notAllowed);
      return true;
   });
   GenericIf::ofNode(*card).find(263, GenericIf::of(Orvo::String("p")), [&](GenericIf const& element) {
      EXPECT_EQ(element.set(3, GenericIf::of(lanes)), Kro::notAllowed);
   });

   std::uint32_t after = 0;
   GenericIf::ofNode(*card).find(263, GenericIf::of(Orvo::String("p")), [&](GenericIf const& element) {
      EXPECT_EQ(element.get(3, GenericIf::of(after)), Kro::success);
   });
   EXPECT_EQ(after, 2U);
}

TEST(GenericIfReadOnly, isNoEntityThatAWalkShows)
{
   auto const card = Orvo::make<Card>("a");
   card->laneIs(1, 10);
   std::uint32_t speed = 0;

   GenericIf::ofNode(*card).visit(266, [&](GenericIf const& /*key*/, GenericIf const& element) {
      EXPECT_FALSE(element.isReadOnly());
      EXPECT_EQ(element.set(130, GenericIf::of(std::uint32_t{20})), Kro::success);
      return element.get(130, GenericIf::of(speed)) == Kro::success;
   });

   EXPECT_EQ(speed, 20U);
}

TEST(GenericIfReadOnly, allowsComputedValuesAndStaticsButNoOperationOrMutator)
{
   auto const card = Orvo::make<Card>("a");
   Card const& constant = *card;
   auto const sut = GenericIf::of(constant);
   std::uint32_t sum = 0;
   std::int32_t live = 0;
   std::uint32_t const one = 1;
   std::uint32_t const two = 2;
   std::array const both{GenericIf::of(one), GenericIf::of(two)};

   EXPECT_EQ(sut.call(270, both, GenericIf::of(sum)), Kro::success);
   EXPECT_EQ(sum, 4U);
   EXPECT_EQ(sut.call(272, {}, GenericIf::of(live)), Kro::success);
   EXPECT_EQ(sut.call(267, std::array{GenericIf::of(std::uint32_t{3})}), Kro::notAllowed);
   EXPECT_EQ(sut.collectionIs(265, std::array{GenericIf::of(Orvo::String("t"))}), Kro::notAllowed);
   EXPECT_EQ(sut.collectionDel(264, std::array{GenericIf::of(std::int32_t{1})}), Kro::notAllowed);
   EXPECT_EQ(sut.collectionDelAll(263), Kro::notAllowed);
}

TEST(GenericIfReadOnly, takesNoResult)
{
   auto const card = Orvo::make<Card>("a");
   auto const sut = GenericIf::ofNode(*card);
   std::uint32_t const fixed = 5;
   std::uint64_t const total = 5;

   EXPECT_EQ(sut.get(258, GenericIf::of(fixed)), Kro::notAllowed);
   EXPECT_EQ(sut.call(269, {}, GenericIf::of(total)), Kro::notAllowed);
   EXPECT_EQ(
      messageOf<Kro::TypeException>([&] { Card::kroType.attr("speed").genericIfGet(sut, GenericIf::of(fixed)); }),
      "attribute 'speed' cannot be read into a slot that is for reading alone");
   EXPECT_EQ(fixed, 5U);
}

TEST(GenericIfReadOnly, endsWhenAnotherObjectIsBound)
{
   Port const port("p");
   Port other("q");
   auto sut = GenericIf::of(port);

   sut.voidPtrIs(&other);

   EXPECT_FALSE(sut.isReadOnly());
   EXPECT_EQ(sut.set(3, GenericIf::of(std::uint32_t{9})), Kro::success);
   EXPECT_EQ(other.lanes(), 9U);
}

} // namespace
} // namespace Test
