// How one of several signatures is picked, seen through the interface: the functions themselves are not exported.
#include <Kro/OverloadCall.h>

#include "support/Card.h"

#include <Kro/Table.h>

#include <gtest/gtest.h>

#include <array>
#include <vector>

namespace Test {
namespace {

using Kro::GenericIf;

/// Overloads that differ in number, order, form and type of their parameters.
class Overloaded {
public:
   std::uint32_t which(std::uint32_t, std::int32_t) { return 1; }

   std::uint32_t which(std::int32_t, std::uint32_t) { return 2; }

   std::uint32_t which(Orvo::Ptr<Card> const&) const { return 3; }

   std::uint32_t which(Card*) const noexcept { return 4; }

   std::uint32_t which(Card const&) { return 5; }

   std::uint32_t which() noexcept { return 6; }

   /// As many as are passed without allocating, and one more.
   std::uint32_t eight(
      std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t,
      std::uint32_t last)
   {
      return last;
   }

   std::uint32_t nine(
      std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t, std::uint32_t,
      std::uint32_t, std::uint32_t last)
   {
      return last;
   }

   static Kro::KroType const kroType;

   struct Declaration;
};

struct Overloaded::Declaration {
   // clang-format off: a row for each overload
   static constexpr auto table = Kro::table<Overloaded>(
      Kro::operation<
         2, Kro::overload<std::uint32_t, std::int32_t>(&Overloaded::which),
         Kro::overload<std::int32_t, std::uint32_t>(&Overloaded::which),
         static_cast<std::uint32_t (Overloaded::*)(Orvo::Ptr<Card> const&) const>(&Overloaded::which),
         static_cast<std::uint32_t (Overloaded::*)(Card*) const noexcept>(&Overloaded::which),
         static_cast<std::uint32_t (Overloaded::*)(Card const&)>(&Overloaded::which),
         static_cast<std::uint32_t (Overloaded::*)() noexcept>(&Overloaded::which)>("which"),
      Kro::operation<3, &Overloaded::eight>("eight"), Kro::operation<4, &Overloaded::nine>("nine"));
   // clang-format on
};

constinit Kro::KroType const Overloaded::kroType =
   Kro::valueType<Overloaded, Overloaded::Declaration>("Overloaded", nullptr);

class OverloadCallTest : public testing::Test {
protected:
   std::uint32_t call(int operation, std::vector<GenericIf> const& arguments)
   {
      std::uint32_t result = 0;
      code = GenericIf::of(object).call(operation, arguments, GenericIf::of(result));
      return result;
   }

   Overloaded object;
   Kro::AccessResult code = Kro::noSuchAttribute;
   std::uint32_t number = 0;
   std::int32_t other = 0;
   Orvo::Ptr<Card> pointer = Orvo::make<Card>("a");
   Card* raw = pointer.get();
};

TEST_F(OverloadCallTest, picksByTypeOrderAndForm)
{
   EXPECT_EQ(call(2, {GenericIf::of(number), GenericIf::of(other)}), 1U);
   EXPECT_EQ(call(2, {GenericIf::of(other), GenericIf::of(number)}), 2U);
   EXPECT_EQ(call(2, {GenericIf::of(pointer)}), 3U);
   EXPECT_EQ(call(2, {GenericIf::of(raw)}), 4U);
   EXPECT_EQ(call(2, {GenericIf::of(*raw)}), 5U);
   EXPECT_EQ(call(2, {}), 6U);
}

TEST_F(OverloadCallTest, picksNothingForOtherTypes)
{
   auto fast = Orvo::make<FastCard>("f");

   EXPECT_EQ(call(2, {GenericIf::of(number), GenericIf::of(number)}), 0U);
   EXPECT_EQ(code, Kro::notAllowed);
   EXPECT_EQ(call(2, {GenericIf::of(fast)}), 0U);
   EXPECT_EQ(code, Kro::notAllowed) << "types are exact: a pointer to a derived entity is another type";
   EXPECT_EQ(call(2, {GenericIf::of(number)}), 0U);
   EXPECT_EQ(code, Kro::notAllowed);
}

TEST_F(OverloadCallTest, passesEightArgumentsAndNine)
{
   std::vector<std::uint32_t> numbers{1, 2, 3, 4, 5, 6, 7, 8, 9};
   std::vector<GenericIf> arguments;
   for (auto& one : numbers) {
      arguments.push_back(GenericIf::of(one));
   }

   EXPECT_EQ(call(4, arguments), 9U);
   arguments.pop_back();
   EXPECT_EQ(call(3, arguments), 8U);
   EXPECT_EQ(call(4, arguments), 0U) << "one too few";
}

} // namespace
} // namespace Test
