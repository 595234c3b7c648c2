#include "src/Domain.h"
#include "test/support/DomainFixture.h"
#include "test/support/KillAt.h"
#include "test/support/RefusalOf.h"
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/mount.h>

using namespace pinmem_lib;
using namespace pinmem_test;

/// Domains that have lost something.
class DomainRecoveryTest : public DomainFixture {
protected:
   std::string const damagedText_ =
      "' is damaged: it may be this block's, and its bus addresses are not known; no new block is made and none grows; "
      "end the domain's processes and run: pinmemctl remove-domain";

   void becomeAnotherBoot() const
   {
      Index::open(Directory::open(control_, Directory::Trust::guarded)).bootIdIs("another boot");
   }

   /// Clears the record's commit word, as nobody should.
   void loseRecord(std::uint32_t slot) const
   {
      std::fstream(index_, std::ios::in | std::ios::out | std::ios::binary)
         .seekp(static_cast<std::streamoff>(sizeof(IndexHeader) + slot * sizeof(Record)))
         .write("\0\0\0\0\0\0\0\0", 8);
   }
};

TEST_F(DomainRecoveryTest, memoryThatIsGoneIsMadeAnewAtTheSameBusAddress)
{
   std::uint64_t const address = open()->allocate("a", 100, "first", 0);
   std::filesystem::remove(control_ + "/data/00000000-00000001");
   auto const sut = open();

   EXPECT_EQ(refusalOf([&] { sut->map("a"); }), "the memory of this block is gone; allocate it again");
   EXPECT_EQ(sut->allocate("a", 120, "second", 0), address);

   EXPECT_STREQ(memoryOf(*sut, "a"), "");
   ASSERT_EQ(sut->records().size(), 1U);
   EXPECT_EQ(sut->records()[0].block.generation, 2U);
   EXPECT_EQ(sut->records()[0].block.size, 120U);
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
   becomeAnotherBoot();
   auto const sut = open();
   auto const other = open();
   other->allocate("a", 100, "", 0);
   std::strcpy(memoryOf(*other, "a"), "bytes");

   sut->allocate("a", 100, "", 0);

   EXPECT_STREQ(memoryOf(*sut, "a"), "bytes");
   EXPECT_EQ(sut->records()[0].block.generation, 2U);
}

TEST_F(DomainRecoveryTest, memoryThatIsGoneIsNotMadeAnewWhileOthersMayUseIt)
{
   auto first = open();
   std::uint64_t const address = first->allocate("a", 100, "", 0);
   first->map("a");
   std::filesystem::remove(control_ + "/data/00000000-00000001");
   auto const sut = open();
   std::string const expected =
      "the memory of this block is gone, but processes that use the domain may have it mapped, and devices may use its "
      "bus address; end the domain's other processes, then allocate it again";

   EXPECT_EQ(refusalOf([&] { sut->allocate("a", 100, "", 0); }), expected);
   EXPECT_EQ(refusalOf([&] { sut->allocate("a", 100, "", 0); }), expected);
   EXPECT_EQ(sut->records()[0].block.generation, 1U);
   EXPECT_NE(sut->allocate("b", 100, "", 0), address);

   first.reset();
   EXPECT_EQ(sut->allocate("a", 100, "", 0), address);
}

TEST_F(DomainRecoveryTest, aMappingOfMemoryMadeAnewIsTheNewOne)
{
   auto sut = open();
   sut->allocate("a", 1 << 20, "", 4);
   sut->unmap("a", sut->map("a"));
   std::filesystem::remove(control_ + "/data/00000000-00000001");
   // Another process, that was alone for a moment, has made it anew.
   {
      Index index = Index::open(Directory::open(control_, Directory::Trust::guarded));
      index.refresh([] {}, [](Record const&) {});
      Record const record = *index.read(0);
      Block block = record.block;
      block.generation = 2;
      ShmBackend backend(Directory::open(control_ + "/data", Directory::Trust::guarded));
      ::munmap(backend.create(block, Backend::Reserve::whole), block.capacity);
      index.write(Record::make(block, record.name(), record.owner()));
   }

   std::strcpy(memoryOf(*sut, "a"), "bytes");

   EXPECT_STREQ(memoryOf(*open(), "a"), "bytes");
}

TEST_F(DomainRecoveryTest, aBlockWithoutItsRecordIsMadeAgain)
{
   open()->allocate("a", 100, "", 0);
   auto const sut = open();
   loseRecord(1);

   EXPECT_NE(sut->allocate("a", 100, "", 0), 0U);

   EXPECT_EQ(sut->records().size(), 1U);
}

