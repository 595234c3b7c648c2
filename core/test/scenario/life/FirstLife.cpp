// An agent comes to life, meets all that can happen to it, and is killed in the middle of a write.

#include "scenario/life/AllocationGate.h"
#include "scenario/life/Balance.h"
#include "scenario/life/Lives.h"
#include "scenario/life/PinmemGate.h"
#include "support/ChangeRecorder.h"
#include "support/MessageOf.h"

#include <Quorvel/Core/Memory/Control/Detail/StoreChunk.h>
#include <Quorvel/Core/Poller.h>

#include <Kro/Exception.h>
#include <Orvo/ThreadControl.h>

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <fstream>
#include <map>
#include <new>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace Quorvel::Core::Test {

using Memory::Control::Detail::StoreChunk;
using Memory::Entity::Manager;

namespace {

void mountsThree(Agent const& agent)
{
   ChangeRecorder const blocks(*StoreChunk::instance()->publisher());

   agent.mountAll();

   EXPECT_EQ(agent.nic->entify(agent.nicDescription.path())->fullName(), "/nic/zumem/cell7/slice3/queues");
   EXPECT_EQ(agent.disk->entify("queues")->fullName(), "/disk/zumem/queues");
   EXPECT_EQ(agent.plug->entify("/bay/0/queues")->fullName(), "/plug/zumem//bay/0/queues");
   // Blocks: 6 fields and a buffer of the nic's, 4 fields of the disk's own, and the plug's.
   EXPECT_EQ(StoreChunk::instance()->chunk().size(), 12U);
   EXPECT_EQ(PinmemGate::instance().stillMapped().size(), 12U);
   EXPECT_EQ(blocks.changes().size(), 12U);
   EXPECT_EQ(agent.nicMount()->synchronized.size(), 16384U + 8);
   EXPECT_EQ(agent.nicMount()->synchronized.back(), "ring 7 (16384, 8)");

   agent.mountAll(); // does nothing, and says nothing

   EXPECT_EQ(blocks.changes().size(), 12U);
   EXPECT_EQ(agent.nicMount()->synchronized.size(), 16384U + 8);
}

/// Whatever is not the same memory has a bus address of its own.
void expectApart(Agent const& agent)
{
   std::map<std::uint64_t, std::string> fields;
   forEachPlace(agent, [&](Place const& place) {
      auto const address = place.live->addressBus(place.attribute, place.entry);
      auto const name = place.block + " at " + std::to_string(place.offset);
      if (address != 0) {
         EXPECT_EQ(fields.emplace(address, name).first->second, name);
      } else {
         EXPECT_TRUE(place.block.starts_with("disk.tail.")) << name; // ordinary memory
      }
   });
   EXPECT_EQ(fields.size(), 16384U + 3 * 8 + 8 + 4); // of the nic, commands of the disk, and of the plug
}

void looksUpAndWrites(Agent const& agent)
{
   expectAddresses(*agent.nic, agent.nicDescription);
   expectAddresses(*agent.disk, agent.diskDescription);
   expectAddresses(*agent.plug, agent.plugDescription);

   expectApart(agent);
   for (auto const run : agent.nicMount()->buffer->runs<BufferEntry>(BufferEntry::bytesNumber)) {
      EXPECT_EQ(run.count, 16384U);
      run.memory.get()[16383].bytes[63] = std::byte{1}; // beside the stamps
   }
   forEachPlace(agent, [](Place const& place) { EXPECT_EQ(place.word(), 0U) << place.block; }); // new blocks read zero
   stampAll(agent);
   expectStamps(agent); // where two share a block, each finds the other's
}

/// The device, a thread here, writes into entries and tells through a pipe which.
void servesADevice(Agent const& agent)
{
   int ends[2];
   ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
   auto const mount = agent.nicMount();
   auto const status = [&](std::uint32_t entry) {
      auto* const word = reinterpret_cast<std::uint32_t*>(mount->ring->addressVirtual(RingEntry::statusNumber, entry));
      return std::atomic_ref(*word);
   };
   std::thread device([&] {
      for (std::uint32_t entry = 0; entry < 8; ++entry) {
         status(entry).store(1000 + entry, std::memory_order_release);
         EXPECT_EQ(::write(ends[1], &entry, sizeof(entry)), ssize_t{sizeof(entry)});
      }
   });
   EXPECT_TRUE(Orvo::ThreadControl::threadsInUse());
   std::vector<std::uint32_t> served;
   Poller poller;
   auto const handler = [&](Poller::File const& file) {
      std::uint32_t entry = 0;
      EXPECT_EQ(::read(file.descriptor, &entry, sizeof(entry)), ssize_t{sizeof(entry)});
      EXPECT_EQ(status(entry).load(std::memory_order_acquire), 1000 + entry);
      // The disk shares the statuses; its second group begins at 8.
      EXPECT_EQ(
         *reinterpret_cast<std::uint32_t const*>(
            agent.diskMount()->ring->addressVirtual(RingEntry::statusNumber, entry < 4 ? entry : entry + 4)),
         1000 + entry);
      served.push_back(entry);
      return served.size() == 8;
   };
   poller.fileIs({"device", handler, ends[0], POLLIN});
   std::size_t seen = 0;
   auto const watch = [&](Poller::File const& /*file*/) {
      seen = served.size();
      return false;
   };
   poller.fileIs({"room in the pipe", watch, ends[1], POLLOUT}); // always ready
   EXPECT_EQ(
      messageOf<std::system_error>([&] { poller.open("/no/device", O_RDONLY, POLLIN, handler); }),
      "Unable to open file '/no/device': Bad file descriptor");

   EXPECT_EQ(poller.poll(-1), 2);

   device.join();
   EXPECT_EQ(seen, 8U); // in the last pass, too
   EXPECT_EQ(served, (std::vector<std::uint32_t>{0, 1, 2, 3, 4, 5, 6, 7}));
   ::close(ends[0]);
   ::close(ends[1]);
   stampAll(agent);
}

void isRefusedAnotherDescription(Agent const& agent)
{
   Memory::Info::Mount const low("low", "TestMount");
   agent.disk->mount(low);
   auto const before = balanceNow();

   EXPECT_EQ(
      messageOf<std::invalid_argument>([&] { agent.disk->mount(describeMount("low", "low")); }),
      "path='low' already exists with infoMount='Quorvel::Core::Memory::Info::Mount(collection={}, "
      "collectionInternal={}, path=\"low\", type=\"TestMount\", isZeroedMemoryOnMounting=false)'.");
   EXPECT_EQ(
      messageOf<Kro::EntityNotFoundException>([&] { agent.nic->entify("low"); }),
      "enity at path='low' does not exist.");

   expectBalance(before);
   agent.disk->mount(low);                                        // is still what is there
   for (auto const& other : {describeMount("low", "low"), low}) { // the way to another one
      agent.disk->unmount("low");
      cleanUpOrphans();
      agent.disk->mount(other);
      EXPECT_EQ(agent.disk->infoMount("low"), other);
      expectAddresses(*agent.disk, other);
   }
   agent.disk->unmount("low");
   cleanUpOrphans();
   EXPECT_EQ(agent.disk->directory()->entity().size(), 1U);
   EXPECT_EQ(StoreChunk::instance()->chunk().size(), 12U + 7);
}

/// A mount to be lost again and again, whose path begins in a directory of the plug's.
struct Fragile {
   Memory::Info::Mount const description = describeMount("bay/9/queues", "fragile");
   Orvo::Ptr<Manager> const manager = Manager::instantiate("plug");

