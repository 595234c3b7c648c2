// Orphans: what unmounting makes, and how mounting adopts them back.

#include "support/ChangeRecorder.h"
#include "support/ManagerTest.h"
#include "support/MessageOf.h"

#include <KroOrvo/Impl.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Quorvel::Core::Memory::Entity::Manager;
using Quorvel::Core::Memory::Entity::managerFactory;
using Quorvel::Core::Memory::Entity::Detail::Orphanage;
using Quorvel::Core::Test::brokenPromiseOf;
using Quorvel::Core::Test::ChangeRecorder;
using Quorvel::Core::Test::describeMount;
using Quorvel::Core::Test::messageOf;
using testing::ElementsAre;
using testing::IsEmpty;

class EntityManagerUnmount : public Quorvel::Core::Test::ManagerTest {
protected:
   /// @return the orphans of the manager, as "name" or "name: another entity"
   std::vector<std::string> orphans() const
   {
      std::vector<std::string> names;
      for (auto at = sut->orphan().begin(); at != sut->orphan().end(); ++at) {
         auto const isThatEntity = (*at)->fullName() == at.key();
         names.push_back(std::string(at.key()) + (isThatEntity ? "" : ": another entity"));
      }
      return names;
   }

   Orvo::Ptr<Orphanage> orphanage = Manager::orphanage();
};

// ---- the collection of orphans -----------------------------------------------------------------------------------------------

TEST_F(EntityManagerUnmount, orphanIsInsertsReplacesAndRemoves)
{
   auto const one = Orvo::make<Kro::Dir>("one");
   auto const two = Orvo::make<Kro::Dir>("two");

   sut->orphanIs("a", nullptr);
   EXPECT_TRUE(sut->orphan().empty());
   sut->orphanIs("a", one.get());
   EXPECT_EQ(sut->orphan("a"), one.get());
   sut->orphanIs("a", two.get());
   EXPECT_EQ(sut->orphan("a"), two.get());
   EXPECT_EQ(sut->orphan().size(), 1U);
   sut->orphanIs("a", nullptr);
   EXPECT_TRUE(sut->orphan().empty());
   EXPECT_EQ(sut->orphan("a"), nullptr);
}

TEST_F(EntityManagerUnmount, orphanDelRemovesAndGivesBack)
{
   auto const one = Orvo::make<Kro::Dir>("one");
   sut->orphanIs("a", one.get());

   EXPECT_EQ(sut->orphanDel("b"), nullptr);
   EXPECT_EQ(sut->orphanDel("a"), one.get());
   EXPECT_EQ(sut->orphanDel("a"), nullptr);
}

TEST_F(EntityManagerUnmount, orphanDelAllLeavesTheOrphanage)
{
   sut->mount(describeMount("a", "r"));
   sut->mount(describeMount("b", "s"));
   sut->unmount("a");
   sut->unmount("b");

   sut->orphanDelAll();

   EXPECT_TRUE(sut->orphan().empty());
   EXPECT_EQ(orphanage->info().size(), 2U);
}

TEST_F(EntityManagerUnmount, orphansAreBorrowed)
{
   auto const one = Orvo::make<Kro::Dir>("one");

   sut->orphanIs("a", one.get());

   EXPECT_EQ(one->useCount(), 1U);
}

// ---- unmounting --------------------------------------------------------------------------------------------------------------

TEST_F(EntityManagerUnmount, unmountRecordsTheEntityWithManagerAndFullName)
{
   sut->mount(describeMount("d/a", "r"));
   auto const entity = sut->entify("d/a");

   sut->unmount("d/a");

   EXPECT_THAT(orphans(), ElementsAre("/m/zumem/d/a"));
   EXPECT_EQ(orphanage->info().size(), 1U);
   EXPECT_EQ(orphanage->info(entity.get()).sysname(), "m");
   EXPECT_EQ(orphanage->info(entity.get()).path(), "/m/zumem/d/a");
}

TEST_F(EntityManagerUnmount, unmountDestroysNothing)
{
   auto const description = describeMount("d/a", "r");
   sut->mount(description);
   auto const entity = mounted("d/a");
   auto const address = entity->ring->addressVirtual(2, 5);
   auto const uses = entity->useCount();
   fill("r.command.0", std::byte{7});
   pinmem.takeCalls();
   ChangeRecorder const tree(*Kro::globalDir()->publisher());

   sut->unmount("d/a");

   EXPECT_EQ(sut->entify("d/a"), entity);
   EXPECT_EQ(entity->useCount(), uses);
   EXPECT_EQ(sut->infoMount("d/a"), description);
   EXPECT_EQ(entity->ring->addressVirtual(2, 5), address);
   EXPECT_EQ(pinmem.bytes("r.command.0")[3], std::byte{7});
   EXPECT_THAT(pinmem.takeCalls(), IsEmpty());
   EXPECT_THAT(tree.changes(), IsEmpty());
}

