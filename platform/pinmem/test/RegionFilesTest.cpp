#include "src/RegionFiles.h"
#include "test/support/RefusalOf.h"
#include "test/support/TemporaryDirectory.h"
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <unistd.h>

using namespace pinmem_lib;
using namespace pinmem_test;

TEST(RegionFilesTest, fileNamesAreMadeOfSlotAndGeneration)
{
   Block block = {};
   block.slot = 0xffffffff;
   block.generation = 10;

   EXPECT_EQ(RegionFiles::nameOf(block), "ffffffff-0000000a");
   EXPECT_TRUE(RegionFiles::isName("ffffffff-0000000a"));
}

TEST(RegionFilesTest, otherNamesAreNotItsOwn)
{
   for (char const* const name :
        {"", "index", "ffffffff-0000000", "ffffffff-0000000a0", "ffffffff_0000000a", "fffffffF-0000000a",
         "ffffffff-0000000g"}) {
      EXPECT_FALSE(RegionFiles::isName(name)) << name;
   }
}

TEST(RegionFilesTest, aFileIsFoundAgainByItsIdentity)
{
   TemporaryDirectory const temporary;
   RegionFiles const sut(Directory::open(temporary.path(), Directory::Trust::guarded));
   Block region = {};
   EXPECT_FALSE(sut.isThere(region));
   sut.identify(sut.create(region), region);

   EXPECT_TRUE(sut.isThere(region));
   EXPECT_TRUE(sut.open(region, 0).isOpen());

   sut.remove(region);
   EXPECT_FALSE(sut.isThere(region));
   EXPECT_EQ(sut.pathOf(region), temporary / "00000000-00000000");
}

TEST(RegionFilesTest, whatWasLeftUnderTheNameIsReplaced)
{
   TemporaryDirectory const temporary;
   RegionFiles const sut(Directory::open(temporary.path(), Directory::Trust::guarded));
   std::ofstream(temporary / "00000000-00000000") << "left";

   sut.create({});

   EXPECT_EQ(std::filesystem::file_size(temporary / "00000000-00000000"), 0U);
}

TEST(RegionFilesTest, aFolderInPlaceOfTheFileIsRefused)
{
   TemporaryDirectory const temporary;
   RegionFiles const sut(Directory::open(temporary.path(), Directory::Trust::guarded));
   std::string const path = temporary / "00000000-00000000";
   std::filesystem::create_directory(path);

   EXPECT_NE(refusalOf([&] { sut.create({}); }).find("file '" + path + "' cannot be made: "), std::string::npos);
}
