#include "look/Users.h"

#include "TestMap.h"

#include <gtest/gtest.h>

namespace {

using namespace Look;
using namespace Look::Test;

TEST(LookUsers, listsEachEntityBeforeWhatIsInIt)
{
   auto const map = mapOf({directory("d", {mount("b", {}), mount("a", {})}), mount("c", {})}, {});

   Users const sut(map);

   ASSERT_EQ(sut.entities().size(), 4U);
   EXPECT_EQ(sut.entities()[0]->name, "d");
   EXPECT_EQ(sut.entities()[1]->name, "b");
   EXPECT_EQ(sut.entities()[2]->name, "a");
   EXPECT_EQ(sut.entities()[3]->name, "c");
}

TEST(LookUsers, findsThePartsOfEachChunk)
{
   auto const map = mapOf({mount("a", {ring({{0, 0, 8}, {1, 8, 8}})})}, {chunk("c", 1), chunk("d", 1), chunk("e", 1)});

   Users const sut(map);

   ASSERT_EQ(sut.of(1).size(), 1U);
   EXPECT_EQ(sut.of(1)[0].part, &map.entities[0].collections[0].parts[1]);
   EXPECT_EQ(sut.of(1)[0].field().name, "command");
   EXPECT_TRUE(sut.of(2).empty());
}

TEST(LookUsers, callsAChunkSharedWhenSeveralCollectionsUseIt)
{
   auto twice = ring({{0, 0, 8}, {1, 8, 8}});
   twice.parts[1].chunk = 0;
   auto const map = mapOf({mount("a", {twice}), mount("b", {ring({{0, 0, 8}}), ring({{0, 0, 8}})})}, {chunk("c", 1)});
   auto const alone = mapOf({mount("a", {twice})}, {chunk("c", 1), chunk("unused", 1)});

   EXPECT_TRUE(Users(map).isShared(0));
   EXPECT_FALSE(Users(alone).isShared(0));
   EXPECT_FALSE(Users(alone).isShared(1));
}

TEST(LookUsers, callsAChunkSharedWhenTwoCollectionsOfOneMountUseIt)
{
   auto const map = mapOf({mount("a", {ring({{0, 0, 8}}), ring({{0, 0, 8}})})}, {chunk("c", 1)});

   EXPECT_TRUE(Users(map).isShared(0));
}

TEST(LookUsers, givesFieldsOfOneNameOneColour)
{
   auto other = ring({{0, 0, 8}});
   other.name = "list";
   auto const map = mapOf({mount("a", {ring({{0, 0, 8}}), other}), mount("b", {ring({{0, 0, 8}})})}, {chunk("c", 1)});

   Users const sut(map);

   ASSERT_EQ(sut.kinds().size(), 2U);
   EXPECT_EQ(sut.kinds()[0].text, "ring.command (2)");
   EXPECT_EQ(sut.kinds()[1].text, "list.command (2)");
   EXPECT_EQ(sut.colour(sut.of(0)[0]), sut.colour(sut.of(0)[2]));
   EXPECT_NE(sut.colour(sut.of(0)[0]), sut.colour(sut.of(0)[1]));
}

TEST(LookUsers, beginsAgainWithTheColoursWhenTheyAreUsedUp)
{
   std::vector<Collection> collections;
   for (int at = 0; at < 8; ++at) {
      collections.push_back(ring({{0, 0, 8}}));
      collections.back().name += std::to_string(at);
   }
   auto const map = mapOf({mount("a", collections)}, {chunk("c", 1)});

   Users const sut(map);

   EXPECT_NE(sut.kinds()[6].colour, sut.kinds()[0].colour);
   EXPECT_EQ(sut.kinds()[7].colour, sut.kinds()[0].colour);
}

} // namespace
