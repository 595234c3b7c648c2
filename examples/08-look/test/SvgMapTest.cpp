#include "look/SvgMap.h"

#include "TestMap.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

namespace {

using namespace Look;
using namespace Look::Test;
using testing::Contains;
using testing::ElementsAre;
using testing::Not;

/// @return the first group of each match
std::vector<std::string> all(std::string const& text, std::string const& expression)
{
   std::regex const regex(expression);
   std::vector<std::string> found;
   for (std::sregex_iterator at(text.begin(), text.end(), regex), end; at != end; ++at) {
      found.push_back((*at)[1].str());
   }
   return found;
}

/// What stands in the drawing, text by text.
std::vector<std::string> words(std::string const& svg)
{
   return all(svg, "<text [^>]*>(?:<title>[^<]*</title>)?([^<]*)</text>");
}

std::vector<std::string> chunkBars(std::string const& svg)
{
   return all(svg, "width=\"([^\"]*)\" height=\"[^\"]*\" class=\"chunk\"><title>");
}

TEST(LookSvgMap, showsNamesRangesAndSizes)
{
   auto const svg = svgMap(mapOf({mount("queues", {ring({{0, 0, 8}})})}, {chunk("sq0", 128)}));

   EXPECT_THAT(
      words(svg),
      ElementsAre(
         "Memory of manager m", "/m/zumem: 1 chunk, 128 B of DMA memory, 0 B of ordinary memory.", "Bars are to scale.",
         "ring.command (2)", "bytes of no field", "ordinary memory, no DMA", "chunk, and what it holds", "32 B", "64 B",
         "96 B", "128 B", "size", "first and last address", "queues", "Queue", "ring", "8 entries in 1 group", "sq0",
         "command, group 0, entries 0 to 7", "128 B", "bus", "0x8000000000001000 - 0x800000000000107f", "virtual",
         "0x7f0000001000 - 0x7f000000107f"));
}

TEST(LookSvgMap, drawsBarsInProportionToTheChunks)
{
   auto const svg = svgMap(mapOf(
      {mount("q", {ring({{0, 0, 8}, {1, 8, 8}, {2, 16, 8}})})}, {chunk("a", 128), chunk("b", 256), chunk("c", 1024)}));

   EXPECT_THAT(chunkBars(svg), ElementsAre("37.5", "75.0", "300.0"));
}

TEST(LookSvgMap, saysWhenBarsAreLogarithmic)
{
   auto const svg = svgMap(mapOf({mount("q", {ring({{0, 0, 4}, {1, 4, 8}})})}, {chunk("a", 64), chunk("b", 1U << 30)}));

   EXPECT_THAT(chunkBars(svg), ElementsAre("24.0", "300.0"));
   EXPECT_THAT(
      words(svg), Contains("Bars grow with the logarithm of the chunk's size; inside a bar, bytes are to scale."));
}

TEST(LookSvgMap, saysThatNothingIsMounted)
{
   EXPECT_THAT(words(svgMap(mapOf({}, {}))), ElementsAre("Memory of manager m", "/m/zumem: nothing is mounted."));
}

TEST(LookSvgMap, saysThatTheManagerHasNoDirectory)
{
   EXPECT_THAT(words(svgMap({})), ElementsAre("Memory of manager &quot;&quot;", "The manager has no directory."));
}

TEST(LookSvgMap, showsWhatIsInDirectoriesButNotThese)
{
   auto inner = mount("queues", {});
   inner.path = "a/b/queues";
   auto const shown = words(svgMap(mapOf({directory("a", {directory("b", {inner})})}, {})));

   EXPECT_THAT(shown, ElementsAre(testing::_, testing::_, "a/b/queues", "Queue", "no live collections"));
}

TEST(LookSvgMap, showsADirectoryThatHoldsMemory)
{
   auto both = directory("d", {mount("below", {})});
   both.collections = {ring({{0, 0, 8}})};
   auto const shown = words(svgMap(mapOf({both}, {chunk("c", 128)})));

   EXPECT_THAT(shown, Contains("d"));
   EXPECT_THAT(shown, Contains("below"));
}

TEST(LookSvgMap, marksOrphansAlone)
{
   auto orphan = mount("q", {});
   orphan.isOrphan = true;

   EXPECT_THAT(words(svgMap(mapOf({orphan}, {}))), Contains("orphan: it is unmounted"));
   EXPECT_THAT(words(svgMap(mapOf({mount("q", {})}, {}))), Not(Contains("orphan: it is unmounted")));
}

TEST(LookSvgMap, showsCollectionsThatHoldNothing)
{
   Collection missing;
   missing.name = "missing";
   missing.isLive = false;
   Collection bare;
   bare.name = "bare";
   bare.groups = {{3, 0, 5}};

   EXPECT_THAT(
      words(svgMap(mapOf({mount("q", {missing, bare})}, {}))),
      ElementsAre(
         testing::_, testing::_, "q", "Queue", "missing", "no live collection", "bare", "0 entries in 1 group",
         "no chunks"));
}

TEST(LookSvgMap, drawsASharedChunkOnceWithAllItsUsers)
{
   auto const svg =
      svgMap(mapOf({mount("a", {ring({{0, 0, 8}})}), mount("b", {ring({{0, 8, 8}})})}, {chunk("c", 128)}));
   auto const shown = words(svg);

   EXPECT_EQ(chunkBars(svg).size(), 1U);
   EXPECT_THAT(shown, Contains("Shared chunks").Times(1));
   EXPECT_THAT(shown, Contains("a shared chunk: drawn below").Times(2));
   EXPECT_THAT(shown, Contains("a: ring.command"));
   EXPECT_THAT(shown, Contains("b: ring.command"));
   EXPECT_THAT(shown, Contains("0x7f0000001000 - 0x7f000000107f").Times(1));
}

TEST(LookSvgMap, namesEightUsersOfAChunkAndCountsTheOthers)
{
   auto many = [](std::uint32_t users) {
      std::vector<Group> groups;
      for (std::uint32_t id = 0; id < users; ++id) {
         groups.push_back({id, id, 1});
      }
      auto collection = ring(groups);
      for (auto& part : collection.parts) {
         part.chunk = 0;
      }
      return svgMap(mapOf({mount("q", {collection})}, {chunk("c", 128)}));
   };

   EXPECT_THAT(words(many(8)), Contains("command, group 7, entry 7"));
   EXPECT_THAT(words(many(8)), Not(Contains("and 0 more")));
   EXPECT_THAT(words(many(9)), Not(Contains("command, group 8, entry 8")));
   EXPECT_THAT(words(many(9)), Contains("and 1 more"));
   EXPECT_EQ(all(many(9), "(class=\"field\")").size(), 8U);
}

TEST(LookSvgMap, warnsOfWhatLiesBeyondAChunk)
{
   auto const svg = svgMap(mapOf({mount("q", {ring({{0, 0, 8}})})}, {chunk("c", 100)}));

   EXPECT_THAT(all(svg, "class=\"warning\">([^<]*)<"), ElementsAre("command, group 0: 28 B beyond its end"));
}

TEST(LookSvgMap, showsGroupsThatAreEmptyOrMissing)
{
   auto broken = ring({{2, 4, 0}});
   broken.fields[0].name.clear();
   broken.parts.push_back({0, 9, {}, 0, {}});
   auto const shown = words(svgMap(mapOf({mount("q", {broken})}, {chunk("c", 0)})));

   EXPECT_THAT(shown, Contains("(2), group 2, no entries"));
   EXPECT_THAT(shown, Contains("(2), group 9, which is missing"));
   EXPECT_THAT(shown, Contains("0x7f0000001000 (empty)"));
}

TEST(LookSvgMap, saysThatOrdinaryMemoryHasNoBusAddress)
{
   auto const shown = words(svgMap(mapOf({mount("q", {ring({{0, 0, 8}})})}, {chunk("c", 0xffffffff, true)})));

   EXPECT_THAT(shown, Contains("none: ordinary memory"));
   EXPECT_THAT(shown, Contains("0x7f0000001000 - 0x7f0100000ffe"));
   EXPECT_THAT(shown, Contains("/m/zumem: 1 chunk, 0 B of DMA memory, 4.0 GiB of ordinary memory."));
}

TEST(LookSvgMap, escapesEveryName)
{
   std::string const odd = "<&\">\x01\xff";
   auto collection = ring({{0, 0, 8}});
   collection.name = odd;
   collection.fields[0].name = odd;
   auto entity = mount(odd, {collection});
   entity.type = odd;
   entity.isOrphan = true;
   auto map = mapOf({entity}, {chunk(odd, 128)});
   map.manager = odd;
   map.directory = odd;

   auto const svg = svgMap(map);

   EXPECT_EQ(svg.find("<&"), svg.npos);
   EXPECT_EQ(svg.find('\x01'), svg.npos);
   EXPECT_EQ(svg.find('\xff'), svg.npos);
   EXPECT_THAT(words(svg), Contains("&lt;&amp;&quot;&gt;\\x01\\xff").Times(4)); // path, type, collection, chunk
}

TEST(LookSvgMap, shortensLongNamesAndKeepsTheWholeOneAsAHint)
{
   std::string const name(200, 'W');
   auto map = mapOf({mount(name, {ring({{0, 0, 8}})})}, {chunk(name, 128)});
   map.manager = name;
   map.directory = name;

   auto const svg = svgMap(map);

   EXPECT_EQ(all(svg, "class=\"name\"><title>(W*)</title>").at(0), name);
   for (auto const& text : words(svg)) {
      EXPECT_EQ(text.find(std::string(60, 'W')), text.npos) << text;
   }
}

TEST(LookSvgMap, breaksTheLegendIntoLines)
{
   std::vector<Collection> collections;
   for (int at = 0; at < 20; ++at) {
      collections.push_back(ring({{0, 0, 8}}));
      collections.back().name += std::to_string(at);
   }
   auto const svg = svgMap(mapOf({mount("q", collections)}, {chunk("c", 128)}));

   for (auto const& x : all(svg, "<text x=\"([^\"]*)\" [^>]*>ring\\d+.command \\(2\\)")) {
      EXPECT_LT(std::stod(x), 1080 - 24 - 100);
   }
}

} // namespace
