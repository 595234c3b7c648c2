#include <Quorvel/Core/Memory/Entity/Manager.h>

#include "support/ManagerTest.h"
#include "support/MessageOf.h"

#include <Kro/Exception.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using Quorvel::Core::Memory::Control::Collection;
using Quorvel::Core::Memory::Control::Detail::Attribute;
using Quorvel::Core::Memory::Control::Detail::Chunk;
using Quorvel::Core::Memory::Control::Detail::Group;
using Quorvel::Core::Memory::Entity::Manager;
using Quorvel::Core::Memory::Entity::managerFactory;
using Quorvel::Core::Memory::Info::Mount;
using Quorvel::Core::Test::brokenPromiseOf;
using Quorvel::Core::Test::describeMount;
using Quorvel::Core::Test::messageOf;
using Quorvel::Core::Test::TestMount;
using testing::ElementsAre;

class EntityManager : public Quorvel::Core::Test::ManagerTest {};

TEST_F(EntityManager, isMadeWithItsDirectory)
{
   EXPECT_EQ(sut->sysname(), "m");
   EXPECT_EQ(sut->nameDirectory(), "zumem");
   EXPECT_EQ(sut->directory()->fullName(), "/m/zumem");
   EXPECT_TRUE(sut->infoMount().empty());
   EXPECT_EQ(sut->useCount(), 1U);
   EXPECT_EQ(&sut->fwkType(), &Manager::kroType);
   EXPECT_EQ(&sut->typeData(), &Manager::kroType);
   EXPECT_EQ(sut->publisher(), nullptr);
}

TEST_F(EntityManager, factoryAndManagerIsGiveANewManagerEachTime)
{
   auto const other = managerFactory("m");
   auto const third = Manager::ManagerIs("m");
   auto const registered = Manager::instantiate("m");

   EXPECT_NE(other, sut);
   EXPECT_NE(third, sut);
   EXPECT_NE(third, other);
   EXPECT_NE(registered, third);
   EXPECT_EQ(other->directory(), sut->directory());
   EXPECT_EQ(registered->directory(), sut->directory());
}

TEST_F(EntityManager, instantiateGivesOneManagerForEachName)
{
   auto const first = Manager::instantiate("instantiate first");
   auto const second = Manager::instantiate("instantiate second");

   EXPECT_EQ(Manager::instantiate("instantiate first"), first);
   EXPECT_NE(first, second);
   EXPECT_EQ(first->useCount(), 2U);
   EXPECT_EQ(second->directory()->fullName(), "/instantiate second/zumem");
}

TEST_F(EntityManager, instantiateKeepsItsManagersWithoutOtherUsers)
{
   auto first = Manager::instantiate("kept");
   auto const* const address = first.get();
   first->infoMountIs(Mount("a", "T"));
   first.reset();

   auto const again = Manager::instantiate("kept");

   EXPECT_EQ(again.get(), address);
   EXPECT_EQ(again->infoMount().size(), 1U);
}

TEST_F(EntityManager, nameWithASlashIsRefusedAndNothingIsRegistered)
{
   auto const before = Manager::memAllocationTracker_.liveCount();

   auto const text = messageOf<Kro::NewEntityArgsException>([] { Manager::instantiate("a/b"); });
   auto const again = messageOf<Kro::NewEntityArgsException>([] { managerFactory("a/b"); });

   EXPECT_EQ(text, "an entity of type 'Kro::Dir' named 'a/b' cannot be made: a name cannot hold '/'");
   EXPECT_EQ(again, text);
   EXPECT_EQ(Manager::memAllocationTracker_.liveCount(), before);
   EXPECT_THAT(namesIn(*Kro::globalDir()), ElementsAre("m"));
}

TEST_F(EntityManager, emptyNameIsANameLikeAnyOther)
{
   auto const empty = managerFactory("");

   EXPECT_EQ(empty->directory()->fullName(), "//zumem");
}

TEST_F(EntityManager, initializeFindsTheDirectoryAgain)
{
   auto const* const before = sut->directory().get();
   auto const users = before->useCount();

   sut->initialize();

   EXPECT_EQ(sut->directory().get(), before);
   EXPECT_EQ(before->useCount(), users);
}

