// Blocks of several huge pages: which pages they get, and in which order they are mapped.
#include "src/BlockFlags.h"
#include "test/support/FailingCalls.h"
#include "test/support/MadeUpPages.h"
#include "test/support/RefusalOf.h"
#include <cerrno>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

using namespace pinmem_lib;
using namespace pinmem_test;

namespace {

class HugetlbPickingTest : public MadeUpPages {
protected:
   static Block blockOf(std::uint64_t pages)
   {
      Block block = {};
      block.slot = 2;
      block.generation = 1;
      block.arena = Block::noArena;
      block.capacity = pages * page;
      return block;
   }

   static std::string refusalOfBlock(HugetlbBackend& sut, Block& block)
   {
      return refusalOf([&] { ::munmap(sut.create(block, Backend::Reserve::whole), block.capacity); });
   }

   static char* memoryOf(Domain& domain, std::string_view name)
   {
      return reinterpret_cast<char*>(static_cast<std::uintptr_t>(domain.map(name)));
   }

   /// The frames of mapped pages, in the order in which they are mapped.
   Frames framesOf(void const* memory, std::size_t count, std::uint64_t size = page) const
   {
      Frames frames = PageMap(roots_.pageMap).read(memory, count, size).physical;
      for (std::uint64_t& frame : frames) {
         frame /= size;
      }
      return frames;
   }

   /// Makes an arena without a record, as a process does that is killed early.
   /// @return that process, which has it mapped
   std::unique_ptr<Domain> leaveArenaWithoutRecord() const
   {
      std::unique_ptr<Domain> killed = open();
      killed->allocate("block", 64, "", 0);
      Index index = Index::open(Directory::open(killed->path(), Directory::Trust::guarded));
      for (std::uint32_t const slot : {0U, 1U}) {
         index.clear(slot);
      }
      return killed;
   }

   static inline int failing_ = 0; ///< which of the files cannot be opened
   static inline int opened_ = 0;

   std::size_t fileCount() const
   {
      std::size_t count = 0;
      for (RegionFiles const& files : backend().folders()) {
         count += files.directory().entries().size();
      }
      return count;
   }
};

} // namespace

TEST_F(HugetlbPickingTest, neighboursArePickedWhereverTheyLieInTheFileAndTheOthersGivenBack)
{
   mountPages(page, {9, 4, 7, 5, 12, 6, 20, 30});
   HugetlbBackend sut = backend();
   Block block = blockOf(3);

   auto* const memory = static_cast<char*>(sut.create(block, Backend::Reserve::whole));

   EXPECT_EQ(block.addressBus, 4 * page);
   EXPECT_EQ(framesOf(memory, 3), (Frames{4, 5, 6}));
   EXPECT_EQ(freeFrames(), (std::set<std::uint64_t>{7, 9, 12, 20, 30}));
   ::munmap(memory, block.capacity);
}

TEST_F(HugetlbPickingTest, pagesAreMappedInPhysicalOrderWhenMadeAndWhenAttached)
{
   mountPages(page, {9, 4, 7, 5, 12, 6});
   Block block = blockOf(3);
   {
      HugetlbBackend first = backend();
      auto* const memory = static_cast<char*>(first.create(block, Backend::Reserve::whole));
      for (std::uint64_t index = 0; index < 3; ++index) {
         memory[index * page] = static_cast<char>('a' + index);
         memory[(index + 1) * page - 1] = static_cast<char>('A' + index);
      }
      FileDescriptor const file = first.folders().at(0).open(block, 6 * page);
      for (off_t const at : {1, 3, 5}) { // where in the file frames 4, 5 and 6 are
         char byte = 0;
         EXPECT_EQ(::pread(file.number(), &byte, 1, at * static_cast<off_t>(page)), 1);
         EXPECT_EQ(byte, static_cast<char>('a' + at / 2));
      }
      ::munmap(memory, block.capacity);
   }
   HugetlbBackend sut = backend();

   auto* const memory = static_cast<char*>(sut.attach(block));

   EXPECT_EQ(framesOf(memory, 3), (Frames{4, 5, 6}));
   EXPECT_EQ(sut.resolve(block, memory), 4 * page);
   for (std::uint64_t index = 0; index < 3; ++index) {
      EXPECT_EQ(memory[index * page], static_cast<char>('a' + index));
      EXPECT_EQ(memory[(index + 1) * page - 1], static_cast<char>('A' + index));
   }
   ::munmap(memory, block.capacity);
}

