#include "look/SvgBar.h"

#include "TestMap.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <regex>
#include <string>
#include <vector>

namespace {

using namespace Look;
using namespace Look::Test;
using testing::ElementsAre;
using testing::IsEmpty;

/// The bar of the first chunk, in 100 by 30 pixels at (0, 0) for the chunk of `longest` bytes.
class LookSvgBar : public testing::Test {
protected:
   void draw(MemoryMap const& map, std::uint32_t longest)
   {
      Users const users(map);
      Svg svg;
      drawBar(svg, BarScale(std::array{longest}, 100), map.chunks[0], users.of(0), users, {0, 0, 100, 30});
      document_ = svg.document(100, 30, "", "");
   }

   /// @return "x y width height" of each rectangle of that class
   std::vector<std::string> rectangles(std::string const& styleClass) const
   {
      std::regex const rectangle(
         "<rect x=\"(.*?)\" y=\"(.*?)\" width=\"(.*?)\" height=\"(.*?)\" class=\"" + styleClass + "\"");
      std::vector<std::string> found;
      for (std::sregex_iterator at(document_.begin(), document_.end(), rectangle), end; at != end; ++at) {
         found.push_back((*at)[1].str() + " " + (*at)[2].str() + " " + (*at)[3].str() + " " + (*at)[4].str());
      }
      return found;
   }

   /// @return where lines part entries
   std::vector<std::string> entryLines() const
   {
      std::regex const line("<line x1=\"(.*?)\" .* class=\"entry\"");
      std::vector<std::string> found;
      for (std::sregex_iterator at(document_.begin(), document_.end(), line), end; at != end; ++at) {
         found.push_back((*at)[1].str());
      }
      return found;
   }

   std::string document_;
};

TEST_F(LookSvgBar, isAsLongAsTheChunkIsLarge)
{
   draw(mapOf({mount("a", {ring({{0, 0, 4}})})}, {chunk("c", 128)}), 256);

   EXPECT_THAT(rectangles("chunk"), ElementsAre("0.0 0.0 50.0 30.0"));
   EXPECT_THAT(rectangles("field"), ElementsAre("0.0 0.0 25.0 30.0")); // 64 of 128 bytes
   EXPECT_THAT(rectangles("ordinary"), IsEmpty());
}

TEST_F(LookSvgBar, hatchesOrdinaryMemory)
{
   draw(mapOf({mount("a", {ring({{0, 0, 8}})})}, {chunk("c", 128, true)}), 128);

   EXPECT_THAT(rectangles("ordinary"), ElementsAre("0.0 0.0 100.0 30.0"));
}

TEST_F(LookSvgBar, hasALaneForEachUser)
{
   auto collection = ring({{0, 0, 4}, {1, 4, 2}});
   collection.parts[1].chunk = 0;
   collection.parts[1].spans = {{96, 128}};
   draw(mapOf({mount("a", {collection})}, {chunk("c", 128)}), 128);

   EXPECT_THAT(rectangles("field"), ElementsAre("0.0 0.0 50.0 15.0", "75.0 15.0 25.0 15.0"));
}

TEST_F(LookSvgBar, partsEntriesThatAreFarEnoughApart)
{
   draw(mapOf({mount("a", {ring({{0, 0, 4}})})}, {chunk("c", 64)}), 64);
   EXPECT_THAT(entryLines(), ElementsAre("25.0", "50.0", "75.0"));

   draw(mapOf({mount("a", {ring({{0, 0, 20}})})}, {chunk("c", 320)}), 320);
   EXPECT_EQ(entryLines().size(), 19U); // 5 pixels each

   draw(mapOf({mount("a", {ring({{0, 0, 21}})})}, {chunk("c", 336)}), 336);
   EXPECT_THAT(entryLines(), IsEmpty());
}

TEST_F(LookSvgBar, endsWithTheChunkWhereAFieldGoesOn)
{
   draw(mapOf({mount("a", {ring({{0, 0, 8}})})}, {chunk("c", 64)}), 64);

   EXPECT_THAT(rectangles("field"), ElementsAre("0.0 0.0 100.0 30.0"));
   EXPECT_THAT(entryLines(), ElementsAre("25.0", "50.0", "75.0"));
}

TEST_F(LookSvgBar, drawsWhatIsLessThanAPixelApartAsOne)
{
   auto collection = ring({{0, 0, 4}});
   collection.hasOffsetter = true;
   collection.parts[0].spans = {{0, 16}, {17, 32}, {64, 80}, {2000, 2001}};
   draw(mapOf({mount("a", {collection})}, {chunk("c", 1600)}), 1600);

   EXPECT_THAT(rectangles("field"), ElementsAre("0.0 0.0 2.0 30.0", "4.0 0.0 1.0 30.0"));
   EXPECT_THAT(entryLines(), IsEmpty());
}

TEST_F(LookSvgBar, isAPixelWideForAnEmptyChunk)
{
   draw(mapOf({mount("a", {ring({{0, 0, 8}})})}, {chunk("c", 0)}), 64);

   EXPECT_THAT(rectangles("chunk"), ElementsAre("0.0 0.0 1.0 30.0"));
   EXPECT_THAT(rectangles("field"), IsEmpty());
}

TEST_F(LookSvgBar, isAPlainBarWithoutUsers)
{
   draw(mapOf({}, {chunk("c", 64)}), 64);

   EXPECT_THAT(rectangles("chunk"), ElementsAre("0.0 0.0 100.0 30.0"));
   EXPECT_THAT(rectangles("field"), IsEmpty());
}

TEST_F(LookSvgBar, drawsTheLargestChunk)
{
   draw(mapOf({mount("a", {ring({{0, 0, 0xfffffffe}}, 4)})}, {chunk("c", 0xffffffff)}), 0xffffffff);

   EXPECT_THAT(rectangles("field"), ElementsAre("0.0 0.0 100.0 30.0"));
   EXPECT_THAT(entryLines(), IsEmpty());
}

} // namespace
