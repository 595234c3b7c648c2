// Mounting where something is already.

#include "support/ManagerTest.h"
#include "support/MessageOf.h"

#include <KroOrvo/Impl.h>
#include <Orvo/Subscriber.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include <cstddef>
#include <stdexcept>
#include <string>

namespace {

using Quorvel::Core::Memory::Control::Collection;
using Quorvel::Core::Memory::Control::Detail::Attribute;
using Quorvel::Core::Memory::Control::Detail::Group;
using Quorvel::Core::Memory::Entity::managerFactory;
using Quorvel::Core::Memory::Info::Mount;
using Quorvel::Core::Test::describeBuffer;
using Quorvel::Core::Test::describeMount;
using Quorvel::Core::Test::describeRing;
using Quorvel::Core::Test::messageOf;
using Quorvel::Core::Test::RingEntry;
using Quorvel::Core::Test::TestMount;
using testing::Each;
using testing::IsEmpty;
using testing::SizeIs;

class EntityManagerRemount : public Quorvel::Core::Test::ManagerTest {};

TEST_F(EntityManagerRemount, mountOfAnEqualDescriptionAgainDoesNothing)
{
   sut->mount(describeMount("a", "r"));
   auto const entity = mounted("a");
   entity->synchronized.clear();
   pinmem.takeCalls();

   sut->mount(describeMount("a", "r"));

   EXPECT_EQ(mounted("a"), entity);
   EXPECT_THAT(entity->synchronized, IsEmpty());
   EXPECT_THAT(pinmem.takeCalls(), IsEmpty());
}

TEST_F(EntityManagerRemount, mountOfADescriptionBuiltInAnotherOrderIsTheSame)
{
   sut->mount(describeMount("a", "r"));
   Mount other("a", "TestMount");
   other.collectionIs(describeBuffer("r"));
   other.collectionIs(describeRing("r"));

   sut->mount(other);

   EXPECT_THAT(mounted("a")->synchronized, SizeIs(10));
}

TEST_F(EntityManagerRemount, mountAgainWithTheFlagZeroesNothing)
{
   sut->mount(describeMount("a", "r"));
   fill("r.status.0", std::byte{7});
   auto zeroed = describeMount("a", "r");
   zeroed.isZeroedMemoryOnMountingIs(true);

   sut->mount(zeroed);

   EXPECT_THAT(pinmem.bytes("r.status.0"), Each(std::byte{7}));
   EXPECT_FALSE(sut->infoMount("a").isZeroedMemoryOnMounting());
}

TEST_F(EntityManagerRemount, mountOfAnotherDescriptionIsRefusedAndChangesNothing)
{
   sut->mount(describeMount("a", "r"));
   auto const stored = sut->infoMount("a");
   auto const addressBus = mounted("a")->ring->addressBus(RingEntry::commandNumber, 0);
   pinmem.takeCalls();

   auto const text = messageOf<std::invalid_argument>([&] { sut->mount(describeMount("a", "other")); });

   EXPECT_EQ(
      text, "path='a' already exists with infoMount='" +
               std::string(KroOrvo::Impl::valueToStrep(Mount::kroType, &stored)) + "'.");
   EXPECT_EQ(sut->infoMount("a"), stored);
   EXPECT_EQ(mounted("a")->ring->addressBus(RingEntry::commandNumber, 0), addressBus);
   EXPECT_EQ(store().chunk("other.command.0"), nullptr);
   EXPECT_THAT(pinmem.takeCalls(), IsEmpty());
}

TEST_F(EntityManagerRemount, refusalNamesTheStoredDescription)
{
   sut->mount(Mount("d/a", "TestMount"));

   EXPECT_EQ(
      messageOf<std::invalid_argument>([&] { sut->mount(Mount("d/a", "MountWithNullControl")); }),
      "path='d/a' already exists with infoMount='Quorvel::Core::Memory::Info::Mount(collection={}, "
      "collectionInternal={}, path=\"d/a\", type=\"TestMount\", isZeroedMemoryOnMounting=false)'.");
}

TEST_F(EntityManagerRemount, mountOnAnEntityOfSomebodyElseIsRefusedWithTheDefaultDescription)
{
   sut->directory()->createEntity("TestMount", "a");

   EXPECT_EQ(
      messageOf<std::invalid_argument>([&] { sut->mount(Mount("a", "TestMount")); }),
      "path='a' already exists with infoMount='Quorvel::Core::Memory::Info::Mount(collection={}, "
      "collectionInternal={}, path=\"\", type=\"\", isZeroedMemoryOnMounting=false)'.");
   EXPECT_TRUE(sut->infoMount().empty());
}

TEST_F(EntityManagerRemount, mountOnAnEntityOfAnotherManagerOfTheNameIsRefused)
{
   sut->mount(describeMount("a", "r"));
   auto const other = managerFactory("m");

   EXPECT_THROW(other->mount(describeMount("a", "r")), std::invalid_argument);
}

TEST_F(EntityManagerRemount, mountOfTheDefaultDescriptionOnAnEntityWithTheEmptyNameDoesNothing)
{
   sut->directory()->createEntity("TestMount", "");

   sut->mount(Mount("", ""));

   EXPECT_TRUE(sut->infoMount().empty());
}

TEST_F(EntityManagerRemount, mountOfItsOwnStoredDescriptionWorks)
{
   sut->infoMountIs(describeMount("a", "r"));

   sut->mount(*sut->infoMount().begin());

   EXPECT_EQ(mounted("a")->ring->capacity(), 8U);
   EXPECT_EQ(sut->infoMount("a"), describeMount("a", "r"));
   sut->mountInternal(*sut->infoMount().begin());
   EXPECT_EQ(mounted("a")->ring->capacity(), 8U);
}

TEST_F(EntityManagerRemount, mountOfItsOwnStoredDescriptionWorksThoughASubscriberRemovesIt)
{
   sut->infoMountIs(describeMount("a", "r"));
   Orvo::CallbackSubscriber const subscriber(
      *store().publisher(), [&](Orvo::Change const& /*change*/) { sut->infoMountDelAll(); });

   sut->mount(*sut->infoMount().begin());

   EXPECT_EQ(mounted("a")->ring->capacity(), 8U);
   EXPECT_EQ(store().chunk().size(), 7U);
   EXPECT_TRUE(sut->infoMount().empty());
}

TEST_F(EntityManagerRemount, mountReplacesADescriptionWithoutEntity)
{
   sut->infoMountIs(Mount("a", "Old"));

   sut->mount(describeMount("a", "r"));

   EXPECT_EQ(sut->infoMount("a"), describeMount("a", "r"));
}

TEST_F(EntityManagerRemount, mountAfterTheEntityIsGoneBuildsItAnewOverTheSameChunks)
{
   sut->mount(describeMount("a", "r"));
   auto const addressBus = mounted("a")->ring->addressBus(RingEntry::commandNumber, 0);
   fill("r.command.0", std::byte{7});
   sut->directory()->deleteEntity("a");
   pinmem.takeCalls();

   sut->mount(describeMount("a", "r"));

   EXPECT_EQ(mounted("a")->ring->addressBus(RingEntry::commandNumber, 0), addressBus);
   EXPECT_THAT(pinmem.bytes("r.command.0"), Each(std::byte{7}));
   EXPECT_THAT(pinmem.takeCalls(), IsEmpty());
}

TEST_F(EntityManagerRemount, entityThatGoesLeavesItsChunksToTheStore)
{
   auto const live = [] {
      return std::vector{
         Collection::memAllocationTracker_.liveCount(), Attribute::memAllocationTracker_.liveCount(),
         Group::memAllocationTracker_.liveCount()};
   };
   auto const before = live();
   sut->mount(describeMount("a", "r"));
   ASSERT_NE(live(), before);

   sut->directory()->deleteEntity("a");

   EXPECT_EQ(live(), before);
   EXPECT_EQ(store().chunk("r.command.0")->useCount(), 2U);
   EXPECT_THAT(pinmem.stillMapped(), SizeIs(7));
}

TEST_F(EntityManagerRemount, mountInternalOnAMountedPathRebuildsInPlace)
{
   sut->mount(describeMount("a", "r"));
   auto const entity = mounted("a");
   entity->synchronized.clear();
   fill("r.bytes.0", std::byte{7});
   Mount other("a", "TestMount");
   other.collectionIs(describeBuffer("r"));
   other.isZeroedMemoryOnMountingIs(true);

   sut->mountInternal(other);

   EXPECT_EQ(mounted("a"), entity);
   EXPECT_EQ(sut->infoMount("a"), other);
   EXPECT_THAT(pinmem.bytes("r.bytes.0").first(128), Each(std::byte{0}));
   EXPECT_THAT(pinmem.bytes("r.bytes.0").subspan(128), Each(std::byte{7}));
}

TEST_F(EntityManagerRemount, mountInternalSynchronizesWhatTheLiveCollectionHasThoughNothingIsDescribed)
{
   sut->mount(describeMount("a", "r"));
   auto const entity = mounted("a");
   entity->synchronized.clear();
   Mount other("a", "TestMount");
   other.collectionIs(Quorvel::Core::Memory::Info::Collection("buffer"));

   sut->mountInternal(other);

   EXPECT_THAT(entity->synchronized, testing::ElementsAre("buffer 0 (0, 8)", "buffer 1 (0, 8)"));
}

} // namespace
