#include <Quorvel/Core/Memory/Info/Collection.h>

#include <KroOrvo/Impl.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

namespace {

using Quorvel::Core::Memory::Info::Collection;
using Quorvel::Core::Memory::Info::Detail::Chunk;
using Quorvel::Core::Memory::Info::Detail::Group;
using testing::ElementsAre;

static_assert(std::is_same_v<Collection::NameAttributes::tag, Collection::HN_NameAttribute>);

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

TEST(InfoCollection, groupIsACopy)
{
   auto const sut = example();

   auto group = sut.group(0);
   group.chunkDelAll();

   EXPECT_EQ(sut, example());
}

TEST(InfoCollection, groupEqualsWhatWasStoredHoweverManyChunksItHad)
{
   for (int const chunks : {0, 1, 10, 1000}) {
      Group group(0, 0, 1);
      Chunk chunk;
      for (int i = 0; i < chunks; ++i) {
         chunk.nameAttributeIs("field " + std::to_string(i));
         group.chunkIs(chunk);
      }
      for (int i = 0; i < chunks; i += 3) {
         group.chunkDel("field " + std::to_string(i));
      }
      Collection sut("ring");

      sut.groupIs(group);

      EXPECT_EQ(sut.group(0), group) << chunks;
   }
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