TEST_F(EntityManagerUnmount, unmountPublishesOnceWithTheOrphanAlreadyListed)
{
   sut->mount(describeMount("a", "r"));
   ChangeRecorder recorder(*orphanage->publisher());
   Orvo::Node const* entity = nullptr;
   Kro::Entity const* listed = nullptr;
   recorder.thenDo([&](Orvo::Change const& change) {
      entity = change.key.entity();
      listed = sut->orphan("/m/zumem/a");
   });

   sut->unmount("a");

   EXPECT_THAT(recorder.changes(), ElementsAre("info(258) a"));
   EXPECT_EQ(entity, sut->entify("a").get());
   EXPECT_EQ(listed, sut->entify("a").get());
}

TEST_F(EntityManagerUnmount, secondUnmountChangesAndPublishesNothing)
{
   sut->mount(describeMount("a", "r"));
   sut->unmount("a");
   ChangeRecorder const recorder(*orphanage->publisher());

   sut->unmount("a");

   EXPECT_THAT(recorder.changes(), IsEmpty());
   EXPECT_THAT(orphans(), ElementsAre("/m/zumem/a"));
   EXPECT_EQ(orphanage->info().size(), 1U);
}

TEST_F(EntityManagerUnmount, unmountWithoutEntityIsQuietAndCreatesNothing)
{
   sut->infoMountIs(describeMount("gone", "r"));
   ChangeRecorder const recorder(*orphanage->publisher());
   ChangeRecorder const tree(*Kro::globalDir()->publisher());

   sut->unmount("gone");
   sut->unmount("x/y");
   sut->unmount("");

   EXPECT_THAT(recorder.changes(), IsEmpty());
   EXPECT_THAT(tree.changes(), IsEmpty());
   EXPECT_TRUE(sut->directory()->entity().empty());
   EXPECT_TRUE(sut->orphan().empty());
}

TEST_F(EntityManagerUnmount, unmountWithoutADirectoryIsQuiet)
{
   Kro::globalDir()->createEntity("TestMount", "taken");
   auto const lost = managerFactory("taken");
   ASSERT_EQ(lost->directory(), nullptr);

   lost->unmount("a");

   EXPECT_TRUE(orphanage->info().empty());
}

TEST_F(EntityManagerUnmount, unmountTakesADirectoryAndAnEntityOfSomebodyElseLikeAnyOther)
{
   sut->mount(describeMount("d/a", "r"));
   auto const foreign = sut->directory()->createEntity("Kro::Dir", "foreign");

   sut->unmount("d");
   sut->unmount("foreign");

   EXPECT_EQ(orphanage->info(sut->entify("d").get()).path(), "/m/zumem/d");
   EXPECT_EQ(orphanage->info(foreign.get()).path(), "/m/zumem/foreign");
}

TEST_F(EntityManagerUnmount, unmountAfterTheOrphanageForgotRestoresNoRecord)
{
   sut->mount(describeMount("a", "r"));
   sut->unmount("a");

   orphanage->infoDelAll();
   sut->unmount("a");

   EXPECT_THAT(orphans(), ElementsAre("/m/zumem/a"));
   EXPECT_TRUE(orphanage->info().empty());
   EXPECT_NE(sut->entify("a"), nullptr);
}

// ---- adoption ----------------------------------------------------------------------------------------------------------------

TEST_F(EntityManagerUnmount, mountOfTheOldDescriptionAdoptsTheOrphanBack)
{
   auto const description = describeMount("a", "r");
   sut->mount(description);
   auto const entity = mounted("a");
   sut->unmount("a");
   pinmem.takeCalls();
   entity->synchronized.clear();
   ChangeRecorder recorder(*orphanage->publisher());
   auto isStillListed = true;
   recorder.thenDo([&](Orvo::Change const&) { isStillListed = sut->orphan("/m/zumem/a") != nullptr; });

   sut->mount(description);

   EXPECT_EQ(sut->entify("a"), entity);
   EXPECT_TRUE(sut->orphan().empty());
   EXPECT_TRUE(orphanage->info().empty());
   EXPECT_THAT(recorder.changes(), ElementsAre("info(258) a"));
   EXPECT_FALSE(isStillListed);
   EXPECT_THAT(pinmem.takeCalls(), IsEmpty());
   EXPECT_THAT(entity->synchronized, IsEmpty());
}

