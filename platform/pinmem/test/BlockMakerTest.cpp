// Blocks that are freed, and what processes that died leave behind.
#include "src/BlockMaker.h"
#include "test/support/DomainFixture.h"
#include "test/support/FailingCalls.h"
#include "test/support/KillAt.h"
#include "test/support/RefusalOf.h"
#include <cstring>
#include <filesystem>
#include <sys/file.h>

using namespace pinmem_lib;
using namespace pinmem_test;

namespace {

class BlockMakerTest : public DomainFixture {
protected:
   std::ptrdiff_t fileCount() const
   {
      auto const files = std::filesystem::directory_iterator(control_ + "/data");
      return std::distance(begin(files), end(files));
   }

   void makeThree() const
   {
      auto const domain = open();
      domain->allocate("small", 100, "", 0);
      domain->allocate("other", 100, "", 0);
      domain->allocate("large", 1 << 20, "", 4);
   }

   /// Allocates while the index cannot be written.
   static std::string refusalOfWrite(Domain& domain, std::string const& name)
   {
      auto* const real = systemCalls.pwrite;
      systemCalls.pwrite = [](int, void const*, std::size_t, off_t) -> ssize_t { return -1; };
      std::string const text = refusalOf([&] { domain.allocate(name, 64, "", 0); });
      systemCalls.pwrite = real;
      return text;
   }

   /// As after a process that died before it wrote its record.
   void leaveFile(std::string const& name) const
   {
      std::ofstream(control_ + "/data/" + name) << std::string(4096, 'x');
   }
};

} // namespace

TEST_F(BlockMakerTest, aFreedBlockIsGoneWithItsMemoryAndItsNameIsFree)
{
   makeThree();
   auto const sut = open();
   EXPECT_EQ(fileCount(), 2);

   EXPECT_EQ(sut->free("large"), Domain::Freed::freed);
   EXPECT_EQ(fileCount(), 1);
   EXPECT_EQ(sut->free("small"), Domain::Freed::freed);
   EXPECT_EQ(fileCount(), 1);
   EXPECT_EQ(sut->free("other"), Domain::Freed::freed);
   EXPECT_EQ(fileCount(), 0);

   EXPECT_EQ(sut->free("small"), Domain::Freed::notThere);
   EXPECT_TRUE(sut->records().empty());
   EXPECT_TRUE(sut->arenas().empty());
   EXPECT_NE(sut->allocate("small", 1 << 20, "", 1), 0U);
}

TEST_F(BlockMakerTest, aBlockInUseIsNotFreed)
{
   makeThree();
   auto user = open();
   std::uint64_t const address = user->allocate("small", 100, "", 0);
   auto const sut = open();

   EXPECT_EQ(sut->free("small"), Domain::Freed::inUse);
   EXPECT_EQ(user->free("small"), Domain::Freed::inUse);
   EXPECT_EQ(sut->free("other"), Domain::Freed::freed);
   EXPECT_EQ(sut->allocate("small", 100, "", 0), address);
}

TEST_F(BlockMakerTest, aBlockIsInUseByTheProcessThatMadeItUntilThatEnds)
{
   auto maker = open();
   maker->allocate("new", 100, "", 0);
   EXPECT_EQ(open()->free("new"), Domain::Freed::inUse);

   maker.reset();

   EXPECT_EQ(open()->free("new"), Domain::Freed::freed);
}

TEST_F(BlockMakerTest, aBlockWhoseRecordCannotBeWrittenTakesNeitherPlaceNorSlot)
{
   auto const sut = open();
   std::uint64_t const address = sut->allocate("first", 64, "", 0);
   EXPECT_NE(refusalOfWrite(*sut, "second"), "");

   EXPECT_EQ(sut->allocate("third", 64, "", 0), address + 64);
   EXPECT_NE(refusalOfWrite(*sut, "fourth"), "");
   open()->allocate("fifth", 1 << 20, "", 4); // in the slot that the fourth would have had
   EXPECT_EQ(open()->free("fifth"), Domain::Freed::freed);
}