TEST_F(HugetlbPickingTest, pagesThatComeInDescendingOrderAreOneExtent)
{
   mountPages(page, {8, 7, 6, 5});
   HugetlbBackend sut = backend();
   Block block = blockOf(4);

   void* const memory = sut.create(block, Backend::Reserve::whole);

   EXPECT_EQ(framesOf(memory, 4), (Frames{5, 6, 7, 8}));
   ASSERT_EQ(block.extentCount, 1U);
   EXPECT_EQ(PageExtent::unpacked(block.extents[0]), (PageExtent{3, 4, true}));
   ::munmap(memory, block.capacity);
   void* const again = sut.attach(block);
   EXPECT_EQ(framesOf(again, 4), (Frames{5, 6, 7, 8}));
   ::munmap(again, block.capacity);
}

TEST_F(HugetlbPickingTest, noMorePagesAreLookedAtThanItTakes)
{
   mountPages(page, {3, 4, 1, 2});
   HugetlbBackend sut = backend();
   Block block = blockOf(2);

   ASSERT_EQ(refusalOfBlock(sut, block), "");

   EXPECT_EQ(block.addressBus, 3 * page);
   EXPECT_EQ(freeFrames(), (std::set<std::uint64_t>{1, 2}));
}

TEST_F(HugetlbPickingTest, withoutALongEnoughRunABlockIsRefusedWithTheLongestAndAllIsGivenBack)
{
   Frames const frames = {1, 3, 10, 5, 7, 9};
   mountPages(page, frames);
   HugetlbBackend sut = backend();
   Block block = blockOf(3);

   EXPECT_EQ(
      refusalOfBlock(sut, block), "6291456 bytes need 3 contiguous 2 MiB pages; longest free run is 2 of 6; reserve "
                                  "pages at boot, use 1 GiB pages, or an IOMMU");

   EXPECT_EQ(freeFrames().size(), frames.size());
   EXPECT_EQ(fileCount(), 0U);
   EXPECT_EQ(block.extentCount, 0U);
}

TEST_F(HugetlbPickingTest, aRunInMorePiecesThanARecordHoldsIsRefusedToABlockAndAnArenaGetsAGiantPage)
{
   constexpr std::uint64_t half = 49;
   Frames frames;
   for (std::uint64_t index = 0; index < 2 * half; ++index) {
      frames.push_back(100 + (index < half ? 2 * index : 2 * (index - half) + 1)); // no two in a row
   }
   mountPages(page, frames);
   mountPages(giantPage, {7});
   HugetlbBackend sut = backend();
   Block block = blockOf(97);

   EXPECT_EQ(
      refusalOfBlock(sut, block), "the 97 contiguous 2 MiB pages that there are come in 97 pieces, and a record holds "
                                  "96; reserve pages at boot, or use 1 GiB pages");
   EXPECT_EQ(freeFrames().size(), 2 * half);
   EXPECT_EQ(fileCount(), 0U);

   void* const memory = sut.create(block, Backend::Reserve::parts);

   EXPECT_EQ(block.capacity, giantPage);
   ::munmap(memory, block.capacity);
}

