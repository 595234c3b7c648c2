// How a process ends that has chunks mapped: over the recording pinned-memory library, whose calls the parent reads.

#include "support/ChildProcess.h"
#include "support/PinmemRecorder.h"
#include "support/TestMount.h"

#include <Quorvel/Core/Memory/Control/Detail/StoreChunk.h>
#include <Quorvel/Core/Memory/Entity/Destructor.h>
#include <Quorvel/Core/Memory/Entity/Manager.h>
#include <Quorvel/Core/Model/Modules.h>

#include <Kro/Exception.h>
#include <Orvo/Subscriber.h>
#include <Quorvel/Utility/Affirm.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

using Quorvel::Core::Memory::Control::Detail::Chunk;
using Quorvel::Core::Memory::Control::Detail::StoreChunk;
using Quorvel::Core::Memory::Entity::Destructor;
using Quorvel::Core::Memory::Entity::Manager;
using Quorvel::Core::Memory::Entity::Detail::Orphanage;
using Quorvel::Core::Test::ChildResult;
using Quorvel::Core::Test::describeMount;
using Quorvel::Core::Test::inChild;
using Quorvel::Core::Test::PinmemRecorder;
using Quorvel::Core::Test::TestMount;
using testing::AllOf;
using testing::Each;
using testing::Pair;
using testing::SizeIs;

ChildResult traced(std::function<void()> const& body)
{
   return inChild({}, [&] {
      PinmemRecorder::instance().traceTo(STDOUT_FILENO);
      body();
   });
}

/// For each block how often it was mapped, less how often it was unmapped; -1000 and below after a second unmap.
std::map<std::string, int> balanceOf(std::string const& trace)
{
   std::map<std::string, int> balance;
   std::istringstream lines(trace);
   for (std::string line; std::getline(lines, line);) {
      if (line.starts_with("map ")) {
         ++balance[line.substr(4)];
      } else if (line.starts_with("unmap ")) {
         auto& count = balance[line.substr(6)];
         count -= count > 0 ? 1 : 1000;
      }
   }
   return balance;
}

testing::Matcher<std::map<std::string, int>> unmapsEachOf(std::size_t blocks)
{
   return AllOf(SizeIs(blocks), Each(Pair(testing::_, 0)));
}

TEST(Exit, processThatMountedUnmapsEveryBlockOnce)
{
   auto const result = traced([] { Manager::instantiate("agent")->mount(describeMount("d/a", "r")); });

   EXPECT_THAT(balanceOf(result.output), unmapsEachOf(7));
   EXPECT_EQ(result.errors, "");
   EXPECT_EQ(result.status, 0);
}

TEST(Exit, processThatStillHasEntitiesAndChunksInItsHandsUnmapsEveryBlockOnce)
{
   auto const result = traced([] {
      static Orvo::Ptr<Kro::Entity> entity;
      static Orvo::Ptr<Chunk> chunk;
      auto const manager = Manager::instantiate("agent");
      manager->mount(describeMount("a", "r"));
      entity = manager->entify("a");
      chunk = StoreChunk::instance()->chunkIs("own", 64, false);
   });

   EXPECT_THAT(balanceOf(result.output), unmapsEachOf(8));
   EXPECT_EQ(result.errors, "");
   EXPECT_EQ(result.status, 0);
}

TEST(Exit, chunkThatOutlivesTheStoreIsUnmappedWithoutIt)
{
   auto const result = traced([] {
      // Older than the store, so it goes after the store.
      static Orvo::Ptr<Chunk> chunk;
      struct Last {
         ~Last()
         {
            if (StoreChunk::instance() != nullptr) {
               std::fputs("there is still a store", stderr);
            }
         }
      };
      static Last const last;
      chunk = StoreChunk::instance()->chunkIs("own", 64, false);
   });

   EXPECT_THAT(balanceOf(result.output), unmapsEachOf(1));
   EXPECT_EQ(result.errors, "");
   EXPECT_EQ(result.status, 0);
}

