#include <Quorvel/Core/Memory/Info/Mount.h>

#include "support/MessageOf.h"
#include "support/TestMount.h"

#include <Kro/Exception.h>
#include <KroOrvo/Impl.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <vector>

namespace {

using Quorvel::Core::Memory::Info::Collection;
using Quorvel::Core::Memory::Info::Mount;
using Quorvel::Core::Memory::Info::Detail::Chunk;
using Quorvel::Core::Memory::Info::Detail::Group;
using Quorvel::Core::Test::describeBuffer;
using Quorvel::Core::Test::describeMount;
using Quorvel::Core::Test::describeRing;
using Quorvel::Core::Test::messageOf;
using Quorvel::Core::Test::RingEntry;
using Quorvel::Core::Test::TestMount;
using testing::ElementsAre;
using testing::IsEmpty;

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

TEST(InfoMount, takesPathAndTypeAndIsOtherwiseEmpty)
{
   Mount const sut("a/b", "TestMount");

   EXPECT_EQ(sut.path(), "a/b");
   EXPECT_EQ(sut.type(), "TestMount");
   EXPECT_FALSE(sut.isZeroedMemoryOnMounting());
   EXPECT_TRUE(sut.collection().empty());
   EXPECT_TRUE(sut.collectionInternal().empty());
}

TEST(InfoMount, isTrueAsSoonAsItDiffersFromTheDefaultButForTheFlag)
{
   Mount isZeroed("", "");
   isZeroed.isZeroedMemoryOnMountingIs(true);
   Mount internal("", "");
   internal.collectionInternalIs(0, Collection(""));

   EXPECT_FALSE(static_cast<bool>(Mount("", "")));
   EXPECT_FALSE(static_cast<bool>(isZeroed));
   EXPECT_TRUE(static_cast<bool>(Mount("a", "")));
   EXPECT_TRUE(static_cast<bool>(Mount("", "a")));
   EXPECT_TRUE(static_cast<bool>(internal));
}

TEST(InfoMount, collectionIsStoresTheCollectionAsGiven)
{
   Mount sut("a", "TestMount");

   sut.collectionIs(describeRing("r"));

   EXPECT_EQ(sut.collection("ring"), describeRing("r"));
   EXPECT_TRUE(sut.collection("ring").group(0).chunkInternal().empty());
   EXPECT_EQ(sut.collection("buffer"), Collection(""));
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

TEST(InfoMount, collectionIsTakesAnAttributeThatIsNoCollectionUntilAFieldIsNeeded)
{
   Mount sut("a", "TestMount");
   Collection collection("note");
   sut.collectionIs(collection);
   EXPECT_EQ(sut.collectionInternal(300), collection);

   collection.addNameAttribute("a");
   collection.addGroup(0, 1);
   collection.createChunk(0, "a", "c", 1, false);

   EXPECT_EQ(
      messageOf<Kro::AttrNotFoundException>([&] { sut.collectionIs(collection); }),
      "attribute 'note' of type 'TestMount' is no collection");
}

TEST(InfoMount, collectionDelRemovesBothViewsAndGivesBack)
{
   auto sut = describeMount("a", "r");

   EXPECT_EQ(sut.collectionDel("ring"), describeRing("r"));

   EXPECT_EQ(sut.collection("ring"), Collection(""));
   EXPECT_THAT(numbersOf(sut), ElementsAre(TestMount::bufferNumber));
}

TEST(InfoMount, collectionDelOfAnUnknownNameChangesNothingAndLooksNothingUp)
{
   Mount sut("a", "NoSuchType");

   EXPECT_EQ(sut.collectionDel("ring"), Collection(""));

   EXPECT_EQ(sut, Mount("a", "NoSuchType"));
}

TEST(InfoMount, collectionDelOfACollectionThatTheTypeLacksReportsItAndRemovesIt)
{
   Mount sut("a", "TestMount");
   EXPECT_THROW(sut.collectionIs(Collection("queue")), Kro::AttrNotFoundException);

   auto const text = messageOf<Kro::AttrNotFoundException>([&] { sut.collectionDel("queue"); });

   EXPECT_EQ(text, "type 'TestMount' has no attribute 'queue'");
   EXPECT_TRUE(sut.collection().empty());
}

TEST(InfoMount, collectionDelAllRemovesBothViewsButNoForeignNumbers)
{
   auto sut = describeMount("a", "r");
   sut.collectionInternalIs(9999, Collection("foreign"));

   sut.collectionDelAll();

   EXPECT_TRUE(sut.collection().empty());
   EXPECT_THAT(numbersOf(sut), ElementsAre(9999));
}

TEST(InfoMount, collectionDelTakesTheNameFromTheStoredCollectionItself)
{
   auto sut = describeMount("a", "r");

   auto const removed = sut.collectionDel(sut.collection().find("ring")->name());

   EXPECT_EQ(removed, describeRing("r"));
   EXPECT_THAT(numbersOf(sut), ElementsAre(TestMount::bufferNumber));
}

TEST(InfoMount, handleCollectionOfANameThatIsNotStoredRemovesTheDerivedEntry)
{
   Mount sut("a", "TestMount");
   sut.collectionInternalIs(TestMount::ringNumber, Collection("ring"));

   sut.handleCollection("ring");
   sut.handleCollection("ring");

   EXPECT_TRUE(sut.collectionInternal().empty());
}

TEST(InfoMount, plainMutatorsOfTheDerivedViewTouchNothingElse)
{
   auto sut = describeMount("a", "r");

   sut.collectionInternalIs(5, Collection("x"));
   sut.collectionInternalIs(5, Collection("y"));
   EXPECT_EQ(sut.collectionInternal(5), Collection("y"));
   EXPECT_EQ(sut.collectionInternalDel(5), Collection("y"));
   EXPECT_EQ(sut.collectionInternalDel(5), Collection(""));

   auto const next = sut.collectionInternalDel(sut.collectionInternal().begin());
   EXPECT_EQ(next.key(), TestMount::ringNumber);
   sut.collectionInternalDelAll();

   EXPECT_THAT(numbersOf(sut), IsEmpty());
   EXPECT_EQ(sut.collection().size(), 2U);
}

TEST(InfoMount, equalsItsCopyAndWhatWasBuiltInAnotherOrder)
{
   auto const sut = describeMount("a", "r");
   auto const copy = sut;
   Mount other("a", "TestMount");
   other.collectionIs(describeBuffer("r"));
   other.collectionIs(describeRing("r"));

   EXPECT_EQ(sut, sut);
   EXPECT_EQ(sut, copy);
   EXPECT_EQ(sut, other);
   EXPECT_TRUE(Mount::isEq(&sut, &other));
}

TEST(InfoMount, equalsWhatDiffersInTheFlagAlone)
{
   auto const sut = describeMount("a", "r");
   auto other = sut;
   other.isZeroedMemoryOnMountingIs(true);

   EXPECT_EQ(sut, other);
   EXPECT_TRUE(other.isZeroedMemoryOnMounting());
}

TEST(InfoMount, differsWhenOneAttributeDiffers)
{
   auto const sut = describeMount("a", "r");
   auto collection = sut;
   collection.collectionIs(describeRing("other"));
   auto fewer = sut;
   fewer.collectionDel("buffer");
   auto internal = sut;
   internal.collectionInternalDel(TestMount::ringNumber);

   EXPECT_NE(Mount("a", "T"), Mount("b", "T"));
   EXPECT_NE(Mount("a", "T"), Mount("a", "U"));
   EXPECT_NE(sut, collection);
   EXPECT_NE(sut, fewer);
   EXPECT_NE(sut, internal);
   EXPECT_FALSE(Mount::isEq(&sut, &internal));
}

TEST(InfoMount, copyIsDeepAndGoesOnByItself)
{
   auto const sut = describeMount("a", "r");
   auto const before = sut;

   auto copy = sut;
   copy.collectionDel("buffer");
   copy.collectionIs(describeRing("other"));

   EXPECT_EQ(sut, before);
   EXPECT_EQ(
      copy.collectionInternal(TestMount::ringNumber).group(0).chunkInternal(RingEntry::statusNumber).name(),
      "other.status.0");
}

TEST(InfoMount, nodesOfTheDerivedViewAreTracked)
{
   auto const& tracker = Mount::KroCollectionInternal::memAllocationTracker_;
   auto const before = tracker.liveCount();
   {
      auto const sut = describeMount("a", "r");
      EXPECT_EQ(tracker.liveCount(), before + 2);
      auto const copy = sut;
      EXPECT_EQ(tracker.liveCount(), before + 4);
   }
   EXPECT_EQ(tracker.liveCount(), before);
}

TEST(InfoMount, writesItsAttributesInTheOrderOfDeclaration)
{
   Mount sut("a/b", "TestMount");
   sut.collectionIs(Collection("ring"));
   std::ostringstream stream;

   stream << sut;

   EXPECT_EQ(
      stream.str(),
      "Quorvel::Core::Memory::Info::Mount(collection={\"ring\"=Quorvel::Core::Memory::Info::Collection(group={}, "
      "nameAttribute={}, name=\"ring\")}, collectionInternal={7=Quorvel::Core::Memory::Info::Collection(group={}, "
      "nameAttribute={}, name=\"ring\")}, path=\"a/b\", type=\"TestMount\", isZeroedMemoryOnMounting=false)");
   EXPECT_EQ(stream.str(), KroOrvo::Impl::valueToStrep(Mount::kroType, &sut));
}

} // namespace
