#include <Quorvel/Core/Memory/Entity/Destructor.h>

#include "DestructorFixture.h"
#include "support/ChangeRecorder.h"
#include "support/MessageOf.h"

#include <Kro/Exception.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using Quorvel::Core::Memory::Control::Collection;
using Quorvel::Core::Memory::Entity::Destructor;
using Quorvel::Core::Memory::Entity::Manager;
using Quorvel::Core::Memory::Entity::managerFactory;
using Quorvel::Core::Memory::Entity::Detail::Info;
using Quorvel::Core::Test::ChangeRecorder;
using Quorvel::Core::Test::describeMount;
using Quorvel::Core::Test::messageOf;
using Quorvel::Core::Test::TestMount;
using testing::ElementsAre;
using testing::IsEmpty;

using EntityDestructor = Quorvel::Core::Test::DestructorFixture;

TEST_F(EntityDestructor, cleanupRemovesTheEntityItsRecordAndTheOrphan)
{
   manager->mount(describeMount("a", "r"));
   auto* const entity = unmounted("a");

   Destructor::cleanup(entity);

   EXPECT_THROW(manager->entify("a"), Kro::EntityNotFoundException);
   EXPECT_TRUE(manager->orphan().empty());
   EXPECT_TRUE(orphanage->info().empty());
}

TEST_F(EntityDestructor, cleanupDestroysTheEntityWithItsLiveCollectionsUnlessSomebodyKeepsIt)
{
   auto const before = Collection::memAllocationTracker_.liveCount();
   manager->mount(describeMount("a", "r"));
   manager->mount(describeMount("b", "s"));
   auto const kept = manager->entify("b");

   Destructor::cleanup(unmounted("a"));
   Destructor::cleanup(unmounted("b"));

   EXPECT_EQ(Collection::memAllocationTracker_.liveCount(), before + 2);
   EXPECT_EQ(kept->parent(), nullptr);
   EXPECT_NE(Orvo::dynamicCast<TestMount>(kept)->ring->addressVirtual(2, 0), 0U);
}

TEST_F(EntityDestructor, cleanupPublishesTheRemovedRecordFirst)
{
   manager->mount(describeMount("a", "r"));
   auto* const entity = unmounted("a");
   ChangeRecorder recorder(*orphanage->publisher());
   bool isRecorded = true;
   bool isInItsDirectory = false;
   bool isListed = false;
   recorder.thenDo([&](Orvo::Change const&) {
      isRecorded = orphanage->info().contains(entity);
      isInItsDirectory = entity->parent() == manager->directory().get();
      isListed = manager->orphan("/d/zumem/a") == entity;
   });

   Destructor::cleanup(entity);

   EXPECT_THAT(recorder.changes(), ElementsAre("info(258) a"));
   EXPECT_FALSE(isRecorded);
   EXPECT_TRUE(isInItsDirectory);
   EXPECT_TRUE(isListed);
}

TEST_F(EntityDestructor, cleanupLeavesTheDescriptionUnderItsMountPath)
{
   auto const description = describeMount("a", "r");
   manager->mount(description);

   Destructor::cleanup(unmounted("a"));

   EXPECT_EQ(manager->infoMount("a"), description);
   manager->mount(describeMount("a", "other"));
   EXPECT_EQ(manager->infoMount("a"), describeMount("a", "other"));
   EXPECT_NE(manager->entify("a"), nullptr);
}

TEST_F(EntityDestructor, cleanupRemovesADescriptionThatIsStoredUnderTheFullName)
{
   manager->mount(describeMount("a", "r"));
   manager->infoMountIs(describeMount("/d/zumem/a", "r"));

   Destructor::cleanup(unmounted("a"));

   EXPECT_FALSE(manager->infoMount().contains("/d/zumem/a"));
   EXPECT_TRUE(manager->infoMount().contains("a"));
}

TEST_F(EntityDestructor, cleanupTakesWhatTheManagerKeepsBeforeTheEntityGoes)
{
   manager->mount(describeMount("a", "r"));
   manager->infoMountIs(describeMount("/d/zumem/a", "r"));
   auto* const entity = unmounted("a");
   ChangeRecorder tree(*Kro::globalDir()->publisher());
   tree.thenDo([&](Orvo::Change const&) {
      EXPECT_EQ(manager->orphan("/d/zumem/a"), nullptr);
      EXPECT_FALSE(manager->infoMount().contains("/d/zumem/a"));
   });

   Destructor::cleanup(entity);

   EXPECT_THAT(tree.changes(), ElementsAre("entity(258) a"));
}

