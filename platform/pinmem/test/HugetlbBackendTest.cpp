#include "src/HugetlbBackend.h"
#include "src/Refusal.h"
#include "src/SystemCalls.h"
#include "test/support/FailingCalls.h"
#include "test/support/HugePageFixture.h"
#include "test/support/MemoryFlags.h"
#include "test/support/OrdinaryUser.h"
#include "test/support/RefusalOf.h"
#include <algorithm>
#include <cstring>
#include <numeric>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>

using namespace pinmem_lib;
using namespace pinmem_test;

namespace {

constexpr std::uint64_t page = HugetlbBackend::pageSize;

class HugetlbBackendTest : public HugePageFixture {
protected:
   HugetlbBackend backend() const { return HugetlbBackend("folder", roots_, {}); }

   static Block blockOf(std::uint64_t capacity, std::uint32_t slot = 2)
   {
      Block block = {};
      block.slot = slot;
      block.generation = 1;
      block.arena = Block::noArena;
      block.capacity = capacity;
      return block;
   }

   /// Makes a region, and leaves it unmapped.
   static void make(HugetlbBackend& backend, Block& block, Backend::Reserve reserve = Backend::Reserve::whole)
   {
      void* const memory = backend.create(block, reserve); // which may raise the capacity
      ::munmap(memory, block.capacity);
   }

   static std::vector<std::uint64_t> physicalOf(void* memory, std::uint64_t size)
   {
      return PageMap("/proc/self/pagemap").read(memory, size / page, page).physical;
   }

