#include "src/Directory.h"
#include "src/SystemCalls.h"
#include "test/support/RefusalOf.h"
#include "test/support/TemporaryDirectory.h"
#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace pinmem_lib;
using namespace pinmem_test;
using Trust = Directory::Trust;
using Missing = Directory::Missing;

namespace {

struct stat statusOf(std::string const& path)
{
   struct stat status = {};
   EXPECT_EQ(::lstat(path.c_str(), &status), 0);
   return status;
}

mode_t modeOf(std::string const& path)
{
   return statusOf(path).st_mode & 07777;
}

/// For the group that every process may give its files to.
Sharing shared()
{
   return {.group = ::getegid()};
}

/// Another user's folder can only be made by root.
bool isRoot()
{
   return ::geteuid() == 0;
}

} // namespace

TEST(Directory, aMissingOneIsRefusedByItsPath)
{
   TemporaryDirectory const place;
   std::string const path = place / "none";

   EXPECT_EQ(
      refusalOf([&] { Directory::open(path, Trust::guarded); }),
      "directory '" + path +
         "' cannot be opened: No such file or directory; it must be a directory and no link; make it, or name another "
         "with PINMEM_DIR");
}

TEST(Directory, aLinkIsRefusedAlsoWithASlashBehindIt)
{
   TemporaryDirectory const place;
   std::filesystem::create_directory(place / "real");
   std::string const link = place / "link";
   std::filesystem::create_directory_symlink(place / "real", link);

   for (std::string const& path : {link, place / "link/"}) {
      EXPECT_EQ(
         refusalOf([&] { Directory::open(path, Trust::guarded); }),
         "directory '" + link +
            "' cannot be opened: Not a directory; it must be a directory and no link; make it, or name another with "
            "PINMEM_DIR");
   }
}

TEST(Directory, aSharedOneMayBeALink)
{
   TemporaryDirectory const place;
   std::filesystem::create_directory(place / "real");
   std::filesystem::create_directory_symlink(place / "real", place / "link");

   EXPECT_EQ(refusalOf([&] { Directory::open(place / "link", Trust::shared); }), "");
}

TEST(Directory, aChildIsMadeForItsUserOnly)
{
   TemporaryDirectory const place;
   Directory const sut = Directory::open(place.path(), Trust::guarded);

   std::optional<Directory> const child = sut.child("a", Trust::hidden, Missing::create);

   ASSERT_TRUE(child);
   EXPECT_EQ(child->path(), place / "a");
   EXPECT_EQ(modeOf(place / "a"), mode_t{0700});
}

TEST(Directory, aMissingChildIsNothingWhenItIsNotToBeMade)
{
   TemporaryDirectory const place;
   Directory const sut = Directory::open(place.path(), Trust::guarded);

   EXPECT_FALSE(sut.child("a", Trust::hidden, Missing::leave));
   EXPECT_FALSE(std::filesystem::exists(place / "a"));
}

TEST(Directory, aChildOfARemovedOneIsNothing)
{
   TemporaryDirectory const place;
   Directory const sut = *Directory::open(place.path(), Trust::guarded).child("a", Trust::hidden, Missing::create);
   std::filesystem::remove(place / "a");

   EXPECT_FALSE(sut.child("b", Trust::hidden, Missing::create));
}

TEST(Directory, aChildThatIsALinkIsRefused)
{
   TemporaryDirectory const place;
   std::filesystem::create_directory(place / "real");
   std::string const link = place / "link";
   std::filesystem::create_directory_symlink(place / "real", link);
   Directory const sut = Directory::open(place.path(), Trust::guarded);

   EXPECT_EQ(
      refusalOf([&] { sut.child("link", Trust::hidden, Missing::create); }),
      "'" + link + "' cannot be used as a directory: Not a directory; it must be a directory of this user and no link");
}

TEST(Directory, aHiddenOneThatOthersMayReadIsRefusedWithTheCommandThatHelps)
{
   TemporaryDirectory const place;
   std::string const path = place / "a";
   std::filesystem::create_directory(path);
   Directory const sut = Directory::open(place.path(), Trust::guarded);

   for (mode_t const mode : {0701U, 0710U, 0755U}) {
      ASSERT_EQ(::chmod(path.c_str(), mode), 0);
      EXPECT_EQ(
         refusalOf([&] { sut.child("a", Trust::hidden, Missing::create); }),
         "directory '" + path + "' is open to other users; run: chmod 0700 '" + path + "'");
   }
}

TEST(Directory, aGuardedOneMayBeReadButNotWrittenByOthers)
{
   TemporaryDirectory const place;

   ASSERT_EQ(::chmod(place.path().c_str(), 0755), 0);
   EXPECT_EQ(refusalOf([&] { Directory::open(place.path(), Trust::guarded); }), "");
   ASSERT_EQ(::chmod(place.path().c_str(), 0775), 0);
   EXPECT_EQ(
      refusalOf([&] { Directory::open(place.path(), Trust::guarded); }),
      "directory '" + place.path() + "' is open to other users; run: chmod go-w '" + place.path() + "'");
}

