#include <Quorvel/Core/Memory/Info/Collection.h>

#include "support/MessageOf.h"

#include <KroOrvo/Impl.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Quorvel::Core::Memory::Info::Collection;
using Quorvel::Core::Memory::Info::Detail::Chunk;
using Quorvel::Core::Memory::Info::Detail::Group;
using Quorvel::Core::Test::messageOf;
using testing::ElementsAre;

Collection example()
{
   Collection collection("ring");
   collection.addNameAttribute("command");
   collection.addNameAttribute("status");
   collection.addGroup(0, 10);
   collection.createChunk(0, "command", "ring.command", 160, false);
   return collection;
}

std::vector<std::uint32_t> groupsOf(Collection const& collection)
{
   std::vector<std::uint32_t> ids;
   for (auto const& group : collection.group()) {
      ids.push_back(group.id());
   }
   return ids;
}

/// Asks `sut` for something that it refuses, and that must leave no trace.
template <class Call>
std::string refusalBy(Collection& sut, Call const& call)
{
   auto const before = sut;
   auto const text = messageOf<std::invalid_argument>(call);
   EXPECT_EQ(sut, before);
   return text;
}

TEST(InfoCollection, startsWithItsNameAlone)
{
   Collection const sut("ring");

   EXPECT_EQ(sut.name(), "ring");
   EXPECT_TRUE(sut.group().empty());
   EXPECT_TRUE(sut.nameAttribute().empty());
}

TEST(InfoCollection, isTrueAsSoonAsItDiffersFromTheDefault)
{
   Collection group("");
   group.groupIs(Group(0, 0, 0));
   Collection nameAttribute("");
   nameAttribute.nameAttributeIs("");

   EXPECT_FALSE(static_cast<bool>(Collection("")));
   EXPECT_TRUE(static_cast<bool>(Collection("a")));
   EXPECT_TRUE(static_cast<bool>(group));
   EXPECT_TRUE(static_cast<bool>(nameAttribute));
}

TEST(InfoCollection, addNameAttributeDeclaresAField)
{
   Collection sut("ring");

   sut.addNameAttribute("a");
   sut.addNameAttribute("");

   EXPECT_EQ(sut.nameAttribute().size(), 2U);
   EXPECT_TRUE(sut.nameAttribute("a"));
   EXPECT_TRUE(sut.nameAttribute(""));
   EXPECT_FALSE(sut.nameAttribute("b"));
}

TEST(InfoCollection, addNameAttributeRefusesADeclaredOne)
{
   auto sut = example();

   auto const text = refusalBy(sut, [&] { sut.addNameAttribute("command"); });

   EXPECT_EQ(text, "nameAttribute='command' already exists.");
}

TEST(InfoCollection, addGroupPlacesTheFirstGroupWhereItIsTold)
{
   Collection sut("ring");
   Collection elsewhere("ring");

   sut.addGroup(0, 10);
   elsewhere.addGroup(0, 8, 100);

   EXPECT_EQ(sut.group(0), Group(0, 0, 10));
   EXPECT_EQ(elsewhere.group(0), Group(0, 100, 8));
}

TEST(InfoCollection, addGroupWithoutHeadPlacesTheGroupBehindThePreviousOne)
{
   Collection sut("ring");
   sut.addGroup(0, 10);

   sut.addGroup(1, 5);
   sut.addGroup(2, 1, 0);

   EXPECT_EQ(sut.group(1), Group(1, 10, 5));
   EXPECT_EQ(sut.group(2), Group(2, 15, 1));
}

TEST(InfoCollection, addGroupTakesAHeadAtTheEndOfThePreviousGroupOrBehindAGap)
{
   Collection sut("ring");
   sut.addGroup(0, 10);
   sut.addGroup(1, 5);

   sut.addGroup(2, 4, 15);
   sut.addGroup(3, 4, 40);

   EXPECT_EQ(sut.group(2), Group(2, 15, 4));
   EXPECT_EQ(sut.group(3), Group(3, 40, 4));
}

TEST(InfoCollection, addGroupRefusesAHeadInsideThePreviousGroup)
{
   Collection sut("ring");
   sut.addGroup(0, 10);
   sut.addGroup(1, 5);

   auto const far = refusalBy(sut, [&] { sut.addGroup(2, 4, 12); });
   auto const near = refusalBy(sut, [&] { sut.addGroup(2, 4, 14); });

   EXPECT_EQ(far, "head=12 for group with id=2 is overlapping with previous group's entries.");
   EXPECT_EQ(near, "head=14 for group with id=2 is overlapping with previous group's entries.");
}