TEST_F(EntityManager, withoutADirectoryFindsNothingAndMountsNothing)
{
   Kro::globalDir()->createEntity("TestMount", "occupied");
   auto const other = managerFactory("occupied");
   ASSERT_EQ(other->directory(), nullptr);

   EXPECT_EQ(messageOf<Kro::EntityNotFoundException>([&] { other->entify("a"); }), "enity at path='a' does not exist.");
   EXPECT_EQ(brokenPromiseOf([&] { other->mount(describeMount("a", "r")); }), "Memory/Entity/Manager.cpp");
   EXPECT_EQ(brokenPromiseOf([&] { other->mount(describeMount("d/a", "r")); }), "Memory/Entity/Manager.cpp");
}

TEST_F(EntityManager, destructorLeavesWhatItMounted)
{
   sut->mount(describeMount("a", "r"));
   auto const entity = sut->entify("a");

   sut.reset();

   EXPECT_EQ(entity->fullName(), "/m/zumem/a");
   EXPECT_EQ(managerFactory("m")->entify("a"), entity);
}

TEST_F(EntityManager, isTracked)
{
   auto const before = Manager::memAllocationTracker_.liveCount();
   {
      auto const other = managerFactory("other");
      EXPECT_EQ(Manager::memAllocationTracker_.liveCount(), before + 1);
   }
   EXPECT_EQ(Manager::memAllocationTracker_.liveCount(), before);
}

TEST_F(EntityManager, infoMountIsKeepsACopyUnderItsPath)
{
   auto mount = describeMount("a", "r");

   sut->infoMountIs(mount);
   mount.collectionDelAll();

   EXPECT_EQ(sut->infoMount("a"), describeMount("a", "r"));
   sut->infoMountIs(mount);
   EXPECT_EQ(sut->infoMount("a"), mount);
   EXPECT_EQ(sut->infoMount().size(), 1U);
}

TEST_F(EntityManager, unknownDescriptionIsADefaultOne)
{
   EXPECT_EQ(sut->infoMount("a"), Mount("", ""));
   EXPECT_EQ(sut->infoMountDel("a"), Mount("", ""));
}

TEST_F(EntityManager, infoMountDelRemovesAndGivesBack)
{
   sut->infoMountIs(Mount("a", "T"));
   sut->infoMountIs(Mount("b", "T"));

   EXPECT_EQ(sut->infoMountDel("a"), Mount("a", "T"));

   EXPECT_EQ(sut->infoMount().size(), 1U);
   EXPECT_EQ(sut->infoMount("a"), Mount("", ""));
}

TEST_F(EntityManager, infoMountDelAllLeavesTheEntities)
{
   sut->mount(describeMount("a", "r"));

   sut->infoMountDelAll();

   EXPECT_TRUE(sut->infoMount().empty());
   EXPECT_NE(sut->entify("a"), nullptr);
}

TEST_F(EntityManager, entifyReportsAPathWithoutEntityAndCreatesNothing)
{
   sut->mount(describeMount("d/a", "r"));

   EXPECT_EQ(
      messageOf<Kro::EntityNotFoundException>([&] { sut->entify("q/w"); }), "enity at path='q/w' does not exist.");
   EXPECT_EQ(
      messageOf<Kro::EntityNotFoundException>([&] { sut->entify("d/a/b"); }), "enity at path='d/a/b' does not exist.");
   EXPECT_EQ(messageOf<Kro::EntityNotFoundException>([&] { sut->entify(""); }), "enity at path='' does not exist.");
   EXPECT_EQ(sut->entify("d")->fullName(), "/m/zumem/d");
   EXPECT_THAT(namesIn(*sut->directory()), ElementsAre("d"));
}

// ---- the road of one mount -------------------------------------------------------------------------------------------------

TEST_F(EntityManager, mountBuildsTheEntityOfTheNamedType)
{
   sut->mount(describeMount("a", "r"));

   auto const entity = sut->entify("a");
   EXPECT_EQ(&entity->fwkType(), &TestMount::kroType);
   EXPECT_EQ(entity->fullName(), "/m/zumem/a");
   EXPECT_EQ(sut->infoMount("a"), describeMount("a", "r"));
}

TEST_F(EntityManager, mountGivesEveryEntryItsAddresses)
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