TEST_F(EntityManagerUnmount, adoptedMountCanBeUnmountedAgain)
{
   auto const description = describeMount("a", "r");
   for (int round = 0; round < 3; ++round) {
      sut->mount(description);
      EXPECT_TRUE(sut->orphan().empty());
      EXPECT_TRUE(orphanage->info().empty());
      sut->unmount("a");
      EXPECT_THAT(orphans(), ElementsAre("/m/zumem/a"));
      EXPECT_EQ(orphanage->info().size(), 1U);
   }
}

TEST_F(EntityManagerUnmount, mountOfAnotherDescriptionAdoptsTheOrphanAndIsRefused)
{
   auto const description = describeMount("a", "r");
   sut->mount(description);
   sut->unmount("a");
   ChangeRecorder const recorder(*orphanage->publisher());

   EXPECT_EQ(
      messageOf<std::invalid_argument>([&] { sut->mount(describeMount("a", "other")); }),
      "path='a' already exists with infoMount='" +
         std::string(KroOrvo::Impl::valueToStrep(Quorvel::Core::Memory::Info::Mount::kroType, &description)) + "'.");

   EXPECT_TRUE(sut->orphan().empty());
   EXPECT_TRUE(orphanage->info().empty());
   EXPECT_THAT(recorder.changes(), ElementsAre("info(258) a"));
   EXPECT_EQ(sut->infoMount("a"), description);
   EXPECT_EQ(store().chunk("other.command.0"), nullptr);
}

TEST_F(EntityManagerUnmount, mountWithAnotherEntityUnderTheOrphansNameBreaksThePromiseOnce)
{
   sut->mount(describeMount("a", "r"));
   sut->unmount("a");
   auto const other = Orvo::make<Kro::Dir>("other");
   sut->orphanIs("/m/zumem/a", other.get());

   EXPECT_EQ(brokenPromiseOf([&] { sut->mount(describeMount("a", "r")); }), "Memory/Entity/Manager.cpp");

   EXPECT_TRUE(sut->orphan().empty());
   EXPECT_EQ(orphanage->info().size(), 1U);
   sut->mount(describeMount("a", "r"));
   EXPECT_EQ(orphanage->info().size(), 1U);
}

TEST_F(EntityManagerUnmount, orphanThatWentBehindTheManagersBackMakesItsSuccessorCountAsUnmounted)
{
   sut->mount(describeMount("a", "r"));
   auto const first = sut->entify("a"); // kept, so that the second one has another address
   sut->unmount("a");
   sut->directory()->deleteEntity("a");
   sut->mount(describeMount("a", "r"));

   sut->unmount("a");

   EXPECT_EQ(sut->orphan("/m/zumem/a"), first.get());
   EXPECT_FALSE(orphanage->info().contains(sut->entify("a").get()));
   EXPECT_EQ(brokenPromiseOf([&] { sut->mount(describeMount("a", "r")); }), "Memory/Entity/Manager.cpp");
}

TEST_F(EntityManagerUnmount, anotherManagerOfTheNameAdoptsNothing)
{
   auto const description = describeMount("a", "r");
   sut->mount(description);
   sut->unmount("a");
   auto const other = managerFactory("m");
   ChangeRecorder const recorder(*orphanage->publisher());

   EXPECT_THROW(other->mount(description), std::invalid_argument);

   EXPECT_THAT(orphans(), ElementsAre("/m/zumem/a"));
   EXPECT_THAT(recorder.changes(), IsEmpty());
}

TEST_F(EntityManagerUnmount, adoptionWithAnEqualDescriptionThatDiffersInTheFlagAloneZeroesNothing)
{
   sut->mount(describeMount("a", "r"));
   fill("r.command.0", std::byte{7});
   sut->unmount("a");
   auto zeroed = describeMount("a", "r");
   zeroed.isZeroedMemoryOnMountingIs(true);

   sut->mount(zeroed);

   EXPECT_EQ(pinmem.bytes("r.command.0")[0], std::byte{7});
   EXPECT_FALSE(sut->infoMount("a").isZeroedMemoryOnMounting());
}

} // namespace
