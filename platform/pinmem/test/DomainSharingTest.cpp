// Domains whose user lets a group look (PINMEM_GROUP), and blocks of other users.
#include "src/DomainRemoval.h"
#include "src/SystemCalls.h"
#include "test/support/DomainFixture.h"
#include "test/support/KillAt.h"
#include "test/support/OrdinaryUser.h"
#include "test/support/RefusalOf.h"
#include <cstring>
#include <filesystem>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>

using namespace pinmem_lib;
using namespace pinmem_test;

namespace {

constexpr gid_t lookers = 23456;

class DomainSharingTest : public DomainFixture {
protected:
   DomainSharingTest() { group_ = std::to_string(::geteuid() == 0 ? lookers : ::getegid()); }

   /// The domain, as somebody opens it who looks after it.
   std::unique_ptr<Domain> look() const
   {
      Settings settings;
      settings.directory = temporary_.path();
      return Domain::open(settings, {}, Directory::Missing::leave);
   }

   /// `0750 23456`.
   static std::string accessOf(std::filesystem::path const& path)
   {
      struct stat status = {};
      EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
      char text[32];
      std::snprintf(text, sizeof(text), "%04o %u", status.st_mode & 07777U, status.st_gid);
      return text;
   }

   /// What an ordinary user finds out, in the group or not.
   std::string asLooker(std::function<std::string()> const& action, std::vector<gid_t> const& groups = {lookers}) const
   {
      EXPECT_EQ(::chmod(temporary_.path().c_str(), 0755), 0);
      return asOrdinaryUser(Privilege::never, action, groups);
   }
};

/// Tests that need another user.
class ForeignDomainTest : public DomainSharingTest {
protected:
   void SetUp() override
   {
      if (::geteuid() != 0) {
         GTEST_SKIP() << "only root can become another user";
      }
   }
};

} // namespace

TEST_F(DomainSharingTest, theGroupMayEnterFoldersAndReadTheIndexAndNothingElse)
{
   {
      auto const sut = open();
      sut->allocate("small", 100, "", 0);
      sut->allocate("large", 1 << 20, "", 4);
   }

   EXPECT_EQ(accessOf(control_), "0750 " + group_);
   EXPECT_EQ(accessOf(control_ + "/data"), "0750 " + group_);
   EXPECT_EQ(accessOf(index_), "0640 " + group_);
   std::size_t closed = 0;
   for (auto const& file : std::filesystem::recursive_directory_iterator(control_)) {
      if (file.is_regular_file() && file.path() != index_) {
         EXPECT_EQ(accessOf(file).substr(0, 4), "0600") << file.path();
         ++closed;
      }
   }
   EXPECT_EQ(closed, 4U); // lock, users, two regions
}

TEST_F(DomainSharingTest, aDomainThatWasClosedIsOpenedByAProcessThatWantsItShared)
{
   std::string const group = group_;
   group_ = "";
   std::uint64_t const address = open()->allocate("a", 100, "", 0);
   EXPECT_EQ(accessOf(index_).substr(0, 4), "0600");
   group_ = group;

   EXPECT_EQ(open()->allocate("a", 100, "", 0), address);

   EXPECT_EQ(accessOf(control_), "0750 " + group_);
   EXPECT_EQ(accessOf(control_ + "/data"), "0750 " + group_);
   EXPECT_EQ(accessOf(index_), "0640 " + group_);
}

TEST_F(DomainSharingTest, aSharedDomainIsNotUsedByAProcessThatDoesNotKnowButLookedAfter)
{
   open()->allocate("a", 100, "", 0);
   std::string const group = group_;
   group_ = "";

   EXPECT_EQ(
      refusalOf([&] { open(); }), "directory '" + control_ + "' is open to group " + group + "; set PINMEM_GROUP=" +
                                     group + " if that is meant, else run: chmod 0700 '" + control_ + "'");
   EXPECT_EQ(look()->records().size(), 1U);
   EXPECT_EQ(look()->free("a"), Domain::Freed::freed);
   Settings settings;
   settings.directory = temporary_.path();
   EXPECT_EQ(removeDomain(settings), DomainRemoval::removed);
}

