// Whole lives of mounts over the real pinned-memory library: mounted, unmounted, adopted, cleaned up, in one process and the next.

#include "support/MemoryDomain.h"
#include "support/TestMount.h"

#include <Quorvel/Core/Memory/Control/Detail/StoreChunk.h>
#include <Quorvel/Core/Memory/Entity/Destructor.h>
#include <Quorvel/Core/Memory/Entity/Manager.h>

#include <Orvo/Subscriber.h>

#include <gtest/gtest.h>

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

using Quorvel::Core::Memory::Control::Detail::StoreChunk;
using Quorvel::Core::Memory::Entity::Destructor;
using Quorvel::Core::Memory::Entity::Manager;
using Quorvel::Core::Test::describeMount;
using Quorvel::Core::Test::MemoryDomain;
using Quorvel::Core::Test::RingEntry;
using Quorvel::Core::Test::TestMount;

Orvo::Ptr<TestMount> mounted(Manager const& manager, Orvo::String const& path)
{
   return Orvo::dynamicCast<TestMount>(manager.entify(path));
}

std::uint32_t& statusOf(TestMount const& mount, std::uint32_t index)
{
   return *reinterpret_cast<std::uint32_t*>(mount.ring->addressVirtual(RingEntry::statusNumber, index));
}

/// What a watcher does: cleans up every orphan that the orphanage lists.
void cleanUpAll()
{
   std::vector<Orvo::Ptr<Kro::Entity>> orphans;
   auto const orphanage = Manager::orphanage();
   for (auto at = orphanage->info().begin(); at != orphanage->info().end(); ++at) {
      orphans.emplace_back(const_cast<Kro::Entity*>(at.key()));
   }
   for (auto const& orphan : orphans) {
      Destructor::cleanup(orphan.get());
   }
}

std::string refusalOf(Manager& manager, Quorvel::Core::Memory::Info::Mount const& mount)
{
   try {
      manager.mount(mount);
   } catch (std::exception const& error) {
      return error.what();
   }
   return "mounted";
}

TEST(Life, unmountedMemoryKeepsAddressesAndBytesUntilItIsAdopted)
{
   MemoryDomain const domain;

   auto const result = domain.run([] {
      auto const manager = Manager::instantiate("agent");
      manager->mount(describeMount("device/queues", "dev0"));
      auto const before = mounted(*manager, "device/queues")->ring->addressBus(RingEntry::statusNumber, 3);
      statusOf(*mounted(*manager, "device/queues"), 3) = 77;

      manager->unmount("device/queues");
      manager->mount(describeMount("device/queues", "dev0"));

      auto const mount = mounted(*manager, "device/queues");
      std::printf(
         "%s %u, %zu orphans", mount->ring->addressBus(RingEntry::statusNumber, 3) == before ? "same address" : "moved",
         statusOf(*mount, 3), manager->orphan().size() + Manager::orphanage()->info().size());
   });

   EXPECT_EQ(result.output, "same address 77, 0 orphans");
   EXPECT_EQ(result.errors, "");
}

TEST(Life, cleanedUpMemoryIsFoundAgainByTheNextMountAndTheNextProcess)
{
   MemoryDomain const domain;
   auto const first = domain.run([] {
      auto const manager = Manager::instantiate("agent");
      manager->mount(describeMount("device/queues", "dev0"));
      statusOf(*mounted(*manager, "device/queues"), 3) = 77;
      manager->unmount("device/queues");
      cleanUpAll();
      StoreChunk::instance()->chunkDelAll(); // nothing of it is mapped any more

      manager->mount(describeMount("device/queues", "dev0"));

      auto const mount = mounted(*manager, "device/queues");
      std::printf("%u %lx", statusOf(*mount, 3), mount->ring->addressBus(RingEntry::statusNumber, 3));
   });

   auto const second = domain.run([] {
      auto const manager = Manager::instantiate("agent");
      manager->mount(describeMount("elsewhere", "dev0"));
      auto const mount = mounted(*manager, "elsewhere");
      std::printf("%u %lx", statusOf(*mount, 3), mount->ring->addressBus(RingEntry::statusNumber, 3));
   });

   EXPECT_TRUE(first.output.starts_with("77 ")) << first.output << first.errors;
   EXPECT_EQ(second.output, first.output);
}