TEST_F(EntityManager, mountTakesCollectionsGroupsAndFieldsInAscendingOrder)
{
   sut->mount(describeMount("a", "r"));

   auto calls = pinmem.takeCalls();
   std::erase_if(calls, [](std::string const& call) { return !call.starts_with("map"); });
   EXPECT_THAT(
      calls, ElementsAre(
                "map 'r.bytes.0'", "map 'r.command.0'", "map 'r.status.0'", "map 'r.tail.0'", "map 'r.command.1'",
                "map 'r.status.1'", "map 'r.tail.1'"));
}

TEST_F(EntityManager, mountSynchronizesEachCollectionOnceItsCapacityIsKnown)
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

TEST_F(EntityManager, mountZeroesTheChunksInsteadOfSynchronizingWhenAsked)
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

TEST_F(EntityManager, mountSharesOneGroupAmongTheFields)
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

TEST_F(EntityManager, mountSharesOneChunkAmongFieldsThatNameIt)
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

TEST_F(EntityManager, mountsThatNameTheSameChunksShareThem)
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

TEST_F(EntityManager, mountPublishesTheNewChunksAlone)
{
   ChangeRecorder const changes(*store().publisher());

   sut->mount(describeMount("a", "r"));
   sut->mount(describeMount("b", "r"));

   EXPECT_THAT(changes.changes(), SizeIs(7));
   EXPECT_EQ(changes.changes().front(), "chunk(258) r.bytes.0");
}

TEST_F(EntityManager, capacityCountsGroupsWithoutChunks)
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

TEST_F(EntityManager, capacityWrapsInto32Bits)
{
   Info::Collection collection("ring");
   collection.addGroup(0, 4294967295U);
   collection.addGroup(1, 2);
   Mount mount("a", "TestMount");
   mount.collectionIs(collection);

   sut->mount(mount);

   EXPECT_EQ(mounted("a")->ring->capacity(), 1U);
}

TEST_F(EntityManager, mountWithoutCollectionsBuildsTheEntityAlone)
{
   sut->mount(Mount("a", "TestMount"));

   EXPECT_EQ(mounted("a")->ring->capacity(), 0U);
   EXPECT_THAT(pinmem.takeCalls(), IsEmpty());
}

TEST_F(EntityManager, mountLooksAtTheViewByNumberAlone)
{
   Mount mount("a", "TestMount");
   Info::Collection refused("ring");
   refused.addNameAttribute("command");
   refused.addGroup(0, 4);
   EXPECT_THROW(mount.collectionIs(refused), std::invalid_argument);

   sut->mount(mount);

   EXPECT_EQ(mounted("a")->ring->capacity(), 0U);
}

// ---- paths -----------------------------------------------------------------------------------------------------------------

TEST_F(EntityManager, mountCreatesOrFindsTheDirectoriesOfThePath)
{
   sut->mount(describeMount("d1/d2/x", "x"));
   auto const directory = sut->entify("d1/d2");
   sut->mount(describeMount("d1/d2/y", "y"));

   EXPECT_EQ(sut->entify("d1/d2"), directory);
   EXPECT_EQ(&directory->fwkType(), &Kro::Dir::kroType);
   EXPECT_THAT(namesIn(*Orvo::dynamicCast<Kro::Dir>(directory)), UnorderedElementsAre("x", "y"));
   EXPECT_EQ(sut->entify("d1/d2/y")->fullName(), "/m/zumem/d1/d2/y");
}

TEST_F(EntityManager, piecesOfAPathAreTakenLiterally)
{
   for (auto const* path : {"/x", "d//x", "e/", "../x", "."}) {
      sut->mount(Mount(path, "TestMount"));
      EXPECT_EQ(&sut->entify(path)->fwkType(), &TestMount::kroType) << path;
      sut->mount(Mount(path, "TestMount"));
   }

   EXPECT_THAT(namesIn(*sut->directory()), UnorderedElementsAre("", "d", "e", "..", "."));
}

TEST_F(EntityManager, emptyPathIsTheEntityWithTheEmptyName)
{
   sut->mount(Mount("", "TestMount"));

   EXPECT_EQ(sut->entify("")->fullName(), "/m/zumem/");
   EXPECT_THAT(namesIn(*sut->directory()), ElementsAre(""));
}

TEST_F(EntityManager, emptyPieceThatIsAMountCannotHoldMore)
{
   sut->mount(Mount("", "TestMount"));

   EXPECT_EQ(
      messageOf<std::invalid_argument>([&] { sut->mount(Mount("/x", "TestMount")); }),
      "path='/x' leads through '', which is no directory.");
}