TEST(Exit, managerMadeBeforeTheStoreGoesWell)
{
   auto const result = traced([] {
      auto const manager = Manager::instantiate("agent");
      manager->mount(describeMount("a", "r"));
      manager->mount(describeMount("b", "r"));
      Manager::instantiate("later")->mount(describeMount("a", "s"));
   });

   EXPECT_THAT(balanceOf(result.output), unmapsEachOf(14));
   EXPECT_EQ(result.status, 0);
}

TEST(Exit, failedMountLeavesNothingMappedBehind)
{
   auto const result = traced([] {
      PinmemRecorder::instance().failMap(4);
      try {
         Manager::instantiate("agent")->mount(describeMount("a", "r"));
      } catch (std::exception const& error) {
         std::fputs("failed", stderr);
      }
   });

   // The block whose map failed counts as mapped in the trace.
   auto balance = balanceOf(result.output);
   EXPECT_EQ(balance["'r.tail.0'"], 1);
   balance.erase("'r.tail.0'");
   EXPECT_THAT(balance, unmapsEachOf(3));
   EXPECT_EQ(result.errors, "failed");
   EXPECT_EQ(result.status, 0);
}

TEST(Exit, subscriberThatOutlivesTheStoreHearsOfEachChunkOnce)
{
   auto const result = traced([] {
      static Orvo::CallbackSubscriber subscriber(
         [](Orvo::Change const& change) { std::fprintf(stderr, "%s ", change.key.text().c_str()); });
      auto const store = StoreChunk::instance();
      store->chunkIs("a", 64, false);
      store->publisher()->subscribe(subscriber);
   });

   EXPECT_THAT(balanceOf(result.output), unmapsEachOf(1));
   EXPECT_EQ(result.errors, "a ");
   EXPECT_EQ(result.status, 0);
}

/// Prints whether there is a store; asking for it by its own function would make it.
void printStore()
{
   std::printf(
      "%s", Kro::Entity::singletonExists(StoreChunk::memAllocationTracker_.name) != nullptr ? "store " : "none ");
}

TEST(Exit, storeIsNotMadeForAChunkThatCannotBeMade)
{
   auto const result = inChild({}, [] {
      for (bool const isMapped : {false, true}) {
         isMapped ? PinmemRecorder::instance().failMap(1) : PinmemRecorder::instance().failAlloc(1);
         try {
            static_cast<void>(Orvo::make<Chunk>("a", 64U, false));
         } catch (Quorvel::Utility::AffirmException const&) {
            printStore();
         }
      }
   });

   EXPECT_EQ(result.output, "none none ");
   EXPECT_EQ(result.status, 0);
}

TEST(Exit, storeIsNotMadeByAMountWhoseEntityCannotBeMade)
{
   auto const result = inChild({}, [] {
      try {
         Manager::instantiate("agent")->mount(Quorvel::Core::Memory::Info::Mount("a", "NoSuchType"));
      } catch (Kro::TypeNotFoundException const&) {
         printStore();
      }
   });

   EXPECT_EQ(result.output, "none ");
   EXPECT_EQ(result.status, 0);
}

TEST(Exit, storeIsMadeByTheEndOfAChunkThatWasMadeWithoutIt)
{
   auto const result = inChild({}, [] {
      auto chunk = Orvo::make<Chunk>("a", 64U, false);
      printStore();
      chunk.reset();
      printStore();
   });

   EXPECT_EQ(result.output, "none store ");
   EXPECT_EQ(result.status, 0);
}

TEST(Exit, storeThatTheFrameworkWasAskedForFirstIsTheOneStore)
{
   auto const result = inChild({}, [] {
      auto const first =
         Kro::Entity::singletonIs(_Chunk_334569107d2ca953_kroModule, 1, StoreChunk::memAllocationTracker_.name);
      std::printf(
         "%s %s", StoreChunk::instance() == first ? "the one" : "another",
         std::to_string(StoreChunk::memAllocationTracker_.allocations()).c_str());
   });

   EXPECT_EQ(result.output, "the one 1");
   EXPECT_EQ(result.status, 0);
}

TEST(Exit, processThatOnlyLoadsTheLibraryMapsNothing)
{
   auto const result = traced([] {});

   EXPECT_EQ(result.output, "");
   EXPECT_EQ(result.status, 0);
}

