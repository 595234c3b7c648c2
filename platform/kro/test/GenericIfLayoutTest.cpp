// Entities are reached wherever their node lies in them.
#include <Kro/Entity.h>
#include <Kro/GenericIf.h>
#include <Kro/Slot.h>
#include <Kro/Table.h>

#include <gtest/gtest.h>

namespace Test {
namespace {

/// An entity whose Orvo::Node does not lie at its start.
struct Ahead {
   std::uint64_t bytes = 0x1111;
};

class Shifted final : public Ahead, public Kro::Entity {
public:
   explicit Shifted(Orvo::String const& name) : Entity(name) {}

   ~Shifted() override { nodeFlagSet(flagDeleteOnLastUser, false); }

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   std::uint32_t sum(Shifted const& other) const { return number + other.number; }

   static Kro::KroType const kroType;
   struct Declaration;

   std::uint32_t number = 7;
};

struct Shifted::Declaration {
   static constexpr auto table =
      Kro::table<Shifted>(Kro::value<2, &Shifted::number>("number"), Kro::operation<3, &Shifted::sum>("sum"));
};

constinit Kro::KroType const Shifted::kroType = Kro::entityType<Shifted, Shifted::Declaration>("Shifted", nullptr);

TEST(GenericIfLayout, reachesAnEntityWhereverItsNodeLies)
{
   auto const entity = Orvo::make<Shifted>("s");
   auto const sut = Kro::GenericIf::of(*entity);
   std::uint32_t number = 0;

   EXPECT_EQ(sut.get(2, Kro::GenericIf::of(number)), Kro::success);

   EXPECT_EQ(number, 7U);
   EXPECT_EQ(&sut.as<Shifted>(), entity.get());
   EXPECT_EQ(&Kro::GenericIf::ofNode(*entity).as<Shifted>(), entity.get());
}

TEST(GenericIfLayout, passesAnEntityAsArgumentWhereverItsNodeLies)
{
   auto const entity = Orvo::make<Shifted>("s");
   auto const sut = Kro::GenericIf::of(*entity);
   Kro::GenericIf const arguments[] = {Kro::GenericIf::of(*entity)};
   std::uint32_t sum = 0;

   EXPECT_EQ(sut.call(3, arguments, Kro::GenericIf::of(sum)), Kro::success);

   EXPECT_EQ(sum, 14U);
}

TEST(GenericIfLayout, copiesAPointerToAnEntityWhereverItsNodeLies)
{
   auto entity = Orvo::make<Shifted>("s");

   auto const copy = Kro::Slot::copyOf(Kro::GenericIf::of(entity));

   EXPECT_EQ(entity->useCount(), 2U);
   EXPECT_EQ(&copy.object().as<Shifted>(), entity.get());
}

} // namespace
} // namespace Test