TEST_F(HugetlbPickingTest, aLimitOfTheControlGroupIsToldFromAnEmptyPool)
{
   mountPages(page, {1, 2, 3, 4});
   HugetlbBackend sut = backend();
   Block block = blockOf(3);
   std::string const limited =
      " of 4 2 MiB pages are free, but the control group of this process may not take one more; raise its limit "
      "hugetlb.2MB.max";

   limit_ = 2;
   EXPECT_EQ(refusalOfBlock(sut, block), "2" + limited);
   limit_ = 0;
   EXPECT_EQ(refusalOfBlock(sut, block), "4" + limited);
   limit_ = -1;
   EXPECT_EQ(refusalOfBlock(sut, block), "");
   Block other = blockOf(2);
   other.slot = 3;
   EXPECT_EQ(
      refusalOfBlock(sut, other),
      "2 2 MiB pages are needed, and 1 of 4 are free; enlarge the pool, or run: pinmemctl gc");
   EXPECT_EQ(fileCount(), 1U);
}

TEST_F(HugetlbPickingTest, anArenaThatFindsNoNeighboursGetsAGiantPageAndABlockDoesNot)
{
   mountPages(page, {1, 3, 5});
   mountPages(giantPage, {7});
   HugetlbBackend sut = backend();
   Block block = blockOf(2);
   EXPECT_NE(refusalOfBlock(sut, block).find("longest free run is 1 of 3"), std::string::npos);

   void* const memory = sut.create(block, Backend::Reserve::parts);

   EXPECT_EQ(block.capacity, giantPage);
   EXPECT_EQ(block.pageSize, giantPage);
   EXPECT_EQ(block.addressBus, 7 * giantPage);
   EXPECT_EQ(freeFrames(), (std::set<std::uint64_t>{1, 3, 5}));
   ::munmap(memory, block.capacity);
   void* const again = sut.attach(block);
   EXPECT_EQ(framesOf(again, 1, giantPage), Frames{7});
   ::munmap(again, block.capacity);
   sut.destroy(block);
   EXPECT_EQ(freeFrames(giantPage), std::set<std::uint64_t>{7});
}

TEST_F(HugetlbPickingTest, aBlockForWhichThereAreTooFewPagesLiesInAGiantPage)
{
   mountPages(page, {1, 2});
   mountPages(giantPage, {7});
   auto const sut = open();

   EXPECT_EQ(sut->allocate("long", 3 * page, "", 4), 7 * giantPage);

   EXPECT_EQ(freeFrames(), (std::set<std::uint64_t>{1, 2}));
   EXPECT_EQ(sut->allocate("next", 64, "", 0), 7 * giantPage + 3 * page);
}

TEST_F(HugetlbPickingTest, aMountThatHasHandedOutAllItMayIsToldFromALimitOfTheControlGroup)
{
   mountPages(page, {1, 2, 3, 4});
   mountLimit_ = 2;
   HugetlbBackend sut = backend();
   Block block = blockOf(3);

   EXPECT_EQ(
      refusalOfBlock(sut, block), "all 2 2 MiB pages that the mount may hand out are in use; mount it with a larger "
                                  "size=, or run: pinmemctl gc");
   EXPECT_EQ(freeFrames().size(), 4U);
}

TEST_F(HugetlbPickingTest, anEmptyNodeOnWhichIsInsistedIsToldFromALimitOfTheControlGroup)
{
   mountPages(page, {1, 2, 3, 4});
   std::string const folder = root_ + "/devices/system/node/node1/hugepages/hugepages-2048kB";
   std::filesystem::create_directories(folder);
   systemCalls.bindToNode = [](void*, std::size_t, int, bool) { return 0; };
   limit_ = 0;
   HugetlbBackend sut = backend({.node = 1, .isStrict = true});
   Block block = blockOf(1);

   std::ofstream(folder + "/free_hugepages") << 0;
   EXPECT_EQ(
      refusalOfBlock(sut, block), "no 2 MiB page is free on node 1, on which PINMEM_NODE=1! insists; enlarge that "
                                  "node's pool, or leave out the '!'");
   std::ofstream(folder + "/free_hugepages") << 4;
   EXPECT_NE(refusalOfBlock(sut, block).find("the control group of this process"), std::string::npos);
}

