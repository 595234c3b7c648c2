#include <Quorvel/Core/Memory/Info/Mount.h>

#include "support/MessageOf.h"
#include "support/TestMount.h"

#include <Kro/Exception.h>
#include <KroOrvo/Impl.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <type_traits>
#include <vector>

namespace {

using Quorvel::Core::Memory::Info::Collection;
using Quorvel::Core::Memory::Info::Mount;
using Quorvel::Core::Test::describeBuffer;
using Quorvel::Core::Test::describeMount;
using Quorvel::Core::Test::describeRing;
using Quorvel::Core::Test::messageOf;
using Quorvel::Core::Test::RingEntry;
using Quorvel::Core::Test::TestMount;
using testing::ElementsAre;
using testing::IsEmpty;

static_assert(std::is_same_v<Mount::Collections::tag, Mount::HN_Collection>);

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
   Mount given("", "");
   EXPECT_THROW(given.collectionIs(Collection("a")), Kro::TypeNotFoundException);
   EXPECT_TRUE(static_cast<bool>(given)); // has it by name, not by number
}

TEST(InfoMount, collectionIsStoresTheCollectionAsGiven)
{
   Mount sut("a", "TestMount");

   sut.collectionIs(describeRing("r"));

   EXPECT_EQ(sut.collection("ring"), describeRing("r"));
   EXPECT_TRUE(sut.collection("ring").group(0).chunkInternal().empty());
   EXPECT_EQ(sut.collection("buffer"), Collection(""));
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

TEST(InfoMount, collectionDelOfARefusedCollectionRemovesWhatWasDerivedBeforeIt)
{
   auto sut = describeMount("a", "r");
   EXPECT_THROW(sut.collectionIs(ringWithoutStatus()), std::invalid_argument);

   EXPECT_EQ(sut.collectionDel("ring"), ringWithoutStatus());

   EXPECT_THAT(numbersOf(sut), ElementsAre(TestMount::bufferNumber));
}

TEST(InfoMount, collectionsThatItGivesAreCopies)
{
   auto const sut = describeMount("a", "r");
   auto const before = sut;

   auto given = sut.collection("ring");
   auto derived = sut.collectionInternal(TestMount::ringNumber);
   given.groupDelAll();
   derived.groupDelAll();

   EXPECT_EQ(sut, before);
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
