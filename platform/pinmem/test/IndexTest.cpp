#include "src/Index.h"
#include "src/SystemCalls.h"
#include "test/support/RefusalOf.h"
#include "test/support/TemporaryDirectory.h"
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <vector>

using namespace pinmem_lib;
using namespace pinmem_test;

namespace {

constexpr char cure[] = "; nothing was changed; end the domain's processes and run: pinmemctl remove-domain";

class IndexTest : public testing::Test {
protected:
   TemporaryDirectory const temporary_;
   Directory const place_ = Directory::open(temporary_.path(), Directory::Trust::guarded);
   std::string const path_ = temporary_ / "index";

   Record record(std::uint32_t slot, std::string const& name)
   {
      Block block = {};
      block.slot = slot;
      block.inode = 7;
      return Record::make(block, name, "owner");
   }

   static std::vector<std::string> namesFrom(Index& index)
   {
      std::vector<std::string> names;
      index.refresh(
         [&] { names.emplace_back("forget"); }, [&](Record const& found) { names.emplace_back(found.name()); });
      return names;
   }

   /// Writes over one place of the file, as nobody should.
   void spoil(std::uint64_t offset, std::string const& bytes)
   {
      FileDescriptor const file = place_.file("index", O_RDWR);
      ASSERT_EQ(
         ::pwrite(file.number(), bytes.data(), bytes.size(), static_cast<off_t>(offset)),
         static_cast<ssize_t>(bytes.size()));
   }

   std::string refusalOfOpen()
   {
      return refusalOf([&] { Index::open(place_); });
   }
};

using Names = std::vector<std::string>;

} // namespace

TEST_F(IndexTest, isThereOnceItIsMade)
{
   EXPECT_FALSE(Index::isThere(place_));

   Index::create(place_, "boot");

   EXPECT_TRUE(Index::isThere(place_));
   EXPECT_EQ(Index::open(place_).bootId(), "boot");
   EXPECT_EQ(place_.entries(), Names{"index"});
}

TEST_F(IndexTest, createReplacesAnUnfinishedOne)
{
   place_.file("index.new", O_RDWR | O_CREAT);

   Index::create(place_, "boot");

   EXPECT_EQ(place_.entries(), Names{"index"});
}

TEST_F(IndexTest, aNewOneHasNoRecords)
{
   Index sut = Index::create(place_, "boot");

   EXPECT_EQ(namesFrom(sut), Names{});
   EXPECT_EQ(sut.slotForNew(), 0U);
}

TEST_F(IndexTest, recordsAreFoundByAnotherObject)
{
   Index sut = Index::create(place_, "boot");
   Index other = Index::open(place_);
   sut.write(record(0, "a"));
   sut.write(record(1, "b"));

   EXPECT_EQ(namesFrom(other), (Names{"a", "b"}));
   EXPECT_EQ(other.slotForNew(), 2U);
   EXPECT_EQ(other.read(1)->owner(), "owner");
}

TEST_F(IndexTest, refreshReportsEachRecordOnce)
{
   Index sut = Index::create(place_, "boot");
   Index other = Index::open(place_);
   sut.write(record(0, "a"));
   namesFrom(other);
   sut.write(record(1, "b"));

   EXPECT_EQ(namesFrom(other), Names{"b"});
   EXPECT_EQ(namesFrom(other), Names{});
   EXPECT_EQ(namesFrom(sut), Names{});
}

TEST_F(IndexTest, aRecordWithoutItsCommitWordIsAFreeSlot)
{
   Index sut = Index::create(place_, "boot");
   sut.write(record(0, "a"));
   spoil(sizeof(IndexHeader), std::string(8, '\0'));

   Index other = Index::open(place_);

   EXPECT_EQ(namesFrom(other), Names{});
   EXPECT_EQ(other.slotForNew(), 0U);
   EXPECT_FALSE(other.read(0));
   EXPECT_TRUE(other.damaged().empty());
}