TEST_F(DomainSharingTest, anUnknownGroupIsRefusedAndNothingMade)
{
   group_ = "no-such-group";

   EXPECT_NE(refusalOf([&] { open(); }).find("PINMEM_GROUP='no-such-group' is not a group"), std::string::npos);
   EXPECT_TRUE(std::filesystem::is_empty(temporary_.path()));
}

TEST_F(DomainSharingTest, aKillAtEachStepLeavesADomainThatTheNextProcessShares)
{
   Fate fate = Fate::killed;
   for (int stop = 0; fate == Fate::killed; ++stop) {
      fate = killAt(stop, [&] { open()->allocate("a", 100, "", 0); });

      if (fate == Fate::notWatched) {
         GTEST_SKIP() << "processes may not be traced here";
      }
      ASSERT_NE(open()->allocate("a", 100, "", 0), 0U) << stop;
      ASSERT_EQ(accessOf(control_), "0750 " + group_) << stop;
      ASSERT_EQ(accessOf(control_ + "/data"), "0750 " + group_) << stop;
      ASSERT_EQ(accessOf(index_), "0640 " + group_) << stop;
      std::filesystem::remove_all(control_);
   }
}

TEST_F(ForeignDomainTest, aMemberSeesBlocksAndTheirUsers)
{
   auto const user = open();
   user->allocate("a", 100, "owner", 0);
   user->allocate("b", 1 << 20, "", 4);

   EXPECT_EQ(
      asLooker([&] {
         auto const sut = look();
         std::vector<Record> const records = sut->records();
         std::string text = std::to_string(sut->arenas().size()) + " arenas";
         for (Record const& record : records) {
            text.append(", ").append(record.name()).append(" ").append(record.owner());
            text.append(" ").append(std::to_string(sut->userCounts({record.block.slot})[0]));
         }
         for (std::string const& fault : sut->faults()) {
            text.append(", ").append(fault);
         }
         return text + ", " + sut->findings().at(2).backend;
      }),
      "1 arenas, a owner 1, b  1, shm");
}

TEST_F(ForeignDomainTest, aMemberSeesFaults)
{
   open()->allocate("a", 1 << 20, "", 4);
   std::filesystem::remove(control_ + "/data/00000000-00000001");

   EXPECT_EQ(asLooker([&] { return look()->faults().at(0); }), "block 'a': its memory is gone");
   spoilIndex(sizeof(IndexHeader) + offsetof(Record, nameBytes));
   EXPECT_EQ(asLooker([&] { return look()->faults().at(0); }), "record 0 is damaged");
   EXPECT_EQ(asLooker([&] { return std::to_string(look()->damaged().size()); }), "1");
}

TEST_F(ForeignDomainTest, aMemberChangesNothing)
{
   open()->allocate("a", 100, "", 0);
   std::string const expected =
      "the domain belongs to user 0, and user 65534 may only look at it; run this as that user";

   for (std::function<void(Domain&)> const& change : std::initializer_list<std::function<void(Domain&)>>{
           [](Domain& domain) { domain.allocate("a", 100, "", 0); }, [](Domain& domain) { domain.map("a"); },
           [](Domain& domain) { domain.free("a"); }, [](Domain& domain) { domain.collect(); }}) {
      EXPECT_EQ(
         asLooker([&] {
            auto const sut = look();
            return refusalOf([&] { change(*sut); });
         }),
         expected);
   }
   EXPECT_EQ(
      asLooker([&] {
         Settings settings;
         settings.directory = temporary_.path();
         return refusalOf([&] { removeDomain(settings); }) + refusalOf([&] { Domain::open(settings); });
      }).find("directory '" + temporary_.path() + "' "),
      std::string::npos);
   EXPECT_EQ(open()->records().size(), 1U);
}