TEST_F(EntityDestructor, cleanupPrunesEveryDirectoryThatBecameEmptyUpToTheManagersOwn)
{
   manager->mount(describeMount("x/y/z/a", "r"));
   ChangeRecorder const tree(*Kro::globalDir()->publisher());

   Destructor::cleanup(unmounted("x/y/z/a"));

   EXPECT_TRUE(manager->directory()->entity().empty());
   EXPECT_EQ(manager->directory()->fullName(), "/d/zumem");
   EXPECT_THAT(tree.changes(), ElementsAre("entity(258) a", "entity(258) z", "entity(258) y", "entity(258) x"));
}

TEST_F(EntityDestructor, cleanupStopsPruningWhereAnotherMountIs)
{
   manager->mount(describeMount("x/y/a", "r"));
   manager->mount(describeMount("x/b", "s"));

   Destructor::cleanup(unmounted("x/y/a"));

   EXPECT_THAT(namesIn(*manager->directory()), ElementsAre("x"));
   EXPECT_THROW(manager->entify("x/y"), Kro::EntityNotFoundException);
   EXPECT_NE(manager->entify("x/b"), nullptr);
   Destructor::cleanup(unmounted("x/b"));
   EXPECT_TRUE(manager->directory()->entity().empty());
}

TEST_F(EntityDestructor, cleanupPrunesDirectoriesWithEmptyNames)
{
   manager->mount(describeMount("//a", "r"));

   Destructor::cleanup(unmounted("//a"));

   EXPECT_TRUE(manager->directory()->entity().empty());
}

TEST_F(EntityDestructor, cleanupOfADirectoryTakesWhatIsInIt)
{
   manager->mount(describeMount("x/a", "r"));

   Destructor::cleanup(unmounted("x"));

   EXPECT_TRUE(manager->directory()->entity().empty());
   EXPECT_THROW(manager->entify("x/a"), Kro::EntityNotFoundException);
}

TEST_F(EntityDestructor, cleanupPrunesAMountThatIsADirectory)
{
   Quorvel::Core::Memory::Info::Mount const outer("outer", "DirectoryMount");
   manager->mount(outer);
   manager->mount(describeMount("outer/a", "r"));

   Destructor::cleanup(unmounted("outer/a"));

   EXPECT_THROW(manager->entify("outer"), Kro::EntityNotFoundException);
}

TEST_F(EntityDestructor, cleanupLeavesTheChunksToTheStore)
{
   manager->mount(describeMount("a", "r"));
   auto* const entity = unmounted("a");
   pinmem.takeCalls();

   Destructor::cleanup(entity);

   EXPECT_THAT(pinmem.takeCalls(), IsEmpty());
   EXPECT_NE(store().chunk("r.command.0"), nullptr);
   manager->mount(describeMount("a", "r"));
   EXPECT_THAT(pinmem.takeCalls(), IsEmpty());
}

TEST_F(EntityDestructor, cleanupTurnsToTheRegistrysManagerOfTheRecordedName)
{
   auto const unregistered = managerFactory("u");
   unregistered->mount(describeMount("a", "r"));
   unregistered->unmount("a");
   auto const entity = unregistered->entify("a");

   Destructor::cleanup(entity.get());

   EXPECT_EQ(unregistered->orphan("/u/zumem/a"), entity.get());
   EXPECT_TRUE(Manager::instantiate("u")->orphan().empty());
   EXPECT_TRUE(unregistered->directory()->entity().empty());
   EXPECT_EQ(unregistered->directory()->fullName(), "/u/zumem");
}

TEST_F(EntityDestructor, cleanupMakesTheRecordedManagerWhereThereIsNone)
{
   auto const entity = Orvo::make<Kro::Dir>("lonely");
   Info info;
   info.sysnameIs("made by cleaning up");
   info.pathIs("lonely");
   orphanage->infoIs(entity.get(), info);
   ASSERT_EQ(Kro::globalDir()->entity("made by cleaning up"), nullptr);

   Destructor::cleanup(entity.get());

   auto const made = Kro::globalDir()->entity("made by cleaning up");
   ASSERT_NE(made, nullptr);
   EXPECT_EQ(Manager::instantiate("made by cleaning up")->directory()->parent(), made.get());
}

TEST_F(EntityDestructor, cleanupOfADetachedEntityRemovesItsRecordAndOrphanAlone)
{
   auto const entity = Orvo::make<Kro::Dir>("detached");
   Info info;
   info.sysnameIs("d");
   info.pathIs("detached");
   orphanage->infoIs(entity.get(), info);
   manager->orphanIs("detached", entity.get());
   manager->mount(describeMount("x/a", "r"));

   Destructor::cleanup(entity.get());

   EXPECT_TRUE(orphanage->info().empty());
   EXPECT_TRUE(manager->orphan().empty());
   EXPECT_NE(manager->entify("x/a"), nullptr);
}