TEST_F(DomainRecoveryTest, aNameThatGotAnotherRecordStaysOneBlock)
{
   open()->allocate("a", 100, "", 0);
   auto const sut = open();
   auto const other = open();
   loseRecord(1);
   std::uint64_t const address = other->allocate("a", 100, "", 0);
   std::strcpy(memoryOf(*other, "a"), "bytes");

   EXPECT_EQ(sut->allocate("a", 100, "", 0), address);

   EXPECT_STREQ(memoryOf(*sut, "a"), "bytes");
   EXPECT_EQ(open()->records().size(), 1U);
}

TEST_F(DomainRecoveryTest, aRecordThatGotAnotherNameIsThatBlocks)
{
   open()->allocate("a", 100, "", 0);
   auto const sut = open();
   loseRecord(1);
   std::uint64_t const address = open()->allocate("b", 100, "", 0);

   EXPECT_NE(refusalOf([&] { sut->map("a"); }).find("there is no block of this name"), std::string::npos);
   EXPECT_EQ(sut->allocate("b", 100, "", 0), address);
   EXPECT_NE(sut->allocate("a", 100, "", 0), address);
   EXPECT_EQ(open()->records().size(), 2U);
}

TEST_F(DomainRecoveryTest, aFileThatWasReplacedIsRefused)
{
   open()->allocate("a", 100, "", 0);
   auto const sut = open();
   std::string const path = control_ + "/data/00000000-00000001";
   std::filesystem::rename(path, temporary_ / "kept");
   std::ofstream(path) << std::string(4096, 'x');

   EXPECT_EQ(
      refusalOf([&] { sut->allocate("a", 100, "", 0); }),
      "file '" + path + "' was replaced by another; run: pinmemctl remove-domain");
   EXPECT_EQ(refusalOf([&] { sut->map("a"); }), refusalOf([&] { sut->allocate("a", 100, "", 0); }));
}

TEST_F(DomainRecoveryTest, namesAndBusAddressesSurviveAKillAtEachStepOfMakingMemoryAnew)
{
   std::uint64_t const address = open()->allocate("a", 100, "owner", 0);
   std::uint64_t const addressOther = open()->allocate("b", 100, "", 1);
   Fate fate = Fate::killed;
   for (int stop = 0; fate == Fate::killed; ++stop) {
      becomeAnotherBoot();

      fate = killAt(stop, [&] { open()->allocate("a", 100, "owner", 0); });

      if (fate == Fate::notWatched) {
         GTEST_SKIP() << "processes may not be traced here";
      }
      auto const sut = open();
      ASSERT_TRUE(sut->damaged().empty()) << stop;
      ASSERT_EQ(sut->records().size(), 2U) << stop;
      ASSERT_EQ(sut->allocate("a", 100, "", 0), address) << stop;
      ASSERT_EQ(sut->allocate("b", 100, "", 1), addressOther) << stop;
      auto const files = std::filesystem::directory_iterator(control_ + "/data");
      ASSERT_EQ(std::distance(begin(files), end(files)), 1) << stop; // they share an arena
   }
}

TEST_F(DomainRecoveryTest, aKillAtEachStepOfANewBlockLeavesAllOfItOrNothing)
{
   Fate fate = Fate::killed;
   for (int stop = 0; fate == Fate::killed; ++stop) {
      fate = killAt(stop, [&] { open()->allocate("a", 100, "", 0); });

      if (fate == Fate::notWatched) {
         GTEST_SKIP() << "processes may not be traced here";
      }
      std::error_code error; // the killed process may not have come as far as to make the domain
      bool const isIndexThere = std::filesystem::exists(index_, error);
      auto const sut = open();
      ASSERT_TRUE(sut->damaged().empty()) << stop;
      ASSERT_LE(sut->records().size(), isIndexThere ? 1U : 0U) << stop;
      ASSERT_NE(sut->allocate("a", 100, "", 0), 0U) << stop;
      ASSERT_NE(sut->allocate("b", 100, "", 0), sut->allocate("a", 100, "", 0)) << stop;
      ASSERT_EQ(sut->records().size(), 2U) << stop;
      std::filesystem::remove_all(control_);
   }
}