TEST(Directory, aGuardedOneWithTheStickyBitMayBeWrittenByOthers)
{
   TemporaryDirectory const place;
   ASSERT_EQ(::chmod(place.path().c_str(), 01777), 0);

   EXPECT_EQ(refusalOf([&] { Directory::open(place.path(), Trust::guarded); }), "");
}

TEST(Directory, anotherUsersOneIsRefused)
{
   if (!isRoot()) {
      GTEST_SKIP() << "only root can give a folder away";
   }
   TemporaryDirectory const place;
   ASSERT_EQ(::chown(place.path().c_str(), 12345, 12345), 0);

   EXPECT_EQ(
      refusalOf([&] { Directory::open(place.path(), Trust::guarded); }),
      "directory '" + place.path() +
         "' belongs to user 12345, not to user 0; run this as user 12345, or use another place with PINMEM_DIR");
   EXPECT_EQ(refusalOf([&] { Directory::open(place.path(), Trust::shared); }), "");
}

TEST(Directory, aFileInItsPlaceIsRefused)
{
   TemporaryDirectory const place;
   Directory const sut = Directory::open(place.path(), Trust::guarded);
   std::string const path = place / "a";
   sut.file("a", O_RDWR | O_CREAT);

   EXPECT_EQ(
      refusalOf([&] { sut.child("a", Trust::hidden, Missing::create); }),
      "'" + path + "' cannot be used as a directory: Not a directory; it must be a directory of this user and no link");
}

TEST(Directory, aFolderThatCannotBeMadeIsRefusedByItsPathAndReason)
{
   TemporaryDirectory const place;
   Directory const sut = Directory::open(place.path(), Trust::guarded);
   std::string const name(256, 'x');
   std::string const path = place / name;

   EXPECT_EQ(
      refusalOf([&] { sut.child(name, Trust::hidden, Missing::create); }),
      "no writable memory directory: '" + path + "' cannot be made: File name too long; make '" + place.path() +
         "' writable, or name another place with PINMEM_DIR");
}

TEST(Directory, filesAreForTheirUserOnlyAndNeverLinks)
{
   TemporaryDirectory const place;
   Directory const sut = Directory::open(place.path(), Trust::guarded);
   std::filesystem::create_symlink(place / "a", place / "link");

   EXPECT_TRUE(sut.file("a", O_RDWR | O_CREAT | O_EXCL).isOpen());
   EXPECT_FALSE(sut.file("a", O_RDWR | O_CREAT | O_EXCL).isOpen());
   EXPECT_FALSE(sut.file("link", O_RDWR).isOpen());
   EXPECT_EQ(modeOf(place / "a"), mode_t{0600});
}

TEST(Directory, filesAreClosedWhenAProgramIsStarted)
{
   TemporaryDirectory const place;
   Directory const sut = Directory::open(place.path(), Trust::guarded);
   FileDescriptor const file = sut.file("a", O_RDWR | O_CREAT);

   EXPECT_NE(::fcntl(file.number(), F_GETFD) & FD_CLOEXEC, 0);
   EXPECT_NE(::fcntl(sut.number(), F_GETFD) & FD_CLOEXEC, 0);
}

TEST(Directory, entriesAreListedEachTime)
{
   TemporaryDirectory const place;
   Directory const sut = Directory::open(place.path(), Trust::guarded);
   EXPECT_TRUE(sut.entries().empty());
   sut.file("a", O_RDWR | O_CREAT);
   sut.file("b", O_RDWR | O_CREAT);

   for (int round = 0; round < 2; ++round) {
      std::vector<std::string> names = sut.entries();
      std::sort(names.begin(), names.end());
      EXPECT_EQ(names, (std::vector<std::string>{"a", "b"}));
   }
}

TEST(Directory, aChildOfASharedDomainIsOpenToItsGroup)
{
   TemporaryDirectory const place;
   Directory const sut = Directory::open(place.path(), Trust::guarded, shared());
   mode_t const mask = ::umask(077);

   std::optional<Directory> const child = sut.child("a", Trust::hidden, Missing::create);
   ::umask(mask);

   ASSERT_TRUE(child);
   EXPECT_EQ(modeOf(place / "a"), mode_t{0750});
   EXPECT_EQ(statusOf(place / "a").st_gid, ::getegid());
   EXPECT_EQ(modeOf(place.path()), mode_t{0700}) << "that one is not ours";
   child->child("b", Trust::hidden, Missing::create);
   EXPECT_EQ(modeOf(place / "a/b"), mode_t{0750});
}

