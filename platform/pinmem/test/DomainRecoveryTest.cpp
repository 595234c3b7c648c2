#include "src/Domain.h"
#include "test/support/DomainFixture.h"
#include "test/support/RefusalOf.h"
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

using namespace pinmem_lib;
using namespace pinmem_test;

/// Domains that have lost something.
using DomainRecoveryTest = DomainFixture;

TEST_F(DomainRecoveryTest, memoryThatIsGoneIsMadeAnewAtTheSameBusAddress)
{
   std::uint64_t const address = open()->allocate("a", 100, "first", 0);
   std::filesystem::remove(control_ + "/data/00000000-00000001");
   auto const sut = open();

   EXPECT_EQ(refusalOf([&] { sut->map("a"); }), "the memory of this block is gone; allocate it again");
   EXPECT_EQ(sut->allocate("a", 200, "second", 0), address);

   EXPECT_STREQ(memoryOf(*sut, "a"), "");
   ASSERT_EQ(sut->records().size(), 1U);
   EXPECT_EQ(sut->records()[0].block.generation, 2U);
   EXPECT_EQ(sut->records()[0].block.size, 200U);
   EXPECT_EQ(sut->records()[0].owner(), "second");
}

TEST_F(DomainRecoveryTest, memoryThatIsGoneMayComeBackLargerAndThenMoves)
{
   {
      auto const first = open();
      first->allocate("a", 100, "", 0);
      first->allocate("b", 100, "", 0);
   }
   std::filesystem::remove(control_ + "/data/00000000-00000001");
   auto const sut = open();

   sut->allocate("a", 8192, "", 0);

   std::vector<Record> const records = sut->records();
   ASSERT_EQ(records.size(), 2U);
   expectApart(records[0].block, records[1].block);
   EXPECT_EQ(records[1].name(), "a");
}

TEST_F(DomainRecoveryTest, memoryMadeAnewByAnotherProcessIsNoticed)
{
   open()->allocate("a", 100, "", 0);
   auto const sut = open();
   std::filesystem::remove(control_ + "/data/00000000-00000001");
   auto const other = open();
   other->allocate("a", 100, "", 0);
   std::strcpy(memoryOf(*other, "a"), "bytes");

   sut->allocate("a", 100, "", 0);

   EXPECT_STREQ(memoryOf(*sut, "a"), "bytes");
   EXPECT_EQ(sut->records()[0].block.generation, 2U);
}

TEST_F(DomainRecoveryTest, aBlockWhoseRecordWasLostInTheMakingIsMadeAgain)
{
   open()->allocate("a", 100, "", 0);
   auto const sut = open();
   std::filesystem::remove(control_ + "/data/00000000-00000001");
   std::fstream(index_, std::ios::in | std::ios::out | std::ios::binary)
      .seekp(sizeof(IndexHeader))
      .write("\0\0\0\0\0\0\0\0", 8);

   EXPECT_NE(sut->allocate("a", 100, "", 0), 0U);

   EXPECT_EQ(sut->records().size(), 1U);
}

TEST_F(DomainRecoveryTest, memoryFromAnotherBootIsForgotten)
{
   std::uint64_t const address = open()->allocate("a", 100, "", 0);
   {
      auto const first = open();
      std::strcpy(memoryOf(*first, "a"), "old");
   }
   Index::open(Directory::open(control_, Directory::Trust::guarded)).bootIdIs("another boot");

   auto const sut = open();

   EXPECT_EQ(sut->allocate("a", 100, "", 0), address);
   EXPECT_STREQ(memoryOf(*sut, "a"), "");
   EXPECT_EQ(sut->records()[0].block.generation, 2U);
}

TEST_F(DomainRecoveryTest, aBootThatADifferentProcessDoesNotSeeIsRefused)
{
   auto const first = open();
   Index::open(Directory::open(control_, Directory::Trust::guarded)).bootIdIs("another boot");

   EXPECT_EQ(
      refusalOf([&] { open(); }),
      "index '" + index_ +
         "' was made in another boot, but a process is using it; let all processes of the domain see the same "
         "/proc/sys/kernel/random/boot_id");
}

