// Mount types of which no entity can be made: why it is refused, what is left behind, and that it stands in nobody's way.

#include "support/ChangeRecorder.h"
#include "support/ManagerTest.h"
#include "support/MessageOf.h"

#include <Kro/Exception.h>
#include <Kro/Table.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace {

using Quorvel::Core::Memory::Info::Mount;
using Quorvel::Core::Test::ChangeRecorder;
using Quorvel::Core::Test::describeMount;
using Quorvel::Core::Test::describeOddMount;
using Quorvel::Core::Test::messageOf;
using Quorvel::Core::Test::OddMount;
using Quorvel::Core::Test::RingEntry;
using testing::ElementsAre;
using testing::IsEmpty;

extern Kro::KroModule oddTypes;

/// What the types below have in common: one attribute, since a table has one at least.
template <class Derived>
struct Odd : OddMount<Derived> {
   using OddMount<Derived>::OddMount;
   Orvo::String note;
};

/// Could be made from a name, if it could be made.
struct AbstractMount : Odd<AbstractMount> {
   using Odd::Odd;
   virtual void start() = 0;
   struct Declaration;
   static Kro::KroType const kroType;
};

struct AbstractMount::Declaration {
   static constexpr auto table = Kro::table<AbstractMount, Kro::Entity>(Kro::value<300, &AbstractMount::note>("note"));
};

constinit Kro::KroType const AbstractMount::kroType =
   Kro::entityType<AbstractMount, AbstractMount::Declaration>("AbstractMount", &oddTypes);

struct MountWithTwoArguments final : Odd<MountWithTwoArguments> {
   MountWithTwoArguments(Orvo::String const& name, int /*port*/) : Odd(name) {}

   struct Declaration;
   static Kro::KroType const kroType;
};

struct MountWithTwoArguments::Declaration {
   static constexpr auto table =
      Kro::table<MountWithTwoArguments, Kro::Entity>(Kro::value<300, &MountWithTwoArguments::note>("note"));
};

constinit Kro::KroType const MountWithTwoArguments::kroType =
   Kro::entityType<MountWithTwoArguments, MountWithTwoArguments::Declaration>("MountWithTwoArguments", &oddTypes);

struct MountOfAnotherName final : Odd<MountOfAnotherName> {
   explicit MountOfAnotherName(Orvo::String const& name) : Odd(name + "2") {}

   struct Declaration;
   static Kro::KroType const kroType;
};

struct MountOfAnotherName::Declaration {
   static constexpr auto table =
      Kro::table<MountOfAnotherName, Kro::Entity>(Kro::value<300, &MountOfAnotherName::note>("note"));
};

constinit Kro::KroType const MountOfAnotherName::kroType =
   Kro::entityType<MountOfAnotherName, MountOfAnotherName::Declaration>("MountOfAnotherName", &oddTypes);

struct MountWithoutDeviceAtFirst final : Odd<MountWithoutDeviceAtFirst> {
   explicit MountWithoutDeviceAtFirst(Orvo::String const& name) : Odd(name)
   {
      if (!isDeviceThere) {
         throw std::runtime_error("no device");
      }
   }

   struct Declaration;
   static Kro::KroType const kroType;
   static inline bool isDeviceThere = false;
};

struct MountWithoutDeviceAtFirst::Declaration {
   static constexpr auto table =
      Kro::table<MountWithoutDeviceAtFirst, Kro::Entity>(Kro::value<300, &MountWithoutDeviceAtFirst::note>("note"));
};

constinit Kro::KroType const MountWithoutDeviceAtFirst::kroType =
   Kro::entityType<MountWithoutDeviceAtFirst, MountWithoutDeviceAtFirst::Declaration>(
      "MountWithoutDeviceAtFirst", &oddTypes);

/// What has the name of its live collection can be called, not read.
struct MountWithOperationAsControl final : Odd<MountWithOperationAsControl> {
   using Odd::Odd;

   void start() {}
   struct Declaration;
   static Kro::KroType const kroType;
};

struct MountWithOperationAsControl::Declaration {
   static constexpr auto table = Kro::table<MountWithOperationAsControl, Kro::Entity>(
      Kro::entries<7, RingEntry>("ring"), Kro::operation<301, &MountWithOperationAsControl::start>("ringControl"));
};

constinit Kro::KroType const MountWithOperationAsControl::kroType =
   Kro::entityType<MountWithOperationAsControl, MountWithOperationAsControl::Declaration>(
      "MountWithOperationAsControl", &oddTypes);

constexpr Kro::KroType const* types[] = {
   &AbstractMount::kroType, &MountWithTwoArguments::kroType, &MountOfAnotherName::kroType,
   &MountWithoutDeviceAtFirst::kroType, &MountWithOperationAsControl::kroType};
constinit Kro::KroModule oddTypes{"OddTypes", "core/test/Memory/Entity/ManagerMountTypeTest", types, {}};