TEST_F(EntityManager, mountBelowAnEntityThatIsNoDirectoryFails)
{
   sut->mount(describeMount("x", "r"));

   auto const below = messageOf<std::invalid_argument>([&] { sut->mount(describeMount("x/y", "s")); });
   auto const deeper = messageOf<std::invalid_argument>([&] { sut->mount(describeMount("x/y/z", "s")); });

   EXPECT_EQ(below, "path='x/y' leads through 'x', which is no directory.");
   EXPECT_EQ(deeper, "path='x/y/z' leads through 'x', which is no directory.");
   EXPECT_EQ(mounted("x")->ring->capacity(), 8U);
   EXPECT_EQ(store().chunk("s.command.0"), nullptr);
   EXPECT_EQ(sut->infoMount("x/y"), describeMount("x/y", "s"));
}

TEST_F(EntityManager, mountBelowAMountThatIsADirectoryWorks)
{
   sut->mount(describeOddMount("d", "DirectoryMount"));
   sut->mount(describeMount("d/x", "r"));

   EXPECT_EQ(sut->entify("d/x")->parent(), sut->entify("d").get());
   EXPECT_EQ(Orvo::dynamicCast<DirectoryMount>(sut->entify("d"))->ring->capacity(), 4U);
}

TEST_F(EntityManager, managersOfDifferentNamesMountTheSamePathApart)
{
   auto const other = managerFactory("other");

   sut->mount(describeMount("a", "r"));
   other->mount(describeMount("a", "s"));

   EXPECT_NE(sut->entify("a"), other->entify("a"));
   EXPECT_EQ(other->entify("a")->fullName(), "/other/zumem/a");
}

// ---- mounting again --------------------------------------------------------------------------------------------------------

TEST_F(EntityManager, mountOfAnEqualDescriptionAgainDoesNothing)
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

TEST_F(EntityManager, mountOfADescriptionBuiltInAnotherOrderIsTheSame)
{
   sut->mount(describeMount("a", "r"));
   Mount other("a", "TestMount");
   other.collectionIs(describeBuffer("r"));
   other.collectionIs(describeRing("r"));

   sut->mount(other);

   EXPECT_THAT(mounted("a")->synchronized, SizeIs(10));
}

TEST_F(EntityManager, mountAgainWithTheFlagZeroesNothing)
{
   sut->mount(describeMount("a", "r"));
   fill("r.status.0", std::byte{7});
   auto zeroed = describeMount("a", "r");
   zeroed.isZeroedMemoryOnMountingIs(true);

   sut->mount(zeroed);

   EXPECT_THAT(pinmem.bytes("r.status.0"), Each(std::byte{7}));
   EXPECT_FALSE(sut->infoMount("a").isZeroedMemoryOnMounting());
}

TEST_F(EntityManager, mountOfAnotherDescriptionIsRefusedAndChangesNothing)
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

TEST_F(EntityManager, refusalNamesTheStoredDescription)
{
   sut->mount(Mount("d/a", "TestMount"));

   EXPECT_EQ(
      messageOf<std::invalid_argument>([&] { sut->mount(Mount("d/a", "MountWithNullControl")); }),
      "path='d/a' already exists with infoMount='Quorvel::Core::Memory::Info::Mount(collection={}, "
      "collectionInternal={}, path=\"d/a\", type=\"TestMount\", isZeroedMemoryOnMounting=false)'.");
}

TEST_F(EntityManager, mountOnAnEntityOfSomebodyElseIsRefusedWithTheDefaultDescription)
{
   sut->directory()->createEntity("TestMount", "a");

   EXPECT_EQ(
      messageOf<std::invalid_argument>([&] { sut->mount(Mount("a", "TestMount")); }),
      "path='a' already exists with infoMount='Quorvel::Core::Memory::Info::Mount(collection={}, "
      "collectionInternal={}, path=\"\", type=\"\", isZeroedMemoryOnMounting=false)'.");
   EXPECT_TRUE(sut->infoMount().empty());
}

TEST_F(EntityManager, mountOnAnEntityOfAnotherManagerOfTheNameIsRefused)
{
   sut->mount(describeMount("a", "r"));
   auto const other = managerFactory("m");

   EXPECT_THROW(other->mount(describeMount("a", "r")), std::invalid_argument);
}