TEST_F(BlockMakerTest, theOldPlaceOfABlockThatComesBackLargerIsFree)
{
   std::uint64_t const address = open()->allocate("grown", 100, "", 0);
   Index::open(Directory::open(control_, Directory::Trust::guarded)).bootIdIs("another boot");
   auto const sut = open();
   sut->allocate("grown", 8192, "", 0);

   EXPECT_EQ(sut->allocate("new", 100, "", 0), address);
}

TEST_F(BlockMakerTest, memoryThatThisProcessHasMappedIsNotMadeAnew)
{
   makeThree();
   auto const sut = open();
   sut->allocate("small", 100, "", 0);
   std::filesystem::remove(control_ + "/data/00000000-00000001");

   EXPECT_NE(
      refusalOf([&] { sut->allocate("other", 100, "", 0); }).find("memory of this block is gone"), std::string::npos);
}

TEST_F(BlockMakerTest, aPlaceThatWasUsedBeforeReadsAsZero)
{
   makeThree();
   std::uint64_t address = 0;
   {
      auto const first = open();
      address = first->allocate("small", 100, "", 0);
      std::memset(memoryOf(*first, "small"), 'x', 128);
   }
   open()->free("small");
   auto const sut = open();

   EXPECT_EQ(sut->allocate("another", 128, "", 0), address);

   EXPECT_EQ(std::string(memoryOf(*sut, "another"), 128), std::string(128, '\0'));
}

TEST_F(BlockMakerTest, aProcessThatKnewAFreedNameFindsTheNewBlock)
{
   makeThree();
   auto const sut = open(); // has seen the names and uses none
   {
      auto const other = open();
      other->free("small");
      other->allocate("taker of its place", 100, "", 0);
      other->allocate("small", 5000, "", 0);
      std::strcpy(memoryOf(*other, "small"), "the new one");
   }

   EXPECT_NE(sut->allocate("small", 5000, "", 0), sut->allocate("taker of its place", 100, "", 0));
   EXPECT_STREQ(memoryOf(*sut, "small"), "the new one");
}

TEST_F(BlockMakerTest, aProcessThatHasAFreedArenaMappedUsesTheOneThatTookItsSlot)
{
   auto const sut = open();
   sut->allocate("a", 100, "", 0);
   {
      auto const user = open();
      user->allocate("b", 1 << 20, "", 4);
   }
   // The arena of "a" is emptied behind the back of `sut`, which keeps it mapped.
   std::filesystem::remove(control_ + "/data/00000000-00000001");
   {
      Index index = Index::open(Directory::open(control_, Directory::Trust::guarded));
      index.refresh([] {}, [](Record const&) {});
      index.clear(1);
      index.clear(0);
   }
   auto const other = open();
   other->allocate("c", 100, "", 0);
   std::strcpy(memoryOf(*other, "c"), "in the new arena");

   EXPECT_STREQ(memoryOf(*sut, "c"), "in the new arena");
}

TEST_F(BlockMakerTest, collectRemovesFilesWithoutARecordAndNothingElse)
{
   makeThree();
   auto const sut = open();
   leaveFile("00000009-00000001");
   leaveFile("00000000-00000007");
   std::ofstream(control_ + "/data/notes.txt").flush();

   Collected const collected = sut->collect();

   EXPECT_EQ(collected.files, 2U);
   EXPECT_EQ(collected.bytes, 8192U);
   EXPECT_EQ(collected.arenas, 0U);
   EXPECT_EQ(fileCount(), 3);
   EXPECT_EQ(sut->records().size(), 3U);
   EXPECT_EQ(sut->collect().files, 0U);
}

