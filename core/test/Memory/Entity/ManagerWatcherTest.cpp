// Unmounting and adoption, seen from inside: what those may do who hear of it meanwhile.

#include "support/ChangeRecorder.h"
#include "support/ManagerTest.h"
#include "support/MessageOf.h"

#include <Quorvel/Core/Memory/Entity/Destructor.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <new>
#include <stdexcept>

namespace {

using Quorvel::Core::Memory::Control::Collection;
using Quorvel::Core::Memory::Entity::Destructor;
using Quorvel::Core::Memory::Entity::Manager;
using Quorvel::Core::Memory::Entity::Detail::Orphanage;
using Quorvel::Core::Test::ChangeRecorder;
using Quorvel::Core::Test::describeMount;
using Quorvel::Core::Test::messageOf;
using testing::ElementsAre;

class EntityManagerWatcher : public Quorvel::Core::Test::ManagerTest {
protected:
   Orvo::Ptr<Orphanage> orphanage = Manager::orphanage();
};

TEST_F(EntityManagerWatcher, whatASubscriberThrowsPassesAndTheEntityIsAnOrphan)
{
   sut->mount(describeMount("a", "r"));
   {
      ChangeRecorder recorder(*orphanage->publisher());
      recorder.thenDo([](Orvo::Change const&) { throw std::runtime_error("watcher is gone"); });

      EXPECT_EQ(messageOf<std::runtime_error>([&] { sut->unmount("a"); }), "watcher is gone");
   }

   EXPECT_EQ(sut->orphan("/m/zumem/a"), sut->entify("a").get());
   EXPECT_EQ(sut->orphan().size(), 1U);
   EXPECT_EQ(orphanage->info().size(), 1U);
}

TEST_F(EntityManagerWatcher, lackOfMemoryOfASubscriberPassesLikeAnythingElseThatItThrows)
{
   sut->mount(describeMount("a", "r"));
   ChangeRecorder recorder(*orphanage->publisher());
   recorder.thenDo([](Orvo::Change const&) { throw std::bad_alloc(); });

   EXPECT_THROW(sut->unmount("a"), std::bad_alloc);

   EXPECT_EQ(sut->orphan("/m/zumem/a"), sut->entify("a").get());
   EXPECT_EQ(orphanage->info().size(), 1U);
}

TEST_F(EntityManagerWatcher, watcherMayLetGoOfTheManagerThatUnmounts)
{
   auto const before = Manager::memAllocationTracker_.liveCount();
   sut->mount(describeMount("a", "r"));
   auto const entity = sut->entify("a");
   ChangeRecorder recorder(*orphanage->publisher());
   auto whileUnmounting = before;
   recorder.thenDo([&](Orvo::Change const&) {
      sut.reset();
      whileUnmounting = Manager::memAllocationTracker_.liveCount();
      throw std::bad_alloc();
   });

   EXPECT_THROW(sut->unmount("a"), std::bad_alloc);

   EXPECT_EQ(whileUnmounting, before);
   EXPECT_EQ(Manager::memAllocationTracker_.liveCount(), before - 1);
   EXPECT_EQ(orphanage->info(entity.get()).path(), "/m/zumem/a");
}

TEST_F(EntityManagerWatcher, whatASubscriberThrowsAtAdoptionPassesAndTheOrphanIsAdopted)
{
   sut->mount(describeMount("a", "r"));
   sut->unmount("a");
   {
      ChangeRecorder recorder(*orphanage->publisher());
      recorder.thenDo([](Orvo::Change const&) { throw std::runtime_error("watcher is gone"); });

      EXPECT_EQ(messageOf<std::runtime_error>([&] { sut->mount(describeMount("a", "r")); }), "watcher is gone");
   }

   EXPECT_TRUE(sut->orphan().empty());
   EXPECT_TRUE(orphanage->info().empty());
   sut->mount(describeMount("a", "r"));
}

TEST_F(EntityManagerWatcher, watcherMayCleanUpAtOnce)
{
   auto const manager = Manager::instantiate("watched");
   manager->mount(describeMount("d/a", "r"));
   ChangeRecorder recorder(*orphanage->publisher());
   recorder.thenDo([&](Orvo::Change const& change) {
      if (auto* const entity = dynamic_cast<Kro::Entity*>(change.key.entity()); orphanage->info().contains(entity)) {
         Destructor::cleanup(entity);
      }
   });

   manager->unmount("d/a");

   EXPECT_THAT(recorder.changes(), ElementsAre("info(258) a", "info(258) a"));
   EXPECT_TRUE(manager->directory()->entity().empty());
   EXPECT_TRUE(manager->orphan().empty());
   EXPECT_TRUE(orphanage->info().empty());
   manager->mount(describeMount("d/a", "r"));
   EXPECT_NE(manager->entify("d/a"), nullptr);
}

TEST_F(EntityManagerWatcher, laterWatcherStillFindsTheEntityThatAnEarlierOneHasRemoved)
{
   auto const before = Collection::memAllocationTracker_.liveCount();
   sut->mount(describeMount("a", "r"));
   ChangeRecorder recorder(*orphanage->publisher());
   recorder.thenDo([&](Orvo::Change const&) {
      sut->orphanDelAll();
      sut->directory()->deleteEntity("a");
   });
   ChangeRecorder later(*orphanage->publisher());
   std::size_t living = 0;
   later.thenDo([&](Orvo::Change const&) { living = Collection::memAllocationTracker_.liveCount(); });

   sut->unmount("a");

   EXPECT_THAT(later.changes(), ElementsAre("info(258) a"));
   EXPECT_EQ(living, before + 2);
   EXPECT_EQ(Collection::memAllocationTracker_.liveCount(), before);
}

TEST_F(EntityManagerWatcher, watcherMayMountAgainAtOnce)
{
   auto const description = describeMount("a", "r");
   sut->mount(description);
   auto const entity = sut->entify("a");
   ChangeRecorder recorder(*orphanage->publisher());
   recorder.thenDo([&](Orvo::Change const&) {
      if (!orphanage->info().empty()) {
         sut->mount(description);
      }
   });

   sut->unmount("a");

   EXPECT_EQ(sut->entify("a"), entity);
   EXPECT_TRUE(sut->orphan().empty());
   EXPECT_TRUE(orphanage->info().empty());
   EXPECT_THAT(recorder.changes(), ElementsAre("info(258) a", "info(258) a"));
}

TEST_F(EntityManagerWatcher, watcherMayLetGoOfTheManagerThatAdopts)
{
   auto const before = Manager::memAllocationTracker_.liveCount();
   sut->mount(describeMount("a", "r"));
   auto const entity = sut->entify("a");
   sut->unmount("a");
   ChangeRecorder recorder(*orphanage->publisher());
   auto whileAdopting = before;
   recorder.thenDo([&](Orvo::Change const&) {
      sut.reset();
      whileAdopting = Manager::memAllocationTracker_.liveCount();
   });

   sut->mount(describeMount("a", "r"));

   EXPECT_EQ(whileAdopting, before);
   EXPECT_EQ(Manager::memAllocationTracker_.liveCount(), before - 1);
   EXPECT_EQ(entity->fullName(), "/m/zumem/a");
}

TEST_F(EntityManagerWatcher, mountComparesWithWhatIsStoredWhenTheAdoptionHasBeenPublished)
{
   sut->mount(describeMount("a", "r"));
   sut->unmount("a");
   ChangeRecorder recorder(*orphanage->publisher());
   recorder.thenDo([&](Orvo::Change const&) { sut->infoMountIs(describeMount("a", "s")); });

   EXPECT_THROW(sut->mount(describeMount("a", "r")), std::invalid_argument);

   sut->unmount("a");
   sut->mount(describeMount("a", "s"));
   EXPECT_TRUE(sut->orphan().empty());
}

TEST_F(EntityManagerWatcher, watcherMayRemoveTheStoredDescriptionThatIsBeingMounted)
{
   sut->mount(describeMount("a", "r"));
   sut->unmount("a");
   ChangeRecorder recorder(*orphanage->publisher());
   recorder.thenDo([&](Orvo::Change const&) { sut->infoMountDelAll(); });

   sut->mount(*sut->infoMount().find("a"));

   EXPECT_TRUE(sut->infoMount().empty());
   EXPECT_NE(sut->entify("a"), nullptr);
}

} // namespace