TEST_F(EntityManager, mountOfTheDefaultDescriptionOnAnEntityWithTheEmptyNameDoesNothing)
{
   sut->directory()->createEntity("TestMount", "");

   sut->mount(Mount("", ""));

   EXPECT_TRUE(sut->infoMount().empty());
}

TEST_F(EntityManager, mountOfItsOwnStoredDescriptionWorks)
{
   sut->infoMountIs(describeMount("a", "r"));

   sut->mount(*sut->infoMount().begin());

   EXPECT_EQ(mounted("a")->ring->capacity(), 8U);
   EXPECT_EQ(sut->infoMount("a"), describeMount("a", "r"));
   sut->mountInternal(*sut->infoMount().begin());
   EXPECT_EQ(mounted("a")->ring->capacity(), 8U);
}

TEST_F(EntityManager, mountReplacesADescriptionWithoutEntity)
{
   sut->infoMountIs(Mount("a", "Old"));

   sut->mount(describeMount("a", "r"));

   EXPECT_EQ(sut->infoMount("a"), describeMount("a", "r"));
}

TEST_F(EntityManager, mountAfterTheEntityIsGoneBuildsItAnewOverTheSameChunks)
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

TEST_F(EntityManager, entityThatGoesLeavesItsChunksToTheStore)
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

TEST_F(EntityManager, mountInternalOnAMountedPathRebuildsInPlace)
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

// ---- what stops a mount ----------------------------------------------------------------------------------------------------

TEST_F(EntityManager, mountOfAnUnknownTypeFailsWithTheDescriptionStored)
{
   Mount const mount("d/a", "NoSuchType");

   auto const text = messageOf<Kro::TypeNotFoundException>([&] { sut->mount(mount); });

   EXPECT_EQ(text, "no registered type is named 'NoSuchType'");
   EXPECT_EQ(sut->infoMount("d/a"), mount);
   EXPECT_THAT(namesIn(*sut->directory()), ElementsAre("d"));
   EXPECT_THAT(namesIn(*Orvo::dynamicCast<Kro::Dir>(sut->entify("d"))), IsEmpty());
}

TEST_F(EntityManager, mountOfATypeThatIsNoEntityFails)
{
   EXPECT_EQ(
      messageOf<Kro::NewEntityArgsException>([&] { sut->mount(Mount("a", "RingEntry")); }),
      "an entity of type 'RingEntry' named 'a' cannot be made: the type cannot be made from a name");
   EXPECT_THAT(namesIn(*sut->directory()), IsEmpty());
}

TEST_F(EntityManager, mountPassesOnWhatTheTypesConstructorThrows)
{
   EXPECT_EQ(messageOf<std::runtime_error>([&] { sut->mount(describeOddMount("a", "MountThatThrows")); }), "no device");
   EXPECT_THAT(namesIn(*sut->directory()), IsEmpty());
   EXPECT_EQ(sut->infoMount("a"), describeOddMount("a", "MountThatThrows"));
}

TEST_F(EntityManager, mountOfATypeWithoutTheLiveCollectionFails)
{
   EXPECT_EQ(
      messageOf<Kro::AttrNotFoundException>([&] { sut->mount(describeOddMount("a", "MountWithoutControl")); }),
      "type 'MountWithoutControl' has no attribute 'ringControl'");
   EXPECT_THAT(pinmem.takeCalls(), IsEmpty());
   EXPECT_NE(sut->entify("a"), nullptr);
}

TEST_F(EntityManager, mountOfATypeWithSomethingElseAsLiveCollectionFails)
{
   EXPECT_EQ(
      messageOf<Kro::TypeException>([&] { sut->mount(describeOddMount("a", "MountWithTextAsControl")); }),
      "a slot of type 'Orvo::Ptr<Quorvel::Core::Memory::Control::Collection>' cannot be used as 'text'");
   EXPECT_THAT(pinmem.takeCalls(), IsEmpty());
}

TEST_F(EntityManager, mountOfATypeWithoutItsLiveCollectionInPlaceFails)
{
   EXPECT_EQ(
      messageOf<Kro::AttrNotFoundException>([&] { sut->mount(describeOddMount("a", "MountWithNullControl")); }),
      Orvo::join("attribute 'ringControl' of '", sut->directory()->fullName(), "/a' holds no live collection"));
   EXPECT_THAT(pinmem.takeCalls(), IsEmpty());
}

