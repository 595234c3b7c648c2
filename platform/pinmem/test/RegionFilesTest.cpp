#include "src/RegionFiles.h"
#include "test/support/OrdinaryUser.h"
#include "test/support/RefusalOf.h"
#include "test/support/TemporaryDirectory.h"
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
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

TEST(RegionFilesTest, aFileIsLockedForAsLongAsItIsOpenOrMapped)
{
   TemporaryDirectory const temporary;
   RegionFiles const sut(Directory::open(temporary.path(), Directory::Trust::guarded));
   std::string const name = RegionFiles::nameOf({});
   Block region = {};
   sut.directory().file(name, O_RDWR | O_CREAT);
   auto const isLocked = [&] {
      FileDescriptor const neighbour = sut.directory().file(name, O_RDONLY);
      return ::flock(neighbour.number(), LOCK_EX | LOCK_NB) != 0;
   };
   EXPECT_FALSE(isLocked());

   void* memory = nullptr;
   {
      FileDescriptor const file = sut.create(region);
      EXPECT_TRUE(isLocked());
      sut.identify(file, region);
      ASSERT_EQ(::ftruncate(file.number(), 4096), 0);
      memory = RegionFiles::map(file, 4096);
   }
   EXPECT_TRUE(isLocked());
   ::munmap(memory, 4096);
   EXPECT_FALSE(isLocked());

   FileDescriptor const again = sut.open(region, 4096);
   EXPECT_TRUE(isLocked());
}

TEST(RegionFilesTest, aFileThatSomebodyElseHasLockedIsOpenedAllTheSame)
{
   TemporaryDirectory const temporary;
   RegionFiles const sut(Directory::open(temporary.path(), Directory::Trust::guarded));
   Block region = {};
   sut.identify(sut.create(region), region);
   FileDescriptor const other = sut.directory().file(RegionFiles::nameOf(region), O_RDONLY);
   ASSERT_EQ(::flock(other.number(), LOCK_EX), 0);

   EXPECT_TRUE(sut.open(region, 0).isOpen());
}

TEST(RegionFilesTest, aLimitOfLockedMemoryIsToldFromOtherReasons)
{
   TemporaryDirectory const temporary;
   FileDescriptor const file(::open((temporary / "a").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
   constexpr std::uint64_t size = 8U << 20;
   ASSERT_EQ(::ftruncate(file.number(), size), 0);
   std::string const nothingIsLocked = "nothing is locked";
   auto const refusalWithALimit = [&] {
      rlimit before = {};
      ::getrlimit(RLIMIT_MEMLOCK, &before);
      rlimit const limit = {std::min<rlim_t>(size / 2, before.rlim_max), before.rlim_max};
      ::setrlimit(RLIMIT_MEMLOCK, &limit);
      std::string text = ::mlockall(MCL_FUTURE) == 0 ? "" : "cannot lock: ";
      void* const probe = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
      text += probe != MAP_FAILED ? nothingIsLocked : refusalOf([&] { ::munmap(RegionFiles::map(file, size), size); });
      ::munlockall();
      ::setrlimit(RLIMIT_MEMLOCK, &before);
      return text;
   };

   EXPECT_EQ(
      refusalOf([&] { RegionFiles::map(file, std::uint64_t{1} << 62); }),
      "4611686018427387904 bytes cannot be mapped: Cannot allocate memory; see 'ulimit -v' and "
      "/proc/sys/vm/max_map_count");
   std::string const text =
      ::geteuid() == 0 ? asOrdinaryUser(Privilege::never, refusalWithALimit) : refusalWithALimit();
   if (text == nothingIsLocked) {
      GTEST_SKIP() << "mlockall does nothing here, as with an address sanitizer";
   }
   EXPECT_EQ(
      text, "8388608 bytes cannot be mapped: this process locks all its memory (mlockall), and the limit of locked "
            "memory is reached; raise it, see 'ulimit -l'");
}

TEST(RegionFilesTest, whatIsNoFileIsNotCollected)
{
   TemporaryDirectory const temporary;
   RegionFiles const sut(Directory::open(temporary.path(), Directory::Trust::guarded));
   std::ofstream(temporary / "precious") << "12345";
   std::string const name = RegionFiles::nameOf({});
   std::filesystem::create_symlink(temporary / "precious", temporary / name);
   EXPECT_FALSE(sut.tryCollect(name));
   std::filesystem::remove(temporary / name);
   ASSERT_EQ(::mkfifo((temporary / name).c_str(), 0600), 0);

   EXPECT_TRUE(sut.tryCollect(name)) << "a pipe holds no memory";
   EXPECT_TRUE(std::filesystem::exists(temporary / "precious"));
}