TEST(Exit, processWithOrphansUnmapsEveryBlockOnceAndPublishesNothingMore)
{
   auto const result = traced([] {
      static Orvo::CallbackSubscriber watcher([](Orvo::Change const&) { std::fputs("heard ", stderr); });
      Manager::orphanage()->publisher()->subscribe(watcher);
      auto const manager = Manager::instantiate("agent");
      manager->mount(describeMount("a", "r"));
      manager->mount(describeMount("b", "s"));
      manager->unmount("a");
      manager->unmount("b");
   });

   EXPECT_THAT(balanceOf(result.output), unmapsEachOf(14));
   EXPECT_EQ(result.errors, "heard heard ");
   EXPECT_EQ(result.status, 0);
}

TEST(Exit, afterTheOrphanageNothingCanBeUnmountedOrCleanedUp)
{
   auto const result = inChild({}, [] {
      // Older than the orphanage, so it goes after the orphanage.
      struct Agent {
         ~Agent()
         {
            auto const isRefused = [](auto const& call) {
               try {
                  call();
               } catch (Quorvel::Utility::AffirmException const&) {
                  return true;
               }
               return false;
            };
            auto const manager = Manager::instantiate("late");
            auto const entity = manager->directory()->createEntity("Kro::Dir", "a");
            bool const areRefused = Manager::orphanage() == nullptr && isRefused([&] { manager->unmount("a"); }) &&
                                    manager->orphan().empty() &&
                                    isRefused([&] { Destructor::cleanup(entity.get()); }) &&
                                    manager->entify("a") == entity;
            std::printf("%s", areRefused ? "refused" : "done");
         }
      };
      static Agent const agent;
      Manager::orphanage();
   });

   EXPECT_EQ(result.output, "refused");
   EXPECT_EQ(result.errors, "");
   EXPECT_EQ(result.status, 0);
}

TEST(Exit, afterTheStoreAndTheOrphanageNothingCanBeBuiltOrAdopted)
{
   auto const result = inChild({}, [] {
      // Older than the store and the orphanage, so it goes after them.
      struct Agent {
         Orvo::Ptr<Manager> manager;
         ~Agent()
         {
            auto const isRefused = [&](char const* path) {
               try {
                  manager->mount(describeMount(path, "r"));
               } catch (Quorvel::Utility::AffirmException const&) {
                  return true;
               }
               return false;
            };
            bool const areRefused = isRefused("new") && isRefused("orphan") && !isRefused("mounted");
            std::printf("%s", areRefused ? "refused" : "done");
         }
      };
      static Agent agent;
      agent.manager = Quorvel::Core::Memory::Entity::managerFactory("late");
      agent.manager->mount(describeMount("mounted", "r"));
      agent.manager->mount(describeMount("orphan", "r"));
      agent.manager->unmount("orphan");
   });

   EXPECT_EQ(result.output, "refused");
   EXPECT_EQ(result.errors, "");
   EXPECT_EQ(result.status, 0);
}

TEST(Exit, orphanageThatSomebodyHasMadeBeforeIsTheProcesssOne)
{
   auto const result = inChild({}, [] {
      auto const made =
         Kro::Entity::singletonIs(*Orphanage::kroType.module, 1, "Quorvel::Core::Memory::Entity::Detail::Orphanage");
      std::printf("%s", made != nullptr && Manager::orphanage() == made ? "that one" : "another");
   });

   EXPECT_EQ(result.output, "that one");
   EXPECT_EQ(result.status, 0);
}

TEST(Exit, instantiateAfterTheRegistryGivesAManagerOfItsOwn)
{
   auto const result = inChild({}, [] {
      // Older than the registry, so it goes after the registry.
      struct Agent {
         ~Agent()
         {
            bool const isOwn = Manager::instantiate("agent") != Manager::instantiate("agent");
            std::printf("%s", isOwn ? "own" : "shared");
         }
      };
      static Agent const agent;
      Manager::instantiate("agent");
   });

   EXPECT_EQ(result.output, "own");
   EXPECT_EQ(result.errors, "");
   EXPECT_EQ(result.status, 0);
}

} // namespace
