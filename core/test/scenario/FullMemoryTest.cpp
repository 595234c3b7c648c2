// Memory that runs out in the middle of a mount, for real: over the real pinned-memory library, in a file system of a few
// pages.

#include "support/MemoryDomain.h"
#include "support/MessageOf.h"
#include "support/TestMount.h"

#include <Quorvel/Core/Memory/Control/Detail/StoreChunk.h>
#include <Quorvel/Core/Memory/Entity/Manager.h>

#include <pinmem/pinmem.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>

#include <sched.h>
#include <sys/mount.h>

namespace {

using Quorvel::Core::Memory::Control::Detail::StoreChunk;
using Quorvel::Core::Memory::Entity::Manager;
using Quorvel::Core::Test::brokenPromiseOf;
using Quorvel::Core::Test::ChildResult;
using Quorvel::Core::Test::MemoryDomain;
using Quorvel::Core::Test::TestMount;
using testing::MatchesRegex;

namespace Info = Quorvel::Core::Memory::Info;

constexpr std::uint32_t block = 256U << 10U; ///< bytes of each block
constexpr int unavailable = 77;              ///< status of a child that cannot have a file system of its own

/// Runs `body` where PINMEM_DIR is a file system of a megabyte that goes with the process.
ChildResult inFewPages(MemoryDomain const& domain, std::function<void()> const& body)
{
   return domain.run([&] {
      // Nobody else sees the mount: the child has mount points of its own.
      bool const isPrivate =
         ::unshare(CLONE_NEWNS) == 0 && ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
      if (!isPrivate || ::mount("tmpfs", domain.path().c_str(), "tmpfs", 0, "size=1m") != 0) {
         std::exit(unavailable);
      }
      body();
   });
}

/// A ring of eight groups whose field `command` has a block in each.
Info::Mount describeMount()
{
   Info::Collection collection("ring");
   collection.addNameAttribute("command");
   for (std::uint32_t id = 0; id < 8; ++id) {
      collection.addGroup(id, 4);
      collection.createChunk(id, "command", Orvo::join("block ", id), block, false);
   }
   Info::Mount mount("a", "TestMount");
   mount.collectionIs(collection);
   return mount;
}

void printState(Manager const& manager)
{
   auto const mount = Orvo::dynamicCast<TestMount>(manager.entify("a"));
   auto const& command = *mount->ring->attribute(Quorvel::Core::Test::RingEntry::commandNumber);
   std::printf(
      "%zu chunks, %zu in the field, capacity %u\n", StoreChunk::instance()->chunk().size(), command.chunk().size(),
      mount->ring->capacity());
}

TEST(FullMemory, mountThatRunsOutOfItKeepsWhatItHasAndCanGoOnWhenThereIsMore)
{
   MemoryDomain const domain;

   auto const result = inFewPages(domain, [&] {
      auto const manager = Manager::instantiate("agent");
      std::printf("%s\n", brokenPromiseOf([&] { manager->mount(describeMount()); }).c_str());
      std::printf("%s\n", pinmem_last_error());
      printState(*manager);
      // What was had can be written.
      for (auto const& chunk : StoreChunk::instance()->chunk()) {
         std::fill_n(reinterpret_cast<char*>(chunk->addressVirtual()), block, 'x');
      }
      std::fflush(stdout);

      ::mount("tmpfs", domain.path().c_str(), "tmpfs", MS_REMOUNT, "size=16m");
      manager->directory()->deleteEntity("a");
      manager->mount(describeMount());
      printState(*manager);
      auto const first = StoreChunk::instance()->chunk("block 0");
      std::printf("%c", *reinterpret_cast<char const*>(first->addressVirtual()));
   });

   if (result.status == unavailable) {
      GTEST_SKIP()
         << "no file system can be mounted here, which takes root; the same is tested with a stand-in for the "
            "pinned-memory library";
   }
   EXPECT_EQ(result.errors, "");
   EXPECT_EQ(result.status, 0);
   // The library's own files take some of the megabyte.
   EXPECT_THAT(
      result.output, MatchesRegex("Memory/Control/Detail/Chunk.cpp\n"
                                  "pinmem: 'block [1-3]': 262144 bytes cannot be had in '.*/data': No space left on "
                                  "device; .*\n"
                                  "([1-3]) chunks, [1-3] in the field, capacity 0\n"
                                  "8 chunks, 8 in the field, capacity 32\n"
                                  "x"));
}

} // namespace
