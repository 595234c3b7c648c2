// A domain over huge pages: what the agent sees of it.
#include "src/BlockFlags.h"
#include "src/DomainRemoval.h"
#include "test/support/HugePageFixture.h"
#include "test/support/KillAt.h"
#include "test/support/RefusalOf.h"
#include <cstring>

using namespace pinmem_lib;
using namespace pinmem_test;

namespace {

constexpr std::uint64_t page = HugetlbBackend::pageSize;

class DomainHugetlbTest : public HugePageFixture {
protected:
   static std::uint64_t physicalOf(void const* memory)
   {
      return PageMap("/proc/self/pagemap").read(memory, 1, 1).physical.at(0);
   }

   DomainRemoval remove() const
   {
      Settings settings;
      settings.directory = temporary_.path();
      Roots roots;
      roots.hugetlb = roots_;
      return removeDomain(settings, roots);
   }
};

} // namespace

TEST_F(DomainHugetlbTest, busAddressesArePhysicalOnesOfSmallAndLargeBlocks)
{
   auto const sut = open();
   for (std::uint32_t const size : {1U, 4096U, 100000U, 1U << 20, 2U << 20}) {
      for (std::uint32_t const flags : {BlockFlags::dmaFrugal, BlockFlags::dmaRoomy}) {
         std::string const name = std::to_string(size) + "/" + std::to_string(flags);

         std::uint64_t const address = sut->allocate(name, size, "", flags);

         EXPECT_EQ(address, physicalOf(memoryOf(*sut, name))) << name;
         EXPECT_EQ(physicalOf(memoryOf(*sut, name) + size - 1), address + size - 1) << name;
      }
   }
}

TEST_F(DomainHugetlbTest, aRestartFindsAddressesAndBytes)
{
   std::uint64_t small = 0;
   std::uint64_t large = 0;
   {
      auto const first = open();
      small = first->allocate("small", 64, "", 0);
      large = first->allocate("large", page, "", 4);
      std::strcpy(memoryOf(*first, "small"), "small bytes");
      std::strcpy(memoryOf(*first, "large"), "large bytes");
   }

   auto const sut = open("auto");

   EXPECT_EQ(sut->allocate("small", 64, "", 0), small);
   EXPECT_EQ(sut->allocate("large", page, "", 4), large);
   EXPECT_STREQ(memoryOf(*sut, "small"), "small bytes");
   EXPECT_STREQ(memoryOf(*sut, "large"), "large bytes");
   EXPECT_EQ(sut->records()[0].block.changeCount + sut->records()[1].block.changeCount, 0U);
}

TEST_F(DomainHugetlbTest, smallBlocksShareOneHugePageAndOrdinaryOnesTakeNone)
{
   std::uint64_t const before = pool().available();
   auto const sut = open();

   for (int index = 0; index < 1000; ++index) {
      sut->allocate(std::to_string(index), 64, "", static_cast<std::uint32_t>(index % 2 * 4));
   }
   sut->allocate("ordinary", 5 << 20, "", BlockFlags::ordinary);

   EXPECT_EQ(pool().available(), before - 1);
}

TEST_F(DomainHugetlbTest, anAddressThatIsNoLongerTheRecordedOneIsRecordedCountedAndSaid)
{
   std::uint64_t const address = open()->allocate("a", page, "owner", 4);
   {
      // As if the kernel had moved the page while nobody looked.
      Index index = Index::open(Directory::open(temporary_ / "default", Directory::Trust::guarded));
      index.refresh([] {}, [](Record const&) {});
      Block block = index.read(0)->block;
      block.addressBus = 0x1000;
      index.write(Record::make(block, "a", "owner"));
   }
   auto const sut = open();

   testing::internal::CaptureStderr();
   EXPECT_EQ(sut->allocate("a", page, "", 4), address);

   std::ostringstream expected;
   expected << "pinmem: 'a': the bus address was 0x1000 and is now 0x" << std::hex << address
            << ": the kernel has moved the memory; devices that use it must be told\n";
   EXPECT_EQ(testing::internal::GetCapturedStderr(), expected.str());
   EXPECT_EQ(sut->records()[0].block.addressBus, address);
   EXPECT_EQ(sut->records()[0].block.changeCount, 1U);
   EXPECT_EQ(sut->records()[0].owner(), "owner");
}