TEST(Directory, aChildThatWasClosedIsOpenedWhenTheDomainIsShared)
{
   TemporaryDirectory const place;
   Directory::open(place.path(), Trust::guarded).child("a", Trust::hidden, Missing::create);
   EXPECT_EQ(modeOf(place / "a"), mode_t{0700});

   for (int round = 0; round < 2; ++round) {
      Directory::open(place.path(), Trust::guarded, shared()).child("a", Trust::hidden, Missing::create);
      EXPECT_EQ(modeOf(place / "a"), mode_t{0750});
   }
}

TEST(Directory, aHiddenOneThatAGroupMayReadIsRefusedUnlessThatIsMeant)
{
   TemporaryDirectory const place;
   std::string const path = place / "a";
   Directory::open(place.path(), Trust::guarded, shared()).child("a", Trust::hidden, Missing::create);
   std::string const group = std::to_string(::getegid());
   Sharing any;
   any.isAnyGroupGood = true;

   EXPECT_EQ(
      refusalOf([&] { Directory::open(path, Trust::hidden); }),
      "directory '" + path + "' is open to group " + group + "; set PINMEM_GROUP=" + group +
         " if that is meant, else run: chmod 0700 '" + path + "'");
   EXPECT_EQ(refusalOf([&] { Directory::open(path, Trust::common); }), "");
   EXPECT_EQ(refusalOf([&] { Directory::open(path, Trust::hidden, any); }), "");
   EXPECT_EQ(refusalOf([&] { Directory::open(path, Trust::hidden, shared()); }), "");
}

TEST(Directory, aSharedOneThatOthersMayReadOrItsGroupMayWriteIsRefused)
{
   TemporaryDirectory const place;
   std::string const path = place / "a";
   std::filesystem::create_directory(path);
   Sharing any;
   any.isAnyGroupGood = true;

   for (mode_t const mode : {0710U, 0740U, 0751U, 0754U, 0755U, 0760U, 0770U, 0777U, 0705U}) {
      ASSERT_EQ(::chmod(path.c_str(), mode), 0);
      EXPECT_EQ(
         refusalOf([&] { Directory::open(path, Trust::hidden, shared()); }),
         "directory '" + path + "' is open to other users; run: chmod 0750 '" + path + "'");
      std::string const text = "directory '" + path + "' is open to other users; run: chmod 0700 '" + path + "'";
      EXPECT_EQ(refusalOf([&] { Directory::open(path, Trust::hidden, any); }), text);
      EXPECT_EQ(refusalOf([&] { Directory::open(path, Trust::common); }), text);
   }
}

TEST(Directory, aChildThatIsOpenToAnotherGroupIsRefused)
{
   TemporaryDirectory const place;
   std::string const path = place / "a";
   Directory::open(place.path(), Trust::guarded, shared()).child("a", Trust::hidden, Missing::create);
   gid_t const other = ::getegid() + 1;
   Directory const sut = Directory::open(place.path(), Trust::guarded, Sharing{.group = other});

   for (Trust const trust : {Trust::guarded, Trust::common, Trust::hidden}) {
      EXPECT_EQ(
         refusalOf([&] { sut.child("a", trust, Missing::create); }),
         "directory '" + path + "' is open to group " + std::to_string(::getegid()) + ", not to group " +
            std::to_string(other) + "; run: chgrp " + std::to_string(other) + " '" + path +
            "', or use another place with PINMEM_DIR");
   }
   ASSERT_EQ(::chmod(path.c_str(), 0755), 0);
   EXPECT_EQ(refusalOf([&] { sut.child("a", Trust::guarded, Missing::create); }), "");
   EXPECT_EQ(modeOf(path), mode_t{0755});
}

TEST(Directory, aGroupThatItsUserCannotGiveToIsRefusedAndNobodyIsLetIn)
{
   TemporaryDirectory const place;
   Directory const sut = Directory::open(place.path(), Trust::guarded, shared());
   SystemCalls const calls = systemCalls;
   systemCalls.fchown = [](int, uid_t, gid_t) {
      errno = EPERM;
      return -1;
   };

   std::string const text = refusalOf([&] { sut.child("a", Trust::hidden, Missing::create); });
   systemCalls = calls;

   EXPECT_EQ(
      text, "directory '" + place.path() + "/a' cannot be given to group " + std::to_string(::getegid()) +
               ": Operation not permitted; make user " + std::to_string(::geteuid()) +
               " a member of it, or unset PINMEM_GROUP");
   EXPECT_EQ(modeOf(place / "a"), mode_t{0700});
}

TEST(Directory, aFileIsGivenToTheGroupForReading)
{
   TemporaryDirectory const place;
   Directory const sut = Directory::open(place.path(), Trust::guarded, shared());
   FileDescriptor const file = sut.file("a", O_RDWR | O_CREAT);
   EXPECT_EQ(modeOf(place / "a"), mode_t{0600});

   Directory::open(place.path(), Trust::guarded).letGroupRead(file, "a");
   EXPECT_EQ(modeOf(place / "a"), mode_t{0600});
   sut.letGroupRead(file, "a");
   EXPECT_EQ(modeOf(place / "a"), mode_t{0640});
}