TEST_F(IndexTest, aFreeSlotThatAnotherObjectHasFilledIsReportedWithAllOthers)
{
   Index sut = Index::create(place_, "boot");
   sut.write(record(0, "a"));
   sut.write(record(1, "b"));
   sut.clear(0);
   Index other = Index::open(place_);
   namesFrom(other);

   other.write(record(0, "c"));

   EXPECT_EQ(namesFrom(sut), (Names{"forget", "c", "b"}));
   EXPECT_EQ(namesFrom(sut), Names{});
   EXPECT_EQ(namesFrom(other), Names{});
   EXPECT_EQ(sut.slotForNew(), 2U);
}

TEST_F(IndexTest, aClearedSlotIsFreeForAllObjects)
{
   Index sut = Index::create(place_, "boot");
   sut.write(record(0, "a"));
   sut.write(record(1, "b"));
   Index other = Index::open(place_);
   namesFrom(other);

   sut.clear(0);

   EXPECT_FALSE(sut.read(0));
   EXPECT_EQ(sut.slotForNew(), 0U);
   EXPECT_EQ(namesFrom(other), (Names{"forget", "b"}));
   EXPECT_EQ(other.slotForNew(), 0U);
}

TEST_F(IndexTest, aChangedRecordIsReportedToTheOthers)
{
   Index sut = Index::create(place_, "boot");
   sut.write(record(0, "a"));
   Index other = Index::open(place_);
   namesFrom(other);

   sut.write(record(0, "b"));

   EXPECT_EQ(namesFrom(other), (Names{"forget", "b"}));
   EXPECT_EQ(namesFrom(sut), Names{});
}

TEST_F(IndexTest, readAgainReportsEverythingOnce)
{
   Index sut = Index::create(place_, "boot");
   sut.write(record(0, "a"));

   sut.readAgain();

   EXPECT_EQ(namesFrom(sut), (Names{"forget", "a"}));
   EXPECT_EQ(namesFrom(sut), Names{});
}

TEST_F(IndexTest, moreRecordsThanOneReadTakesAreAllReported)
{
   Index sut = Index::create(place_, "boot");
   for (std::uint32_t slot = 0; slot < 200; ++slot) {
      sut.write(record(slot, std::to_string(slot)));
   }
   Index other = Index::open(place_);

   Names const names = namesFrom(other);

   ASSERT_EQ(names.size(), 200U);
   EXPECT_EQ(names.back(), "199");
}

TEST_F(IndexTest, aFileThatWasCutBetweenRecordsIsRefused)
{
   Index sut = Index::create(place_, "boot");
   sut.write(record(0, "a"));
   sut.write(record(1, "b"));
   std::filesystem::resize_file(path_, sizeof(IndexHeader) + sizeof(Record));
   std::string const expected = "index '" + path_ + "' is damaged: it was cut to 1 of 2 records" + cure;

   EXPECT_EQ(refusalOf([&] { namesFrom(sut); }), expected);
   Index other = Index::open(place_);
   EXPECT_EQ(refusalOf([&] { namesFrom(other); }), expected);
}

TEST_F(IndexTest, aRecordThatTheHeaderDoesNotCountYetIsFound)
{
   Index sut = Index::create(place_, "boot");
   std::string header(sizeof(IndexHeader), '\0');
   FileDescriptor const file = place_.file("index", O_RDWR);
   ASSERT_EQ(::pread(file.number(), header.data(), header.size(), 0), static_cast<ssize_t>(header.size()));
   sut.write(record(0, "a"));
   spoil(0, header); // as after a kill between the two

   Index other = Index::open(place_);
   EXPECT_EQ(namesFrom(other), Names{"a"});
   other.write(record(1, "b"));
   Index third = Index::open(place_);
   EXPECT_EQ(namesFrom(third), (Names{"a", "b"}));
}

TEST_F(IndexTest, aHeaderSpoiltWhileInUseIsRefused)
{
   Index sut = Index::create(place_, "boot");
   spoil(offsetof(IndexHeader, changeCount), "x");

   EXPECT_EQ(
      refusalOf([&] { namesFrom(sut); }),
      "index '" + path_ + "' is damaged: the checksum of its header does not fit" + cure);
}