TEST_F(DomainHugetlbTest, anotherBackendThanTheBlocksIsRefusedForDmaMemory)
{
   open("hugetlb")->allocate("real", 64, "", 0);
   open("shm")->allocate("simulated", 64, "", 0);

   EXPECT_EQ(
      refusalOf([&] { open("shm")->allocate("real", 64, "", 0); }),
      "the block was made by backend 'hugetlb', but PINMEM_BACKEND=shm is set; unset it, or use another name");
   EXPECT_EQ(
      refusalOf([&] { open("hugetlb")->allocate("simulated", 64, "", 0); }),
      "the block was made by backend 'shm', but PINMEM_BACKEND=hugetlb is set; unset it, or use another name");
}

TEST_F(DomainHugetlbTest, aBlockWhoseMemoryIsGoneWithTheBootIsMadeAnew)
{
   open()->allocate("a", 64, "", 0);
   Index::open(Directory::open(temporary_ / "default", Directory::Trust::guarded)).bootIdIs("another boot");
   auto const sut = open();

   std::uint64_t const address = sut->allocate("a", 64, "", 0);

   EXPECT_EQ(address, physicalOf(memoryOf(*sut, "a")));
   EXPECT_EQ(sut->records()[0].block.generation, 2U);
}

TEST_F(DomainHugetlbTest, aRemovedDomainLeavesNoPageAndNoFolder)
{
   std::uint64_t const before = pool().available();
   {
      auto const sut = open();
      sut->allocate("small", 64, "", 0);
      sut->allocate("large", page, "", 4);
      EXPECT_EQ(remove(), DomainRemoval::inUse);
   }

   EXPECT_EQ(remove(), DomainRemoval::removed);

   EXPECT_EQ(pool().available(), before);
   EXPECT_TRUE(std::filesystem::is_empty(mount_));
}

TEST_F(DomainHugetlbTest, anIndexThatIsMissingBesideHugePagesIsRefused)
{
   open()->allocate("a", page, "", 4);
   std::filesystem::remove(temporary_ / "default/index");

   EXPECT_NE(refusalOf([&] { open(); }).find("holds blocks, but their index is missing"), std::string::npos);
}

TEST_F(DomainHugetlbTest, aKillAtEachStepOfANewBlockLeavesAllOfItOrNothing)
{
   std::uint64_t const before = pool().available();
   Fate fate = Fate::killed;
   for (int stop = 0; fate == Fate::killed; ++stop) {
      fate = killAt(stop, [&] { open()->allocate("a", page, "", 4); });

      if (fate == Fate::notWatched) {
         GTEST_SKIP() << "processes may not be traced here";
      }
      {
         auto const sut = open();
         ASSERT_TRUE(sut->damaged().empty()) << stop;
         std::uint64_t const address = sut->allocate("a", page, "", 4);
         ASSERT_EQ(address, physicalOf(memoryOf(*sut, "a"))) << stop;
         ASSERT_EQ(sut->records().size(), 1U) << stop;
      }
      ASSERT_EQ(pool().available(), before - 1) << stop;
      ASSERT_EQ(remove(), DomainRemoval::removed) << stop;
   }
}

TEST_F(DomainHugetlbTest, aKillAtEachStepOfMakingAndFreeingABlockLeavesAllOfItOrNothing)
{
   auto const size = static_cast<std::uint32_t>((hasNeighbours(2) ? 2 : 1) * page); // where memory is not scattered
   std::uint64_t const before = pool().available();
   Fate fate = Fate::killed;
   for (int stop = 0; fate == Fate::killed; ++stop) {
      fate = killAt(stop, [&] {
         auto const domain = open();
         auto second = open();
         second->allocate("a", size, "", 4);
         second.reset();
         domain->free("a");
         domain->collect();
      });

      if (fate == Fate::notWatched) {
         GTEST_SKIP() << "processes may not be traced here";
      }
      {
         auto const sut = open();
         ASSERT_TRUE(sut->faults().empty()) << stop;
         sut->free("a");
         sut->collect();
         ASSERT_EQ(pool().available(), before) << stop;
         std::uint64_t const address = sut->allocate("a", size, "", 4);
         ASSERT_EQ(address, physicalOf(memoryOf(*sut, "a"))) << stop;
         ASSERT_EQ(address + size - page, physicalOf(memoryOf(*sut, "a") + size - page)) << stop;
      }
      ASSERT_EQ(remove(), DomainRemoval::removed) << stop;
      ASSERT_EQ(pool().available(), before) << stop;
   }
}
