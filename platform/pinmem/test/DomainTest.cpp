#include "src/Domain.h"
#include "test/support/DomainFixture.h"
#include "test/support/RefusalOf.h"
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>

using namespace pinmem_lib;
using namespace pinmem_test;

using DomainTest = DomainFixture;

TEST_F(DomainTest, busAddressesAreSimulatedAndAligned)
{
   auto const sut = open();

   for (std::uint32_t const flags : {0U, 1U, 4U}) {
      std::uint64_t const address = sut->allocate("block" + std::to_string(flags), 100, "", flags);
      EXPECT_EQ(address >> 63, 1U);
      EXPECT_EQ(address % 64, 0U);
   }
}

TEST_F(DomainTest, rangesOfBlocksNeverOverlap)
{
   auto const sut = open();
   std::uint32_t const sizes[] = {0, 1, 4095, 4096, 4097, 1 << 20};
   for (std::uint32_t const size : sizes) {
      sut->allocate("dma" + std::to_string(size), size, "", 0);
      sut->allocate("ordinary" + std::to_string(size), size, "", 1);
   }

   std::vector<Record> const records = sut->records();

   ASSERT_EQ(records.size(), 2 * std::size(sizes));
   for (std::size_t one = 0; one < records.size(); ++one) {
      for (std::size_t other = 0; other < one; ++other) {
         expectApart(records[one].block, records[other].block);
      }
   }
}

TEST_F(DomainTest, aKnownNameIsTheSameBlock)
{
   auto const sut = open();
   std::uint64_t const address = sut->allocate("a", 100, "", 0);
   std::strcpy(memoryOf(*sut, "a"), "bytes");

   EXPECT_EQ(sut->allocate("a", 100, "", 0), address);
   EXPECT_EQ(sut->allocate("a", 0, "", 4), address);
   EXPECT_EQ(sut->allocate("a", 128, "", 0), address);
   EXPECT_STREQ(memoryOf(*sut, "a"), "bytes");
}

TEST_F(DomainTest, blocksOutliveTheirProcess)
{
   std::uint64_t address = 0;
   {
      auto const first = open();
      address = first->allocate("a", 100, "first", 0);
      std::strcpy(memoryOf(*first, "a"), "bytes");
   }

   auto const sut = open();

   EXPECT_EQ(sut->allocate("a", 100, "second", 0), address);
   EXPECT_STREQ(memoryOf(*sut, "a"), "bytes");
   ASSERT_EQ(sut->records().size(), 1U);
   EXPECT_EQ(sut->records()[0].owner(), "first");
   EXPECT_EQ(sut->records()[0].block.size, 100U);
   EXPECT_EQ(sut->records()[0].block.generation, 1U);
}

TEST_F(DomainTest, blocksThatOthersMakeAreNoticed)
{
   auto const sut = open();
   auto const other = open();
   std::uint64_t const address = other->allocate("a", 100, "", 0);
   std::strcpy(memoryOf(*other, "a"), "bytes");

   EXPECT_STREQ(memoryOf(*sut, "a"), "bytes");
   EXPECT_EQ(sut->allocate("a", 100, "", 0), address);
   EXPECT_NE(sut->allocate("b", 100, "", 0), address);
   EXPECT_NE(other->allocate("c", 100, "", 0), sut->allocate("b", 100, "", 0));
   EXPECT_EQ(sut->records().size(), 3U);
}

TEST_F(DomainTest, aLargerSizeIsRefusedWithBothSizesAndTheBlockStays)
{
   auto const sut = open();
   std::uint64_t const address = sut->allocate("a", 100, "", 0);
   std::string const expected = "129 bytes are asked for, but the block was made with 100 bytes and has room for 128; "
                                "ask for no more, or use another name";

   EXPECT_EQ(refusalOf([&] { sut->allocate("a", 129, "", 0); }), expected);
   EXPECT_EQ(refusalOf([&] { open()->allocate("a", 129, "", 0); }), expected);
   EXPECT_EQ(sut->allocate("a", 100, "", 0), address);
}

TEST_F(DomainTest, aDmaBlockMayBeAskedForAsOrdinaryMemory)
{
   auto const sut = open();

   std::uint64_t const address = sut->allocate("a", 100, "", 4);

   EXPECT_EQ(sut->allocate("a", 100, "", 1), address);
   EXPECT_EQ(sut->allocate("a", 100, "", 0), address);
}