TEST_F(IndexTest, aRecordCutByTheEndOfTheFileIsAFreeSlot)
{
   Index sut = Index::create(place_, "boot");
   spoil(sizeof(IndexHeader), std::string(100, '\0'));

   EXPECT_EQ(namesFrom(sut), Names{});
   EXPECT_EQ(sut.slotForNew(), 0U);
}

TEST_F(IndexTest, aDamagedRecordIsNotTrusted)
{
   Index sut = Index::create(place_, "boot");
   sut.write(record(0, "a"));
   sut.write(record(1, "b"));
   spoil(sizeof(IndexHeader) + 20, "x");

   Index other = Index::open(place_);

   EXPECT_EQ(namesFrom(other), Names{"b"});
   EXPECT_EQ(other.damaged(), std::set<std::uint32_t>{0});
   EXPECT_EQ(
      refusalOf([&] { other.read(0); }), "record 0 of index '" + path_ + "' was damaged while it was in use" + cure);
}

TEST_F(IndexTest, aRecordMayBeWrittenAgain)
{
   Index sut = Index::create(place_, "boot");
   sut.write(record(0, "a"));

   sut.write(record(0, "b"));

   EXPECT_EQ(sut.read(0)->name(), "b");
   EXPECT_EQ(sut.slotForNew(), 1U);
}

TEST_F(IndexTest, aFreeSlotMayBeFilledAfterAFullOne)
{
   Index sut = Index::create(place_, "boot");
   sut.write(record(0, "a"));
   sut.write(record(1, "b"));
   spoil(sizeof(IndexHeader), std::string(8, '\0'));
   Index other = Index::open(place_);
   namesFrom(other);

   other.write(record(0, "c"));

   EXPECT_EQ(other.slotForNew(), 2U);
   Index third = Index::open(place_);
   EXPECT_EQ(namesFrom(third), (Names{"c", "b"}));
}

TEST_F(IndexTest, anotherBootForgetsTheMemoryAndKeepsTheNames)
{
   Index sut = Index::create(place_, "boot 1");
   sut.write(record(0, "a"));
   Index other = Index::open(place_);

   other.bootIdIs("boot 2");

   EXPECT_EQ(Index::open(place_).bootId(), "boot 2");
   EXPECT_EQ(other.read(0)->name(), "a");
   EXPECT_EQ(other.read(0)->block.inode, 0U);
   EXPECT_EQ(namesFrom(other), Names{"a"});
   EXPECT_EQ(namesFrom(sut), (Names{"forget", "a"}));
}

TEST_F(IndexTest, aMissingFileIsRefused)
{
   EXPECT_EQ(
      refusalOfOpen(),
      "index '" + path_ + "' cannot be opened: No such file or directory; make it readable and writable for this user");
}

TEST_F(IndexTest, aShortHeaderIsRefusedAndLeftAlone)
{
   Index::create(place_, "boot");
   for (std::uintmax_t const size : {sizeof(IndexHeader) - 1, std::size_t{0}}) {
      std::filesystem::resize_file(path_, size);

      EXPECT_EQ(refusalOfOpen(), "index '" + path_ + "' is damaged: it is too short for its header" + cure);
      EXPECT_EQ(std::filesystem::file_size(path_), size);
   }
}

TEST_F(IndexTest, aHeaderThatCannotBeReadIsNotTakenForAShortOne)
{
   Index::create(place_, "boot");
   auto* const real = systemCalls.pread;
   systemCalls.pread = [](int, void*, std::size_t, off_t) -> ssize_t {
      errno = EIO;
      return -1;
   };

   std::string const refusal = refusalOfOpen();

   systemCalls.pread = real;
   EXPECT_EQ(refusal, "index '" + path_ + "' cannot be read: Input/output error");
}

TEST_F(IndexTest, anotherFilesStartIsRefused)
{
   Index::create(place_, "boot");
   spoil(0, "P");

   EXPECT_EQ(refusalOfOpen(), "index '" + path_ + "' is damaged: it does not start like an index" + cure);
}

