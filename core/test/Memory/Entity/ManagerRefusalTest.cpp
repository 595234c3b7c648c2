// What stops a mount, and what it leaves behind.

#include "support/ChangeRecorder.h"
#include "support/ManagerTest.h"
#include "support/MessageOf.h"

#include <Kro/Exception.h>
#include <Orvo/Subscriber.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>

namespace {

using Quorvel::Core::Memory::Control::Collection;
using Quorvel::Core::Memory::Control::Detail::Chunk;
using Quorvel::Core::Memory::Entity::Manager;
using Quorvel::Core::Memory::Info::Mount;
using Quorvel::Core::Test::brokenPromiseOf;
using Quorvel::Core::Test::BufferEntry;
using Quorvel::Core::Test::ChangeRecorder;
using Quorvel::Core::Test::describeMount;
using Quorvel::Core::Test::describeOddMount;
using Quorvel::Core::Test::messageOf;
using Quorvel::Core::Test::MountWithoutStatus;
using Quorvel::Core::Test::MountWithoutSynchronizer;
using Quorvel::Core::Test::PinmemRecorder;
using Quorvel::Core::Test::RingEntry;
using Quorvel::Core::Test::TestMount;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace Info = Quorvel::Core::Memory::Info;

class EntityManagerRefusal : public Quorvel::Core::Test::ManagerTest {};

TEST_F(EntityManagerRefusal, mountOfAnUnknownTypeFailsWithTheDescriptionStored)
{
   Mount const mount("d/a", "NoSuchType");

   auto const text = messageOf<Kro::TypeNotFoundException>([&] { sut->mount(mount); });

   EXPECT_EQ(text, "no registered type is named 'NoSuchType'");
   EXPECT_EQ(sut->infoMount("d/a"), mount);
   EXPECT_THAT(namesIn(*sut->directory()), ElementsAre("d"));
   EXPECT_THAT(namesIn(*Orvo::dynamicCast<Kro::Dir>(sut->entify("d"))), IsEmpty());
}

TEST_F(EntityManagerRefusal, mountPassesOnWhatTheTypesConstructorThrows)
{
   EXPECT_EQ(messageOf<std::runtime_error>([&] { sut->mount(describeOddMount("a", "MountThatThrows")); }), "no device");
   EXPECT_THAT(namesIn(*sut->directory()), IsEmpty());
   EXPECT_EQ(sut->infoMount("a"), describeOddMount("a", "MountThatThrows"));
}

TEST_F(EntityManagerRefusal, mountOfATypeWithoutTheLiveCollectionFails)
{
   EXPECT_EQ(
      messageOf<Kro::AttrNotFoundException>([&] { sut->mount(describeOddMount("a", "MountWithoutControl")); }),
      "type 'MountWithoutControl' has no attribute 'ringControl'");
   EXPECT_THAT(pinmem.takeCalls(), IsEmpty());
   EXPECT_NE(sut->entify("a"), nullptr);
}

TEST_F(EntityManagerRefusal, mountOfATypeWithSomethingElseAsLiveCollectionFails)
{
   EXPECT_EQ(
      messageOf<Kro::TypeException>([&] { sut->mount(describeOddMount("a", "MountWithTextAsControl")); }),
      Orvo::join(
         "attribute 'ringControl' of '", sut->directory()->fullName(),
         "/a' is of type 'text', which is no live collection"));
   EXPECT_THAT(pinmem.takeCalls(), IsEmpty());
}

TEST_F(EntityManagerRefusal, mountOfATypeWithoutItsLiveCollectionInPlaceFails)
{
   EXPECT_EQ(
      messageOf<Kro::AttrNotFoundException>([&] { sut->mount(describeOddMount("a", "MountWithNullControl")); }),
      Orvo::join("attribute 'ringControl' of '", sut->directory()->fullName(), "/a' holds no live collection"));
   EXPECT_THAT(pinmem.takeCalls(), IsEmpty());
}

TEST_F(EntityManagerRefusal, mountOfAFieldThatTheLiveCollectionLacksFailsBehindItsChunk)
{
   auto mount = describeOddMount("a", "MountWithoutStatus");
   mount.isZeroedMemoryOnMountingIs(true);

   EXPECT_EQ(
      messageOf<Kro::AttrNotFoundException>([&] { sut->mount(mount); }),
      "the live collection has no field 'status', which chunk 'odd.status.0' of group with id=0 is for");

   auto const ring = Orvo::dynamicCast<MountWithoutStatus>(sut->entify("a"))->ring;
   EXPECT_NE(store().chunk("odd.status.0"), nullptr);
   EXPECT_THAT(pinmem.bytes("odd.command.0").first(64), Each(std::byte{0}));
   EXPECT_THAT(pinmem.bytes("odd.status.0"), Each(PinmemRecorder::fresh));
   EXPECT_EQ(ring->capacity(), 0U);
   EXPECT_EQ(ring->addressBus(RingEntry::commandNumber, 0), pinmem.addressBus("odd.command.0"));
}

TEST_F(EntityManagerRefusal, mountWithoutSynchronizerFailsBehindTheCapacity)
{
   EXPECT_THROW(sut->mount(describeOddMount("a", "MountWithoutSynchronizer")), std::bad_function_call);

   EXPECT_EQ(Orvo::dynamicCast<MountWithoutSynchronizer>(sut->entify("a"))->ring->capacity(), 4U);
   EXPECT_NE(store().chunk("odd.status.0"), nullptr);
   EXPECT_EQ(sut->infoMount("a"), describeOddMount("a", "MountWithoutSynchronizer"));
}

TEST_F(EntityManagerRefusal, mountWithoutSynchronizerWorksWhereTheMemoryIsZeroed)
{
   auto mount = describeOddMount("a", "MountWithoutSynchronizer");
   mount.isZeroedMemoryOnMountingIs(true);

   sut->mount(mount);

   EXPECT_EQ(Orvo::dynamicCast<MountWithoutSynchronizer>(sut->entify("a"))->ring->capacity(), 4U);
}

TEST_F(EntityManagerRefusal, mountOfAChunkOfAnotherSizeFailsAndAgainIsSilent)
{
   auto const existing = store().chunkIs("r.status.0", 4096, false);
   ChangeRecorder const changes(*store().publisher());

   auto const text = messageOf<Kro::ReinstantiatingException>([&] { sut->mount(describeMount("a", "r")); });

   EXPECT_EQ(text, "Memory/Control/Chunk 'r.status.0': size=16 is asked for, but size=4096 exists");
   EXPECT_EQ(existing->useCount(), 2U);
   EXPECT_THAT(changes.changes(), ElementsAre("chunk(258) r.bytes.0", "chunk(258) r.command.0"));
   EXPECT_EQ(mounted("a")->buffer->capacity(), 2U);
   EXPECT_EQ(mounted("a")->ring->capacity(), 0U);

   sut->mount(describeMount("a", "r"));
   EXPECT_EQ(mounted("a")->ring->capacity(), 0U);
}

TEST_F(EntityManagerRefusal, mountWithoutMemoryFailsWithWhatWasBuiltInPlace)
{
   pinmem.failAlloc(3);

   EXPECT_EQ(brokenPromiseOf([&] { sut->mount(describeMount("a", "r")); }), "Memory/Control/Detail/Chunk.cpp");

   EXPECT_EQ(store().chunk().size(), 2U);
   EXPECT_EQ(store().chunk("r.status.0"), nullptr);
   EXPECT_EQ(mounted("a")->buffer->addressBus(2, 0), pinmem.addressBus("r.bytes.0"));
   EXPECT_EQ(sut->infoMount("a"), describeMount("a", "r"));
}

TEST_F(EntityManagerRefusal, mountGoesWellAfterAFailureAndTheEntityIsGone)
{
   pinmem.failMap(3);
   EXPECT_THROW(sut->mount(describeMount("a", "r")), Quorvel::Utility::AffirmException);
   sut->directory()->deleteEntity("a");

   sut->mount(describeMount("a", "r"));

   EXPECT_EQ(mounted("a")->ring->capacity(), 8U);
   EXPECT_EQ(store().chunk().size(), 7U);
}

TEST_F(EntityManagerRefusal, mountOfALiveGroupElsewhereFailsBehindTheZeroing)
{
   sut->mount(describeMount("a", "r"));
   Info::Collection collection("buffer");
   collection.addGroup(0, 2, 5);
   collection.addNameAttribute("bytes");
   collection.createChunk(0, "bytes", "other", 128, false);
   Mount other("a", "TestMount");
   other.collectionIs(collection);
   other.isZeroedMemoryOnMountingIs(true);

   auto const text = messageOf<Kro::ReinstantiatingException>([&] { sut->mountInternal(other); });

   EXPECT_EQ(text, "Memory/Control/Collection group 0: head=5 is asked for, but head=0 exists");
   EXPECT_THAT(pinmem.bytes("other").first(128), Each(std::byte{0}));
   EXPECT_EQ(mounted("a")->buffer->group(0)->head(), 0U);
   EXPECT_EQ(mounted("a")->buffer->attribute(BufferEntry::bytesNumber)->chunk(0), store().chunk("r.bytes.0").get());
}

TEST_F(EntityManagerRefusal, mountPassesOnWhatTheSynchronizerThrows)
{
   sut->mount(Mount("a", "TestMount"));
   auto const entity = mounted("a");
   entity->ring->synchronizerIs([](std::uint32_t /*index*/) { throw std::runtime_error("device"); });

   EXPECT_EQ(messageOf<std::runtime_error>([&] { sut->mountInternal(describeMount("a", "r")); }), "device");
   EXPECT_EQ(entity->ring->capacity(), 8U);
}

TEST_F(EntityManagerRefusal, synchronizerMayMountSomethingElse)
{
   sut->mount(Mount("a", "TestMount"));
   mounted("a")->buffer->synchronizerIs([&](std::uint32_t index) {
      sut->mount(describeMount(Orvo::join("inner ", index), "inner"));
      sut->infoMountDel("a");
   });

   sut->mountInternal(describeMount("a", "r"));

   EXPECT_EQ(mounted("a")->ring->capacity(), 8U);
   EXPECT_EQ(mounted("inner 1")->ring->capacity(), 8U);
}

TEST_F(EntityManagerRefusal, subscriberMayRemoveTheEntityThatIsBeingBuilt)
{
   auto const before = Collection::memAllocationTracker_.liveCount();
   auto least = before + 2;
   ChangeRecorder recorder(*store().publisher());
   recorder.thenDo([&](Orvo::Change const&) {
      sut->directory()->deleteEntity("a");
      least = std::min(least, Collection::memAllocationTracker_.liveCount());
   });

   sut->mount(describeMount("a", "r"));

   EXPECT_EQ(least, before + 2);
   EXPECT_EQ(Collection::memAllocationTracker_.liveCount(), before);
   EXPECT_THAT(namesIn(*sut->directory()), IsEmpty());
   EXPECT_EQ(store().chunk().size(), 7U);
}

TEST_F(EntityManagerRefusal, subscriberMayMakeTheEntityLetGoOfTheLiveCollectionThatIsBeingBuilt)
{
   auto const before = Collection::memAllocationTracker_.liveCount();
   auto least = before + 2;
   ChangeRecorder recorder(*store().publisher());
   recorder.thenDo([&](Orvo::Change const& change) {
      if (change.key.text() == "r.command.0") {
         mounted("a")->ring = nullptr;
      }
      least = std::min(least, Collection::memAllocationTracker_.liveCount());
   });

   auto description = describeMount("a", "r");
   description.isZeroedMemoryOnMountingIs(true); // a TestMount's synchronizers look at its rings

   sut->mount(description);

   EXPECT_EQ(least, before + 2);
   EXPECT_EQ(Collection::memAllocationTracker_.liveCount(), before + 1);
   EXPECT_EQ(store().chunk().size(), 7U);
}

TEST_F(EntityManagerRefusal, subscriberThatMountsTheSamePathBeforeItsEntityIsThereHasItBuiltTwice)
{
   ChangeRecorder recorder(*sut->directory()->publisher());
   recorder.thenDo([&](Orvo::Change const& change) {
      if (change.key.text() == "d") {
         sut->mount(describeMount("d/a", "r"));
      }
   });

   sut->mount(describeMount("d/a", "r"));

   EXPECT_THAT(mounted("d/a")->synchronized, SizeIs(20));
   EXPECT_EQ(mounted("d/a")->ring->capacity(), 8U);
}

TEST_F(EntityManagerRefusal, subscriberThatMountsTheSamePathWhenItsEntityIsThereFindsItUnbuilt)
{
   ChangeRecorder recorder(*sut->directory()->publisher());
   std::uint32_t capacity = 1;
   recorder.thenDo([&](Orvo::Change const&) {
      sut->mount(describeMount("a", "r"));
      capacity = mounted("a")->ring->capacity();
      EXPECT_THROW(sut->mount(describeMount("a", "s")), std::invalid_argument);
   });

   sut->mount(describeMount("a", "r"));

   EXPECT_EQ(capacity, 0U);
   EXPECT_EQ(mounted("a")->ring->capacity(), 8U);
}

TEST_F(EntityManagerRefusal, mountOfADescriptionWithoutCollectionsMakesTheStore)
{
   sut->mount(Mount("bare", "TestMount"));

   EXPECT_NE(Kro::Entity::singletonExists("Quorvel::Core::Memory::Control::Detail::StoreChunk"), nullptr);
}

TEST_F(EntityManagerRefusal, instantiateFromASubscriberGivesTheSameManager)
{
   Orvo::Ptr<Manager> inner;
   Orvo::CallbackSubscriber const subscriber(*Kro::globalDir()->publisher(), [&](Orvo::Change const& change) {
      if (inner == nullptr && change.key.text() == "fromASubscriber") {
         inner = Manager::instantiate("fromASubscriber");
      }
   });

   auto const outer = Manager::instantiate("fromASubscriber");

   EXPECT_NE(inner, nullptr);
   EXPECT_EQ(inner, outer);
   EXPECT_EQ(Manager::instantiate("fromASubscriber"), outer);
}

TEST_F(EntityManagerRefusal, instantiateRegistersItsManagerThoughASubscriberEndsTheName)
{
   auto name = std::make_unique<Orvo::String>("a name that a subscriber ends, too long to be kept in place");
   auto const copy = *name;
   Orvo::CallbackSubscriber const subscriber(
      *Kro::globalDir()->publisher(), [&](Orvo::Change const& /*change*/) { name.reset(); });

   auto const made = Manager::instantiate(*name);

   EXPECT_EQ(name, nullptr);
   EXPECT_EQ(Manager::instantiate(copy), made);
}

TEST_F(EntityManagerRefusal, subscriberMayLetGoOfTheManagerThatFindsItsDirectoryAgain)
{
   auto const before = Manager::memAllocationTracker_.liveCount();
   Kro::globalDir()->deleteEntity("m");
   auto whileMaking = before;
   Orvo::CallbackSubscriber const subscriber(*Kro::globalDir()->publisher(), [&](Orvo::Change const& /*change*/) {
      sut.reset();
      whileMaking = Manager::memAllocationTracker_.liveCount();
   });

   sut->initialize();

   EXPECT_EQ(whileMaking, before);
   EXPECT_EQ(Manager::memAllocationTracker_.liveCount(), before - 1);
}

} // namespace