[[maybe_unused]] bool const isRegistered = [] {
   Kro::kroModuleIs(oddTypes);
   return true;
}();

class EntityManagerMountType : public Quorvel::Core::Test::ManagerTest {
protected:
   /// Nothing has happened but what `mountInternal` does before it makes the entity.
   void expectOnlyDirectoriesOf(Mount const& refused)
   {
      EXPECT_EQ(sut->infoMount("d/a"), refused);
      EXPECT_THAT(namesIn(*sut->directory()), ElementsAre("d"));
      EXPECT_THAT(namesIn(*Orvo::dynamicCast<Kro::Dir>(sut->entify("d"))), IsEmpty());
      EXPECT_THAT(pinmem.takeCalls(), IsEmpty());
      EXPECT_TRUE(store().chunk().empty());
   }

   /// Refused twice with the same text; then another type is mounted at the path.
   template <class Exception>
   void expectRefused(char const* type, std::string const& text)
   {
      SCOPED_TRACE(type);
      Mount const mount("d/a", type);
      for (int time = 0; time < 2; ++time) {
         EXPECT_EQ(messageOf<Exception>([&] { sut->mount(mount); }), text);
         expectOnlyDirectoriesOf(mount);
      }
      sut->unmount("d/a"); // nothing to unmount
      EXPECT_TRUE(sut->orphan().empty());

      sut->mount(describeMount("d/a", "r"));

      EXPECT_EQ(mounted("d/a")->ring->capacity(), 8U);
      EXPECT_EQ(sut->infoMount("d/a"), describeMount("d/a", "r"));
      sut->directory()->deleteEntity("d");
      store().chunkDelAll();
      pinmem.takeCalls();
   }

   void expectCannotBeMade(char const* type)
   {
      expectRefused<Kro::NewEntityArgsException>(
         type,
         std::string("an entity of type '") + type + "' named 'a' cannot be made: the type cannot be made from a name");
   }
};

TEST_F(EntityManagerMountType, mountOfAValueTypeIsRefused)
{
   expectCannotBeMade("RingEntry");
   expectCannotBeMade("Quorvel::Core::Memory::Info::Mount");
   expectCannotBeMade("Quorvel::Core::Memory::Info::Detail::Chunk");
}

TEST_F(EntityManagerMountType, mountOfAnAbstractTypeIsRefused)
{
   expectCannotBeMade("AbstractMount");
   expectCannotBeMade("Kro::Entity");
}

TEST_F(EntityManagerMountType, mountOfATypeThatAsksForMoreThanANameIsRefused)
{
   expectCannotBeMade("MountWithTwoArguments");
}

TEST_F(EntityManagerMountType, mountOfANodeThatIsNoEntityOfTheTreeIsRefused)
{
   expectCannotBeMade("Quorvel::Core::Memory::Entity::Manager");
   expectCannotBeMade("Quorvel::Core::Memory::Control::Collection");
}

TEST_F(EntityManagerMountType, mountOfATypeThatGivesItsEntitiesAnotherNameIsRefused)
{
   expectRefused<Kro::NewEntityArgsException>(
      "MountOfAnotherName",
      "an entity of type 'MountOfAnotherName' named 'a' cannot be made: the type gives its entities another name");
}

TEST_F(EntityManagerMountType, mountPassesOnWhatTheConstructorThrowsAndWorksOnceItThrowsNoMore)
{
   expectRefused<std::runtime_error>("MountWithoutDeviceAtFirst", "no device");
   Mount const mount("d/a", "MountWithoutDeviceAtFirst");
   EXPECT_EQ(messageOf<std::runtime_error>([&] { sut->mount(mount); }), "no device");

   MountWithoutDeviceAtFirst::isDeviceThere = true;
   sut->mount(mount);
   MountWithoutDeviceAtFirst::isDeviceThere = false;

   EXPECT_EQ(&sut->entify("d/a")->fwkType(), &MountWithoutDeviceAtFirst::kroType);
}

TEST_F(EntityManagerMountType, mountOfATypeWhoseLiveCollectionCannotBeReadIsRefused)
{
   auto const mount = describeOddMount("a", "MountWithOperationAsControl");

   EXPECT_EQ(
      messageOf<Kro::TypeException>([&] { sut->mount(mount); }), "attribute 'ringControl' cannot be read like a value");

   EXPECT_EQ(sut->infoMount("a"), mount);
   EXPECT_NE(sut->entify("a"), nullptr);
   EXPECT_THAT(pinmem.takeCalls(), IsEmpty());
}

TEST_F(EntityManagerMountType, mountPublishesDirectoriesAloneWhereTheEntityCannotBeMade)
{
   ChangeRecorder const changes(*sut->directory()->publisher());

   EXPECT_THROW(sut->mount(Mount("d/e/a", "AbstractMount")), Kro::NewEntityArgsException);

   EXPECT_THAT(changes.changes(), ElementsAre("entity(258) d", "entity(258) e"));
}

} // namespace
