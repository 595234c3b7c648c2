#include <Kro/Entity.h>

#include "support/Card.h"
#include "support/MessageOf.h"

#include <Kro/Dir.h>
#include <Kro/Exception.h>
#include <Kro/KroModule.h>
#include <Kro/Table.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>

namespace Test {
namespace {

using Kro::Entity;

/// Looks itself up while it is destroyed.
class Searcher : public Entity {
public:
   explicit Searcher(Orvo::String const& name) : Entity(name) {}

   ~Searcher() override
   {
      nodeFlagSet(flagDeleteOnLastUser, false);
      found = singletonExists(name());
      ++destroyed;
   }

   Kro::TypeData const& typeData() const noexcept override { return Card::kroType; }

   virtual void firstOfItsOwn() {}

   static inline Orvo::Ptr<Entity> found;
   static inline int destroyed = 0;
};

/// @return the number of the virtual function's slot, as the common C++ ABI encodes it in a pointer to member
template <class Member>
std::size_t slotOf(Member member)
{
   struct {
      std::uintptr_t offsetPlusOne;
      std::ptrdiff_t adjustment;
   } parts;

   static_assert(sizeof member == sizeof parts);
   std::memcpy(&parts, &member, sizeof parts);
   EXPECT_EQ(parts.offsetPlusOne % 2, 1U) << "not virtual";
   return (parts.offsetPlusOne - 1) / sizeof(void*);
}

/// Calls a destructor by its slot.
__attribute__((no_sanitize("undefined"))) void callSlot(Orvo::Node* node, std::size_t slot)
{
   void (**table)(void*);
   std::memcpy(&table, static_cast<void*>(node), sizeof table);
   table[slot](node);
}

TEST(Entity, virtualFunctionsKeepTheirSlots)
{
   EXPECT_EQ(slotOf(&Orvo::Node::lastUserGone), 2U);
   EXPECT_EQ(slotOf(&Orvo::Node::publisher), 3U);
   EXPECT_EQ(slotOf(&Orvo::Node::typeData), 4U);
   EXPECT_EQ(slotOf(&Entity::publisher), 3U);
   EXPECT_EQ(slotOf(&Entity::handleParent), 5U);
   EXPECT_EQ(slotOf(&Searcher::firstOfItsOwn), 6U);
}

TEST(Entity, slotZeroDestroysAndSlotOneAlsoFrees)
{
   void* const storage = std::malloc(sizeof(Searcher));
   auto* const placed = new (storage) Searcher("placed");
   auto* const allocated = new Searcher("allocated");
   Searcher::destroyed = 0;

   callSlot(placed, 0);
   EXPECT_EQ(Searcher::destroyed, 1);
   callSlot(allocated, 1);
   EXPECT_EQ(Searcher::destroyed, 2);

   std::free(storage); // still ours: slot 0 has not freed it
}

TEST(Entity, isDestroyedWithItsLastReference)
{
   auto card = Orvo::make<Card>("a");
   Orvo::Ptr<Entity> other = card;
   auto const live = Card::live;

   card.reset();
   EXPECT_EQ(Card::live, live);
   other.reset();

   EXPECT_EQ(Card::live, live - 1);
}

TEST(Entity, knowsItsName)
{
   auto const sut = Orvo::make<Card>("a");

   EXPECT_EQ(sut->name(), "a");
   EXPECT_EQ(sut->nameString(), "a");
   EXPECT_EQ(&Kro::fetchName(*sut), &sut->name());
}

TEST(Entity, hasAPublisherOfItsOwnAndNoParentAtFirst)
{
   auto const sut = Orvo::make<Card>("a");
   auto const other = Orvo::make<Card>("b");

   EXPECT_NE(sut->publisher(), nullptr);
   EXPECT_NE(sut->publisher(), other->publisher());
   EXPECT_EQ(sut->publisher()->parent(), nullptr);
   EXPECT_EQ(sut->parent(), nullptr);
   EXPECT_TRUE(sut->parents.empty());
}

TEST(Entity, fullNameBelowTheRootStartsWithASlash)
{
   auto const dir = Orvo::dynamicCast<Kro::Dir>(Kro::globalDir()->createEntity("Kro::Dir", "full"));
   auto const card = dir->createEntity("Test::Card", "name");
   auto const unnamed = dir->createEntity("Test::Card", "");

   EXPECT_EQ(dir->fullName(), "/full");
   EXPECT_EQ(card->fullName(), "/full/name");
   EXPECT_EQ(unnamed->fullName(), "/full/");
   EXPECT_EQ(Kro::globalDir()->fullName(), "");

   Kro::globalDir()->deleteEntity("full");
   EXPECT_EQ(card->fullName(), "full/name");
}

TEST(Entity, fullNameOutsideTheTreeIsTheOwnName)
{
   EXPECT_EQ(Orvo::make<Card>("alone")->fullName(), "alone");
}

TEST(Entity, fullNameOfAnyLengthIsWhole)
{
   for (std::size_t const size : {0U, 1U, 15U, 16U, 249U, 250U, 251U, 252U, 4096U}) {
      std::string name(size, 'n');
      auto const dir = Orvo::dynamicCast<Kro::Dir>(Kro::globalDir()->createEntity("Kro::Dir", "long"));
      auto const below = Orvo::dynamicCast<Kro::Dir>(dir->createEntity("Kro::Dir", name));

      EXPECT_EQ(below->fullName(), "/long/" + name);
      EXPECT_EQ(below->createEntity("Test::Card", name)->fullName(), "/long/" + name + "/" + name);
      Kro::globalDir()->deleteEntity("long");
   }
}

TEST(EntitySingleton, isFoundWhileItLivesAndForgottenAfterwards)
{
   auto sut = Entity::singletonIs(testModule, 1, "Test::Card");
   ASSERT_NE(sut, nullptr);

   EXPECT_EQ(Entity::singletonExists("Test::Card"), sut);
   EXPECT_EQ(Entity::singleton("Test::Card"), sut);
   EXPECT_EQ(sut->useCount(), 1U) << "the framework keeps no reference";
   EXPECT_EQ(sut->name(), "Test::Card");
   EXPECT_EQ(sut->fullName(), "Test::Card");
   EXPECT_EQ(sut->parent(), nullptr);

   sut.reset();

   EXPECT_EQ(Entity::singletonExists("Test::Card"), nullptr);
}

TEST(EntitySingleton, askedForTwiceIsTheSame)
{
   auto const first = Entity::singletonIs(testModule, 1, "Test::Card");

   EXPECT_EQ(Entity::singletonIs(testModule, 1, "Test::Card"), first);
   EXPECT_EQ(Entity::singletonIs(testModule, 0, "Test::Card"), first);
}

/// Gives itself another name than it is asked to take.
class Renamed final : public Entity {
public:
   explicit Renamed(Orvo::String const& name) : Entity(Orvo::join(name, " renamed")) {}