TEST_F(DomainTest, ordinaryMemoryIsRefusedAsADmaBlock)
{
   auto const sut = open();
   std::uint64_t const token = sut->allocate("a", 100, "", 1);
   std::string const expected =
      "DMA memory is asked for, but the block was made as ordinary memory (flags=1); use another name";

   EXPECT_EQ(refusalOf([&] { sut->allocate("a", 100, "", 0); }), expected);
   EXPECT_EQ(refusalOf([&] { open()->allocate("a", 100, "", 4); }), expected);
   EXPECT_EQ(sut->allocate("a", 100, "", 1), token);
}

TEST_F(DomainTest, sizeZeroGivesTheSmallestUnitAndIsRecorded)
{
   auto const sut = open();

   EXPECT_NE(sut->allocate("a", 0, "", 0), 0U);

   EXPECT_EQ(sut->records()[0].block.size, 0U);
   EXPECT_EQ(sut->records()[0].block.capacity, 64U);
   EXPECT_NE(sut->map("a"), 0U);
}

TEST_F(DomainTest, namesMayHoldAnyByte)
{
   auto const sut = open();
   std::vector<std::string> names = {"../../escape", "a b", "\n\x1b[31m\xff", std::string(255, '/')};
   for (int byte = 1; byte < 256; ++byte) {
      names.emplace_back(1, static_cast<char>(byte));
   }

   for (std::string const& name : names) {
      std::uint64_t const address = sut->allocate(name, 1, "", 0);
      EXPECT_EQ(open()->allocate(name, 1, "", 0), address);
   }

   EXPECT_EQ(sut->records().size(), names.size());
   for (auto const& file : std::filesystem::directory_iterator(control_ + "/data")) {
      EXPECT_TRUE(RegionFiles::isName(file.path().filename()));
   }
}

TEST_F(DomainTest, namesThatStartAlikeAreDifferentBlocks)
{
   auto const sut = open();
   std::string const name(254, 'n');

   EXPECT_NE(sut->allocate(name + "a", 1, "", 0), sut->allocate(name + "b", 1, "", 0));
   EXPECT_NE(sut->allocate(name, 1, "", 0), sut->allocate(name + "a", 1, "", 0));
}

TEST_F(DomainTest, eachMapCountsOnceAndEachUnmapReleasesOne)
{
   auto const sut = open();
   sut->allocate("a", 100, "", 0);
   std::uint64_t const address = sut->map("a");

   EXPECT_EQ(sut->map("a"), address);
   sut->unmap("a", address);
   std::strcpy(reinterpret_cast<char*>(static_cast<std::uintptr_t>(address)), "still mapped");
   sut->unmap("a", address);

   EXPECT_EQ(
      refusalOf([&] { sut->unmap("a", address); }),
      "this block is not mapped in this process; each pinmem_map wants one pinmem_unmap");
   EXPECT_STREQ(memoryOf(*sut, "a"), "still mapped");
}

TEST_F(DomainTest, theLastUnmapRemovesTheMappingOfABlockWithMemoryOfItsOwn)
{
   auto const sut = open();
   sut->allocate("a", 1 << 20, "", 4);
   char* const memory = memoryOf(*sut, "a");

   sut->unmap("a", reinterpret_cast<std::uintptr_t>(memory));

   int const ends = ::open("/dev/zero", O_RDONLY | O_CLOEXEC);
   EXPECT_EQ(::read(ends, memory, 1), -1); // EFAULT instead of a signal
   ::close(ends);
}

TEST_F(DomainTest, anAddressThatIsNotTheBlocksIsNotUnmapped)
{
   auto const sut = open();
   sut->allocate("a", 100, "", 0);
   std::uint64_t const address = sut->map("a");

   std::string const text = refusalOf([&] { sut->unmap("a", 0x10); });

   std::ostringstream expected;
   expected << "this block is mapped at " << reinterpret_cast<void*>(static_cast<std::uintptr_t>(address))
            << ", not at 0x10; pass what pinmem_map returned";
   EXPECT_EQ(text, expected.str());
   EXPECT_EQ(sut->map("a"), address);
}

TEST_F(DomainTest, anUnknownNameIsNotMapped)
{
   auto const sut = open();

   EXPECT_EQ(
      refusalOf([&] { sut->map("a"); }), "there is no block of this name in '" + control_ + "'; allocate it first");
   EXPECT_EQ(
      refusalOf([&] { sut->unmap("a", 4096); }),
      "this block is not mapped in this process; each pinmem_map wants one pinmem_unmap");
   EXPECT_TRUE(sut->records().empty());
}

