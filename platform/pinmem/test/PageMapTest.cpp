#include "src/PageMap.h"
#include "src/SystemCalls.h"
#include "test/support/OrdinaryUser.h"
#include <cstring>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

using namespace pinmem_lib;
using namespace pinmem_test;

namespace {

constexpr char usual[] = "/proc/self/pagemap";

/// What a process of an ordinary user sees.
PageMap::Sight sightOfOrdinaryUser(Privilege privilege)
{
   std::string const text =
      asOrdinaryUser(privilege, [] { return std::to_string(static_cast<int>(PageMap(usual).sight())); });
   return static_cast<PageMap::Sight>(std::stoi(text));
}

} // namespace

TEST(PageMap, aProcessWithPrivilegeSeesWhereItsPagesAre)
{
   if (::geteuid() != 0) {
      GTEST_SKIP() << "only root may see physical addresses";
   }
   PageMap const sut(usual);
   auto const pageSize = static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
   void* const memory =
      ::mmap(nullptr, 4 * pageSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);

   PageMap::Answer const answer = sut.read(memory, 4, pageSize);

   ASSERT_EQ(answer.sight, PageMap::Sight::seen);
   ASSERT_EQ(answer.physical.size(), 4U);
   for (std::uint64_t const physical : answer.physical) {
      EXPECT_NE(physical, 0U);
      EXPECT_EQ(physical % pageSize, 0U);
   }
   EXPECT_EQ(sut.sight(), PageMap::Sight::seen);
   ::munmap(memory, 4 * pageSize);
}

TEST(PageMap, aProcessThatDroppedItsPrivilegeIsToldFromOneThatNeverHadIt)
{
   if (::geteuid() != 0) {
      GTEST_SKIP() << "only root has privilege to drop";
   }
   EXPECT_EQ(sightOfOrdinaryUser(Privilege::dropped), PageMap::Sight::closed);
   EXPECT_EQ(sightOfOrdinaryUser(Privilege::never), PageMap::Sight::hidden);
}

TEST(PageMap, aMissingOrEmptyMapIsClosed)
{
   EXPECT_EQ(PageMap("/no/such/file").sight(), PageMap::Sight::closed);
   EXPECT_EQ(PageMap("/dev/null").sight(), PageMap::Sight::closed);
}

TEST(PageMap, anEntryWithoutThePresentBitIsAPageThatIsNotThere)
{
   EXPECT_EQ(PageMap("/dev/zero").sight(), PageMap::Sight::notPresent);
}

TEST(PageMap, anEntryWithoutAFrameIsHidden)
{
   SystemCalls const calls = systemCalls;
   systemCalls.pread = [](int, void* bytes, std::size_t size, off_t) {
      std::uint64_t const present = std::uint64_t{1} << 63;
      std::memcpy(bytes, &present, sizeof(present));
      return static_cast<ssize_t>(size);
   };

   EXPECT_EQ(PageMap("/dev/zero").sight(), PageMap::Sight::hidden);

   systemCalls = calls;
}

TEST(PageMap, eachSightHasItsOwnText)
{
   EXPECT_STREQ(
      PageMap::describe(PageMap::Sight::closed),
      "the page map of this process is closed to it, as after dropping privilege; let 'pinmemctl prealloc' make the "
      "block, run by this user with the capability CAP_SYS_ADMIN");
   EXPECT_STREQ(
      PageMap::describe(PageMap::Sight::hidden),
      "the kernel hides physical addresses from this process; let 'pinmemctl prealloc' make the block, run by this "
      "user with the capability CAP_SYS_ADMIN");
   EXPECT_STREQ(
      PageMap::describe(PageMap::Sight::notPresent),
      "the kernel does not hold the pages that it has just given; see the kernel's log");
   EXPECT_STREQ(PageMap::describe(PageMap::Sight::seen), "physical addresses can be seen");
}
