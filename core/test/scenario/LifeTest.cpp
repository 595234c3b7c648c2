// The life of an agent, as one story, over the real platform: it begins, is killed, comes back, tidies up, comes back once more;
// then its memory is removed. What the processes do and look at is in life/.

#include "scenario/HugePages.h"
#include "scenario/life/Stage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <regex>
#include <string>

namespace {

using Quorvel::Core::Test::HugePages;
using Quorvel::Core::Test::Stage;

/// Name, owner, size, backend and users of each block, as the operator sees them.
std::string blocksOf(Stage const& stage)
{
   auto const list = stage.pinmemctl({"list"});
   EXPECT_EQ(list.errors, "");
   std::regex const row("(\\S+) +(\\S+) +(\\d+) +0x[0-9a-f]{16} +(\\S+) +(\\S+) +\\S+ +(\\d+)\n");
   auto const rows = list.output.substr(list.output.find('\n') + 1);
   return std::regex_replace(rows, row, "$1 $2 $3 $4 $5 $6\n");
}

void liveAll(Stage const& stage, std::string const& backend)
{
   EXPECT_EQ(stage.live({"first"}), 256 + SIGKILL);
   // The life that was killed has tried out those of `low` and `fragile`, and many new ones, too.
   auto const blocks = blocksOf(stage);
   EXPECT_THAT(blocks, testing::HasSubstr("nic.bytes life 1048576 dma " + backend + " 0\n"));
   EXPECT_THAT(blocks, testing::HasSubstr("disk.tail.0 life 48 ordinary shm 0\n"));
   auto const lasting = std::regex_replace(blocks, std::regex("new\\..*\n"), "");
   EXPECT_EQ(std::count(lasting.begin(), lasting.end(), '\n'), 12 + 7 + 7);

   EXPECT_EQ(stage.live({"second"}), 0);
   EXPECT_EQ(stage.live({"last"}), 0);

   EXPECT_EQ(blocksOf(stage), blocks); // nothing has come, nothing gone, nobody uses it
   stage.expectSoundAndRemove();
}

TEST(Life, ofAnAgentInSharedMemory)
{
   Stage const stage("shm");

   liveAll(stage, "shm");
}

TEST(Life, ofAnAgentInHugePages)
{
   Stage const stage("hugetlb");
   HugePages const pages(stage.folder() + "/huge");
   if (!pages.obstacle().empty()) {
      GTEST_SKIP() << pages.obstacle() << "; the same is tested with shared memory";
   }
   auto const before = HugePages::read("free_hugepages");

   liveAll(stage, "hugetlb");

   EXPECT_TRUE(std::filesystem::is_empty(stage.folder() + "/huge"));
   EXPECT_EQ(HugePages::read("free_hugepages"), before);
}

} // namespace
