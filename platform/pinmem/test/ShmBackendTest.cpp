#include "src/ShmBackend.h"
#include "src/SystemCalls.h"
#include "test/support/MemoryFlags.h"
#include "test/support/RefusalOf.h"
#include "test/support/TemporaryDirectory.h"
#include <algorithm>
#include <cerrno>
#include <deque>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <sys/mman.h>
#include <sys/statvfs.h>
#include <utility>
#include <vector>

using namespace pinmem_lib;
using namespace pinmem_test;

namespace {

/// What the next calls of `fallocate` answer, an error number each; 0 and none left: as the system does.
std::deque<int> errorsToCome;

/// Where and how much the calls so far wanted.
std::vector<std::pair<off_t, off_t>> reservations;

/// Stands in the table of system calls.
int reserve(int number, int mode, off_t offset, off_t length)
{
   reservations.emplace_back(offset, length);
   int error = 0;
   if (!errorsToCome.empty()) {
      error = errorsToCome.front();
      errorsToCome.pop_front();
   }
   if (error != 0) {
      errno = error;
      return -1;
   }
   return ::fallocate(number, mode, offset, length);
}

class ShmBackendTest : public testing::Test {
protected:
   ShmBackendTest()
   {
      errorsToCome.clear();
      reservations.clear();
      systemCalls.fallocate = reserve;
   }

   ~ShmBackendTest() override { systemCalls.fallocate = ::fallocate; }

   TemporaryDirectory const temporary_;
   ShmBackend sut_{Directory::open(temporary_.path(), Directory::Trust::guarded)};
   Block block_ = blockOf(8192);
   std::string const path_ = temporary_ / "00000002-00000001";

   /// Makes a region, and leaves it unmapped.
   void create(Block& region) { ::munmap(sut_.create(region, Backend::Reserve::whole), region.capacity); }

   static Block blockOf(std::uint64_t capacity)
   {
      Block block = {};
      block.slot = 2;
      block.generation = 1;
      block.capacity = capacity;
      block.addressBus = 0x8000000100000000U;
      return block;
   }

   std::size_t fileCount() const
   {
      auto const files = std::filesystem::directory_iterator(temporary_.path());
      return static_cast<std::size_t>(std::distance(begin(files), end(files)));
   }
};

} // namespace

TEST_F(ShmBackendTest, newMemoryReadsAsZeroToItsLastByte)
{
   auto* const memory = static_cast<char*>(sut_.create(block_, Backend::Reserve::whole));

   EXPECT_TRUE(std::all_of(memory, memory + 8192, [](char byte) { return byte == 0; }));
   ::munmap(memory, 8192);
}

TEST_F(ShmBackendTest, pagesAreReservedAtOnce)
{
   create(block_);

   struct stat status = {};
   ASSERT_EQ(::stat(path_.c_str(), &status), 0);
   EXPECT_EQ(status.st_size, 8192);
   EXPECT_GE(status.st_blocks * 512, 8192);
   EXPECT_EQ(status.st_mode & 07777, mode_t{0600});
   EXPECT_EQ(block_.inode, status.st_ino);
}

TEST_F(ShmBackendTest, aSignalUndoesOneStepOfTheReservationAndNotTheOthers)
{
   constexpr off_t step = 2 << 20;
   errorsToCome = {0, EINTR, EINTR, 0};
   Block block = blockOf(2 * step + 4096);

   create(block);

   using Reservations = std::vector<std::pair<off_t, off_t>>;
   EXPECT_EQ(reservations, (Reservations{{0, step}, {step, step}, {step, step}, {step, step}, {2 * step, 4096}}));
   struct stat status = {};
   ASSERT_EQ(::stat(path_.c_str(), &status), 0);
   EXPECT_EQ(status.st_size, 2 * step + 4096);
   EXPECT_GE(status.st_blocks * 512, 2 * step + 4096);
}

TEST_F(ShmBackendTest, aFileSystemThatCannotReserveIsNamed)
{
   errorsToCome = {EOPNOTSUPP};

   EXPECT_EQ(
      refusalOf([&] { create(block_); }),
      "8192 bytes cannot be had in '" + temporary_.path() +
         "': Operation not supported; its file system cannot reserve memory; use a directory in a tmpfs, like "
         "/dev/shm");
   EXPECT_EQ(fileCount(), 0U);
}

TEST_F(ShmBackendTest, aBlockThatFitsOnlyInPartIsRefusedAndLeavesNothing)
{
   errorsToCome = {0, ENOSPC};
   Block block = blockOf(4 << 20);

   EXPECT_NE(refusalOf([&] { create(block); }).find("No space left on device; see 'df'"), std::string::npos);
   EXPECT_EQ(fileCount(), 0U);
}

TEST_F(ShmBackendTest, attachmentsShareTheirBytes)
{
   create(block_);
   auto* const first = static_cast<char*>(sut_.attach(block_));
   auto* const second = static_cast<char*>(sut_.attach(block_));

   first[8191] = 'x';

   EXPECT_NE(first, second);
   EXPECT_EQ(second[8191], 'x');
   ::munmap(first, 8192);
   ::munmap(second, 8192);
}

TEST_F(ShmBackendTest, memoryIsLeftOutOfCoreDumps)
{
   create(block_);
   void* const memory = sut_.attach(block_);

   EXPECT_NE(memoryFlagsOf(memory).find(" dd"), std::string::npos) << memoryFlagsOf(memory);
   ::munmap(memory, 8192);
}