TEST_F(HugetlbPickingTest, withoutAFreeGiantPageTheMissingNeighboursAreTheReason)
{
   mountPages(page, {1, 3, 5});
   mountPages(giantPage, {});
   HugetlbBackend sut = backend();
   Block block = blockOf(2);

   EXPECT_NE(
      refusalOf([&] { sut.create(block, Backend::Reserve::parts); }).find("longest free run is 1 of 3"),
      std::string::npos);
}

TEST_F(HugetlbPickingTest, whicheverCallFailsAllPagesAreGivenBack)
{
   Frames const frames = {9, 4, 7, 5, 12, 6};
   mountPages(page, frames);
   bool hasFailed = true;
   int refusals = 0;
   for (int number = 0; hasFailed; ++number) {
      Block block = blockOf(3);
      std::string text;
      {
         SystemCalls const madeUp = systemCalls;
         FailingCalls const calls(number, EIO);
         systemCalls.unlinkat = madeUp.unlinkat; // what cannot be removed stays, of course
         HugetlbBackend sut = backend();
         text = refusalOfBlock(sut, block);
         hasFailed = FailingCalls::hasFailed();
      }
      refusals += text.empty() ? 0 : 1;
      HugetlbBackend after = backend();
      if (text.empty()) {
         EXPECT_TRUE(after.isThere(block)) << number;
         after.destroy(block);
      }
      ASSERT_EQ(freeFrames().size(), frames.size()) << "call " << number << ": " << text;
   }
   EXPECT_GT(refusals, 10);
}

TEST_F(HugetlbPickingTest, aRestartFindsABlockOfSeveralPagesAtItsAddressWithItsBytes)
{
   mountPages(page, {9, 4, 7, 5, 12, 6, 20});
   {
      auto const first = open();
      EXPECT_EQ(first->allocate("a", 5 << 20, "", BlockFlags::dmaRoomy), 4 * page);
      memoryOf(*first, "a")[(5 << 20) - 1] = 'x';
   }

   auto const sut = open();

   EXPECT_EQ(sut->allocate("a", 6 << 20, "", BlockFlags::dmaRoomy), 4 * page);
   EXPECT_EQ(memoryOf(*sut, "a")[(5 << 20) - 1], 'x');
   EXPECT_EQ(framesOf(memoryOf(*sut, "a"), 3), (Frames{4, 5, 6}));
   EXPECT_TRUE(sut->faults().empty());
   EXPECT_EQ(freeFrames(), (std::set<std::uint64_t>{7, 9, 12, 20}));
}

TEST_F(HugetlbPickingTest, aBlockWithoutNeighboursIsPackedIntoAGiantPage)
{
   mountPages(page, {1, 3, 5, 7});
   mountPages(giantPage, {2});
   auto const sut = open();

   EXPECT_EQ(sut->allocate("a", 5 << 20, "", BlockFlags::dmaRoomy), 2 * giantPage);
   EXPECT_EQ(sut->allocate("b", 3 << 20, "", BlockFlags::dmaFrugal), 2 * giantPage + (5 << 20));

   ASSERT_EQ(sut->arenas().size(), 1U);
   EXPECT_EQ(sut->arenas()[0].block.capacity, giantPage);
   EXPECT_EQ(open()->allocate("a", 5 << 20, "", BlockFlags::dmaRoomy), 2 * giantPage);
   EXPECT_EQ(freeFrames().size(), 4U);
}

