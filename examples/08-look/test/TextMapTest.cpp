#include "look/TextMap.h"

#include "TestMap.h"

#include <gtest/gtest.h>

namespace {

using namespace Look;
using namespace Look::Test;

TEST(LookTextMap, showsTreeThenChunks)
{
   auto const map = mapOf(
      {directory("controller", {mount("queues", {ring({{0, 0, 8}, {1, 8, 8}})})})},
      {chunk("sq0", 128), chunk("sq1.long", 4096, true)});

   EXPECT_EQ(
      textMap(map),
      "manager m\n"
      "\n"
      "/m/zumem\n"
      "  controller (Kro::Dir)\n"
      "    queues (Queue)\n"
      "      ring: 16 entries in 2 groups\n"
      "        command (2)  16 bytes  group 0  entries 0 to 7   sq0\n"
      "        command (2)  16 bytes  group 1  entries 8 to 15  sq1.long\n"
      "\n"
      "chunk     bytes  memory    bus address                              virtual address                "
      "  users\n"
      "sq0         128  DMA       0x8000000000001000 - 0x800000000000107f  0x7f0000001000 - 0x7f000000107f"
      "      1\n"
      "sq1.long   4096  ordinary  none                                     0x7f0000001000 - 0x7f0000001fff"
      "      1\n");
}

TEST(LookTextMap, saysThatNothingIsMounted)
{
   EXPECT_EQ(textMap(mapOf({}, {})), "manager m\n\n/m/zumem\n  nothing is mounted\n");
}

TEST(LookTextMap, saysThatTheManagerHasNoDirectory)
{
   MemoryMap map;
   map.manager = "m";

   EXPECT_EQ(textMap(map), "manager m\n\nno directory\n");
}

TEST(LookTextMap, marksOrphans)
{
   auto orphan = mount("queues", {});
   orphan.isOrphan = true;

   EXPECT_EQ(textMap(mapOf({orphan}, {})), "manager m\n\n/m/zumem\n  queues (Queue), orphan\n");
}

TEST(LookTextMap, showsCollectionsThatHoldNothing)
{
   Collection missing;
   missing.name = "missing";
   missing.isLive = false;
   Collection bare;
   bare.name = "bare";
   bare.hasOffsetter = true;
   bare.fields = {{2, "", 8}};
   bare.groups = {{3, 0, 5}};

   EXPECT_EQ(
      textMap(mapOf({mount("queues", {missing, bare})}, {})),
      "manager m\n"
      "\n"
      "/m/zumem\n"
      "  queues (Queue)\n"
      "    missing: no live collection\n"
      "    bare: 0 entries in 1 group, placed by an offsetter\n"
      "      (2)  8 bytes                           no chunk\n"
      "                    group 3  entries 0 to 4  no chunk\n");
}

TEST(LookTextMap, showsGroupsThatOverlapAreEmptyOrMissing)
{
   auto broken = ring({{0, 0, 8}, {1, 4, 8}, {2, 4, 0}, {3, 0xfffffff8, 9}});
   broken.parts.push_back({0, 9, {}, 0, {}});
   auto const text = textMap(mapOf({mount("q", {broken})}, std::vector<Chunk>(4, chunk("c", 128))));

   EXPECT_NE(
      text.find("      command (2)  16 bytes  group 0  entries 0 to 7    c\n"
                "      command (2)  16 bytes  group 1  entries 4 to 11   c\n"
                "      command (2)  16 bytes  group 2  no entries        c\n"
                "      command (2)  16 bytes  group 3  no entries        c\n"
                "      command (2)  16 bytes  group 9  which is missing  c\n"),
      text.npos)
      << text;
}

TEST(LookTextMap, saysWhatLiesBeyondAChunk)
{
   auto const text = textMap(mapOf({mount("q", {ring({{0, 0, 8}})})}, {chunk("c", 100)}));

   EXPECT_NE(text.find("entries 0 to 7  c, 28 bytes beyond its end\n"), text.npos) << text;
}

TEST(LookTextMap, showsASharedChunkOnceWithTheNumberOfItsUsers)
{
   auto const text =
      textMap(mapOf({mount("a", {ring({{0, 0, 8}})}), mount("b", {ring({{0, 8, 8}})})}, {chunk("c", 128)}));

   EXPECT_NE(
      text.find("\nc        128  DMA     0x8000000000001000 - 0x800000000000107f  0x7f0000001000 - "
                "0x7f000000107f      2\n"),
      text.npos)
      << text;
}

TEST(LookTextMap, alignsNamesOfManyBytesByTheirCharacters)
{
   auto const text = textMap(mapOf({}, {chunk("caf\u00e9", 0), chunk("cafes", 0xffffffff)}));

   EXPECT_EQ(
      text.substr(text.find("chunk")),
      "chunk       bytes  memory  bus address                              virtual address                  users\n"
      "caf\u00e9            0  DMA     0x8000000000001000 (empty)               0x7f0000001000 (empty)               "
      "0\n"
      "cafes  4294967295  DMA     0x8000000000001000 - 0x8000000100000ffe  0x7f0000001000 - 0x7f0100000ffe      0\n");
}

TEST(LookTextMap, keepsEveryNameOnItsLine)
{
   auto odd = mount("a\nb", {ring({{0, 0, 8}})});
   odd.collections[0].name = "r\ti";
   auto map = mapOf({odd}, {chunk("\x1b[0m", 128)});
   map.manager = map.directory.emplace("");

   auto const text = textMap(map);

   EXPECT_EQ(text.find("manager \"\"\n\n\"\"\n  a\\x0ab (Queue)\n    r\\x09i: "), 0U) << text;
   EXPECT_NE(text.find("  \\x1b[0m\n"), text.npos) << text;
   EXPECT_EQ(text.find('\x1b'), text.npos);
}

} // namespace