TEST_F(ShmBackendTest, filesLeftOverUnderTheSameNameAreReplaced)
{
   std::ofstream(path_) << "left over by a process that died";

   auto* const memory = static_cast<char*>(sut_.create(block_, Backend::Reserve::whole));

   EXPECT_EQ(memory[0], '\0');
   ::munmap(memory, 8192);
}

TEST_F(ShmBackendTest, aBlockThatDoesNotFitIsRefusedAndLeavesNothing)
{
   Block block = blockOf(std::uint64_t{1} << 62);
   errorsToCome = {ENOSPC}; // rather than to fill the machine's memory

   std::string const text = refusalOf([&] { create(block); });

   EXPECT_EQ(
      text,
      "4611686018427387904 bytes cannot be had in '" + temporary_.path() +
         "': No space left on device; see 'df' of that file system and the memory limit of this process's control "
         "group");
   EXPECT_EQ(fileCount(), 0U);
}

TEST_F(ShmBackendTest, memoryIsThereUntilItIsDestroyed)
{
   create(block_);
   EXPECT_TRUE(sut_.isThere(block_));
   EXPECT_EQ(sut_.resolve(block_, nullptr), 0x8000000100000000U);

   sut_.destroy(block_);

   EXPECT_FALSE(sut_.isThere(block_));
   EXPECT_EQ(fileCount(), 0U);
}

TEST_F(ShmBackendTest, memoryOfAnEarlierBootIsGone)
{
   create(block_);

   block_.inode = 0;

   EXPECT_FALSE(sut_.isThere(block_));
}

TEST_F(ShmBackendTest, aReplacedFileIsRefused)
{
   create(block_);
   std::filesystem::rename(path_, temporary_ / "kept"); // so that the new file cannot get the old inode
   std::ofstream(path_) << std::string(8192, 'x');

   EXPECT_EQ(
      refusalOf([&] { sut_.isThere(block_); }),
      "file '" + path_ + "' was replaced by another; run: pinmemctl remove-domain");
   EXPECT_EQ(
      refusalOf([&] { sut_.attach(block_); }),
      "file '" + path_ + "' is not the one that was made for the block; run: pinmemctl remove-domain");
}

TEST_F(ShmBackendTest, aLinkInPlaceOfTheFileIsRefused)
{
   create(block_);
   std::filesystem::rename(path_, temporary_ / "kept");
   std::filesystem::create_symlink(temporary_ / "kept", path_);

   EXPECT_EQ(
      refusalOf([&] { sut_.attach(block_); }),
      "file '" + path_ + "' cannot be opened: Too many levels of symbolic links; allocate the block again");
}

TEST_F(ShmBackendTest, aShortenedFileIsRefusedInsteadOfASignalLater)
{
   create(block_);
   std::filesystem::resize_file(path_, 4096);

   EXPECT_EQ(
      refusalOf([&] { sut_.attach(block_); }),
      "file '" + path_ + "' was cut to 4096 bytes; run: pinmemctl remove-domain");
}

TEST_F(ShmBackendTest, aMissingFileIsRefused)
{
   EXPECT_EQ(
      refusalOf([&] { sut_.attach(block_); }),
      "file '" + path_ + "' cannot be opened: No such file or directory; allocate the block again");
}

TEST_F(ShmBackendTest, anArenaTakesNoMemoryUntilAPartIsProvided)
{
   auto* const memory = static_cast<char*>(sut_.create(block_, Backend::Reserve::parts));
   struct stat status = {};
   ASSERT_EQ(::stat(path_.c_str(), &status), 0);
   EXPECT_EQ(status.st_size, 8192);
   EXPECT_EQ(status.st_blocks, 0);

   sut_.provide(block_, memory, 4096 + 64, 64);

   ASSERT_EQ(::stat(path_.c_str(), &status), 0);
   EXPECT_EQ(status.st_blocks * 512, 4096);
   ::munmap(memory, 8192);
}

TEST_F(ShmBackendTest, aPartThatWasUsedBeforeIsProvidedAsZeroAndItsNeighboursStay)
{
   auto* const memory = static_cast<char*>(sut_.create(block_, Backend::Reserve::whole));
   std::fill(memory, memory + 8192, 'x');

   sut_.provide(block_, memory, 64, 8000);

   EXPECT_EQ(memory[63], 'x');
   EXPECT_TRUE(std::all_of(memory + 64, memory + 64 + 8000, [](char byte) { return byte == 0; }));
   EXPECT_EQ(memory[64 + 8000], 'x');
   ::munmap(memory, 8192);
}

TEST_F(ShmBackendTest, aPartThatCannotBeHadIsRefused)
{
   void* const memory = sut_.create(block_, Backend::Reserve::parts);
   errorsToCome = {ENOSPC};

   EXPECT_EQ(
      refusalOf([&] { sut_.provide(block_, memory, 0, 128); }),
      "128 bytes cannot be had in '" + temporary_.path() +
         "': No space left on device; see 'df' of that file system and the memory limit of this process's control "
         "group");
   ::munmap(memory, 8192);
}

TEST_F(ShmBackendTest, aPartOfAnArenaThatIsGoneIsRefusedAlsoAfterOneThatWasNot)
{
   void* const memory = sut_.create(block_, Backend::Reserve::parts);
   sut_.provide(block_, memory, 0, 64);
   sut_.destroy(block_);

   EXPECT_EQ(
      refusalOf([&] { sut_.provide(block_, memory, 64, 64); }),
      "file '" + path_ + "' cannot be opened: No such file or directory; allocate the block again");
   ::munmap(memory, 8192);
}
