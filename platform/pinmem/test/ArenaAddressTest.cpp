// Where packed blocks lie physically when their arena changes.
#include "test/support/MadeUpPages.h"
#include "test/support/RefusalOf.h"
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <unistd.h>

using namespace pinmem_lib;
using namespace pinmem_test;

namespace {

class ArenaAddressTest : public MadeUpPages {
protected:
   ArenaAddressTest()
   {
      mountPages(page, {10, 20, 30, 40}); // no two are neighbours
      mountPages(giantPage, {7});
   }

   /// As if the kernel had moved all pages.
   static void movePages()
   {
      for (std::uint64_t const frame : {10U, 20U, 30U, 40U}) {
         movePage(frame, frame + 1);
      }
   }

   static inline int failing_ = 0; ///< which of the writes fails
   static inline int writes_ = 0;

   static char* memoryOf(Domain& domain, std::string_view name)
   {
      return reinterpret_cast<char*>(static_cast<std::uintptr_t>(domain.map(name)));
   }
};

} // namespace

TEST_F(ArenaAddressTest, blocksKeepTheirPlacesInAnArenaThatComesBackInALargerPage)
{
   {
      // Records of an earlier boot, in which two neighbours were found.
      open();
      Index index = Index::open(Directory::open(root_ + "/default", Directory::Trust::guarded));
      Block arena = {};
      arena.generation = 1;
      arena.backend = static_cast<std::uint32_t>(BackendKind::hugetlb);
      arena.capacity = arena.size = 2 * page;
      arena.addressBus = page;
      arena.arena = Block::noArena;
      arena.node = -1;
      arena.uid = ::geteuid();
      index.write(Record::make(arena, "", ""));
      Block block = arena;
      block.slot = 1;
      block.capacity = block.size = page + 64;
      block.arena = 0;
      block.arenaGeneration = 1;
      index.write(Record::make(block, "kept", ""));
   }
   auto const sut = open();

   sut->allocate("kept", page + 64, "", 0);
   sut->allocate("new", page, "", 0);

   EXPECT_EQ(sut->arenas().at(0).block.capacity, HugetlbBackend::giantPageSize);
   std::strcpy(memoryOf(*sut, "kept"), "kept");
   std::strcpy(memoryOf(*sut, "new"), "new");
   EXPECT_STREQ(memoryOf(*sut, "kept"), "kept");
   EXPECT_TRUE(open()->damaged().empty());
}

TEST_F(ArenaAddressTest, aNewBlockInAnArenaThatMovedWhileItWasMappedIsWhereTheArenaIsNow)
{
   auto const sut = open();
   sut->allocate("old", 64, "", 0);
   std::uint64_t const before = sut->records().at(0).block.addressBus;
   movePages();

   testing::internal::CaptureStderr();
   std::uint64_t const address = sut->allocate("new", 64, "", 0);

   EXPECT_EQ(address, physicalOf(sut->map("new")));
   std::ostringstream expected;
   expected << "pinmem: arena 0, with the blocks packed in it: the bus address was 0x" << std::hex << before
            << " and is now 0x" << before + page
            << ": the kernel has moved the memory; devices that use it must be told\n";
   EXPECT_EQ(testing::internal::GetCapturedStderr(), expected.str());
   EXPECT_EQ(sut->allocate("old", 64, "", 0), before + page);
   EXPECT_EQ(sut->records().at(0).block.addressBus, before + page);
   EXPECT_EQ(sut->records().at(0).block.changeCount, 1U);
   EXPECT_EQ(sut->arenas().at(0).block.changeCount, 1U);
}

TEST_F(ArenaAddressTest, aMoveThatAnotherProcessHasNoticedIsTakenOver)
{
   auto const sut = open();
   std::uint64_t const before = sut->allocate("packed", 64, "", 0);
   std::uint64_t const largeBefore = sut->allocate("large", page, "", 4);
   movePages();
   testing::internal::CaptureStderr();
   auto const other = open();
   other->allocate("packed", 64, "", 0);
   other->allocate("large", page, "", 4);
   testing::internal::GetCapturedStderr();

   testing::internal::CaptureStderr();
   EXPECT_EQ(sut->allocate("new", 64, "", 0), before + page + 64);

   EXPECT_EQ(sut->allocate("packed", 64, "", 0), before + page);
   EXPECT_EQ(sut->allocate("large", page, "", 4), largeBefore + page);
   EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
   EXPECT_EQ(sut->arenas().at(0).block.changeCount, 1U);
}

TEST_F(ArenaAddressTest, aNewBlockIsNotPutIntoAnArenaWhoseFileIsGone)
{
   std::uint64_t const before = open()->allocate("first", 64, "", 0);
   auto const sut = open();
   sut->map("first");
   for (auto const& entry : std::filesystem::recursive_directory_iterator(root_ + "/huge")) {
      if (entry.is_regular_file()) {
         std::filesystem::remove(entry.path());
      }
   }

   EXPECT_NE(sut->allocate("new", 64, "", 0) / page, before / page);

   std::strcpy(memoryOf(*sut, "new"), "bytes");
   EXPECT_STREQ(memoryOf(*open(), "new"), "bytes");
}

TEST_F(ArenaAddressTest, aMoveThatIsRecordedByHalfIsCompletedAndSaidOnce)
{
   std::uint64_t frame = open()->allocate("one", 64, "", 0) / page;
   open()->allocate("other", 64, "", 0);
   bool hasFailed = true;
   for (failing_ = 0; hasFailed; ++failing_) {
      std::uint64_t const before = frame;
      frame = 100 + static_cast<std::uint64_t>(failing_);
      movePage(before, frame);
      testing::internal::CaptureStderr();
      writes_ = 0;
      systemCalls.pwrite = [](int number, void const* bytes, std::size_t size, off_t offset) {
         errno = ENOSPC;
         return writes_++ == failing_ ? -1 : ::pwrite(number, bytes, size, offset);
      };
      refusalOf([&] { open()->allocate("one", 64, "", 0); });
      hasFailed = writes_ > failing_;
      systemCalls.pwrite = ::pwrite;

      ASSERT_EQ(open()->allocate("one", 64, "", 0), frame * page) << failing_;

      std::string const said = testing::internal::GetCapturedStderr();
      ASSERT_EQ(std::count(said.begin(), said.end(), '\n'), 1) << said;
      std::uint64_t address = frame * page;
      auto const moves = static_cast<std::uint32_t>(failing_ + 1);
      for (Record const& record : open()->records()) {
         ASSERT_EQ(record.block.addressBus, address) << failing_;
         ASSERT_EQ(record.block.changeCount, moves) << failing_;
         address += 64;
      }
      ASSERT_EQ(open()->arenas().at(0).block.changeCount, moves) << failing_;
   }
   EXPECT_GT(failing_, 6);
}
