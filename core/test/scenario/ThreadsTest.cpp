// What several threads may do together: first uses of what the process has once, and looking up while nobody changes.

#include "support/Threads.h"
#include "support/TestMount.h"

#include <Quorvel/Core/Memory/Control/Detail/StoreChunk.h>
#include <Quorvel/Core/Memory/Entity/Manager.h>

#include <Kro/Exception.h>
#include <Kro/GenericIf.h>
#include <pinmem/Manager.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

namespace {

using Quorvel::Core::Memory::Control::Collection;
using Quorvel::Core::Memory::Control::Detail::StoreChunk;
using Quorvel::Core::Memory::Entity::Manager;
using Quorvel::Core::Test::onThreads;
using Quorvel::Core::Test::RingEntry;
using Quorvel::Core::Test::TestMount;
using Quorvel::Core::Test::threadCount;

/// Uses on many threads at once what nobody has used before.
template <class Singleton>
void expectOne(Orvo::Ptr<Singleton> (*firstUse)())
{
   ASSERT_EQ(Singleton::memAllocationTracker_.allocations(), 0U);
   std::array<Orvo::Ptr<Singleton>, threadCount> found;

   onThreads([&](std::size_t i) { found[i] = firstUse(); });

   for (auto const& singleton : found) {
      EXPECT_NE(singleton, nullptr);
      EXPECT_EQ(singleton, found[0]);
   }
   EXPECT_EQ(Singleton::memAllocationTracker_.allocations(), 1U);
}

// The first of this program: ctest runs each test in a process of its own.
TEST(Threads, firstUseOfTheStoreGivesOneStore)
{
   expectOne(&StoreChunk::instance);
}

TEST(Threads, firstUseOfTheOrphanageGivesOneOrphanage)
{
   expectOne(&Manager::orphanage);
}

TEST(Threads, captureOfTheAgentNameTogetherKeepsTheOneOfTheLoad)
{
   auto const* const before = pinmem_lib::Manager::agentName;

   onThreads([](std::size_t) { pinmem_lib::Manager::captureAgentName(); });

   EXPECT_EQ(pinmem_lib::Manager::agentName, before);
}

class ThreadsOnCollection : public testing::Test {
protected:
   static constexpr std::uint32_t groups = 16;
   static constexpr std::uint32_t entries = 32; // of each group

   ThreadsOnCollection()
   {
      sut->attributesIs(RingEntry::kroType);
      for (std::uint32_t id = 0; id < groups; ++id) {
         auto const group = sut->groupIs(id, id * entries, entries);
         for (auto& attribute : sut->attribute()) {
            attribute.groupIs(group);
            attribute.chunkIs(
               id, StoreChunk::instance()->chunkIs(
                      Orvo::join("block ", id, " ", static_cast<std::uint32_t>(attribute.id())), 4096, false));
         }
      }
   }

   ~ThreadsOnCollection() override
   {
      sut.reset();
      StoreChunk::instance()->chunkDelAll();
   }

   Orvo::Ptr<Collection> sut = Orvo::make<Collection>(nullptr);
};

TEST_F(ThreadsOnCollection, addressesAreTheSameOnEveryThread)
{
   std::vector<std::uint64_t> expected;
   for (std::uint32_t index = 0; index < groups * entries; ++index) {
      expected.push_back(sut->addressBus(RingEntry::tailNumber, index));
   }
   std::atomic<int> wrong = 0;

   onThreads([&](std::size_t) {
      for (std::uint32_t index = 0; index < groups * entries; ++index) {
         auto const chunk = StoreChunk::instance()->chunk(Orvo::join("block ", index / entries, " 9"));
         wrong += sut->addressBus(RingEntry::tailNumber, index) != expected[index];
         wrong += sut->addressVirtual(RingEntry::tailNumber, index) != chunk->addressVirtual() + index % entries * 12;
      }
   });

   EXPECT_EQ(wrong, 0);
   EXPECT_EQ(StoreChunk::instance()->chunk("block 0 9")->useCount(), 3U);
}

TEST_F(ThreadsOnCollection, entriesAreResetBesideEachOther)
{
   onThreads([&](std::size_t i) {
      for (auto index = static_cast<std::uint32_t>(i); index < groups * entries; index += 8) {
         auto& status = *reinterpret_cast<std::uint32_t*>(sut->addressVirtual(RingEntry::statusNumber, index));
         status = index + 1;
         if (index % 2 == 0) {
            sut->reset(index);
         }
      }
   });

   for (std::uint32_t index = 0; index < groups * entries; ++index) {
      auto const status = *reinterpret_cast<std::uint32_t*>(sut->addressVirtual(RingEntry::statusNumber, index));
      EXPECT_EQ(status, index % 2 == 0 ? 0 : index + 1);
   }
}

TEST_F(ThreadsOnCollection, refusalsOnManyThreadsKeepTheirOwnTexts)
{
   std::atomic<int> wrong = 0;

   onThreads([&](std::size_t i) {
      auto const index = groups * entries + static_cast<std::uint32_t>(i);
      for (int repeat = 0; repeat < 100; ++repeat) {
         try {
            sut->addressBus(RingEntry::tailNumber, index);
            ++wrong;
         } catch (Kro::RangeException const& error) {
            wrong += error.what() != std::string("index ") + std::to_string(index) + " is out of range.";
         }
      }
   });

   EXPECT_EQ(wrong, 0);
}

TEST_F(ThreadsOnCollection, synchronizerIsCalledOnTheCallersThread)
{
   std::atomic<std::uint32_t> calls = 0;
   static thread_local std::uint32_t own;
   sut->synchronizerIs([&](std::uint32_t) {
      ++own;
      ++calls;
   });
   std::atomic<int> wrong = 0;

   onThreads([&](std::size_t) {
      sut->synchronizeAll();
      wrong += own != groups * entries;
   });

   EXPECT_EQ(calls, 8 * groups * entries);
   EXPECT_EQ(wrong, 0);
}

TEST_F(ThreadsOnCollection, reflectionReadsTogether)
{
   std::atomic<int> wrong = 0;

   onThreads([&](std::size_t) {
      for (std::uint32_t index = 0; index < 100; ++index) {
         std::int32_t number = RingEntry::commandNumber;
         std::uint64_t address = 0;
         std::array const arguments{Kro::GenericIf::of(number), Kro::GenericIf::of(index)};
         wrong += Kro::GenericIf::ofNode(*sut).call(137, arguments, Kro::GenericIf::of(address)) != Kro::success;
         wrong += address != sut->addressBus(RingEntry::commandNumber, index);
         wrong += &Kro::typeNode("TestMount") != &TestMount::kroType;
      }
   });

   EXPECT_EQ(wrong, 0);
}

TEST_F(ThreadsOnCollection, descriptionsAreCopiedAndComparedTogether)
{
   auto const original = Quorvel::Core::Test::describeMount("a/path/that/does/not/fit/in/place", "prefix");
   std::atomic<int> wrong = 0;

   onThreads([&](std::size_t) {
      for (int repeat = 0; repeat < 50; ++repeat) {
         auto copy = original;
         wrong += !(copy == original);
         copy.collectionDel("ring");
         wrong += copy == original;
      }
   });

   EXPECT_EQ(wrong, 0);
}

} // namespace