TEST(InfoCollection, addGroupLooksAtThePreviousGroupAlone)
{
   Collection sut("ring");
   sut.groupIs(Group(2, 5, 100));
   sut.addGroup(0, 10);

   sut.addGroup(1, 50);

   EXPECT_EQ(sut.group(1), Group(1, 10, 50));
}

TEST(InfoCollection, addGroupWrapsTheEndOfThePreviousGroupInto32Bits)
{
   Collection sut("ring");
   sut.addGroup(0, 16, 4294967290U);

   sut.addGroup(1, 1);
   EXPECT_EQ(sut.group(1), Group(1, 10, 1));

   Collection toTheBrim("ring");
   toTheBrim.addGroup(0, 6, 4294967290U);
   toTheBrim.addGroup(1, 1);
   EXPECT_EQ(toTheBrim.group(1), Group(1, 0, 1));
}

TEST(InfoCollection, addGroupRefusesAGroupWithoutThePreviousOne)
{
   Collection sut("ring");
   sut.addGroup(0, 10);
   sut.addGroup(1, 5);

   auto const text = refusalBy(sut, [&] { sut.addGroup(3, 1); });

   EXPECT_EQ(text, "group with id=2 does not exist.");
}

TEST(InfoCollection, addGroupRefusesAGroupThatExistsBeforeAllElse)
{
   Collection sut("ring");
   sut.addGroup(0, 10);
   sut.addGroup(1, 5);
   sut.groupIs(Group(4294967295U, 0, 0));

   auto const zero = refusalBy(sut, [&] { sut.addGroup(0, 1); });
   auto const one = refusalBy(sut, [&] { sut.addGroup(1, 5, 1); });
   auto const last = refusalBy(sut, [&] { sut.addGroup(4294967295U, 1); });

   EXPECT_EQ(zero, "group with id=0 already exists.");
   EXPECT_EQ(one, "group with id=1 already exists.");
   EXPECT_EQ(last, "group with id=4294967295 already exists.");
}

TEST(InfoCollection, addGroupSucceedsAfterARefusal)
{
   Collection sut("ring");
   EXPECT_EQ(refusalBy(sut, [&] { sut.addGroup(1, 1); }), "group with id=0 does not exist.");

   sut.addGroup(0, 1);
   sut.addGroup(1, 1);

   EXPECT_THAT(groupsOf(sut), ElementsAre(0, 1));
}

TEST(InfoCollection, createChunkAddsTheChunkToItsGroup)
{
   Collection sut("ring");
   sut.addNameAttribute("a");
   sut.addGroup(0, 10);

   sut.createChunk(0, "a", "block", 4096, true);

   Chunk expected;
   expected.nameAttributeIs("a");
   expected.nameIs("block");
   expected.sizeIs(4096);
   expected.isIncapableDmaIs(true);
   EXPECT_EQ(sut.group(0).chunk("a"), expected);
   EXPECT_TRUE(sut.group(0).chunkInternal().empty());
   EXPECT_EQ(sut.group(0).size(), 10U);
}

TEST(InfoCollection, createChunkRefusesInOrderAMissingGroupAnUndeclaredFieldAndASecondChunk)
{
   auto sut = example();

   auto const group = refusalBy(sut, [&] { sut.createChunk(1, "unknown", "b", 1, false); });
   auto const field = refusalBy(sut, [&] { sut.createChunk(0, "unknown", "b", 1, false); });
   auto const second = refusalBy(sut, [&] { sut.createChunk(0, "command", "b", 1, false); });

   EXPECT_EQ(group, "group for id=1 does not exist.");
   EXPECT_EQ(field, "nameAttribute='unknown' does not exist.");
   EXPECT_EQ(second, "chunk for nameAttribute='command' in group with id=0 already exists.");
}

TEST(InfoCollection, createChunkTakesOneFieldAfterTheOther)
{
   auto sut = example();

   sut.createChunk(0, "status", "ring.status", 40, false);

   EXPECT_EQ(sut.group(0).chunk().size(), 2U);
}

TEST(InfoCollection, groupIsInsertsOrReplacesWithoutChecks)
{
   Collection sut("ring");

   sut.groupIs(Group(4294967295U, 0, 5));
   sut.groupIs(Group(7, 0, 5));
   sut.groupIs(Group(0, 0, 5));
   sut.groupIs(Group(7, 3, 4));

   EXPECT_THAT(groupsOf(sut), ElementsAre(0, 7, 4294967295U));
   EXPECT_EQ(sut.group(7), Group(7, 3, 4));
}

TEST(InfoCollection, unknownGroupIsADefaultOne)
{
   EXPECT_EQ(example().group(1), Group(0, 0, 0));
}