TEST_F(DomainRecoveryTest, memoryFromAnotherBootIsForgotten)
{
   std::uint64_t const address = open()->allocate("a", 100, "", 0);
   {
      auto const first = open();
      std::strcpy(memoryOf(*first, "a"), "old");
   }
   becomeAnotherBoot();

   auto const sut = open();

   EXPECT_EQ(sut->allocate("a", 100, "", 0), address);
   EXPECT_STREQ(memoryOf(*sut, "a"), "");
   EXPECT_EQ(sut->records()[0].block.generation, 2U);
   EXPECT_FALSE(std::filesystem::exists(control_ + "/data/00000000-00000001"));
}

TEST_F(DomainRecoveryTest, lookingAfterAnotherBootChangesNothing)
{
   open()->allocate("a", 100, "", 0);
   becomeAnotherBoot();
   Settings settings;
   settings.directory = temporary_.path();

   auto const sut = Domain::open(settings, {}, Directory::Missing::leave);

   EXPECT_EQ(sut->records().size(), 1U);
   EXPECT_EQ(Index::open(Directory::open(control_, Directory::Trust::guarded)).bootId(), "another boot");
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
   EXPECT_EQ(std::filesystem::file_size(index_), 3 * sizeof(Record));
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
   spoilIndex(sizeof(IndexHeader) + sizeof(Record) + offsetof(Record, nameBytes));
   auto const sut = open();

   EXPECT_EQ(sut->allocate("b", 100, "", 0), address);
   EXPECT_EQ(refusalOf([&] { sut->allocate("a", 100, "", 0); }), "record 1 of index '" + index_ + damagedText_);
   EXPECT_EQ(sut->damaged(), std::set<std::uint32_t>{1});
   EXPECT_EQ(sut->records().size(), 1U);
}

TEST_F(DomainRecoveryTest, aDamagedRecordStopsBlocksFromGrowing)
{
   auto first = open();
   std::uint64_t const address = first->allocate("a", 100, "", 0);
   first->allocate("b", 100, "", 0);
   first.reset();
   std::filesystem::remove(control_ + "/data/00000000-00000001");
   spoilIndex(sizeof(IndexHeader) + 2 * sizeof(Record) + offsetof(Record, nameBytes));
   auto const sut = open();

   EXPECT_EQ(refusalOf([&] { sut->allocate("a", 8192, "", 0); }), "record 2 of index '" + index_ + damagedText_);
   EXPECT_EQ(sut->allocate("a", 100, "", 0), address);
}

TEST_F(DomainRecoveryTest, aBlockWhoseArenaHasADamagedRecordIsRefused)
{
   open()->allocate("a", 100, "", 0);
   spoilIndex(sizeof(IndexHeader) + offsetof(Record, block.capacity));
   auto const sut = open();

   EXPECT_EQ(
      refusalOf([&] { sut->allocate("a", 100, "", 0); }),
      "the record of the arena that holds this block, record 0 of index '" + index_ +
         "', is damaged; end the domain's processes and run: pinmemctl remove-domain");
   EXPECT_EQ(refusalOf([&] { sut->map("a"); }), refusalOf([&] { sut->allocate("a", 100, "", 0); }));
   EXPECT_EQ(sut->damaged(), (std::set<std::uint32_t>{0, 1}));
}

TEST_F(DomainRecoveryTest, aMappedBlockWhoseArenasRecordIsDamagedLaterIsUnmappedWithARefusal)
{
   auto const sut = open();
   sut->allocate("a", 100, "", 0);
   std::uint64_t const address = sut->map("a");
   spoilIndex(sizeof(IndexHeader) + offsetof(Record, block.capacity));
   refusalOf([&] { sut->faults(); }); // reads all again

   EXPECT_NE(refusalOf([&] { sut->unmap("a", address); }).find("record 0 of index"), std::string::npos);
   EXPECT_NE(refusalOf([&] { sut->map("a"); }).find("record 0 of index"), std::string::npos);
}

TEST_F(DomainRecoveryTest, blocksOfAnArenaComeBackOneAfterTheOtherAfterABootAlsoWhileOthersRun)
{
   std::uint64_t const addressOne = open()->allocate("a", 100, "", 0);
   std::uint64_t const addressTwo = open()->allocate("b", 100, "", 0);
   becomeAnotherBoot();
   auto const first = open();
   auto const second = open();

   EXPECT_EQ(first->allocate("a", 100, "", 0), addressOne);
   std::strcpy(memoryOf(*first, "a"), "bytes");
   EXPECT_EQ(second->allocate("b", 100, "", 0), addressTwo);

   EXPECT_STREQ(memoryOf(*second, "a"), "bytes");
   EXPECT_EQ(second->records()[1].block.generation, 2U);
   EXPECT_EQ(second->arenas()[0].block.generation, 2U);
}

