// The road of one mount, from the description to live addresses.

#include "support/ChangeRecorder.h"
#include "support/ManagerTest.h"
#include "support/MessageOf.h"

#include <Kro/Exception.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

namespace {

using Quorvel::Core::Memory::Control::Collection;
using Quorvel::Core::Memory::Control::Detail::Group;
using Quorvel::Core::Memory::Entity::managerFactory;
using Quorvel::Core::Memory::Info::Mount;
using Quorvel::Core::Test::ChangeRecorder;
using Quorvel::Core::Test::describeMount;
using Quorvel::Core::Test::describeRing;
using Quorvel::Core::Test::messageOf;
using Quorvel::Core::Test::PinmemRecorder;
using Quorvel::Core::Test::RingEntry;
using Quorvel::Core::Test::TestMount;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace Info = Quorvel::Core::Memory::Info;

class EntityManagerMount : public Quorvel::Core::Test::ManagerTest {};

TEST_F(EntityManagerMount, mountBuildsTheEntityOfTheNamedType)
{
   sut->mount(describeMount("a", "r"));

   auto const entity = sut->entify("a");
   EXPECT_EQ(&entity->fwkType(), &TestMount::kroType);
   EXPECT_EQ(entity->fullName(), "/m/zumem/a");
   EXPECT_EQ(sut->infoMount("a"), describeMount("a", "r"));
}

TEST_F(EntityManagerMount, mountGivesEveryEntryItsAddresses)
{
   sut->mount(describeMount("a", "r"));

   auto const mount = mounted("a");
   EXPECT_EQ(mount->ring->addressBus(RingEntry::commandNumber, 0), pinmem.addressBus("r.command.0"));
   EXPECT_EQ(mount->ring->addressBus(RingEntry::commandNumber, 7), pinmem.addressBus("r.command.1") + 48);
   EXPECT_EQ(mount->ring->addressBus(RingEntry::tailNumber, 3), pinmem.addressBus("r.tail.0") + 36);
   EXPECT_EQ(
      mount->ring->addressVirtual(RingEntry::statusNumber, 4),
      reinterpret_cast<std::uint64_t>(pinmem.bytes("r.status.1").data()));
   EXPECT_EQ(mount->buffer->addressBus(2, 1), pinmem.addressBus("r.bytes.0") + 64);
   EXPECT_EQ(
      messageOf<Kro::RangeException>([&] { mount->ring->addressBus(RingEntry::commandNumber, 8); }),
      "index 8 is out of range.");
}

TEST_F(EntityManagerMount, mountTakesCollectionsGroupsAndFieldsInAscendingOrder)
{
   sut->mount(describeMount("a", "r"));

   auto calls = pinmem.takeCalls();
   std::erase_if(calls, [](std::string const& call) { return !call.starts_with("map"); });
   EXPECT_THAT(
      calls, ElementsAre(
                "map 'r.bytes.0'", "map 'r.command.0'", "map 'r.status.0'", "map 'r.tail.0'", "map 'r.command.1'",
                "map 'r.status.1'", "map 'r.tail.1'"));
}

TEST_F(EntityManagerMount, mountSynchronizesEachCollectionOnceItsCapacityIsKnown)
{
   auto description = describeMount("a", "r");
   description.collectionIs(describeRing("r", 1));
   sut->mount(description);

   EXPECT_THAT(
      mounted("a")->synchronized,
      ElementsAre(
         "buffer 0 (2, 0)", "buffer 1 (2, 0)", "ring 0 (2, 4)", "ring 1 (2, 4)", "ring 2 (2, 4)", "ring 3 (2, 4)"));
   EXPECT_THAT(pinmem.bytes("r.status.0"), Each(PinmemRecorder::fresh));
}

TEST_F(EntityManagerMount, mountZeroesTheChunksInsteadOfSynchronizingWhenAsked)
{
   auto description = describeMount("a", "r");
   description.isZeroedMemoryOnMountingIs(true);

   sut->mount(description);

   EXPECT_THAT(mounted("a")->synchronized, IsEmpty());
   EXPECT_EQ(mounted("a")->ring->capacity(), 8U);
   for (auto const& [block, size] : {std::pair("r.command.0", 64U), std::pair("r.status.1", 16U)}) {
      EXPECT_THAT(pinmem.bytes(block).first(size), Each(std::byte{0}));
      EXPECT_THAT(pinmem.bytes(block).subspan(size), Each(PinmemRecorder::fresh));
   }
}

TEST_F(EntityManagerMount, mountZeroesJustTheDescribedBytesOfAChunk)
{
   Info::Collection collection("ring");
   collection.addGroup(0, 4);
   collection.addNameAttribute("command");
   collection.addNameAttribute("tail");
   collection.createChunk(0, "command", "odd", 61, false);
   collection.createChunk(0, "tail", "none", 0, false);
   Mount mount("a", "TestMount");
   mount.collectionIs(collection);
   mount.isZeroedMemoryOnMountingIs(true);

   sut->mount(mount);

   EXPECT_THAT(pinmem.bytes("odd").first(61), Each(std::byte{0}));
   EXPECT_THAT(pinmem.bytes("odd").subspan(61), Each(PinmemRecorder::fresh));
   EXPECT_EQ(store().chunk("none")->size(), 0U);
   EXPECT_THAT(pinmem.bytes("none"), Each(PinmemRecorder::fresh));
}

TEST_F(EntityManagerMount, mountSharesOneGroupAmongTheFields)
{
   auto const groups = Group::memAllocationTracker_.liveCount();

   sut->mount(describeMount("a", "r"));

   EXPECT_EQ(Group::memAllocationTracker_.liveCount(), groups + 3);
   auto const ring = mounted("a")->ring;
   for (auto const& attribute : ring->attribute()) {
      EXPECT_EQ(attribute.group(1), ring->group(1));
      EXPECT_EQ(attribute.chunk().size(), attribute.group().size());
   }
}

TEST_F(EntityManagerMount, mountSharesOneChunkAmongFieldsThatNameIt)
{
   Info::Collection collection("ring");
   collection.addGroup(0, 4);
   collection.addNameAttribute("command");
   collection.addNameAttribute("tail");
   collection.createChunk(0, "command", "one", 4096, false);
   collection.createChunk(0, "tail", "one", 4096, false);
   Mount mount("a", "TestMount");
   mount.collectionIs(collection);

   sut->mount(mount);

   EXPECT_THAT(pinmem.takeCalls(), SizeIs(2));
   EXPECT_EQ(
      mounted("a")->ring->attribute(RingEntry::commandNumber)->chunk(0),
      mounted("a")->ring->attribute(RingEntry::tailNumber)->chunk(0));
}

TEST_F(EntityManagerMount, mountsThatNameTheSameChunksShareThem)
{
   sut->mount(describeMount("a", "r"));
   pinmem.takeCalls();

   managerFactory("other")->mount(describeMount("a", "r"));
   sut->mount(describeMount("b", "r"));

   EXPECT_THAT(pinmem.takeCalls(), IsEmpty());
   for (auto const field : {RingEntry::commandNumber, RingEntry::statusNumber, RingEntry::tailNumber}) {
      EXPECT_EQ(mounted("a")->ring->addressBus(field, 7), mounted("b")->ring->addressBus(field, 7));
      EXPECT_EQ(mounted("a")->ring->addressVirtual(field, 7), mounted("b")->ring->addressVirtual(field, 7));
   }
}

TEST_F(EntityManagerMount, mountAsksForEachChunkAsItIsDescribed)
{
   Info::Collection collection("ring");
   collection.addGroup(0, 4);
   collection.addNameAttribute("command");
   collection.addNameAttribute("tail");
   collection.createChunk(0, "command", "bus", 64, false);
   collection.createChunk(0, "tail", "software", 48, true);
   Mount mount("a", "TestMount");
   mount.collectionIs(collection);

   sut->mount(mount);

   EXPECT_FALSE(store().chunk("bus")->isIncapableDma());
   EXPECT_EQ(store().chunk("bus")->size(), 64U);
   EXPECT_TRUE(store().chunk("software")->isIncapableDma());
   EXPECT_EQ(store().chunk("software")->size(), 48U);
   EXPECT_EQ(mounted("a")->ring->addressBus(RingEntry::tailNumber, 0), 0U);
}

TEST_F(EntityManagerMount, mountPublishesTheNewChunksAlone)
{
   ChangeRecorder const changes(*store().publisher());

   sut->mount(describeMount("a", "r"));
   sut->mount(describeMount("b", "r"));

   EXPECT_THAT(changes.changes(), SizeIs(7));
   EXPECT_EQ(changes.changes().front(), "chunk(258) r.bytes.0");
}

TEST_F(EntityManagerMount, mountJoinsTheChunkOfAGroupWithoutEntriesToo)
{
   Info::Collection collection("ring");
   collection.addGroup(0, 0);
   collection.addNameAttribute("command");
   collection.createChunk(0, "command", "none yet", 64, false);
   Mount mount("a", "TestMount");
   mount.collectionIs(collection);

   sut->mount(mount);

   auto const ring = mounted("a")->ring;
   EXPECT_EQ(ring->capacity(), 0U);
   ASSERT_NE(ring->group(0), nullptr);
   EXPECT_EQ(ring->attribute(RingEntry::commandNumber)->group(0), ring->group(0));
   EXPECT_EQ(ring->attribute(RingEntry::commandNumber)->chunk(0), store().chunk("none yet").get());
   EXPECT_THAT(mounted("a")->synchronized, IsEmpty());
}

TEST_F(EntityManagerMount, capacityCountsGroupsWithoutChunks)
{
   Info::Collection collection("ring");
   collection.addGroup(0, 4);
   collection.addGroup(1, 5);
   Mount mount("a", "TestMount");
   mount.collectionIs(collection);

   sut->mount(mount);

   EXPECT_EQ(mounted("a")->ring->capacity(), 9U);
   EXPECT_TRUE(mounted("a")->ring->group().empty());
   EXPECT_THAT(mounted("a")->synchronized, IsEmpty());
}

TEST_F(EntityManagerMount, capacityWrapsInto32Bits)
{
   Info::Collection collection("ring");
   collection.addGroup(0, 4294967295U);
   collection.addGroup(1, 2);
   Mount mount("a", "TestMount");
   mount.collectionIs(collection);

   sut->mount(mount);

   EXPECT_EQ(mounted("a")->ring->capacity(), 1U);
}

TEST_F(EntityManagerMount, mountWithoutCollectionsBuildsTheEntityAlone)
{
   sut->mount(Mount("a", "TestMount"));

   EXPECT_EQ(mounted("a")->ring->capacity(), 0U);
   EXPECT_THAT(pinmem.takeCalls(), IsEmpty());
}

TEST_F(EntityManagerMount, mountLooksAtTheViewByNumberAlone)
{
   Mount mount("a", "TestMount");
   Info::Collection refused("ring");
   refused.addNameAttribute("command");
   refused.addGroup(0, 4);
   EXPECT_THROW(mount.collectionIs(refused), std::invalid_argument);

   sut->mount(mount);

   EXPECT_EQ(mounted("a")->ring->capacity(), 0U);
}

} // namespace
