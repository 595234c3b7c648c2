#include "ctl/BlockList.h"
#include "test/support/RefusalOf.h"
#include "test/support/TemporaryDirectory.h"
#include <fstream>
#include <gtest/gtest.h>

using namespace pinmem_lib;
using namespace pinmem_test;

namespace {

class BlockListTest : public testing::Test {
protected:
   TemporaryDirectory const temporary_;
   std::string const path_ = temporary_ / "blo\tcks";

   std::vector<ListedWish> read(std::string const& text) const
   {
      std::ofstream(path_) << text;
      return readBlockList(path_);
   }

   std::string refusalFor(std::string const& text) const
   {
      return refusalOf([&] { read(text); });
   }
};

} // namespace

TEST_F(BlockListTest, readsABlockALineAndSkipsBlanksAndComments)
{
   std::vector<ListedWish> const sut =
      read("# for the lab\n\nring.rx 5000 4 slice-a\r\n \t ring.tx\t64 0 # no owner\n");

   ASSERT_EQ(sut.size(), 2U);
   EXPECT_EQ(sut[0].line, 3);
   EXPECT_EQ(sut[0].name, "ring.rx");
   EXPECT_EQ(sut[0].size, 5000U);
   EXPECT_EQ(sut[0].flags, 4U);
   EXPECT_EQ(sut[0].owner, "slice-a");
   EXPECT_EQ(sut[1].line, 4);
   EXPECT_EQ(sut[1].name, "ring.tx");
   EXPECT_EQ(sut[1].flags, 0U);
   EXPECT_EQ(sut[1].owner, "");
   EXPECT_TRUE(read("").empty());
}

TEST_F(BlockListTest, sizesMayHaveAUnit)
{
   for (auto const& [text, size] : std::initializer_list<std::pair<std::string, std::uint32_t>>{
           {"0", 0},
           {"4294967295", 4294967295},
           {"64K", 65536},
           {"4194303K", 4294966272},
           {"2M", 2U << 20},
           {"3G", 3U << 30}}) {
      EXPECT_EQ(read("a " + text + " 0").at(0).size, size) << text;
   }
}

TEST_F(BlockListTest, aSizeThatIsNoneIsRefused)
{
   std::string const place = "line 2 of '" + (temporary_ / "blo\\x09cks") + "': ";
   for (std::string const size :
        {"x", "-1", "+1", "-18446744073709551615", "0x40", "K", "4KB", "4k", "4T", "4294967296", "4G", "4194304K",
         "18446744073709551616", "18446744073709551615G", "1.5M"}) {
      EXPECT_EQ(
         refusalFor("good 64 0\na " + size + " 4"),
         place + "the size '" + size +
            "' is not known; write up to 4294967295 bytes, or so many K, M or G; nothing was made");
   }
}

TEST_F(BlockListTest, aLineThatIsNoBlockIsRefusedWithItsCause)
{
   std::string const place = "line 2 of '" + (temporary_ / "blo\\x09cks") + "': ";
   for (auto const& [line, words] :
        std::initializer_list<std::pair<std::string, std::string>>{{"a", "1"}, {"a 64", "2"}, {"a 64 4 b c", "5"}}) {
      EXPECT_EQ(
         refusalFor("good 64 0\n" + line + "\n"),
         place + words + " words; write <name> <size> <flags> [<owner>]; nothing was made");
   }
   for (std::string const flags : {"2", "-4294967292", "04", "x\x1b"}) {
      EXPECT_EQ(
         refusalFor("good 64 0\na 64 " + flags),
         place + "the flags '" + (flags == "x\x1b" ? "x\\x1b" : flags) +
            "' are not known; write 0 or 4 (DMA memory) or 1 (ordinary memory); nothing was made");
   }
   EXPECT_EQ(read(std::string(255, 'n') + " 1 1").at(0).name.size(), 255U);
   EXPECT_EQ(
      refusalFor("good 64 0\n" + std::string(256, 'n') + " 1 1"),
      place + "a name of 256 bytes; a block's name has 1 to 255 bytes; nothing was made");
}

TEST_F(BlockListTest, aFileThatCannotBeReadIsRefusedWithItsCause)
{
   EXPECT_EQ(
      refusalOf([&] { readBlockList(temporary_ / "none"); }),
      "'" + (temporary_ / "none") + "' cannot be read: No such file or directory; name a file with one block a line");
   EXPECT_EQ(
      refusalOf([&] { readBlockList(temporary_.path()); }),
      "'" + temporary_.path() + "' cannot be read: Is a directory; name a file with one block a line");
}