TEST_F(DomainTest, domainsDoNotMeet)
{
   auto const one = open("one");
   auto const two = open("two");
   one->allocate("a", 100, "", 0);
   two->allocate("a", 8192, "", 0);

   std::strcpy(memoryOf(*one, "a"), "one");

   EXPECT_STREQ(memoryOf(*two, "a"), "");
   EXPECT_EQ(one->records().size(), 1U);
}

TEST_F(DomainTest, manyBlocksAreHeldWithoutADescriptorEach)
{
   auto const sut = open();
   for (int index = 0; index < 2000; ++index) {
      std::string const name = "block" + std::to_string(index);
      ASSERT_NE(sut->allocate(name, 64, "", 1), 0U);
      ASSERT_NE(sut->map(name), 0U);
   }
   for (int index = 0; index < 200; ++index) {
      ASSERT_NE(sut->allocate("large" + std::to_string(index), 1 << 20, "", 1), 0U);
   }

   auto const descriptors = std::filesystem::directory_iterator("/proc/self/fd");

   EXPECT_LT(std::distance(begin(descriptors), end(descriptors)), 100);
   EXPECT_EQ(open()->records().size(), 2200U);
}

TEST_F(DomainTest, aDomainThatIsNotThereIsNotMadeForLooking)
{
   Settings settings;
   settings.directory = temporary_.path();

   EXPECT_EQ(Domain::open(settings, {}, Directory::Missing::leave), nullptr);
   EXPECT_TRUE(std::filesystem::is_empty(temporary_.path()));
}

TEST_F(DomainTest, smallBlocksShareArenasAndLargeOnesThatAreNotFrugalHaveFilesOfTheirOwn)
{
   auto const sut = open();
   for (std::uint32_t const flags : {0U, 1U, 4U}) {
      sut->allocate("small" + std::to_string(flags), (1 << 20) - 1, "", flags);
   }
   EXPECT_EQ(sut->arenas().size(), 2U); // of 2 MiB, where two such blocks fit

   sut->allocate("frugal", 5 << 20, "", 0);
   EXPECT_EQ(sut->arenas().size(), 3U);
   sut->allocate("roomy", 1 << 20, "", 4);
   sut->allocate("ordinary", 1 << 20, "", 1);
   EXPECT_EQ(sut->arenas().size(), 3U);

   auto const files = std::filesystem::directory_iterator(control_ + "/data");
   EXPECT_EQ(std::distance(begin(files), end(files)), 5);
}

TEST_F(DomainTest, manySmallBlocksTakeHardlyMoreMemoryThanTheirSizes)
{
   auto const sut = open();
   std::uint64_t asked = 0;
   for (std::uint32_t index = 0; index < 10000; ++index) {
      std::uint32_t const size = 64 * (1 + index * 7 % 13);
      sut->allocate("block" + std::to_string(index), size, "", 0);
      asked += size;
   }

   std::uint64_t taken = 0;
   for (auto const& file : std::filesystem::directory_iterator(control_ + "/data")) {
      struct stat status = {};
      ASSERT_EQ(::stat(file.path().c_str(), &status), 0);
      taken += static_cast<std::uint64_t>(status.st_blocks) * 512;
   }
   EXPECT_LE(taken, asked + asked / 10);
}

TEST_F(DomainTest, packedBlocksAreEquallyAlignedForTheDeviceAndForSoftware)
{
   auto const sut = open();
   for (std::uint32_t const size : {1U, 4096U, 100U, 8192U, 5000U}) {
      std::string const name = std::to_string(size);
      std::uint64_t const bus = sut->allocate(name, size, "", 0);
      std::uint64_t const address = sut->map(name);

      EXPECT_EQ(bus % 4096, address % 4096);
      EXPECT_EQ(bus % (size % 4096 == 0 ? 4096 : 64), 0U);
   }
}

TEST_F(DomainTest, bytesOfPackedBlocksDoNotMeet)
{
   auto const sut = open();
   for (char name = 'a'; name <= 'z'; ++name) {
      sut->allocate(std::string(1, name), 100, "", 0);
      std::memset(memoryOf(*sut, std::string(1, name)), name, 100);
   }

   auto const other = open();
   for (char name = 'a'; name <= 'z'; ++name) {
      char const* const memory = memoryOf(*other, std::string(1, name));
      EXPECT_EQ(std::string(memory, 100), std::string(100, name));
   }
}

TEST_F(DomainTest, theRestOfAnArenaIsUsedByTheNextProcess)
{
   std::uint64_t const first = open()->allocate("a", 64, "", 0);

   EXPECT_EQ(open()->allocate("b", 64, "", 0), first + 64);
   EXPECT_EQ(open()->arenas().size(), 1U);
}
