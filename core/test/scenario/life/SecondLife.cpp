// The agent comes back, takes over what is whole and clears what is not, lets go of everything in order, and leaves nothing.

#include "scenario/life/Balance.h"
#include "scenario/life/Lives.h"
#include "scenario/life/PinmemGate.h"
#include "support/ChildProcess.h"
#include "support/MessageOf.h"

#include <Quorvel/Core/Memory/Control/Detail/StoreChunk.h>
#include <Quorvel/Core/Memory/Entity/Destructor.h>

#include <Kro/Exception.h>
#include <Orvo/Subscriber.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace Quorvel::Core::Test {

using Memory::Control::Detail::StoreChunk;
using Memory::Entity::Destructor;
using Memory::Entity::Manager;

namespace {

/// The first life died while it wrote this one.
bool isOfTheBrokenEntry(Place const& place)
{
   return (place.block == "nic.command.1" && place.offset == sizeof(RingEntry::command)) ||
          (place.block == "nic.status.1" && place.offset == sizeof(RingEntry::status)) ||
          (place.block == "nic.tail.1" && place.offset == sizeof(RingEntry::tail));
}

void findsWhatTheFirstLifeLeft(Agent const& agent)
{
   EXPECT_TRUE(Manager::orphanage()->info().empty()); // the first one's are gone with it

   // In another order than the first life.
   agent.plug->mount(agent.plugDescription);
   agent.disk->mount(agent.diskDescription);
   agent.nic->mount(agent.nicDescription);

   std::map<std::string, std::uint64_t> before;
   std::ifstream file(notes());
   std::uint64_t address = 0;
   for (std::string block; file >> block >> address;) {
      before[block] = address;
   }
   EXPECT_EQ(before.size(), 12U);
   EXPECT_EQ(addressesOf(agent), before);
   expectStamps(agent, isOfTheBrokenEntry);
   for (auto const run : agent.nicMount()->buffer->runs<BufferEntry>(BufferEntry::bytesNumber)) {
      EXPECT_EQ(run.memory.get()[16383].bytes[63], std::byte{1});
   }
}

/// Whoever is not whole is cleared by the synchronizer.
void repairsTheBrokenEntry(Agent const& agent)
{
   auto const& ring = agent.nicMount()->ring;
   auto const word = [&](std::int32_t field, std::uint32_t entry) {
      return *reinterpret_cast<std::uint32_t const*>(ring->addressVirtual(field, entry));
   };
   EXPECT_EQ(word(RingEntry::commandNumber, 5), 4711U);
   EXPECT_EQ(word(RingEntry::statusNumber, 5), 0U);
   EXPECT_NE(word(RingEntry::tailNumber, 5), 0U);
   std::vector<std::uint32_t> repaired;
   ring->synchronizerIs([&](std::uint32_t entry) {
      if (word(RingEntry::statusNumber, entry) == 0) {
         ring->reset(entry);
         repaired.push_back(entry);
      }
   });

   ring->synchronizeAll();

   ring->synchronizerIs([](std::uint32_t /*entry*/) {});
   EXPECT_EQ(repaired, std::vector<std::uint32_t>{5});
   EXPECT_EQ(word(RingEntry::commandNumber, 5) | word(RingEntry::tailNumber, 5), 0U);
   expectStamps(agent, isOfTheBrokenEntry);
}

void adoptsAnOrphan(Agent const& agent)
{
   auto const mount = agent.diskMount();
   auto const addresses = addressesOf(agent);
   auto const before = balanceNow();

   agent.disk->unmount("queues");
   agent.disk->unmount("queues"); // is one already

   EXPECT_EQ(Manager::orphanage()->info(mount.get()).sysname(), "disk");
   EXPECT_EQ(Manager::orphanage()->info(mount.get()).path(), "/disk/zumem/queues");
   EXPECT_EQ(Manager::orphanage()->info().size(), 1U);
   EXPECT_EQ(agent.disk->orphan("/disk/zumem/queues"), mount.get());
   EXPECT_EQ(addressesOf(agent), addresses); // a device that has not heard of it goes on

   agent.disk->mount(agent.diskDescription);

   EXPECT_EQ(agent.diskMount(), mount);
   EXPECT_TRUE(Manager::orphanage()->info().empty());
   EXPECT_TRUE(agent.disk->orphan().empty());
   EXPECT_EQ(mount->synchronized.size(), 9U); // of the first mount alone

   agent.disk->unmount("queues");
   EXPECT_THROW(agent.disk->mount(describeMount("queues", "other")), std::invalid_argument);

   EXPECT_TRUE(Manager::orphanage()->info().empty()); // adopted all the same
   EXPECT_EQ(agent.disk->infoMount("queues"), agent.diskDescription);
   expectBalance(before);
   expectStamps(agent, isOfTheBrokenEntry);
}

void sharesItsMemoryWithANeighbour(Agent const& agent)
{
   Environment environment;
   for (auto const* name :
        {"PINMEM_DIR", "PINMEM_DOMAIN", "PINMEM_BACKEND", "LIFE_FOLDER", "CELL_ID", "ORVO_SMALL_MEMORY"}) {
      environment[name] = std::getenv(name);
   }

   auto const result = runProgram({"/proc/self/exe", "neighbour"}, environment);

   EXPECT_EQ(result.output, "");
   EXPECT_EQ(result.errors, "");
   EXPECT_EQ(result.status, 0);
   constexpr int isInUse = 4;
   EXPECT_EQ(runProgram({std::getenv("PINMEMCTL"), "free", "nic.bytes"}, environment).status, isInUse);
   EXPECT_EQ(runProgram({std::getenv("PINMEMCTL"), "remove-domain"}, environment).status, isInUse);
   auto const* const bytes =
      reinterpret_cast<char const*>(agent.nicMount()->buffer->addressVirtual(BufferEntry::bytesNumber, 16000));
   EXPECT_STREQ(bytes + 4, "the neighbour was here");
   expectStamps(agent, isOfTheBrokenEntry);
}

/// A watcher that at first only listens, and then cleans up each orphan as soon as it hears of it.
void leavesItToTheWatcher(Agent const& agent)
{
   std::vector<std::string> heard;
   bool isAwake = false;
   auto const orphanage = Manager::orphanage();
   Orvo::CallbackSubscriber const watcher(*orphanage->publisher(), [&](Orvo::Change const& change) {
      auto* const entity = dynamic_cast<Kro::Entity*>(change.key.entity());
      bool const isOrphan = static_cast<bool>(orphanage->info(entity));
      heard.emplace_back((isOrphan ? "+" : "-") + std::string(entity->fullName()));
      if (isOrphan && isAwake) {
         Destructor::cleanup(entity);
      }
   });
   agent.disk->unmount("queues");
   agent.disk->mount(agent.diskDescription);
   EXPECT_THAT(heard, testing::ElementsAre("+/disk/zumem/queues", "-/disk/zumem/queues"));
   heard.clear();
   isAwake = true;
   agent.plug->mount(Memory::Info::Mount("/bay/1", "TestMount"));

   agent.plug->unmount("/bay/0/queues");
   EXPECT_EQ(agent.plug->entify("/bay")->fullName(), "/plug/zumem//bay"); // there is something in it
   EXPECT_THROW(agent.plug->entify("/bay/0"), Kro::EntityNotFoundException);
   agent.plug->unmount("/bay/1");
   agent.disk->unmount("queues");
   // What the disk had of the nic's is there as before.
   for (std::uint32_t entry = 0; entry < 4; ++entry) {
      EXPECT_NE(
         *reinterpret_cast<std::uint32_t const*>(
            agent.nicMount()->ring->addressVirtual(RingEntry::statusNumber, entry)),
         0U);
   }
   agent.nic->unmount(agent.nicDescription.path());

   EXPECT_THAT(
      heard, testing::ElementsAre(
                "+/plug/zumem//bay/0/queues", "-/plug/zumem//bay/0/queues", "+/plug/zumem//bay/1",
                "-/plug/zumem//bay/1", "+/disk/zumem/queues", "-/disk/zumem/queues", "+/nic/zumem/cell7/slice3/queues",
                "-/nic/zumem/cell7/slice3/queues"));
   for (auto const& manager : {agent.nic, agent.disk, agent.plug}) {
      EXPECT_TRUE(manager->directory()->entity().empty()); // pruned to there
      EXPECT_TRUE(manager->orphan().empty());
      // Stays: it is stored under the path, not under the full name, by which it is looked for.
      EXPECT_EQ(manager->infoMount().size(), manager == agent.plug ? 2U : 1U);
      EXPECT_EQ(
         Kro::globalDir()->entity2Impl(Orvo::join(manager->sysname(), "/zumem")).get(), manager->directory().get());
   }
}

void dropsItsBlocks(Agent const& agent)
{
   auto const store = StoreChunk::instance();
   auto& gate = PinmemGate::instance();
   EXPECT_EQ(gate.stillMapped().size(), 12U); // by the store alone
   auto chunk = store->chunk("nic.bytes");
   auto const addressBus = chunk->addressBus();

   store->chunkDel("nic.bytes");
   EXPECT_EQ(gate.stillMapped().size(), 12U); // there is a user
   chunk.reset();
   EXPECT_EQ(gate.stillMapped().size(), 11U);
   auto const mappings = balanceNow().at("mappings of the domain");
   chunk = store->chunkIs("nic.bytes", 1U << 20U, false);
   EXPECT_EQ(chunk->addressBus(), addressBus);
   EXPECT_EQ(reinterpret_cast<char const*>(chunk->addressVirtual())[16383 * 64 + 63], 1);
   EXPECT_EQ(balanceNow().at("mappings of the domain"), mappings + 1);
   chunk.reset();

   agent.dropAll();
}

} // namespace

