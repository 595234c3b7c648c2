// Cleaning up, seen from inside: what those may do who hear of it meanwhile.

#include "DestructorFixture.h"
#include "support/ChangeRecorder.h"
#include "support/MessageOf.h"

#include <Quorvel/Core/Memory/Entity/Destructor.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using Quorvel::Core::Memory::Control::Collection;
using Quorvel::Core::Memory::Entity::Destructor;
using Quorvel::Core::Test::ChangeRecorder;
using Quorvel::Core::Test::describeMount;
using Quorvel::Core::Test::messageOf;
using Quorvel::Core::Test::TestMount;
using testing::ElementsAre;

using EntityDestructorWatcher = Quorvel::Core::Test::DestructorFixture;

TEST_F(EntityDestructorWatcher, whatAWatcherThrowsPassesAndTheRestStays)
{
   manager->mount(describeMount("a", "r"));
   auto* const entity = unmounted("a");
   {
      ChangeRecorder recorder(*orphanage->publisher());
      recorder.thenDo([](Orvo::Change const&) { throw std::runtime_error("watcher is gone"); });

      EXPECT_EQ(messageOf<std::runtime_error>([&] { Destructor::cleanup(entity); }), "watcher is gone");
   }

   EXPECT_TRUE(orphanage->info().empty());
   EXPECT_EQ(manager->orphan("/d/zumem/a"), entity);
   EXPECT_EQ(manager->entify("a").get(), entity);
}

TEST_F(EntityDestructorWatcher, watcherMayCleanUpTheSameEntityAgainFromInside)
{
   manager->mount(describeMount("x/a", "r"));
   auto* const entity = unmounted("x/a");
   ChangeRecorder recorder(*orphanage->publisher());
   auto isDone = false;
   recorder.thenDo([&](Orvo::Change const&) {
      if (!std::exchange(isDone, true)) {
         Destructor::cleanup(entity);
      }
   });

   Destructor::cleanup(entity);

   EXPECT_EQ(Kro::globalDir()->entity("d"), nullptr); // the inner call had no record any more
   EXPECT_TRUE(manager->orphan().empty());
}

TEST_F(EntityDestructorWatcher, watcherOfTheTreeMayPutSomethingIntoADirectoryThatIsBeingPruned)
{
   manager->mount(describeMount("x/y/a", "r"));
   auto* const entity = unmounted("x/y/a");
   auto const x = Orvo::dynamicCast<Kro::Dir>(manager->entify("x"));
   ChangeRecorder recorder(*x->publisher());
   auto isDone = false;
   recorder.thenDo([&](Orvo::Change const&) {
      if (!std::exchange(isDone, true)) {
         x->createEntity("Kro::Dir", "new");
      }
   });

   Destructor::cleanup(entity);

   EXPECT_EQ(manager->entify("x"), x);
   EXPECT_THAT(namesIn(*x), ElementsAre("new"));
}

TEST_F(EntityDestructorWatcher, entityGoesBeforeItsDirectoriesDoAndMayMountThere)
{
   manager->mount(describeMount("x/y/a", "r"));
   std::vector<std::string> found;
   std::shared_ptr<void> guard(nullptr, [&](void*) {
      found = namesIn(*Orvo::dynamicCast<Kro::Dir>(manager->entify("x")));
      manager->mount(describeMount("x/y/b", "s"));
   });
   // The live collection keeps its synchronizer, and goes with the entity.
   Orvo::dynamicCast<TestMount>(manager->entify("x/y/a"))
      ->ring->synchronizerIs([guard = std::move(guard)](std::uint32_t /*index*/) {});

   Destructor::cleanup(unmounted("x/y/a"));

   EXPECT_THAT(found, ElementsAre("y"));
   EXPECT_THAT(namesIn(*Orvo::dynamicCast<Kro::Dir>(manager->entify("x/y"))), ElementsAre("b"));
}

TEST_F(EntityDestructorWatcher, watcherMayTakeTheEntityOutOfItsDirectoryMeanwhile)
{
   auto const before = Collection::memAllocationTracker_.liveCount();
   manager->mount(describeMount("x/a", "r"));
   auto* const entity = unmounted("x/a");
   ChangeRecorder recorder(*orphanage->publisher());
   auto whileCleaning = before;
   recorder.thenDo([&](Orvo::Change const&) {
      entity->parent()->deleteEntity("a");
      whileCleaning = Collection::memAllocationTracker_.liveCount();
   });

   Destructor::cleanup(entity);

   EXPECT_EQ(whileCleaning, before + 2); // still there, since cleaning up has not finished with it
   EXPECT_EQ(Collection::memAllocationTracker_.liveCount(), before);
   EXPECT_TRUE(manager->orphan().empty());
   EXPECT_THAT(namesIn(*manager->directory()), ElementsAre("x"));
}

TEST_F(EntityDestructorWatcher, whatAWatcherMountsWhileItIsCleanedUpIsCleanedUpAllTheSame)
{
   manager->mount(describeMount("a", "r"));
   auto* const entity = unmounted("a");
   ChangeRecorder recorder(*orphanage->publisher());
   recorder.thenDo([&](Orvo::Change const&) { manager->mount(describeMount("a", "r")); });

   Destructor::cleanup(entity);

   EXPECT_TRUE(manager->directory()->entity().empty());
   EXPECT_TRUE(manager->orphan().empty());
}

} // namespace
