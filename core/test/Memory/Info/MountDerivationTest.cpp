#include <Quorvel/Core/Memory/Info/Mount.h>

#include "support/MessageOf.h"
#include "support/TestMount.h"

#include <Kro/Exception.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <stdexcept>
#include <vector>

namespace {

using Quorvel::Core::Memory::Info::Collection;
using Quorvel::Core::Memory::Info::Mount;
using Quorvel::Core::Memory::Info::Detail::Chunk;
using Quorvel::Core::Memory::Info::Detail::Group;
using Quorvel::Core::Test::describeMount;
using Quorvel::Core::Test::describeRing;
using Quorvel::Core::Test::messageOf;
using Quorvel::Core::Test::RingEntry;
using Quorvel::Core::Test::TestMount;
using testing::ElementsAre;

std::vector<int> numbersOf(Mount const& mount)
{
   std::vector<int> numbers;
   for (auto at = mount.collectionInternal().begin(); at != mount.collectionInternal().end(); ++at) {
      numbers.push_back(at.key());
   }
   return numbers;
}

/// Declares `command` and `status`, but has a chunk for `command` alone.
Collection ringWithoutStatus()
{
   Collection collection("ring");
   collection.addNameAttribute("command");
   collection.addNameAttribute("status");
   collection.addGroup(0, 4);
   collection.createChunk(0, "command", "c", 64, false);
   return collection;
}

TEST(InfoMount, collectionIsDerivesTheViewByNumber)
{
   Mount sut("a", "TestMount");

   sut.collectionIs(describeRing("r"));

   auto expected = describeRing("r");
   for (std::uint32_t const id : {0U, 1U}) {
      auto group = expected.group(id);
      group.chunkInternalIs(RingEntry::commandNumber, group.chunk("command"));
      group.chunkInternalIs(RingEntry::statusNumber, group.chunk("status"));
      group.chunkInternalIs(RingEntry::tailNumber, group.chunk("tail"));
      expected.groupIs(group);
   }
   EXPECT_THAT(numbersOf(sut), ElementsAre(TestMount::ringNumber));
   EXPECT_EQ(sut.collectionInternal(TestMount::ringNumber), expected);
}

TEST(InfoMount, viewByNumberAscendsWithNegativeNumbersFirst)
{
   auto const sut = describeMount("a", "r");

   EXPECT_THAT(numbersOf(sut), ElementsAre(TestMount::bufferNumber, TestMount::ringNumber));
   EXPECT_EQ(sut.collectionInternal(TestMount::bufferNumber).name(), "buffer");
}

TEST(InfoMount, collectionIsReplacesBothViews)
{
   auto sut = describeMount("a", "r");

   sut.collectionIs(describeRing("other", 3));

   EXPECT_EQ(sut.collection("ring"), describeRing("other", 3));
   EXPECT_EQ(sut.collectionInternal(TestMount::ringNumber).group().size(), 3U);
   EXPECT_EQ(
      sut.collectionInternal(TestMount::ringNumber).group(0).chunkInternal(RingEntry::statusNumber).name(),
      "other.status.0");
}

TEST(InfoMount, collectionIsLeavesAnEqualCollectionAlone)
{
   auto sut = describeMount("a", "r");
   sut.collectionInternalDelAll();

   sut.collectionIs(describeRing("r"));

   EXPECT_TRUE(sut.collectionInternal().empty());
}

TEST(InfoMount, collectionIsAcceptsACollectionWithoutGroups)
{
   Mount sut("a", "TestMount");
   Collection collection("ring");
   collection.addNameAttribute("command");

   sut.collectionIs(collection);

   EXPECT_EQ(sut.collectionInternal(TestMount::ringNumber), collection);
}

TEST(InfoMount, collectionIsRefusesAGroupWithoutAChunkForADeclaredField)
{
   auto sut = describeMount("a", "r");
   auto const derived = sut.collectionInternal(TestMount::ringNumber);

   auto const text = messageOf<std::invalid_argument>([&] { sut.collectionIs(ringWithoutStatus()); });

   EXPECT_EQ(text, "nameAttribute='status' does not exist for group with id=0");
   EXPECT_EQ(sut.collection("ring"), ringWithoutStatus());
   EXPECT_EQ(sut.collectionInternal(TestMount::ringNumber), derived);
}

TEST(InfoMount, collectionIsNamesTheLaterGroupThatLacksAChunk)
{
   Mount sut("a", "TestMount");
   auto collection = describeRing("r");
   auto group = collection.group(1);
   group.chunkDel("tail");
   collection.groupIs(group);

   auto const text = messageOf<std::invalid_argument>([&] { sut.collectionIs(collection); });

   EXPECT_EQ(text, "nameAttribute='tail' does not exist for group with id=1");
   EXPECT_TRUE(sut.collectionInternal().empty());
}

TEST(InfoMount, collectionIsOfTheRefusedCollectionAgainIsSilent)
{
   Mount sut("a", "TestMount");
   EXPECT_THROW(sut.collectionIs(ringWithoutStatus()), std::invalid_argument);

   sut.collectionIs(ringWithoutStatus());

   EXPECT_TRUE(sut.collectionInternal().empty());
}

TEST(InfoMount, collectionIsDerivesChunksThatWereNeverDeclared)
{
   Mount sut("a", "TestMount");
   Collection collection("ring");
   Group group(0, 0, 4);
   Chunk chunk;
   chunk.nameAttributeIs("tail");
   group.chunkIs(chunk);
   collection.groupIs(group);

   sut.collectionIs(collection);

   EXPECT_EQ(sut.collectionInternal(TestMount::ringNumber).group(0).chunkInternal(RingEntry::tailNumber), chunk);
}

TEST(InfoMount, collectionIsKeepsWhatAGroupHasByNumberAlready)
{
   Mount sut("a", "TestMount");
   auto collection = describeRing("r", 1);
   auto group = collection.group(0);
   Chunk foreign;
   foreign.nameIs("foreign");
   group.chunkInternalIs(77, foreign);
   collection.groupIs(group);

   sut.collectionIs(collection);

   auto const derived = sut.collectionInternal(TestMount::ringNumber).group(0);
   EXPECT_EQ(derived.chunkInternal(77), foreign);
   EXPECT_EQ(derived.chunkInternal().size(), 4U);
}

TEST(InfoMount, collectionIsReportsAnUnknownType)
{
   Mount sut("a", "NoSuchType");

   auto const text = messageOf<Kro::TypeNotFoundException>([&] { sut.collectionIs(describeRing("r")); });

   EXPECT_EQ(text, "no registered type is named 'NoSuchType'");
   EXPECT_EQ(sut.collection("ring"), describeRing("r"));
   EXPECT_TRUE(sut.collectionInternal().empty());
}

TEST(InfoMount, collectionIsReportsAnUnknownCollection)
{
   Mount sut("a", "TestMount");

   auto const text = messageOf<Kro::AttrNotFoundException>([&] { sut.collectionIs(Collection("queue")); });

   EXPECT_EQ(text, "type 'TestMount' has no attribute 'queue'");
   EXPECT_TRUE(sut.collectionInternal().empty());
}

TEST(InfoMount, collectionIsReportsAnUnknownField)
{
   Mount sut("a", "TestMount");
   Collection collection("ring");
   collection.addNameAttribute("colour");
   collection.addGroup(0, 1);
   collection.createChunk(0, "colour", "c", 1, false);

   auto const text = messageOf<Kro::AttrNotFoundException>([&] { sut.collectionIs(collection); });

   EXPECT_EQ(text, "type 'RingEntry' has no attribute 'colour'");
   EXPECT_TRUE(sut.collectionInternal().empty());
}

TEST(InfoMount, collectionIsLooksAtAllFieldsOfAGroupBeforeItsChunks)
{
   Mount sut("a", "TestMount");
   auto collection = ringWithoutStatus();
   collection.addNameAttribute("colour");
   collection.createChunk(0, "colour", "c", 1, false);

   EXPECT_EQ(
      messageOf<std::invalid_argument>([&] { sut.collectionIs(collection); }),
      "nameAttribute='status' does not exist for group with id=0");
}

TEST(InfoMount, collectionIsFinishesAGroupBeforeTheNext)
{
   Mount sut("a", "TestMount");
   auto collection = describeRing("r");
   auto first = collection.group(0);
   Chunk unknown;
   unknown.nameAttributeIs("colour");
   first.chunkIs(unknown);
   auto second = collection.group(1);
   second.chunkDel("tail");
   collection.groupIs(second);
   collection.groupIs(first);

   EXPECT_EQ(
      messageOf<Kro::AttrNotFoundException>([&] { sut.collectionIs(collection); }),
      "type 'RingEntry' has no attribute 'colour'");
   first.chunkDel("status");
   collection.groupIs(first);
   EXPECT_EQ(
      messageOf<std::invalid_argument>([&] { sut.collectionIs(collection); }),
      "nameAttribute='status' does not exist for group with id=0");
   EXPECT_TRUE(sut.collectionInternal().empty());
}

TEST(InfoMount, collectionIsWritesAFieldAndTheLargestGroupAsTheyAre)
{
   Mount sut("a", "TestMount");
   Collection collection("ring");
   collection.addNameAttribute("a' does not exist for group with id=1\n");
   collection.groupIs(Group(4294967295U, 0, 1));

   EXPECT_EQ(
      messageOf<std::invalid_argument>([&] { sut.collectionIs(collection); }),
      "nameAttribute='a' does not exist for group with id=1\n' does not exist for group with id=4294967295");
}

TEST(InfoMount, collectionIsDerivesChunksWhoseFieldIsDeclaredNoMore)
{
   Mount sut("a", "TestMount");
   auto collection = describeRing("r");
   collection.nameAttributeDel("status");

   sut.collectionIs(collection);

   auto const derived = sut.collectionInternal(TestMount::ringNumber);
   EXPECT_FALSE(derived.nameAttribute("status"));
   EXPECT_EQ(derived.group(1).chunkInternal(RingEntry::statusNumber).name(), "r.status.1");
}

TEST(InfoMount, collectionIsTakesGroupsHoweverTheyLie)
{
   Mount sut("a", "TestMount");
   auto const group = describeRing("r", 1).group(0);
   Collection collection("ring");
   for (std::uint32_t const id : {4294967295U, 9U, 3U}) { // sparse, over each other, descending
      Group other(id, 1, 4294967295U);
      for (auto const& chunk : group.chunk()) {
         other.chunkIs(chunk);
      }
      collection.groupIs(other);
   }

   sut.collectionIs(collection);

   auto const derived = sut.collectionInternal(TestMount::ringNumber);
   EXPECT_EQ(derived.group().size(), 3U);
   EXPECT_EQ(derived.group(4294967295U).chunkInternal().size(), 3U);
   EXPECT_EQ(derived.group(3).size(), 4294967295U);
}

TEST(InfoMount, collectionIsTakesTheDerivedCollectionItself)
{
   auto sut = describeMount("a", "r");
   auto const derived = sut.collectionInternal(TestMount::ringNumber);

   sut.collectionIs(*sut.collectionInternal().find(TestMount::ringNumber));

   EXPECT_EQ(sut.collection("ring"), derived);
   EXPECT_EQ(sut.collectionInternal(TestMount::ringNumber), derived);
}

TEST(InfoMount, collectionIsTakesACorrectedCollectionAfterARefusedOne)
{
   Mount sut("a", "TestMount");
   EXPECT_THROW(sut.collectionIs(ringWithoutStatus()), std::invalid_argument);

   sut.collectionIs(describeRing("r"));

   Mount expected("a", "TestMount");
   expected.collectionIs(describeRing("r"));
   EXPECT_EQ(sut, expected);
}

TEST(InfoMount, collectionIsTakesAnAttributeThatIsNoCollectionUntilAFieldIsNeeded)
{
   Mount sut("a", "TestMount");
   Collection collection("note");
   sut.collectionIs(collection);
   EXPECT_EQ(sut.collectionInternal(300), collection);
   collection.addGroup(0, 1);
   sut.collectionIs(collection);
   EXPECT_EQ(sut.collectionInternal(300), collection);

   collection.addNameAttribute("a");
   EXPECT_EQ(
      messageOf<std::invalid_argument>([&] { sut.collectionIs(collection); }),
      "nameAttribute='a' does not exist for group with id=0");
   collection.createChunk(0, "a", "c", 1, false);
   EXPECT_EQ(
      messageOf<Kro::AttrNotFoundException>([&] { sut.collectionIs(collection); }),
      "attribute 'note' of type 'TestMount' is no collection");
}

TEST(InfoMount, handleCollectionOfANameThatIsNotStoredRemovesTheDerivedEntry)
{
   Mount sut("a", "TestMount");
   sut.collectionInternalIs(TestMount::ringNumber, Collection("ring"));

   sut.handleCollection("ring");
   sut.handleCollection("ring");

   EXPECT_TRUE(sut.collectionInternal().empty());
}

} // namespace