void secondLife()
{
   auto const agent = born();
   // What stays open and mapped from the first block on.
   StoreChunk::instance()->chunkIs("plug.descriptor", 512, false);
   StoreChunk::instance()->chunkIs("disk.tail.0", 48, true);
   StoreChunk::instance()->chunkDelAll();
   Manager::orphanage();
   auto const before = balanceNow();

   findsWhatTheFirstLifeLeft(agent);
   repairsTheBrokenEntry(agent);
   adoptsAnOrphan(agent);
   sharesItsMemoryWithANeighbour(agent);
   leavesItToTheWatcher(agent);
   dropsItsBlocks(agent);

   expectBalance(before);
}

void neighboursLife()
{
   auto const agent = born();
   agent.mountAll();
   expectStamps(agent, isOfTheBrokenEntry);
   auto* const bytes =
      reinterpret_cast<char*>(agent.nicMount()->buffer->addressVirtual(BufferEntry::bytesNumber, 16000));
   std::string("the neighbour was here").copy(bytes + 4, 60);
   agent.dropAll();
}

void lastLife()
{
   auto agent = born();
   agent.diskDescription.isZeroedMemoryOnMountingIs(true);
   agent.mountAll();
   agent.plug->unmount(agent.plugDescription.path()); // an orphan for ever

   // The disk cleared the statuses, which the nic has too, and nothing else of the nic's.
   EXPECT_TRUE(agent.diskMount()->synchronized.empty());
   forEachPlace(*agent.disk, agent.diskDescription, [](Place const& place) {
      EXPECT_EQ(place.word(), 0U) << place.block << " at " << place.offset;
   });
   forEachPlace(*agent.nic, agent.nicDescription, [](Place const& place) {
      bool const isShared = place.block.starts_with("nic.status.");
      EXPECT_EQ(place.word(), isShared || isOfTheBrokenEntry(place) ? 0U : stampOf(place)) << place.block;
   });
}

} // namespace Quorvel::Core::Test