TEST(InfoCollection, groupDelRemovesAndGivesBack)
{
   Collection sut("ring");
   sut.addGroup(0, 10);
   sut.addGroup(1, 5);

   EXPECT_EQ(sut.groupDel(0), Group(0, 0, 10));
   EXPECT_EQ(sut.groupDel(0), Group(0, 0, 0));

   EXPECT_THAT(groupsOf(sut), ElementsAre(1));
}

TEST(InfoCollection, groupDelAtAnIteratorGivesTheNext)
{
   Collection sut("ring");
   sut.addGroup(0, 10);
   sut.addGroup(1, 5);

   auto const next = sut.groupDel(sut.group().begin());

   EXPECT_EQ(next.key(), 1U);
   EXPECT_THAT(groupsOf(sut), ElementsAre(1));
}

TEST(InfoCollection, groupDelAllLeavesTheFields)
{
   auto sut = example();

   sut.groupDelAll();

   EXPECT_TRUE(sut.group().empty());
   EXPECT_EQ(sut.nameAttribute().size(), 2U);
}

TEST(InfoCollection, nameAttributeIsTakesTheSameNameTwice)
{
   Collection sut("ring");

   sut.nameAttributeIs("a");
   sut.nameAttributeIs("a");

   EXPECT_EQ(sut.nameAttribute().size(), 1U);
}

TEST(InfoCollection, nameAttributeDelTellsWhetherItWasThere)
{
   auto sut = example();

   EXPECT_TRUE(sut.nameAttributeDel("command"));
   EXPECT_FALSE(sut.nameAttributeDel("command"));

   EXPECT_EQ(sut.nameAttribute().size(), 1U);
   EXPECT_EQ(sut.group(0).chunk().size(), 1U);
}

TEST(InfoCollection, nameAttributeDelAllLeavesTheGroups)
{
   auto sut = example();

   sut.nameAttributeDelAll();

   EXPECT_TRUE(sut.nameAttribute().empty());
   EXPECT_EQ(sut.group().size(), 1U);
}

TEST(InfoCollection, equalsItsCopyAndWhatWasBuiltAlike)
{
   auto const sut = example();
   auto const copy = sut;
   auto const other = example();

   EXPECT_EQ(sut, sut);
   EXPECT_EQ(sut, copy);
   EXPECT_EQ(sut, other);
   EXPECT_TRUE(Collection::isEq(&sut, &other));
}

TEST(InfoCollection, differsWhenOneAttributeDiffers)
{
   auto const sut = example();
   auto nameAttribute = sut;
   nameAttribute.nameAttributeDel("status");
   nameAttribute.nameAttributeIs("other");
   auto group = sut;
   group.groupIs(Group(0, 0, 10));
   auto more = sut;
   more.addGroup(1, 1);

   EXPECT_NE(Collection("a"), Collection("b"));
   EXPECT_NE(sut, nameAttribute);
   EXPECT_NE(sut, group);
   EXPECT_NE(sut, more);
   EXPECT_FALSE(Collection::isEq(&sut, &group));
}

TEST(InfoCollection, copyIsDeep)
{
   auto const sut = example();

   auto copy = sut;
   copy.addGroup(1, 1);
   copy.createChunk(0, "status", "ring.status", 1, false);
   copy.nameAttributeDelAll();

   EXPECT_EQ(sut, example());
}

TEST(InfoCollection, nodesOfTheGroupsAreTracked)
{
   auto const& tracker = Collection::KroGroup::memAllocationTracker_;
   auto const before = tracker.liveCount();
   {
      auto const sut = example();
      EXPECT_EQ(tracker.liveCount(), before + 1);
      auto const copy = sut;
      EXPECT_EQ(tracker.liveCount(), before + 2);
   }
   EXPECT_EQ(tracker.liveCount(), before);
}

TEST(InfoCollection, writesItsGroupsItsFieldsAndItsName)
{
   Collection sut("ring");
   sut.addGroup(0, 10);
   sut.addGroup(1, 5);
   sut.addNameAttribute("a");
   std::ostringstream stream;

   stream << sut;

   EXPECT_EQ(
      stream.str(), "Quorvel::Core::Memory::Info::Collection(group={0=Quorvel::Core::Memory::Info::Detail::Group("
                    "chunk={}, chunkInternal={}, id=0, head=0, size=10), 1=Quorvel::Core::Memory::Info::Detail::Group("
                    "chunk={}, chunkInternal={}, id=1, head=10, size=5)}, nameAttribute={\"a\"}, name=\"ring\")");
   EXPECT_EQ(stream.str(), KroOrvo::Impl::valueToStrep(Collection::kroType, &sut));
}

} // namespace