   /// Takes all free pages into a file of its own.
   FileDescriptor takeAllPages() const
   {
      FileDescriptor file(::open((mount_ + "/taken").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
      off_t offset = 0;
      while (::fallocate(file.number(), 0, offset, static_cast<off_t>(page)) == 0) {
         offset += static_cast<off_t>(page);
      }
      return file;
   }

   /// Takes all pages and gives back every other one, so that no two free ones are neighbours.
   FileDescriptor takeEveryOtherPage() const
   {
      FileDescriptor file = takeAllPages();
      auto const size = static_cast<std::uint64_t>(::lseek(file.number(), 0, SEEK_END));
      void* const memory = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file.number(), 0);
      std::vector<std::uint64_t> const physical = physicalOf(memory, size);
      ::munmap(memory, size);
      std::vector<std::size_t> order(physical.size());
      std::iota(order.begin(), order.end(), 0U);
      std::sort(order.begin(), order.end(), [&](auto left, auto right) { return physical[left] < physical[right]; });
      for (std::size_t index = 0; index < order.size(); index += 2) {
         constexpr int mode = FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE;
         ::fallocate(file.number(), mode, static_cast<off_t>(order[index] * page), static_cast<off_t>(page));
      }
      return file;
   }

   /// As other kits do when they start: every file of the mount's root that has "map_" in its name and no lock.
   int deleteUnlockedMapFiles() const
   {
      int deleted = 0;
      for (auto const& file : std::filesystem::directory_iterator(mount_)) {
         FileDescriptor const candidate(::open(file.path().c_str(), O_RDONLY | O_CLOEXEC));
         if (
            file.path().filename().string().find("map_") != std::string::npos &&
            ::flock(candidate.number(), LOCK_EX | LOCK_NB) == 0) {
            deleted += std::filesystem::remove(file.path()) ? 1 : 0;
         }
      }
      return deleted;
   }

   void letOrdinaryUsersIn() const
   {
      ASSERT_EQ(::chmod(temporary_.path().c_str(), 0755), 0);
      ASSERT_EQ(::chmod(mount_.c_str(), 01777), 0);
   }
};

} // namespace

TEST_F(HugetlbBackendTest, newMemoryReadsAsZeroAtItsPhysicalAddress)
{
   HugetlbBackend sut = backend();
   Block block = blockOf(page);

   auto* const memory = static_cast<char*>(sut.create(block, Backend::Reserve::whole));

   EXPECT_TRUE(std::all_of(memory, memory + page, [](char byte) { return byte == 0; }));
   EXPECT_EQ(block.addressBus, physicalOf(memory, page).at(0));
   EXPECT_EQ(block.addressBus % page, 0U);
   EXPECT_EQ(block.pageSize, page);
   EXPECT_EQ(sut.resolve(block, memory), block.addressBus);
   ::munmap(memory, page);
}

TEST_F(HugetlbBackendTest, bytesAndAddressStayWhenEveryProcessIsGone)
{
   if (!hasNeighbours(2)) {
      GTEST_SKIP() << "this machine's memory is too scattered";
   }
   Block block = blockOf(2 * page);
   {
      HugetlbBackend first = backend();
      auto* const memory = static_cast<char*>(first.create(block, Backend::Reserve::whole));
      for (std::uint64_t index = 0; index < 2; ++index) {
         memory[index * page] = static_cast<char>('a' + index);
      }
      ::munmap(memory, block.capacity);
   }
   HugetlbBackend sut = backend();

   EXPECT_TRUE(sut.isThere(block));
   auto* const memory = static_cast<char*>(sut.attach(block));

   EXPECT_EQ(std::string({memory[0], memory[page]}), "ab");
   EXPECT_EQ(sut.resolve(block, memory), block.addressBus);
   ::munmap(memory, block.capacity);
}

TEST_F(HugetlbBackendTest, aBlockOfSeveralPagesLiesOnNeighboursInAscendingOrder)
{
   HugetlbBackend sut = backend();
   for (std::uint32_t count = 2; count <= 3; ++count) {
      if (!hasNeighbours(count)) {
         GTEST_SKIP() << "this machine's memory is too scattered";
      }
      Block block = blockOf(count * page, count);

      void* const memory = sut.create(block, Backend::Reserve::whole);

      std::vector<std::uint64_t> const physical = physicalOf(memory, block.capacity);
      for (std::uint32_t index = 0; index < count; ++index) {
         EXPECT_EQ(physical.at(index), block.addressBus + index * page);
      }
      ::munmap(memory, block.capacity);
   }
}

TEST_F(HugetlbBackendTest, pagesThatWereLookedAtInVainAreGivenBack)
{
   if (!hasNeighbours(2)) {
      GTEST_SKIP() << "this machine's memory is too scattered";
   }
   std::uint64_t const before = pool().available();
   HugetlbBackend sut = backend();
   Block block = blockOf(2 * page);

   make(sut, block);
   EXPECT_EQ(pool().available(), before - 2);

   sut.destroy(block);
   EXPECT_EQ(pool().available(), before);
   EXPECT_FALSE(sut.isThere(block));
   block = blockOf(before * page);
   if (refusalOf([&] { make(sut, block); }).empty()) {
      sut.destroy(block); // all pages of this machine are neighbours
   }
   EXPECT_EQ(pool().available(), before);
}

TEST_F(HugetlbBackendTest, aCapacityIsRoundedUpToWholePages)
{
   if (!hasNeighbours(2)) {
      GTEST_SKIP() << "this machine's memory is too scattered";
   }
   HugetlbBackend sut = backend();
   Block block = blockOf(page + 1);

   make(sut, block);

   EXPECT_EQ(block.capacity, 2 * page);
}

TEST_F(HugetlbBackendTest, withoutNeighboursABlockIsRefusedWithTheLongestRun)
{
   FileDescriptor const taken = takeEveryOtherPage();
   std::string const free = std::to_string(pool().available());
   HugetlbBackend sut = backend();
   Block block = blockOf(2 * page);

   EXPECT_EQ(
      refusalOf([&] { sut.create(block, Backend::Reserve::whole); }),
      "4194304 bytes need 2 contiguous 2 MiB pages; longest free run is 1 of " + free +
         "; reserve pages at boot, use 1 GiB pages, or an IOMMU");
   EXPECT_EQ(std::to_string(pool().available()), free);
   block = blockOf(page);
   make(sut, block);
}

TEST_F(HugetlbBackendTest, anArenaThatFindsNoNeighboursGetsAGiantPage)
{
   constexpr char giant[] = "/sys/kernel/mm/hugepages/hugepages-1048576kB/nr_hugepages";
   auto const pools = [] { return HugePagePool::read("/sys/kernel", HugetlbBackend::giantPageSize); };
   auto const giantBefore = pools().total;
   std::ofstream(giant) << giantBefore + 1;
   std::string const path = temporary_ / "giant";
   if (
      pools().available() == 0 || ::mkdir(path.c_str(), 0755) != 0 ||
      ::mount("none", path.c_str(), "hugetlbfs", 0, "pagesize=1G") != 0) {
      std::ofstream(giant) << giantBefore;
      GTEST_SKIP() << "the machine has no page of 1 GiB to spare";
   }
   std::ofstream(mountInfo_, std::ios::app) << "1 1 0:1 / " << path << " rw - hugetlbfs none rw\n";
   FileDescriptor const taken = takeEveryOtherPage();
   {
      HugetlbBackend sut = backend();
      Block block = blockOf(2 * page);
      EXPECT_NE(refusalOf([&] { sut.create(block, Backend::Reserve::whole); }), "");

      auto* const memory = static_cast<char*>(sut.create(block, Backend::Reserve::parts));

      EXPECT_EQ(block.capacity, HugetlbBackend::giantPageSize);
      EXPECT_EQ(block.pageSize, HugetlbBackend::giantPageSize);
      std::vector<std::uint64_t> const physical = physicalOf(memory, 4 * page);
      EXPECT_EQ(physical.at(3), block.addressBus + 3 * page);
      ::munmap(memory, block.capacity);
      auto* const again = static_cast<char*>(sut.attach(block));
      EXPECT_EQ(sut.resolve(block, again), block.addressBus);
      ::munmap(again, block.capacity);
      sut.destroy(block);
   }
   ::umount2(path.c_str(), MNT_DETACH);
   std::ofstream(giant) << giantBefore;
}

TEST_F(HugetlbBackendTest, aPoolInUseIsToldFromOneThatIsTooSmallAndOneThatIsReserved)
{
   HugetlbBackend sut = backend();
   Block block = blockOf(page);
   std::string const count = std::to_string(total());
   {
      FileDescriptor const reserver(::open((mount_ + "/reserver").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
      std::uint64_t const all = pool().available() * page;
      void* const memory = ::mmap(nullptr, all, PROT_READ | PROT_WRITE, MAP_SHARED, reserver.number(), 0);
      ASSERT_NE(memory, MAP_FAILED);
      EXPECT_NE(
         refusalOf([&] {
            sut.create(block, Backend::Reserve::whole);
         }).find(" free ones of " + count + " 2 MiB pages are reserved by other processes"),
         std::string::npos);
      ::munmap(memory, all);
      ::unlink((mount_ + "/reserver").c_str());
   }
   std::string const free = std::to_string(pool().available());
   Block large = blockOf((pool().available() + 1) * page);
   EXPECT_EQ(
      refusalOf([&] { sut.create(large, Backend::Reserve::whole); }),
      std::to_string(pool().available() + 1) + " 2 MiB pages are needed, and " + free + " of " + count +
         " are free; enlarge the pool, or run: pinmemctl gc");

   FileDescriptor const taken = takeAllPages();

   EXPECT_EQ(
      refusalOf([&] { sut.create(block, Backend::Reserve::whole); }),
      "all " + count + " 2 MiB pages are in use; enlarge the pool, or run: pinmemctl gc");
   EXPECT_EQ(sut.obstacle(true), "");
   EXPECT_NE(sut.obstacle(false), "");
}

TEST_F(HugetlbBackendTest, aControlGroupsLimitIsToldFromAPoolInUse)
{
   std::string const group = temporary_ / "group";
   std::string const hierarchy = temporary_ / "hierarchy";
   std::filesystem::create_directory(hierarchy);
   std::string limit;
   std::string controlled;
   auto const control = [&](char const* change) {
      std::ofstream(hierarchy + "/cgroup.subtree_control") << change << std::flush;
   };
   auto const putBack = [&] {
      std::error_code ignored;
      std::filesystem::remove(hierarchy + "/pinmem-test", ignored);
      if (controlled.find("hugetlb") == std::string::npos) {
         control("-hugetlb");
      }
      ::umount2(hierarchy.c_str(), MNT_DETACH);
   };
   if (::mount("none", hierarchy.c_str(), "cgroup2", 0, nullptr) == 0) {
      std::getline(std::ifstream(hierarchy + "/cgroup.subtree_control"), controlled);
      control("+hugetlb");
      limit = hierarchy + "/pinmem-test/hugetlb.2MB.max";
      std::filesystem::create_directory(hierarchy + "/pinmem-test");
   }
   if (limit.empty() || !std::ofstream(limit, std::ios::in).is_open()) {
      putBack();
      GTEST_SKIP() << "this kernel has no control group for huge pages, or not in its second hierarchy";
   }
   std::ofstream(limit) << page << std::flush;
   pid_t const child = ::fork();
   if (child == 0) {
      std::ofstream(hierarchy + "/pinmem-test/cgroup.procs") << ::getpid() << std::flush;
      HugetlbBackend sut = backend();
      Block first = blockOf(page, 1);
      make(sut, first);
      Block second = blockOf(page, 2);
      std::string const text = refusalOf([&] { sut.create(second, Backend::Reserve::whole); });
      ::_exit(text.find("but the control group of this process may not take one more") == std::string::npos);
   }
   int status = 0;
   ::waitpid(child, &status, 0);
   std::filesystem::remove_all(mount_ + "/pinmem-0");
   putBack();
   EXPECT_EQ(status, 0);
}

TEST_F(HugetlbBackendTest, memoryIsUsedWithoutPrivilegeOnceItIsMade)
{
   letOrdinaryUsersIn();
   auto* const block =
      static_cast<Block*>(::mmap(nullptr, sizeof(Block), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
   *block = blockOf(page);
   EXPECT_EQ(
      asOrdinaryUser(
         Privilege::kept,
         [&] {
            HugetlbBackend first = backend();
            std::strcpy(static_cast<char*>(first.create(*block, Backend::Reserve::whole)), "bytes");
            return std::string("made");
         }),
      "made");
   ASSERT_NE(block->addressBus, 0U);

   for (Privilege const privilege : {Privilege::never, Privilege::dropped}) {
      EXPECT_EQ(
         asOrdinaryUser(
            privilege,
            [&] {
               HugetlbBackend sut = backend();
               auto* const memory = static_cast<char*>(sut.attach(*block));
               return memory + std::to_string(sut.resolve(*block, memory));
            }),
         "bytes" + std::to_string(block->addressBus));
   }
   ::munmap(block, sizeof(Block));
}

TEST_F(HugetlbBackendTest, theLimitForLockedMemoryDoesNotCount)
{
   letOrdinaryUsersIn();

   EXPECT_EQ(
      asOrdinaryUser(
         Privilege::kept,
         [&] {
            rlimit const none = {0, 0};
            EXPECT_EQ(::setrlimit(RLIMIT_MEMLOCK, &none), 0);
            HugetlbBackend sut = backend();
            Block block = blockOf(page);
            std::memset(sut.create(block, Backend::Reserve::whole), 'x', page);
            std::memset(sut.attach(block), 'y', page);
            return std::string(HasFailure() ? "failed" : "used");
         }),
      "used");
}

TEST_F(HugetlbBackendTest, memoryCannotBeMadeWithoutPrivilegeAndNothingIsLeft)
{
   letOrdinaryUsersIn();
   auto const refusalWith = [&](Privilege privilege) {
      return asOrdinaryUser(privilege, [&] {
         HugetlbBackend sut = backend();
         Block block = blockOf(page);
         std::string const text = refusalOf([&] { sut.create(block, Backend::Reserve::whole); });
         EXPECT_EQ(sut.obstacle(true), "");
         EXPECT_TRUE(sut.folders().at(0).directory().entries().empty());
         return sut.obstacle(false) == text && !HasFailure() ? text : "obstacle: " + sut.obstacle(false);
      });
   };

   EXPECT_EQ(refusalWith(Privilege::never), PageMap::describe(PageMap::Sight::hidden));
   EXPECT_EQ(refusalWith(Privilege::dropped), PageMap::describe(PageMap::Sight::closed));
}

TEST_F(HugetlbBackendTest, aMountThatIsNotWritableIsAnObstacle)
{
   letOrdinaryUsersIn();
   ASSERT_EQ(::chmod(mount_.c_str(), 0755), 0);

   EXPECT_EQ(
      asOrdinaryUser(Privilege::never, [&] { return backend().obstacle(true); }),
      "hugetlbfs '" + mount_ + "' is not writable for this user; run: mkdir -m 0700 '" + mount_ +
         "/pinmem-65534' && chown 65534 '" + mount_ + "/pinmem-65534'");
}

TEST_F(HugetlbBackendTest, aMissingMountIsAnObstacle)
{
   std::ofstream(mountInfo_) << "";
   HugetlbBackend sut = backend();

   EXPECT_EQ(
      sut.obstacle(true),
      "no hugetlbfs with 2 MiB pages is mounted; run: mount -t hugetlbfs -o pagesize=2M none /dev/hugepages");
   Block block = blockOf(page);
   EXPECT_EQ(refusalOf([&] { sut.create(block, Backend::Reserve::whole); }), sut.obstacle(true));
}

TEST_F(HugetlbBackendTest, anIommuThatTranslatesIsAnObstacle)
{
   std::filesystem::create_directories(kernel_ + "/iommu_groups/4");
   std::ofstream(kernel_ + "/iommu_groups/4/type") << "DMA\n";

   EXPECT_EQ(
      backend().obstacle(true),
      "an IOMMU translates for the devices of group 4, which fault when they are given physical addresses; boot with "
      "iommu=pt, or without the IOMMU");
}

TEST_F(HugetlbBackendTest, aNeighbourThatDeletesUnlockedMapFilesFindsNone)
{
   HugetlbBackend sut = backend();
   Block block = blockOf(page);
   void* const memory = sut.create(block, Backend::Reserve::whole);
   std::string const file = sut.folders().at(0).pathOf(block);
   std::filesystem::create_hard_link(file, mount_ + "/kit_map_1"); // as if our files lay there, under such names
   std::ofstream(mount_ + "/kit_map_0").flush();

   EXPECT_EQ(deleteUnlockedMapFiles(), 1);
   EXPECT_TRUE(std::filesystem::exists(mount_ + "/kit_map_1"));
   ::munmap(memory, block.capacity);

   EXPECT_EQ(deleteUnlockedMapFiles(), 1);
   EXPECT_TRUE(sut.isThere(block));
}

TEST_F(HugetlbBackendTest, memoryIsLeftOutOfCoreDumps)
{
   HugetlbBackend sut = backend();
   Block block = blockOf(page);
   make(sut, block);

   void* const memory = sut.attach(block);

   EXPECT_NE(memoryFlagsOf(memory).find(" ht"), std::string::npos) << memoryFlagsOf(memory);
   EXPECT_NE(memoryFlagsOf(memory).find(" dd"), std::string::npos) << memoryFlagsOf(memory);
   ::munmap(memory, page);
}

TEST_F(HugetlbBackendTest, aPartOfAnArenaIsProvidedAsZero)
{
   HugetlbBackend sut = backend();
   Block block = blockOf(page);
   auto* const memory = static_cast<char*>(sut.create(block, Backend::Reserve::parts));
   std::memset(memory, 'x', page);

   sut.provide(block, memory, 64, 128);

   EXPECT_EQ(memory[63], 'x');
   EXPECT_TRUE(std::all_of(memory + 64, memory + 192, [](char byte) { return byte == 0; }));
   EXPECT_EQ(memory[192], 'x');
   ::munmap(memory, page);
}

TEST_F(HugetlbBackendTest, aRecordWithoutItsExtentsIsRefused)
{
   HugetlbBackend sut = backend();
   Block block = blockOf(page);
   make(sut, block);
   block.extentCount = 0;

   EXPECT_EQ(
      refusalOf([&] { sut.attach(block); }),
      "the record of this block does not say which pages it has; run: pinmemctl check");
}

TEST_F(HugetlbBackendTest, whicheverCallFailsNothingIsLeftAndNothingIsMapped)
{
   std::uint64_t const before = pool().available();
   bool hasFailed = true;
   for (int number = 0; hasFailed; ++number) {
      Block block = blockOf(2 * page);
      std::string text;
      {
         SystemCalls const real = systemCalls;
         FailingCalls const calls(number, EIO);
         systemCalls.unlinkat = real.unlinkat; // what cannot be removed stays, of course
         HugetlbBackend sut = backend();
         text = refusalOf([&] { make(sut, block); });
         hasFailed = FailingCalls::hasFailed();
      }
      HugetlbBackend after = backend();
      if (text.empty()) {
         EXPECT_TRUE(after.isThere(block)) << number;
         after.destroy(block);
      }
      ASSERT_EQ(pool().available(), before) << "call " << number << ": " << text;
   }
}