TEST_F(IndexTest, aHeaderWhoseChecksumDoesNotFitIsRefused)
{
   Index::create(place_, "boot");
   spoil(offsetof(IndexHeader, bootIdBytes), "B");

   EXPECT_EQ(refusalOfOpen(), "index '" + path_ + "' is damaged: the checksum of its header does not fit" + cure);
}

TEST_F(IndexTest, anotherVersionIsRefusedByItsNumber)
{
   Index::create(place_, "boot");
   IndexHeader header = IndexHeader::make("boot");
   header.version = 1;
   header.checksum = header.expectedChecksum();
   spoil(0, std::string(reinterpret_cast<char const*>(&header), sizeof(header)));

   EXPECT_EQ(
      refusalOfOpen(),
      "index '" + path_ +
         "' has version 1, this library reads version 2; use the libpinmem that made it, or another domain");
}

TEST_F(IndexTest, aRemovedFileIsNoticed)
{
   Index sut = Index::create(place_, "boot");
   EXPECT_EQ(refusalOf([&] { namesFrom(sut); }), "");

   std::filesystem::remove(path_);

   EXPECT_EQ(
      refusalOf([&] { namesFrom(sut); }),
      "index '" + path_ + "' was removed while this process used it; end all processes of the domain, then restart");
}

TEST_F(IndexTest, aDescriptorThatSomebodyElseHasClosedIsNoticed)
{
   Index sut = Index::create(place_, "boot");
   // The lowest free number before the index was opened is now the index's; find it by its inode.
   struct stat wanted = {};
   ASSERT_EQ(::stat(path_.c_str(), &wanted), 0);
   int number = 0;
   for (struct stat status = {}; ::fstat(number, &status) != 0 || status.st_ino != wanted.st_ino;) {
      ++number;
   }
   FileDescriptor const another = place_.file("another", O_RDWR | O_CREAT);

   ASSERT_EQ(::dup2(another.number(), number), number);

   EXPECT_EQ(
      refusalOf([&] { namesFrom(sut); }),
      "the descriptor of index '" + path_ + "' was closed by another part of this process; close only your own");
}

/// While it lives, the system reads and writes at most some bytes at a time.
class ShortCalls {
public:
   ShortCalls()
   {
      real_ = systemCalls;
      systemCalls.pread = [](int number, void* bytes, std::size_t size, off_t offset) {
         return real_.pread(number, bytes, std::min(size, step), offset);
      };
      systemCalls.pwrite = [](int number, void const* bytes, std::size_t size, off_t offset) {
         isInOnePage_ = isInOnePage_ && (size < sizeof(Record) || reinterpret_cast<std::uintptr_t>(bytes) % 1024 == 0);
         return real_.pwrite(number, bytes, std::min(size, step / 2), offset);
      };
   }

   ~ShortCalls() { systemCalls = real_; }

   static bool isInOnePage() { return isInOnePage_; }

private:
   static constexpr std::size_t step = 1500;
   static inline SystemCalls real_ = {};
   static inline bool isInOnePage_ = true;
};

TEST_F(IndexTest, aReadThatStopsEarlyDoesNotMakeSlotsFree)
{
   Index other = Index::create(place_, "boot");
   for (std::uint32_t slot = 0; slot < 5; ++slot) {
      other.write(record(slot, std::to_string(slot)));
   }
   Index sut = Index::open(place_);
   ShortCalls const calls;

   EXPECT_EQ(namesFrom(sut), (Names{"0", "1", "2", "3", "4"}));
   EXPECT_EQ(sut.slotForNew(), 5U);
}

TEST_F(IndexTest, headerAndRecordsAreWrittenWholeAndFromWithinOnePage)
{
   ShortCalls const calls;
   Index sut = Index::create(place_, "boot");
   sut.write(record(0, "a"));
   sut.write(record(0, "b"));
   sut.clear(0);
   sut.write(record(0, "c"));
   sut.bootIdIs("another boot");

   EXPECT_TRUE(calls.isInOnePage());
   Index whole = Index::open(place_);
   EXPECT_EQ(namesFrom(whole), Names{"c"});
}
