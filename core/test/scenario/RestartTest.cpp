// Lives of agents over the real pinned-memory library: mount, end, start again.

#include "support/MemoryDomain.h"
#include "support/TestMount.h"

#include <Quorvel/Core/Memory/Control/Detail/StoreChunk.h>
#include <Quorvel/Core/Memory/Entity/Manager.h>

#include <pinmem/pinmem.h>

#include <gtest/gtest.h>

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include <unistd.h>

namespace {

using Quorvel::Core::Memory::Control::Collection;
using Quorvel::Core::Memory::Control::Detail::StoreChunk;
using Quorvel::Core::Memory::Entity::Manager;
using Quorvel::Core::Test::BufferEntry;
using Quorvel::Core::Test::ChildResult;
using Quorvel::Core::Test::describeMount;
using Quorvel::Core::Test::MemoryDomain;
using Quorvel::Core::Test::RingEntry;
using Quorvel::Core::Test::TestMount;

Orvo::Ptr<TestMount> mountRing(bool isZeroed = false)
{
   auto description = describeMount("device/queues", "dev0");
   description.isZeroedMemoryOnMountingIs(isZeroed);
   auto const manager = Manager::instantiate("agent");
   manager->mount(description);
   return Orvo::dynamicCast<TestMount>(manager->entify("device/queues"));
}

/// Prints the bus address of every field of every entry.
void printAddressesBus(TestMount const& mount)
{
   for (std::uint32_t index = 0; index < mount.ring->capacity(); ++index) {
      for (auto const& attribute : mount.ring->attribute()) {
         std::printf("%d %u %lx\n", attribute.id(), index, mount.ring->addressBus(attribute.id(), index));
      }
   }
   for (std::uint32_t index = 0; index < mount.buffer->capacity(); ++index) {
      std::printf("buffer %u %lx\n", index, mount.buffer->addressBus(BufferEntry::bytesNumber, index));
   }
}

std::uint32_t& statusOf(TestMount const& mount, std::uint32_t index)
{
   return *reinterpret_cast<std::uint32_t*>(mount.ring->addressVirtual(RingEntry::statusNumber, index));
}

char* bufferOf(TestMount const& mount, std::uint32_t index)
{
   return reinterpret_cast<char*>(mount.buffer->addressVirtual(BufferEntry::bytesNumber, index));
}

/// Writes what the next process is to find.
void leaveTraces(TestMount const& mount)
{
   for (std::uint32_t index = 0; index < 8; ++index) {
      statusOf(mount, index) = 1000 + index;
   }
   std::strcpy(bufferOf(mount, 1), "left by the first process");
}

void printTraces(TestMount const& mount)
{
   for (std::uint32_t index = 0; index < 8; ++index) {
      std::printf("%u ", statusOf(mount, index));
   }
   std::printf("'%s'", bufferOf(mount, 1));
}

constexpr char const* traces = "1000 1001 1002 1003 1004 1005 1006 1007 'left by the first process'";

TEST(Restart, firstMountReadsZeroAndEveryFieldHasAnAddressOfItsOwn)
{
   MemoryDomain const domain;

   auto const result = domain.run([] {
      auto const mount = mountRing();
      printTraces(*mount);
      for (auto const& attribute : mount->ring->attribute()) {
         auto const id = attribute.id();
         for (std::uint32_t index = 1; index < 8; ++index) {
            if (mount->ring->addressBus(id, index) == mount->ring->addressBus(id, index - 1)) {
               std::printf("same address");
            }
         }
      }
   });

   EXPECT_EQ(result.output, "0 0 0 0 0 0 0 0 ''");
   EXPECT_EQ(result.errors, "");
   EXPECT_EQ(result.status, 0);
}

TEST(Restart, secondProcessFindsTheSameBusAddresses)
{
   MemoryDomain const domain;
   auto const print = [] { printAddressesBus(*mountRing()); };

   auto const first = domain.run(print);
   auto const second = domain.run(print);

   EXPECT_EQ(first.status, 0);
   EXPECT_NE(first.output, "");
   EXPECT_EQ(second.output, first.output);
}

TEST(Restart, secondProcessFindsTheBytesOfTheFirst)
{
   MemoryDomain const domain;
   domain.run([] { leaveTraces(*mountRing()); });

   auto const second = domain.run([] { printTraces(*mountRing()); });

   EXPECT_EQ(second.output, traces);
}

TEST(Restart, secondProcessFindsTheBytesOfOneThatWasKilled)
{
   MemoryDomain const domain;
   auto const first = domain.run([] {
      leaveTraces(*mountRing());
      ::raise(SIGKILL);
   });
   EXPECT_EQ(first.status, 256 + SIGKILL);

   auto const second = domain.run([] { printTraces(*mountRing()); });

   EXPECT_EQ(second.output, traces);
}

TEST(Restart, secondProcessThatZeroesFindsNothing)
{
   MemoryDomain const domain;
   domain.run([] { leaveTraces(*mountRing()); });

   auto const second = domain.run([] { printTraces(*mountRing(true)); });

   EXPECT_EQ(second.output, "0 0 0 0 0 0 0 0 ''");
}

TEST(Restart, anotherOrderOfMountsChangesNoAddress)
{
   MemoryDomain const domain;
   auto const first = domain.run([] { printAddressesBus(*mountRing()); });

   auto const second = domain.run([] {
      Manager::instantiate("other")->mount(describeMount("a", "other"));
      printAddressesBus(*mountRing());
   });

   EXPECT_EQ(second.output, first.output);
}

TEST(Restart, twoProcessesAtATimeShareTheMemory)
{
   MemoryDomain const domain;

   auto const outer = domain.run([&] {
      auto const mount = mountRing();
      auto const inner = domain.run([] { leaveTraces(*mountRing()); });
      printTraces(*mount);
   });

   EXPECT_EQ(outer.output, traces);
}

TEST(Restart, oneProcessSharesABlockAmongMounts)
{
   MemoryDomain const domain;

   auto const result = domain.run([] {
      auto const manager = Manager::instantiate("agent");
      manager->mount(describeMount("a", "dev0"));
      manager->mount(describeMount("b", "dev0"));
      auto const first = Orvo::dynamicCast<TestMount>(manager->entify("a"));
      auto const second = Orvo::dynamicCast<TestMount>(manager->entify("b"));
      std::strcpy(bufferOf(*first, 0), "shared");
      std::printf("%s %zu", bufferOf(*second, 0), StoreChunk::instance()->chunk().size());
   });

   EXPECT_EQ(result.output, "shared 7");
}

TEST(Restart, chunkThatIsForgottenAndAskedForAgainIsTheSameBlock)
{
   MemoryDomain const domain;

   auto const result = domain.run([] {
      auto const store = StoreChunk::instance();
      auto chunk = store->chunkIs("block", 64, false);
      auto const addressBus = chunk->addressBus();
      std::strcpy(reinterpret_cast<char*>(chunk->addressVirtual()), "kept");
      chunk.reset();
      store->chunkDel("block");
      chunk = store->chunkIs("block", 64, false);
      std::printf(
         "%s %d", reinterpret_cast<char*>(chunk->addressVirtual()),
         static_cast<int>(chunk->addressBus() == addressBus));
   });

   EXPECT_EQ(result.output, "kept 1");
}

} // namespace
