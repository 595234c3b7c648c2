#include <Quorvel/Core/Memory/Entity/Manager.h>

#include "support/ManagerTest.h"
#include "support/MessageOf.h"

#include <Kro/Exception.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <utility>

namespace {

using Quorvel::Core::Memory::Entity::Manager;
using Quorvel::Core::Memory::Entity::managerFactory;
using Quorvel::Core::Memory::Info::Mount;
using Quorvel::Core::Test::brokenPromiseOf;
using Quorvel::Core::Test::describeMount;
using Quorvel::Core::Test::messageOf;
using Quorvel::Core::Test::TestMount;
using testing::ElementsAre;

class EntityManager : public Quorvel::Core::Test::ManagerTest {};

TEST_F(EntityManager, isMadeWithItsDirectory)
{
   EXPECT_EQ(sut->sysname(), "m");
   EXPECT_EQ(sut->nameDirectory(), "zumem");
   EXPECT_EQ(sut->directory()->fullName(), "/m/zumem");
   EXPECT_TRUE(sut->infoMount().empty());
   EXPECT_EQ(sut->useCount(), 1U);
   EXPECT_EQ(&sut->fwkType(), &Manager::kroType);
   EXPECT_EQ(&sut->typeData(), &Manager::kroType);
   EXPECT_EQ(sut->publisher(), nullptr);
}

TEST_F(EntityManager, factoryAndManagerIsGiveANewManagerEachTime)
{
   auto const other = managerFactory("m");
   auto const third = Manager::ManagerIs("m");
   auto const registered = Manager::instantiate("m");

   EXPECT_NE(other, sut);
   EXPECT_NE(third, sut);
   EXPECT_NE(third, other);
   EXPECT_NE(registered, third);
   EXPECT_EQ(other->directory(), sut->directory());
   EXPECT_EQ(registered->directory(), sut->directory());
}

TEST_F(EntityManager, instantiateGivesOneManagerForEachName)
{
   auto const first = Manager::instantiate("instantiate first");
   auto const second = Manager::instantiate("instantiate second");

   EXPECT_EQ(Manager::instantiate("instantiate first"), first);
   EXPECT_NE(first, second);
   EXPECT_EQ(first->useCount(), 2U);
   EXPECT_EQ(second->directory()->fullName(), "/instantiate second/zumem");
}

TEST_F(EntityManager, instantiateKeepsItsManagersWithoutOtherUsers)
{
   auto first = Manager::instantiate("kept");
   auto const* const address = first.get();
   first->infoMountIs(Mount("a", "T"));
   first.reset();

   auto const again = Manager::instantiate("kept");

   EXPECT_EQ(again.get(), address);
   EXPECT_EQ(again->infoMount().size(), 1U);
}

TEST_F(EntityManager, nameWithASlashIsRefusedAndNothingIsRegistered)
{
   auto const before = Manager::memAllocationTracker_.liveCount();

   auto const text = messageOf<Kro::NewEntityArgsException>([] { Manager::instantiate("a/b"); });
   auto const again = messageOf<Kro::NewEntityArgsException>([] { managerFactory("a/b"); });

   EXPECT_EQ(text, "an entity of type 'Kro::Dir' named 'a/b' cannot be made: a name cannot hold '/'");
   EXPECT_EQ(again, text);
   EXPECT_EQ(Manager::memAllocationTracker_.liveCount(), before);
   EXPECT_THAT(namesIn(*Kro::globalDir()), ElementsAre("m"));
}

TEST_F(EntityManager, emptyNameIsANameLikeAnyOther)
{
   auto const empty = managerFactory("");

   EXPECT_EQ(empty->directory()->fullName(), "//zumem");
   EXPECT_EQ(Manager::instantiate(""), Manager::instantiate(""));
}

TEST_F(EntityManager, initializeFindsTheDirectoryAgain)
{
   auto const* const before = sut->directory().get();
   auto const users = before->useCount();

   sut->initialize();

   EXPECT_EQ(sut->directory().get(), before);
   EXPECT_EQ(before->useCount(), users);
}

TEST_F(EntityManager, withoutADirectoryFindsNothingAndMountsNothing)
{
   Kro::globalDir()->createEntity("TestMount", "occupied");
   auto const other = managerFactory("occupied");
   ASSERT_EQ(other->directory(), nullptr);

   EXPECT_EQ(messageOf<Kro::EntityNotFoundException>([&] { other->entify("a"); }), "enity at path='a' does not exist.");
   EXPECT_EQ(brokenPromiseOf([&] { other->mount(describeMount("a", "r")); }), "Memory/Entity/Manager.cpp");
   EXPECT_EQ(brokenPromiseOf([&] { other->mount(describeMount("d/a", "r")); }), "Memory/Entity/Manager.cpp");
}

TEST_F(EntityManager, destructorLeavesWhatItMounted)
{
   sut->mount(describeMount("a", "r"));
   auto const entity = sut->entify("a");

   sut.reset();

   EXPECT_EQ(entity->fullName(), "/m/zumem/a");
   EXPECT_EQ(managerFactory("m")->entify("a"), entity);
}

TEST_F(EntityManager, marksItselfAsBeingDestroyedBeforeItLetsItsDirectoryGo)
{
   bool isMarked = false;
   {
      Manager other("other"); // not counted, so that nobody else marks it
      other.mount(describeMount("a", "r"));
      // The mount goes with the directory, and its live collection's synchronizer with it.
      std::shared_ptr<void> guard(nullptr, [&](void*) { isMarked = other.isBeingDestroyed(); });
      Orvo::dynamicCast<TestMount>(other.entify("a"))
         ->ring->synchronizerIs([guard = std::move(guard)](std::uint32_t /*index*/) {});
      Kro::globalDir()->deleteEntity("other");
      EXPECT_FALSE(other.isBeingDestroyed());
      EXPECT_FALSE(isMarked);
   }

   EXPECT_TRUE(isMarked);
}

TEST_F(EntityManager, isTracked)
{
   auto const before = Manager::memAllocationTracker_.liveCount();
   {
      auto const other = managerFactory("other");
      EXPECT_EQ(Manager::memAllocationTracker_.liveCount(), before + 1);
   }
   EXPECT_EQ(Manager::memAllocationTracker_.liveCount(), before);
}

TEST_F(EntityManager, infoMountIsKeepsACopyUnderItsPath)
{
   auto mount = describeMount("a", "r");

   sut->infoMountIs(mount);
   mount.collectionDelAll();

   EXPECT_EQ(sut->infoMount("a"), describeMount("a", "r"));
   sut->infoMountIs(mount);
   EXPECT_EQ(sut->infoMount("a"), mount);
   EXPECT_EQ(sut->infoMount().size(), 1U);
}

TEST_F(EntityManager, unknownDescriptionIsADefaultOne)
{
   EXPECT_EQ(sut->infoMount("a"), Mount("", ""));
   EXPECT_EQ(sut->infoMountDel("a"), Mount("", ""));
}

TEST_F(EntityManager, infoMountDelRemovesAndGivesBack)
{
   sut->infoMountIs(Mount("a", "T"));
   sut->infoMountIs(Mount("b", "T"));

   EXPECT_EQ(sut->infoMountDel("a"), Mount("a", "T"));

   EXPECT_EQ(sut->infoMount().size(), 1U);
   EXPECT_EQ(sut->infoMount("a"), Mount("", ""));
}

TEST_F(EntityManager, infoMountDelAllLeavesTheEntities)
{
   sut->mount(describeMount("a", "r"));

   sut->infoMountDelAll();

   EXPECT_TRUE(sut->infoMount().empty());
   EXPECT_NE(sut->entify("a"), nullptr);
}

TEST_F(EntityManager, entifyReportsAPathWithoutEntityAndCreatesNothing)
{
   sut->mount(describeMount("d/a", "r"));

   EXPECT_EQ(
      messageOf<Kro::EntityNotFoundException>([&] { sut->entify("q/w"); }), "enity at path='q/w' does not exist.");
   EXPECT_EQ(
      messageOf<Kro::EntityNotFoundException>([&] { sut->entify("d/a/b"); }), "enity at path='d/a/b' does not exist.");
   EXPECT_EQ(messageOf<Kro::EntityNotFoundException>([&] { sut->entify(""); }), "enity at path='' does not exist.");
   EXPECT_EQ(sut->entify("d")->fullName(), "/m/zumem/d");
   EXPECT_THAT(namesIn(*sut->directory()), ElementsAre("d"));
}

} // namespace