TEST_F(HugetlbPickingTest, aBlockWhosePagesWereMovedTogetherIsNotedAndOneWhosePagesWereTornApartRefused)
{
   mountPages(page, {4, 5});
   open()->allocate("a", 4 << 20, "", BlockFlags::dmaRoomy);
   movePage(4, 14);
   movePage(5, 15);
   testing::internal::CaptureStderr();
   EXPECT_EQ(open()->allocate("a", 4 << 20, "", BlockFlags::dmaRoomy), 14 * page);
   EXPECT_EQ(
      testing::internal::GetCapturedStderr(),
      "pinmem: 'a': the bus address was 0x800000 and is now 0x1c00000: the kernel has moved the memory; devices that "
      "use it must be told\n");
   EXPECT_EQ(open()->records()[0].block.changeCount, 1U);

   movePage(15, 40);

   EXPECT_EQ(
      refusalOf([&] { open()->allocate("a", 4 << 20, "", BlockFlags::dmaRoomy); }),
      "the pages of this block are no longer neighbours; end all processes of the domain and free the block");
   EXPECT_EQ(open()->faults(), std::vector<std::string>{"block 'a': it is no longer at its recorded bus address"});
}

TEST_F(HugetlbPickingTest, aFreedBlockGivesItsPagesBack)
{
   mountPages(page, {9, 4, 7, 5});
   {
      auto const first = open();
      first->allocate("a", 4 << 20, "", BlockFlags::dmaRoomy);
      first->allocate("small", 64, "", BlockFlags::dmaFrugal);
   }
   EXPECT_EQ(freeFrames().size(), 1U);
   auto const sut = open();

   EXPECT_EQ(sut->free("a"), Domain::Freed::freed);
   EXPECT_EQ(freeFrames().size(), 3U);
   EXPECT_EQ(sut->free("small"), Domain::Freed::freed);

   EXPECT_EQ(freeFrames(), (std::set<std::uint64_t>{4, 5, 7, 9}));
}

TEST_F(HugetlbPickingTest, autoFindsThePagesThatAKilledProcessLeftInAFileWithoutARecord)
{
   mountPages(page, {7});
   std::unique_ptr<Domain> killed = leaveArenaWithoutRecord();
   std::uint64_t const simulated = std::uint64_t{1} << 63;
   EXPECT_GE(open("auto")->allocate("while it lives", 64, "", 0), simulated);
   EXPECT_EQ(freeFrames(), std::set<std::uint64_t>());

   killed.reset();

   EXPECT_EQ(open("auto")->allocate("after it", 64, "", 0), 7 * page);
}

TEST_F(HugetlbPickingTest, collectFindsAFileWhoseSlotWentToAnotherBackend)
{
   mountPages(page, {7});
   leaveArenaWithoutRecord();
   open("shm")->allocate("block", 64, "", 0);

   EXPECT_EQ(open()->collect().files, 1U);

   EXPECT_EQ(freeFrames(), std::set<std::uint64_t>{7});
   EXPECT_EQ(open()->faults(), std::vector<std::string>());
}

TEST_F(HugetlbPickingTest, foldersThatCannotBeLookedForAreNotTakenForMissing)
{
   mountPages(page, {7});
   HugetlbBackend sut = backend();
   Block block = blockOf(1);
   ASSERT_EQ(refusalOfBlock(sut, block), "");
   ASSERT_EQ(sut.folders().size(), 1U);

   bool hasFailed = true;
   for (failing_ = 0; hasFailed; ++failing_) {
      opened_ = 0;
      auto* const real = systemCalls.openat;
      systemCalls.openat = [](int directory, char const* path, int flags, mode_t mode) {
         errno = EMFILE;
         return opened_++ == failing_ ? -1 : ::openat(directory, path, flags, mode);
      };
      std::string const refusal = refusalOf([&] { sut.folders(); });
      systemCalls.openat = real;
      hasFailed = opened_ > failing_;
      EXPECT_EQ(refusal.find("Too many open files") != std::string::npos, hasFailed) << failing_ << ": " << refusal;
   }
   EXPECT_GE(failing_, 5);
}