TEST_F(DomainRecoveryTest, aRecordOfAnUnknownBackendIsRefused)
{
   open()->allocate("a", 1 << 20, "", 4);
   {
      Index index = Index::open(Directory::open(control_, Directory::Trust::guarded));
      index.refresh([] {}, [](Record const&) {});
      Record const record = *index.read(0);
      Block block = record.block;
      block.backend = 9;
      index.write(Record::make(block, record.name(), record.owner()));
   }

   EXPECT_EQ(
      refusalOf([&] { open()->allocate("a", 100, "", 4); }),
      "the block was made by backend number 9, which is not part of this build");
}

TEST_F(DomainRecoveryTest, aDomainRemovedByHandIsNoticed)
{
   auto const sut = open();
   std::uint64_t const address = sut->allocate("a", 100, "", 0);

   std::filesystem::remove_all(control_);

   EXPECT_EQ(
      refusalOf([&] { sut->allocate("b", 100, "", 0); }),
      "lock '" + control_ +
         "/lock' was removed while this process used it; end all processes of the domain, then restart");
   EXPECT_EQ(sut->allocate("a", 100, "", 0), address);
}

TEST_F(DomainRecoveryTest, aControlFileRemovedByHandIsNoticed)
{
   for (std::string const file : {"lock", "users", "index"}) {
      auto const sut = open();
      sut->allocate("a", 100, "", 0);

      std::filesystem::rename(control_ + "/" + file, control_ + "/kept");
      std::filesystem::remove(control_ + "/kept");

      EXPECT_NE(
         refusalOf([&] {
            sut->allocate("b", 100, "", 0);
         }).find(file + "' was removed while this process used it; end all processes of the domain, then restart"),
         std::string::npos);
      std::filesystem::remove_all(control_);
   }
}

TEST_F(DomainRecoveryTest, aRefusedBlockLeavesNoTrace)
{
   auto const sut = open();
   sut->allocate("a", 100, "", 0);
   std::filesystem::permissions(control_ + "/data", std::filesystem::perms::owner_all);
   std::filesystem::remove_all(control_ + "/data"); // so that no file can be made

   std::string const text = refusalOf([&] { sut->allocate("b", 1 << 20, "", 4); });

   EXPECT_EQ(
      text, "directory '" + control_ +
               "/data' was removed while this process used it; end all processes of the domain, then restart");
   EXPECT_EQ(sut->records().size(), 1U);
   EXPECT_EQ(std::filesystem::file_size(index_), 3 * sizeof(Record));
   EXPECT_EQ(refusalOf([&] { sut->allocate("b", 1 << 20, "", 4); }), text);
   EXPECT_NE(refusalOf([&] { sut->map("b"); }).find("there is no block of this name"), std::string::npos);
}

TEST_F(DomainRecoveryTest, aTmpfsThatFillsUpInTheMiddleOfASeriesRefusesAndLosesNothing)
{
   std::string const place = temporary_ / "small";
   std::filesystem::create_directory(place);
   if (
      ::geteuid() != 0 || ::unshare(CLONE_NEWNS) != 0 ||
      ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
      ::mount("none", place.c_str(), "tmpfs", 0, "size=1m,mode=0700") != 0) {
      GTEST_SKIP() << "only root can mount a small tmpfs";
   }
   Settings settings;
   settings.directory = place;
   std::vector<std::uint64_t> addresses;
   {
      auto const sut = Domain::open(settings);
      std::string text;
      while (text.empty()) {
         std::string const name = std::to_string(addresses.size());
         text = refusalOf([&] {
            addresses.push_back(sut->allocate(name, 8192, "", 4));
            std::memset(memoryOf(*sut, name), static_cast<int>(addresses.size()), 8192);
         });
      }
      EXPECT_NE(text.find("No space left on device; "), std::string::npos) << text;
      EXPECT_GT(addresses.size(), 90U);
      EXPECT_EQ(sut->records().size(), addresses.size());
   }

   auto const sut = Domain::open(settings);
   EXPECT_TRUE(sut->faults().empty());
   for (std::size_t index = 0; index < addresses.size(); ++index) {
      std::string const name = std::to_string(index);
      ASSERT_EQ(sut->allocate(name, 8192, "", 4), addresses[index]);
      ASSERT_EQ(memoryOf(*sut, name)[8191], static_cast<char>(index + 1));
   }
   EXPECT_NE(refusalOf([&] { sut->allocate("one more", 8192, "", 4); }), "");
   ::umount2(place.c_str(), MNT_DETACH);
}