TEST_F(EntityDestructor, cleanupWithoutRecordGoesInTheNameOfTheManagerWithoutName)
{
   manager->mount(describeMount("x/a", "r"));
   auto const nameless = Manager::instantiate("");
   nameless->infoMountIs(describeMount("kept", "s"));
   auto const entity = manager->entify("x/a");
   ChangeRecorder const recorder(*orphanage->publisher());

   Destructor::cleanup(entity.get());

   EXPECT_THAT(recorder.changes(), IsEmpty());
   EXPECT_EQ(entity->parent(), nullptr);
   EXPECT_TRUE(nameless->infoMount().contains("kept"));
   nameless->infoMountDelAll();
}

TEST_F(EntityDestructor, cleanupWithoutRecordPrunesTheManagersOwnDirectoryToo)
{
   manager->mount(describeMount("x/a", "r"));
   auto const directory = manager->directory();

   Destructor::cleanup(manager->entify("x/a").get());

   EXPECT_EQ(Kro::globalDir()->entity("d"), nullptr);
   EXPECT_EQ(manager->directory(), directory);
   EXPECT_EQ(directory->fullName(), "zumem");
   manager->mount(describeMount("x/a", "r"));
   EXPECT_EQ(manager->entify("x/a")->fullName(), "zumem/x/a");
   manager->initialize();
   EXPECT_EQ(manager->directory()->fullName(), "/d/zumem");
   EXPECT_THROW(manager->entify("x/a"), Kro::EntityNotFoundException);
}

TEST_F(EntityDestructor, cleanupOfAnEntityBelowTheRootStopsThere)
{
   auto const entity = Kro::globalDir()->createEntity("TestMount", "top");

   Destructor::cleanup(entity.get());

   EXPECT_EQ(Kro::globalDir()->entity("top"), nullptr);
}

TEST_F(EntityDestructor, cleanupOutsideTheTreeStopsAtTheTopmostDirectory)
{
   auto const top = Orvo::make<Kro::Dir>("top");
   auto const below = Orvo::dynamicCast<Kro::Dir>(top->createEntity("Kro::Dir", "below"));
   auto const entity = below->createEntity("TestMount", "a");

   Destructor::cleanup(entity.get());

   EXPECT_EQ(entity->parent(), nullptr);
   EXPECT_EQ(below->parent(), nullptr);
   EXPECT_TRUE(top->entity().empty());
}

TEST_F(EntityDestructor, cleanupForAManagerWithoutDirectoryPrunesUpToTheRoot)
{
   Kro::globalDir()->createEntity("TestMount", "lost");
   auto const lost = Manager::instantiate("lost");
   ASSERT_EQ(lost->directory(), nullptr);
   auto const top = Orvo::dynamicCast<Kro::Dir>(Kro::globalDir()->createEntity("Kro::Dir", "p"));
   auto const entity = top->createEntity("TestMount", "x");
   Info info;
   info.sysnameIs("lost");
   info.pathIs("/p/x");
   orphanage->infoIs(entity.get(), info);

   Destructor::cleanup(entity.get());

   EXPECT_EQ(Kro::globalDir()->entity("p"), nullptr);
}

TEST_F(EntityDestructor, cleanupOfNoEntityIsRefusedAndChangesNothing)
{
   manager->mount(describeMount("a", "r"));
   unmounted("a");

   EXPECT_EQ(
      messageOf<Kro::ArgNullPointerException>([] { Destructor::cleanup(nullptr); }),
      "Memory/Entity/Manager: entity cannot be null");

   EXPECT_EQ(orphanage->info().size(), 1U);
   EXPECT_EQ(manager->orphan().size(), 1U);
}

TEST_F(EntityDestructor, directoryThatIsAnOrphanIsPrunedAndLeavesItsRecord)
{
   manager->mount(describeMount("x/a", "r"));
   auto const directory = manager->entify("x");
   manager->unmount("x");

   Destructor::cleanup(unmounted("x/a"));

   EXPECT_EQ(directory->parent(), nullptr);
   EXPECT_EQ(orphanage->info(directory.get()).path(), "/d/zumem/x");
   EXPECT_EQ(manager->orphan("/d/zumem/x"), directory.get());
   Destructor::cleanup(directory.get());
   EXPECT_TRUE(orphanage->info().empty());
   EXPECT_TRUE(manager->orphan().empty());
}

TEST_F(EntityDestructor, pathGoesRoundTheWholeCycleTwice)
{
   auto const description = describeMount("x/a", "r");
   for (int round = 0; round < 2; ++round) {
      manager->mount(description);
      manager->unmount("x/a");
      manager->mount(description);
      EXPECT_TRUE(orphanage->info().empty());
      Destructor::cleanup(unmounted("x/a"));
      EXPECT_TRUE(manager->directory()->entity().empty());
   }
   EXPECT_TRUE(manager->orphan().empty());
}

} // namespace