   ~Renamed() override { nodeFlagSet(flagDeleteOnLastUser, false); }

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   static Kro::KroType const kroType;
   struct Declaration;
};

struct Renamed::Declaration {
   static constexpr auto table = Kro::table<Renamed, Entity>(Kro::computed<155, &Renamed::nameString>("other"));
};

constinit Kro::KroType const Renamed::kroType =
   Kro::entityType<Renamed, Renamed::Declaration>("Test::Renamed", &testModule);

TEST(EntitySingleton, isNoneThatTakesAnotherName)
{
   constexpr Kro::KroType const* types[] = {&Renamed::kroType};
   Kro::KroModule const module{"Renamed", "Renamed", types, {}};

   EXPECT_EQ(Entity::singletonIs(module, 1, "Test::Renamed"), nullptr);
   EXPECT_EQ(Entity::singletonExists("Test::Renamed renamed"), nullptr);
}

TEST(EntitySingleton, canBeMadeAgainAfterItIsGone)
{
   Entity::singletonIs(testModule, 1, "Test::Card").reset();

   EXPECT_NE(Entity::singletonIs(testModule, 1, "Test::Card"), nullptr);
}

TEST(EntitySingleton, severalLeaveInAnyOrder)
{
   auto card = Entity::singletonIs(testModule, 1, "Test::Card");
   auto fast = Entity::singletonIs(testModule, 1, "Test::FastCard");
   auto picky = Entity::singletonIs(testModule, 1, "Test::Picky");

   fast.reset();
   EXPECT_EQ(Entity::singletonExists("Test::FastCard"), nullptr);
   EXPECT_EQ(Entity::singletonExists("Test::Card"), card);
   card.reset();
   EXPECT_EQ(Entity::singletonExists("Test::Picky"), picky);
}

TEST(EntitySingleton, isOnlyLookedForWithoutTheFlag)
{
   EXPECT_EQ(Entity::singletonIs(testModule, 0, "Test::Card"), nullptr);
   EXPECT_EQ(Entity::singletonExists("Test::Card"), nullptr);
}

TEST(EntitySingleton, isNullWhenTheModuleCannotMakeIt)
{
   EXPECT_EQ(Entity::singletonIs(testModule, 1, "Test::Unknown"), nullptr);
   EXPECT_EQ(Entity::singletonIs(testModule, 1, "Kro::Dir"), nullptr) << "a type of another module";
   EXPECT_EQ(Entity::singletonIs(testModule, 1, "Test::Fixed"), nullptr) << "not made from a name alone";
   EXPECT_EQ(Entity::singletonIs(testModule, 1, "Test::Port"), nullptr) << "a value";
   EXPECT_EQ(Entity::singletonIs(testModule, 1, ""), nullptr);
}

TEST(EntitySingleton, anEntityOfTheSameNameIsNone)
{
   auto const card = Orvo::make<Card>("Test::Card");

   EXPECT_EQ(Entity::singletonExists("Test::Card"), nullptr);
}

TEST(EntitySingleton, singletonNamesTheOneThatIsMissing)
{
   EXPECT_EQ(
      messageOf<Kro::EntityNotFoundException>([] { Entity::singleton("Test::Missing"); }),
      "no singleton is named 'Test::Missing'");
}

Kro::TypeData searcherData()
{
   Kro::TypeData data;
   data.name = "Test::Searcher";
   data.make = [](Orvo::String const& name) -> Orvo::Ptr<Entity> { return Orvo::make<Searcher>(name); };
   return data;
}

TEST(EntitySingleton, isNotFoundWhileItIsDestroyed)
{
   Kro::KroType const type(searcherData());
   Kro::KroType const* const types[] = {&type};
   Kro::KroModule const local{"Test local", "", types, {}};
   auto sut = Entity::singletonIs(local, 1, "Test::Searcher");
   ASSERT_EQ(Entity::singletonExists("Test::Searcher"), sut);
   Searcher::destroyed = 0;
   Searcher::found = sut;

   Searcher::found.reset();
   sut.reset();

   EXPECT_EQ(Searcher::destroyed, 1);
   EXPECT_EQ(Searcher::found, nullptr);
}

TEST(EntitySingleton, whoseConstructorThrowsIsNone)
{
   Kro::TypeData data = searcherData();
   data.make = [](Orvo::String const&) -> Orvo::Ptr<Entity> { throw Kro::RangeException("not now"); };
   Kro::KroType const type(data);
   Kro::KroType const* const types[] = {&type};
   Kro::KroModule const local{"Test local", "", types, {}};

   EXPECT_THROW(Entity::singletonIs(local, 1, "Test::Searcher"), Kro::RangeException);

   EXPECT_EQ(Entity::singletonExists("Test::Searcher"), nullptr);
}

} // namespace
} // namespace Test