TEST_F(DomainRecoveryTest, aDamagedHeaderIsRefusedAndNothingDestroyed)
{
   open()->allocate("a", 100, "", 0);
   spoilIndex(offsetof(IndexHeader, bootIdBytes));

   EXPECT_NE(refusalOf([&] { open(); }).find("the checksum of its header does not fit"), std::string::npos);
   EXPECT_TRUE(std::filesystem::exists(control_ + "/data/00000000-00000001"));
   EXPECT_EQ(std::filesystem::file_size(index_), 2 * sizeof(Record));
}

TEST_F(DomainRecoveryTest, aMissingIndexBesideBlocksIsRefused)
{
   open()->allocate("a", 100, "", 0);
   std::filesystem::remove(index_);

   EXPECT_EQ(
      refusalOf([&] { open(); }), "'" + control_ + "/data' holds blocks, but their index is missing in '" + control_ +
                                     "'; nothing was changed; put it back, or run: pinmemctl remove-domain");
   EXPECT_FALSE(std::filesystem::exists(index_));
}

TEST_F(DomainRecoveryTest, aDamagedRecordStopsNewBlocksAndLeavesTheOthers)
{
   std::uint64_t address = 0;
   {
      auto const first = open();
      first->allocate("a", 100, "", 0);
      address = first->allocate("b", 100, "", 0);
   }
   spoilIndex(sizeof(IndexHeader) + offsetof(Record, nameBytes));
   auto const sut = open();

   EXPECT_EQ(sut->allocate("b", 100, "", 0), address);
   EXPECT_EQ(
      refusalOf([&] { sut->allocate("a", 100, "", 0); }),
      "the block is not known, but record 0 of index '" + index_ +
         "' is damaged and may be its; no new block is made; end the domain's processes and run: pinmemctl "
         "remove-domain");
   EXPECT_EQ(sut->damaged(), std::set<std::uint32_t>{0});
   EXPECT_EQ(sut->records().size(), 1U);
}

TEST_F(DomainRecoveryTest, aRecordOfAnUnknownBackendIsRefused)
{
   open()->allocate("a", 100, "", 0);
   {
      Index index = Index::open(Directory::open(control_, Directory::Trust::guarded));
      Record const record = *index.read(0);
      Block block = record.block;
      block.backend = 9;
      index.write(Record::make(block, record.name(), record.owner()));
   }

   EXPECT_EQ(
      refusalOf([&] { open()->allocate("a", 100, "", 0); }),
      "the block was made by backend number 9, which is not part of this build");
}

TEST_F(DomainRecoveryTest, aDomainRemovedByHandIsNoticed)
{
   auto const sut = open();
   std::uint64_t const address = sut->allocate("a", 100, "", 0);

   std::filesystem::remove_all(control_);

   EXPECT_EQ(
      refusalOf([&] { sut->allocate("b", 100, "", 0); }),
      "index '" + index_ + "' was removed while this process used it; end all processes of the domain, then restart");
   EXPECT_EQ(sut->allocate("a", 100, "", 0), address);
}

TEST_F(DomainRecoveryTest, aRefusedBlockLeavesNoTrace)
{
   auto const sut = open();
   sut->allocate("a", 100, "", 0);
   std::filesystem::permissions(control_ + "/data", std::filesystem::perms::owner_all);
   std::filesystem::remove_all(control_ + "/data"); // so that no file can be made

   std::string const text = refusalOf([&] { sut->allocate("b", 100, "", 0); });

   EXPECT_EQ(
      text, "file '" + control_ +
               "/data/00000001-00000001' cannot be made: No such file or directory; make its directory "
               "writable");
   EXPECT_EQ(sut->records().size(), 1U);
   EXPECT_EQ(std::filesystem::file_size(index_), 2 * sizeof(Record));
   EXPECT_EQ(refusalOf([&] { sut->allocate("b", 100, "", 0); }), text);
   EXPECT_NE(refusalOf([&] { sut->map("b"); }).find("there is no block of this name"), std::string::npos);
}
