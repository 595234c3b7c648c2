#include <Quorvel/Core/Memory/Info/Collection.h>

#include "support/MessageOf.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace {

using Quorvel::Core::Memory::Info::Collection;
using Quorvel::Core::Memory::Info::Detail::Chunk;
using Quorvel::Core::Memory::Info::Detail::Group;
using Quorvel::Core::Test::messageOf;

Collection example()
{
   Collection collection("ring");
   collection.addNameAttribute("command");
   collection.addNameAttribute("status");
   collection.addGroup(0, 10);
   collection.createChunk(0, "command", "ring.command", 160, false);
   return collection;
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

TEST(InfoCollection, addGroupComparesAHeadWithTheWrappedEnd)
{
   Collection sut("ring");
   sut.addGroup(0, 32, 4294967280U); // ends at 16

   auto const inside = refusalBy(sut, [&] { sut.addGroup(1, 4, 15); });
   sut.addGroup(1, 4, 16);

   EXPECT_EQ(inside, "head=15 for group with id=1 is overlapping with previous group's entries.");
   EXPECT_EQ(sut.group(1), Group(1, 16, 4));
}

TEST(InfoCollection, refusalsWriteTheLargestNumbersInFull)
{
   Collection sut("ring");
   auto const missing = refusalBy(sut, [&] { sut.addGroup(4294967295U, 1); });
   auto const noGroup = refusalBy(sut, [&] { sut.createChunk(4294967295U, "a", "b", 1, false); });

   sut.addNameAttribute("a");
   sut.groupIs(Group(4294967294U, 0, 4294967295U));
   auto const overlapping = refusalBy(sut, [&] { sut.addGroup(4294967295U, 1, 4294967294U); });
   sut.addGroup(4294967295U, 1, 4294967295U);
   sut.createChunk(4294967295U, "a", "b", 1, false);
   auto const second = refusalBy(sut, [&] { sut.createChunk(4294967295U, "a", "b", 1, false); });

   EXPECT_EQ(missing, "group with id=4294967294 does not exist.");
   EXPECT_EQ(noGroup, "group for id=4294967295 does not exist.");
   EXPECT_EQ(overlapping, "head=4294967294 for group with id=4294967295 is overlapping with previous group's entries.");
   EXPECT_EQ(second, "chunk for nameAttribute='a' in group with id=4294967295 already exists.");
}

TEST(InfoCollection, refusalsWriteNamesAsTheyAre)
{
   Orvo::String const name = "' does not exist.\n\\ nameAttribute='";
   Collection sut("ring");
   sut.addGroup(0, 1);

   auto const undeclared = refusalBy(sut, [&] { sut.createChunk(0, name, "b", 1, false); });
   sut.addNameAttribute(name);
   auto const declared = refusalBy(sut, [&] { sut.addNameAttribute(name); });
   sut.createChunk(0, name, "b", 1, false);
   auto const second = refusalBy(sut, [&] { sut.createChunk(0, name, "b", 1, false); });

   EXPECT_EQ(undeclared, "nameAttribute='" + std::string(name) + "' does not exist.");
   EXPECT_EQ(declared, "nameAttribute='" + std::string(name) + "' already exists.");
   EXPECT_EQ(second, "chunk for nameAttribute='" + std::string(name) + "' in group with id=0 already exists.");
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

   EXPECT_EQ(sut.group(1), Group(1, 1, 1));
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

TEST(InfoCollection, createChunkLooksForTheFieldBeforeTheChunk)
{
   auto sut = example();
   sut.nameAttributeDel("command");

   auto const text = refusalBy(sut, [&] { sut.createChunk(0, "command", "b", 1, false); });

   EXPECT_EQ(text, "nameAttribute='command' does not exist.");
}

TEST(InfoCollection, createChunkTakesAnySizeAndName)
{
   Collection sut("ring");
   sut.addNameAttribute("");
   sut.addNameAttribute("a");
   sut.addGroup(0, 1);
   sut.addGroup(1, 1);

   sut.createChunk(0, "", "", 0, false);
   sut.createChunk(0, "a", "block", 4294967295U, false);
   sut.createChunk(1, "a", "block", 1, true);

   EXPECT_EQ(sut.group(0).chunk(""), Chunk());
   EXPECT_EQ(sut.group(0).chunk().size(), 2U);
   EXPECT_EQ(sut.group(0).chunk("a").size(), 4294967295U);
   EXPECT_EQ(sut.group(1).chunk("a").name(), "block");
}

TEST(InfoCollection, createChunkLeavesTheGroupsChunksByNumberAlone)
{
   Collection sut("ring");
   sut.addNameAttribute("a");
   Group group(0, 0, 1);
   group.chunkInternalIs(7, Chunk());
   sut.groupIs(group);

   sut.createChunk(0, "a", "block", 1, false);

   EXPECT_EQ(sut.group(0).chunkInternal(), group.chunkInternal());
   EXPECT_EQ(sut.group(0).chunk().size(), 1U);
}

TEST(InfoCollection, createChunkTakesItsTextsFromTheGroupItself)
{
   auto sut = example();
   sut.addNameAttribute("ring.command");
   auto const& stored = *sut.group().find(0)->chunk().find("command");

   sut.createChunk(0, stored.name(), stored.nameAttribute(), 1, false);

   EXPECT_EQ(sut.group(0).chunk("ring.command").name(), "command");
}

} // namespace