TEST_F(ForeignDomainTest, aMemberCanNeitherWriteNorLockWhatTheDomainStandsOn)
{
   open()->allocate("a", 1 << 20, "", 4);

   EXPECT_EQ(
      asLooker([&] {
         std::string opened;
         for (auto const& file : std::filesystem::recursive_directory_iterator(control_)) {
            if (::open(file.path().c_str(), O_RDWR | O_CLOEXEC) >= 0 && !file.is_directory()) {
               opened += "wrote " + file.path().filename().string();
            }
            if (::open(file.path().c_str(), O_RDONLY | O_CLOEXEC) >= 0 && !file.is_directory()) {
               opened += "read " + file.path().filename().string();
            }
         }
         return opened + (::mkdir((control_ + "/made").c_str(), 0700) == 0 ? "made" : "");
      }),
      "read index");
}

TEST_F(ForeignDomainTest, whoIsNoMemberSeesNothing)
{
   open()->allocate("a", 100, "", 0);

   EXPECT_EQ(
      asLooker([&] { return refusalOf([&] { look(); }); }, {lookers + 1}),
      "'" + control_ +
         "' cannot be used as a directory: Permission denied; it must be a directory of this user and no link");
}

TEST_F(ForeignDomainTest, aMemberNeverWaitsForTheLockNorMakesOthersWait)
{
   auto const user = open();
   user->allocate("a", 100, "", 0);
   FileDescriptor const lock(::open((control_ + "/lock").c_str(), O_RDWR | O_CLOEXEC));
   ASSERT_EQ(::flock(lock.number(), LOCK_EX), 0);

   EXPECT_EQ(asLooker([&] { return std::to_string(look()->records().size()); }), "1");
}

TEST_F(ForeignDomainTest, whatAMemberMeetsHalfWrittenIsReadAgain)
{
   open()->allocate("a", 100, "", 0);

   EXPECT_EQ(
      asLooker([&] {
         static int tornHeaders = 3;
         static int tornRecords = 3;
         systemCalls.pread = [](int number, void* bytes, std::size_t size, off_t offset) {
            ssize_t const got = ::pread(number, bytes, size, offset);
            int& torn = offset == 0 ? tornHeaders : tornRecords;
            if (torn > 0 && got > 0) {
               --torn;
               static_cast<char*>(bytes)[got - 1] ^= 1;
            }
            return got;
         };
         auto const sut = look();
         tornRecords = 3;
         return std::to_string(sut->damaged().size()) + std::to_string(sut->faults().size());
      }),
      "00");
}

TEST_F(ForeignDomainTest, aMemberTakesNoChangeUnderWayForDamage)
{
   auto const user = open();
   user->allocate("kept", 100, "", 0);
   pid_t const changer = ::fork();
   if (changer == 0) {
      for (;;) {
         {
            auto const domain = open();
            domain->allocate("large", 1 << 20, "", 4);
            domain->allocate("small", 100, "", 1);
         }
         auto const other = open();
         other->free("large");
         other->free("small");
      }
   }

   std::string const text = asLooker([&] {
      std::string faults;
      auto const sut = look();
      for (int round = 0; round < 500; ++round) {
         for (std::string const& fault : sut->faults()) {
            faults += fault + '\n';
         }
         faults += sut->records().empty() ? "nothing" : "";
         faults += sut->damaged().empty() ? "" : "damaged";
         faults += look()->damaged().empty() ? "" : "damaged when opened";
      }
      return faults;
   });

   ::kill(changer, SIGKILL);
   ::waitpid(changer, nullptr, 0);
   EXPECT_EQ(text, "");
}

TEST_F(ForeignDomainTest, rootLooksAtAUsersDomainAndChangesNothing)
{
   group_ = "";
   ASSERT_EQ(::chown(temporary_.path().c_str(), ordinaryUser, ordinaryUser), 0);
   ASSERT_EQ(
      asOrdinaryUser(Privilege::never, [&] { return std::to_string(open()->allocate("a", 100, "", 0) >> 63); }), "1");

   auto const sut = look();

   EXPECT_EQ(sut->records().size(), 1U);
   EXPECT_TRUE(sut->faults().empty());
   EXPECT_EQ(
      refusalOf([&] { sut->free("a"); }),
      "the domain belongs to user 65534, and user 0 may only look at it; run this as that user");
   EXPECT_NE(refusalOf([&] { open(); }), "");
}