   std::vector<std::string> mapped() const
   {
      auto names = PinmemGate::instance().stillMapped();
      std::erase_if(names, [](std::string const& name) { return !name.starts_with("fragile."); });
      return names;
   }

   void mount() const { manager->mount(description); }

   void remove() const
   {
      manager->unmount(description.path());
      cleanUpOrphans();
   }

   void forget() const
   {
      remove();
      manager->infoMountDel(description.path());
      for (auto const& block : mapped()) {
         StoreChunk::instance()->chunkDel(block);
      }
   }

   void expectWhole() const
   {
      expectAddresses(*manager, description);
      EXPECT_EQ(mapped().size(), 7U);
   }
};

/// The mount fails at each of its calls of the pinned-memory library, and is made whole.
void comesThroughRefusedMemory()
{
   Fragile const sut;
   sut.mount();
   sut.forget(); // the store has room for its blocks from now on
   auto& gate = PinmemGate::instance();
   auto const before = balanceNow();
   int nth = 1;
   for (bool isOver = false; !isOver; ++nth) {
      SCOPED_TRACE("refused call " + std::to_string(nth));
      gate.refuse(nth);
      auto const broken = brokenPromiseOf([&] { sut.mount(); });
      isOver = !gate.hasRefused();
      gate.refuse(0);
      if (!isOver) {
         // Two calls for each block: so many are had, and the one at hand is not.
         EXPECT_EQ(broken, "Memory/Control/Detail/Chunk.cpp");
         EXPECT_EQ(sut.mapped().size(), static_cast<std::size_t>(nth - 1) / 2);
         EXPECT_EQ(sut.manager->infoMount(sut.description.path()), sut.description);
         sut.mount(); // takes what is there for the whole
         auto const mount = Orvo::dynamicCast<TestMount>(sut.manager->entify(sut.description.path()));
         EXPECT_EQ(mount->ring->capacity(), 0U);
         sut.remove();
         sut.mount();
      }
      sut.expectWhole();
      sut.forget();
      expectBalance(before);
   }
   EXPECT_EQ(nth - 2, 2 * 7); // calls of a mount of seven blocks
}

/// A life fails at each of its allocations, the platform's included, and is made whole.
void comesThroughRefusedAllocations()
{
   Fragile const sut;
   sut.mount();
   sut.forget(); // the store has room for its blocks from now on
   auto const before = balanceNow();
   bool isOver = false;
   std::uint64_t nth = 1;
   for (; !isOver; ++nth) {
      SCOPED_TRACE("refused allocation " + std::to_string(nth));
      AllocationGate::refuse(nth);
      try {
         sut.mount();
         sut.manager->unmount(sut.description.path());
         sut.mount();
         sut.remove();
      } catch (std::bad_alloc const&) {
      } catch (Utility::AffirmException const&) { // the pinned-memory library had none
      }
      isOver = !AllocationGate::hasRefused();
      AllocationGate::refuse(0);
      sut.remove();
      EXPECT_EQ(sut.manager->directory()->entity2Impl(sut.description.path()), nullptr);
      sut.mount();
      sut.expectWhole();
      sut.forget();
      expectBalance(before);
   }
   EXPECT_GT(nth, 50U);
}

/// A block that is new in the domain is refused at each allocation, and had at once afterwards.
void comesThroughRefusedAllocationsOfNewBlocks()
{
   auto const store = StoreChunk::instance();
   auto const before = balanceNow();
   bool isOver = false;
   for (std::uint64_t nth = 1; !isOver; ++nth) {
      SCOPED_TRACE("refused allocation " + std::to_string(nth));
      auto const name = Orvo::join("new.", nth);
      AllocationGate::refuse(nth);
      try {
         store->chunkIs(name, 64, false);
      } catch (std::bad_alloc const&) {
      } catch (Utility::AffirmException const&) { // the pinned-memory library had none
      }
      isOver = !AllocationGate::hasRefused();
      AllocationGate::refuse(0);
      EXPECT_EQ(*reinterpret_cast<std::uint64_t const*>(store->chunkIs(name, 64, false)->addressVirtual()), 0U);
      store->chunkDel(name);
   }
   expectBalance(before);
}

void resetsAnEntry(Agent const& agent)
{
   agent.nicMount()->ring->reset(3);

   std::vector<std::uint32_t> cleared;
   expectStamps(agent, [&](Place const& place) {
      bool const isOfTheEntry = (place.block == "nic.command.0" && place.offset == 3 * sizeof(RingEntry::command)) ||
                                (place.block == "nic.status.0" && place.offset == 3 * sizeof(RingEntry::status)) ||
                                (place.block == "nic.tail.0" && place.offset == 3 * sizeof(RingEntry::tail));
      if (isOfTheEntry) {
         cleared.push_back(place.word());
      }
      return isOfTheEntry;
   });
   EXPECT_EQ(cleared, std::vector<std::uint32_t>(4)); // the disk has the status too
   EXPECT_EQ(messageOf<Kro::RangeException>([&] { agent.diskMount()->ring->reset(5); }), "index 5 is out of range.");
}

void walksAllEntries(Agent const& agent)
{
   auto const disk = agent.diskMount();
   std::vector<std::uint32_t> walked;
   disk->ring->synchronizerIs([&](std::uint32_t entry) { walked.push_back(entry); });

   disk->ring->synchronizeAll();

   disk->ring->synchronizerIs([](std::uint32_t /*entry*/) {});
   EXPECT_EQ(walked, (std::vector<std::uint32_t>{0, 1, 2, 3, 8, 9, 10, 11}));
}

void writesDownWhereAllIs(Agent const& agent)
{
   std::ofstream file(notes());
   for (auto const& [block, address] : addressesOf(agent)) {
      file << block << ' ' << address << '\n';
   }
}

[[noreturn]] void diesInTheMiddleOfAWrite(Agent const& agent)
{
   stampAll(agent);
   agent.plug->unmount(agent.plugDescription.path()); // an orphan, which nobody cleans up any more
   auto const ring = agent.nicMount()->ring;
   auto const word = [&](std::int32_t field) {
      return reinterpret_cast<std::uint32_t*>(ring->addressVirtual(field, 5));
   };
   *word(RingEntry::statusNumber) = 0; // not whole
   *word(RingEntry::commandNumber) = 4711;
   EXPECT_FALSE(testing::Test::HasFailure());
   std::raise(SIGKILL);
   std::abort(); // the process does not come here
}

} // namespace

void firstLife()
{
   auto const agent = born();
   mountsThree(agent);
   looksUpAndWrites(agent);
   servesADevice(agent); // from here on there have been two threads
   isRefusedAnotherDescription(agent);
   comesThroughRefusedMemory();
   comesThroughRefusedAllocations();
   comesThroughRefusedAllocationsOfNewBlocks();
   resetsAnEntry(agent);
   walksAllEntries(agent);
   writesDownWhereAllIs(agent);
   diesInTheMiddleOfAWrite(agent);
}

} // namespace Quorvel::Core::Test