TEST_F(BlockMakerTest, collectSparesAFileThatAProcessHolds)
{
   makeThree();
   leaveFile("00000009-00000001");
   auto const sut = open();
   {
      FileDescriptor const holder(::open((control_ + "/data/00000009-00000001").c_str(), O_RDWR | O_CLOEXEC));
      ::flock(holder.number(), LOCK_SH);

      EXPECT_EQ(sut->collect().files, 0U);
   }
   EXPECT_EQ(sut->collect().files, 1U);
}

TEST_F(BlockMakerTest, collectSparesMemoryThatIsMappedThoughItsRecordIsGone)
{
   auto user = open();
   user->allocate("large", 1 << 20, "", 4);
   std::strcpy(memoryOf(*user, "large"), "in use");
   {
      Index index = Index::open(Directory::open(control_, Directory::Trust::guarded));
      index.refresh([] {}, [](Record const&) {});
      index.clear(0);
   }
   auto const sut = open();

   EXPECT_EQ(sut->collect().files, 0U);

   user.reset();
   EXPECT_EQ(sut->collect().files, 1U);
}

TEST_F(BlockMakerTest, collectSparesTheFileOfADamagedRecordAndAllArenasThen)
{
   makeThree();
   spoilIndex(sizeof(IndexHeader) + 3 * sizeof(Record) + offsetof(Record, nameBytes));
   leaveFile("00000009-00000001");
   auto const sut = open();

   EXPECT_EQ(sut->collect().files, 1U);

   EXPECT_TRUE(std::filesystem::exists(control_ + "/data/00000003-00000001"));
}

TEST_F(BlockMakerTest, freeingSparesAnArenaThatLooksEmptyWhileARecordIsDamaged)
{
   makeThree();
   spoilIndex(sizeof(IndexHeader) + 2 * sizeof(Record) + offsetof(Record, nameBytes)); // that of "other"

   EXPECT_EQ(open()->free("small"), Domain::Freed::freed);

   EXPECT_TRUE(std::filesystem::exists(control_ + "/data/00000000-00000001"));
}

TEST_F(BlockMakerTest, aKillAtEachStepOfFreeingLeavesAllOfItOrNothing)
{
   Fate fate = Fate::killed;
   for (int stop = 0; fate == Fate::killed; ++stop) {
      makeThree();
      fate = killAt(stop, [&] {
         auto const domain = open();
         domain->free("large");
         domain->free("small");
         domain->free("other");
         domain->collect();
      });

      if (fate == Fate::notWatched) {
         GTEST_SKIP() << "processes may not be traced here";
      }
      {
         auto const sut = open();
         ASSERT_TRUE(sut->damaged().empty()) << stop;
         std::ptrdiff_t regions = static_cast<std::ptrdiff_t>(sut->arenas().size());
         for (Record const& record : sut->records()) {
            regions += record.block.isPacked() ? 0 : 1;
         }
         sut->collect();
         ASSERT_LE(sut->arenas().size(), 1U) << stop;
         ASSERT_EQ(fileCount(), regions - (sut->records().empty() ? regions : 0)) << stop;
         ASSERT_NE(sut->allocate("small", 100, "", 0), 0U) << stop;
         ASSERT_NE(sut->allocate("large", 1 << 20, "", 4), 0U) << stop;
      }
      std::filesystem::remove_all(control_);
   }
}

TEST_F(BlockMakerTest, whicheverCallFailsFreeingIsDoneOrCanBeRepeated)
{
   bool hasFailed = true;
   for (int number = 0; hasFailed; ++number) {
      makeThree();
      {
         FailingCalls const calls(number, EIO);
         refusalOf([&] {
            auto const domain = open();
            domain->free("small");
            domain->free("large");
            domain->collect();
         });
         hasFailed = FailingCalls::hasFailed();
      }
      auto const sut = open();
      ASSERT_TRUE(sut->damaged().empty()) << number;
      sut->free("small");
      sut->free("large");
      sut->free("other");
      sut->collect();
      ASSERT_TRUE(sut->records().empty() && sut->arenas().empty()) << number;
      ASSERT_EQ(fileCount(), 0) << number;
   }
}