TEST_F(EntityManager, mountOfAFieldThatTheLiveCollectionLacksFailsBehindItsChunk)
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

TEST_F(EntityManager, mountWithoutSynchronizerFailsBehindTheCapacity)
{
   EXPECT_THROW(sut->mount(describeOddMount("a", "MountWithoutSynchronizer")), std::bad_function_call);

   EXPECT_EQ(Orvo::dynamicCast<MountWithoutSynchronizer>(sut->entify("a"))->ring->capacity(), 4U);
   EXPECT_NE(store().chunk("odd.status.0"), nullptr);
   EXPECT_EQ(sut->infoMount("a"), describeOddMount("a", "MountWithoutSynchronizer"));
}

TEST_F(EntityManager, mountWithoutSynchronizerWorksWhereTheMemoryIsZeroed)
{
   auto mount = describeOddMount("a", "MountWithoutSynchronizer");
   mount.isZeroedMemoryOnMountingIs(true);

   sut->mount(mount);

   EXPECT_EQ(Orvo::dynamicCast<MountWithoutSynchronizer>(sut->entify("a"))->ring->capacity(), 4U);
}

TEST_F(EntityManager, mountOfAChunkOfAnotherSizeFailsAndAgainIsSilent)
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

TEST_F(EntityManager, mountWithoutMemoryFailsWithWhatWasBuiltInPlace)
{
   pinmem.failAlloc(3);

   EXPECT_EQ(brokenPromiseOf([&] { sut->mount(describeMount("a", "r")); }), "Memory/Control/Detail/Chunk.cpp");

   EXPECT_EQ(store().chunk().size(), 2U);
   EXPECT_EQ(store().chunk("r.status.0"), nullptr);
   EXPECT_EQ(mounted("a")->buffer->addressBus(2, 0), pinmem.addressBus("r.bytes.0"));
   EXPECT_EQ(sut->infoMount("a"), describeMount("a", "r"));
}

TEST_F(EntityManager, mountGoesWellAfterAFailureAndTheEntityIsGone)
{
   pinmem.failMap(3);
   EXPECT_THROW(sut->mount(describeMount("a", "r")), Quorvel::Utility::AffirmException);
   sut->directory()->deleteEntity("a");

   sut->mount(describeMount("a", "r"));

   EXPECT_EQ(mounted("a")->ring->capacity(), 8U);
   EXPECT_EQ(store().chunk().size(), 7U);
}

TEST_F(EntityManager, mountOfALiveGroupElsewhereFailsBehindTheZeroing)
{
   sut->mount(describeMount("a", "r"));
   fill("r.bytes.0", std::byte{7});
   Info::Collection collection("buffer");
   collection.addGroup(0, 2, 5);
   collection.addNameAttribute("bytes");
   collection.createChunk(0, "bytes", "r.bytes.0", 128, false);
   Mount other("a", "TestMount");
   other.collectionIs(collection);
   other.isZeroedMemoryOnMountingIs(true);

   auto const text = messageOf<Kro::ReinstantiatingException>([&] { sut->mountInternal(other); });

   EXPECT_EQ(text, "Memory/Control/Collection group 0: head=5 is asked for, but head=0 exists");
   EXPECT_THAT(pinmem.bytes("r.bytes.0").first(128), Each(std::byte{0}));
   EXPECT_EQ(mounted("a")->buffer->group(0)->head(), 0U);
}

TEST_F(EntityManager, mountPassesOnWhatTheSynchronizerThrows)
{
   sut->mount(Mount("a", "TestMount"));
   auto const entity = mounted("a");
   entity->ring->synchronizerIs([](std::uint32_t /*index*/) { throw std::runtime_error("device"); });

   EXPECT_EQ(messageOf<std::runtime_error>([&] { sut->mountInternal(describeMount("a", "r")); }), "device");
   EXPECT_EQ(entity->ring->capacity(), 8U);
}

TEST_F(EntityManager, synchronizerMayMountSomethingElse)
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

TEST_F(EntityManager, mountOfADescriptionWithoutCollectionsMakesTheStore)
{
   sut->mount(Mount("bare", "TestMount"));

   EXPECT_NE(Kro::Entity::singletonExists("Quorvel::Core::Memory::Control::Detail::StoreChunk"), nullptr);
}

TEST_F(EntityManager, instantiateFromASubscriberGivesTheSameManager)
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

} // namespace