TEST_F(ForeignDomainTest, aDomainInTheUsualPlacesIsFoundByTheFolderWithItsControlFiles)
{
   for (std::string const folder : {"run", "memory"}) {
      std::filesystem::create_directory(temporary_ / folder);
      ASSERT_EQ(::chmod((temporary_ / folder).c_str(), 0755), 0);
   }
   Roots const roots{temporary_ / "run", temporary_ / "memory", true};
   Settings settings;
   settings.group = group_;
   Domain::open(settings, roots)->allocate("a", 1 << 20, "", 4);
   EXPECT_EQ(accessOf(temporary_ / "run/pinmem"), "0750 " + group_);
   EXPECT_EQ(accessOf(temporary_ / "memory/pinmem-0"), "0750 " + group_);

   EXPECT_EQ(
      asLooker([&] {
         Settings foreign;
         foreign.directory = temporary_ / "run/pinmem";
         auto const sut = Domain::open(foreign, roots, Directory::Missing::leave);
         return std::to_string(sut->records().size()) + " " + std::to_string(sut->faults().size());
      }),
      "1 0");
}

TEST_F(ForeignDomainTest, aBlockOfAnotherUserIsRefusedAndStays)
{
   // A domain changes hands only by hand.
   auto const giveTo = [&](uid_t user) {
      for (auto const& entry : std::filesystem::recursive_directory_iterator(temporary_.path())) {
         ASSERT_EQ(::lchown(entry.path().c_str(), user, user), 0);
      }
      ASSERT_EQ(::chown(temporary_.path().c_str(), user, user), 0);
   };
   group_ = "";
   open()->allocate("of root", 100, "", 0);
   open()->allocate("large of root", 1 << 20, "", 4);
   giveTo(ordinaryUser);
   std::string const expected = "the block belongs to user 0, not to user 65534; use another name";

   EXPECT_EQ(
      asOrdinaryUser(
         Privilege::never,
         [&] {
            auto const sut = open();
            sut->allocate("of user", 100, "", 0);
            std::string text;
            for (std::string const name : {"of root", "large of root"}) {
               text += refusalOf([&] { sut->allocate(name, 100, "", 0); });
               text += refusalOf([&] { sut->allocate(name, 100, "", 1); });
               text += refusalOf([&] { sut->map(name); });
            }
            return text;
         }),
      expected + expected + expected + expected + expected + expected);
   giveTo(0);

   auto const sut = open();
   EXPECT_EQ(
      refusalOf([&] { sut->allocate("of user", 100, "", 0); }),
      "the block belongs to user 65534, not to user 0; use another name");
   EXPECT_EQ(refusalOf([&] { sut->map("of user"); }), refusalOf([&] { sut->allocate("of user", 100, "", 0); }));
   EXPECT_NE(sut->allocate("of root", 100, "", 0), 0U);
   EXPECT_EQ(sut->arenas().size(), 2U) << "arenas are one user's";
   EXPECT_EQ(sut->records().size(), 3U);
}

TEST_F(ForeignDomainTest, lostMemoryOfAnotherUsersBlockIsNotMadeAnew)
{
   group_ = "";
   open()->allocate("a", 1 << 20, "", 4);
   std::filesystem::remove(control_ + "/data/00000000-00000001");
   for (auto const& entry : std::filesystem::recursive_directory_iterator(temporary_.path())) {
      ASSERT_EQ(::lchown(entry.path().c_str(), ordinaryUser, ordinaryUser), 0);
   }
   ASSERT_EQ(::chown(temporary_.path().c_str(), ordinaryUser, ordinaryUser), 0);

   EXPECT_EQ(
      asOrdinaryUser(Privilege::never, [&] { return refusalOf([&] { open()->allocate("a", 100, "", 4); }); }),
      "the block belongs to user 0, not to user 65534; use another name");
}