TEST(Life, processThatIsKilledWithOrphansComesBackWithoutThem)
{
   MemoryDomain const domain;
   auto const first = domain.run([] {
      auto const manager = Manager::instantiate("agent");
      manager->mount(describeMount("a", "dev0"));
      statusOf(*mounted(*manager, "a"), 0) = 5;
      manager->unmount("a");
      ::kill(::getpid(), SIGKILL);
   });

   auto const second = domain.run([] {
      auto const manager = Manager::instantiate("agent");
      std::printf("%zu orphans, ", Manager::orphanage()->info().size());
      manager->mount(describeMount("a", "dev0"));
      std::printf("%u", statusOf(*mounted(*manager, "a"), 0));
   });

   EXPECT_EQ(first.status, 256 + SIGKILL);
   EXPECT_EQ(second.output, "0 orphans, 5");
}

TEST(Life, managersShareAChunkThatStaysUntilTheStoreForgetsIt)
{
   MemoryDomain const domain;

   auto const result = domain.run([] {
      auto const one = Manager::instantiate("one");
      auto const two = Manager::instantiate("two");
      one->mount(describeMount("p", "shared"));
      two->mount(describeMount("p", "shared"));
      statusOf(*mounted(*one, "p"), 1) = 9;
      std::printf("%u ", statusOf(*mounted(*two, "p"), 1));

      one->unmount("p");
      cleanUpAll();
      statusOf(*mounted(*two, "p"), 1) = 10;
      one->mount(describeMount("p", "shared"));
      std::printf("%u ", statusOf(*mounted(*one, "p"), 1));

      two->unmount("p");
      one->unmount("p");
      cleanUpAll();
      std::printf("%zu chunks, ", StoreChunk::instance()->chunk().size());
      StoreChunk::instance()->chunkDelAll();
      std::printf("%zu", StoreChunk::instance()->chunk().size());
   });

   EXPECT_EQ(result.output, "9 10 7 chunks, 0");
   EXPECT_EQ(result.errors, "");
}

TEST(Life, zeroingOneMountWipesTheOtherThatSharesTheChunk)
{
   MemoryDomain const domain;

   auto const result = domain.run([] {
      auto const one = Manager::instantiate("one");
      one->mount(describeMount("p", "shared"));
      statusOf(*mounted(*one, "p"), 1) = 9;
      auto zeroed = describeMount("q", "shared");
      zeroed.isZeroedMemoryOnMountingIs(true);
      one->mount(zeroed);
      std::printf("%u", statusOf(*mounted(*one, "p"), 1));
   });

   EXPECT_EQ(result.output, "0");
}

TEST(Life, mountThatFailedHalfWayIsRecoveredByUnmountCleanupAndMount)
{
   MemoryDomain const domain;

   auto const result = domain.run([] {
      auto const manager = Manager::instantiate("agent");
      StoreChunk::instance()->chunkIs("dev0.status.1", 4, false); // a size that is in the way
      std::puts(refusalOf(*manager, describeMount("d/a", "dev0")).c_str());
      std::puts(refusalOf(*manager, describeMount("d/a", "dev0")).c_str()); // half-built, and taken for the whole
      std::printf("capacity %u\n", mounted(*manager, "d/a")->ring->capacity());

      manager->unmount("d/a");
      cleanUpAll();
      StoreChunk::instance()->chunkDel("dev0.status.1");
      std::puts(refusalOf(*manager, describeMount("d/a", "dev0")).c_str());
      std::printf("capacity %u", mounted(*manager, "d/a")->ring->capacity());
   });

   EXPECT_EQ(
      result.output, "Memory/Control/Chunk 'dev0.status.1': size=16 is asked for, but size=4 exists\n"
                     "mounted\n"
                     "capacity 0\n"
                     "mounted\n"
                     "capacity 8");
}

TEST(Life, watcherSeesEveryOrphanComeAndGoInOrder)
{
   MemoryDomain const domain;

   auto const result = domain.run([] {
      auto const orphanage = Manager::orphanage();
      Orvo::CallbackSubscriber watcher(*orphanage->publisher(), [&](Orvo::Change const& change) {
         auto* const entity = dynamic_cast<Kro::Entity*>(change.key.entity());
         auto const info = orphanage->info(entity);
         std::printf("%s%s ", info ? "+" : "-", entity->name().c_str());
      });
      auto const one = Manager::instantiate("one");
      auto const two = Manager::instantiate("two");
      one->mount(describeMount("d/a", "a"));
      two->mount(describeMount("d/b", "b"));
      two->unmount("d/b");
      one->unmount("d/a");
      two->mount(describeMount("d/b", "b"));
      one->unmount("d/a");
      Destructor::cleanup(one->entify("d/a").get());
      two->unmount("d/b");
      cleanUpAll();
   });

   EXPECT_EQ(result.output, "+b +a -b -a +b -b ");
   EXPECT_EQ(result.errors, "");
}

} // namespace
