#include "src/Record.h"
#include <cstring>
#include <gtest/gtest.h>
#include <string>

using namespace pinmem_lib;

namespace {

Record committed(std::uint32_t slot)
{
   Block block = {};
   block.slot = slot;
   block.capacity = 4096;
   Record record = Record::make(block, "ring.rx", "slice-a");
   record.commitWord = record.expectedCommitWord();
   return record;
}

} // namespace

TEST(Record, isFreeUntilItIsCommitted)
{
   Record const sut = Record::make(Block{}, "a", "b");

   EXPECT_TRUE(sut.isFree());
   EXPECT_FALSE(sut.isIntact(0));
}

TEST(Record, isIntactInItsOwnSlotOnly)
{
   Record const sut = committed(3);

   EXPECT_TRUE(sut.isIntact(3));
   EXPECT_FALSE(sut.isIntact(4));
}

TEST(Record, keepsItsTexts)
{
   Record const sut = committed(0);

   EXPECT_EQ(sut.name(), "ring.rx");
   EXPECT_EQ(sut.owner(), "slice-a");
}

TEST(Record, keepsTheLongestNameWholeAndTheStartOfALongOwner)
{
   std::string const name(255, 'n');

   Record const sut = Record::make(Block{}, name, std::string(300, 'o'));

   EXPECT_EQ(sut.name(), name);
   EXPECT_EQ(sut.owner(), std::string(255, 'o'));
}

TEST(Record, everyDamagedByteIsNoticed)
{
   Record const whole = committed(0);
   for (std::size_t offset = 0; offset < sizeof(Record); ++offset) {
      Record sut = whole;
      reinterpret_cast<unsigned char*>(&sut)[offset] ^= 0x10;
      EXPECT_FALSE(sut.isIntact(0)) << "byte " << offset;
   }
}

TEST(Record, aCommitWordLeftOverFromAnotherRecordDoesNotFit)
{
   Record sut = Record::make(Block{}, "new", "");

   sut.commitWord = committed(0).commitWord;

   EXPECT_FALSE(sut.isIntact(0));
}

TEST(IndexHeader, everyDamagedByteBehindTheChecksumIsNoticed)
{
   IndexHeader const whole = IndexHeader::make("boot");
   for (std::size_t offset = offsetof(IndexHeader, checksum); offset < sizeof(IndexHeader); ++offset) {
      IndexHeader sut = whole;
      reinterpret_cast<unsigned char*>(&sut)[offset] ^= 0x01;
      EXPECT_NE(sut.checksum, sut.expectedChecksum()) << "byte " << offset;
   }
}
