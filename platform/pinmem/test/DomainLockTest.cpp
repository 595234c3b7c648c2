#include "src/DomainLock.h"
#include "test/support/RefusalOf.h"
#include "test/support/TemporaryDirectory.h"
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/wait.h>

using namespace pinmem_lib;
using namespace pinmem_test;
using Missing = Directory::Missing;

namespace {

class DomainLockTest : public testing::Test {
protected:
   TemporaryDirectory const temporary_;
   Directory const place_ = Directory::open(temporary_.path(), Directory::Trust::guarded);
   std::string const path_ = temporary_ / "lock";

   bool isFree() const
   {
      FileDescriptor const file = place_.file("lock", O_RDWR);
      return ::flock(file.number(), LOCK_EX | LOCK_NB) == 0;
   }

   std::uint64_t fileNumber() const { return DomainLock::take(place_, Missing::create)->fileNumber(); }

   std::string refusalOfTakingAgain(std::uint64_t number) const
   {
      return refusalOf([&] { DomainLock::takeAgain(place_, number); });
   }

   std::string const removed_ =
      "lock '" + path_ + "' was removed while this process used it; end all processes of the domain, then restart";
};

struct Pipe {
   int ends[2] = {-1, -1};

   Pipe() { EXPECT_EQ(::pipe(ends), 0); }
};

} // namespace

TEST_F(DomainLockTest, isHeldForTheLifeOfTheObject)
{
   {
      auto const sut = DomainLock::take(place_, Missing::create);
      ASSERT_TRUE(sut);
      EXPECT_FALSE(isFree());
   }
   EXPECT_TRUE(isFree());
}

TEST_F(DomainLockTest, isTakenAgainAsOftenAsWanted)
{
   std::uint64_t const number = fileNumber();
   for (int round = 0; round < 3; ++round) {
      {
         DomainLock const sut = DomainLock::takeAgain(place_, number);
         EXPECT_FALSE(isFree());
      }
      EXPECT_TRUE(isFree());
   }
}

TEST_F(DomainLockTest, isNotMadeForLooking)
{
   EXPECT_FALSE(DomainLock::take(place_, Missing::leave));
   EXPECT_FALSE(std::filesystem::exists(path_));

   fileNumber();

   EXPECT_TRUE(DomainLock::take(place_, Missing::leave));
}

TEST_F(DomainLockTest, aRemovedFolderIsToldApart)
{
   std::filesystem::remove_all(temporary_.path());

   EXPECT_FALSE(DomainLock::take(place_, Missing::create));
}

TEST_F(DomainLockTest, aFolderInPlaceOfTheFileIsRefused)
{
   std::filesystem::create_directory(path_);

   EXPECT_EQ(
      refusalOf([&] { DomainLock::take(place_, Missing::create); }),
      "lock '" + path_ +
         "' cannot be opened: Is a directory; make it a plain file, readable and writable for this user");
}

TEST_F(DomainLockTest, aRemovedFileIsNoticed)
{
   std::uint64_t const number = fileNumber();

   std::filesystem::remove(path_);

   EXPECT_EQ(refusalOfTakingAgain(number), removed_);
   EXPECT_FALSE(std::filesystem::exists(path_));
}

TEST_F(DomainLockTest, aReplacedFileIsNoticed)
{
   std::uint64_t const number = fileNumber();
   std::filesystem::rename(path_, temporary_ / "kept"); // so that the new file cannot get the old inode
   place_.file("lock", O_RDWR | O_CREAT);

   EXPECT_EQ(refusalOfTakingAgain(number), removed_);
   EXPECT_TRUE(isFree());
}

TEST_F(DomainLockTest, aFolderDescriptorThatSomebodyElseHasClosedIsNoticed)
{
   std::uint64_t const number = fileNumber();
   FileDescriptor const file = place_.file("lock", O_RDWR);
   int const kept = ::dup(place_.number());
   ASSERT_EQ(::dup2(file.number(), place_.number()), place_.number());

   EXPECT_EQ(
      refusalOfTakingAgain(number), "the descriptor of directory '" + temporary_.path() +
                                       "' was closed by another part of this process; close only your own");

   ::dup2(kept, place_.number());
   ::close(kept);
}

TEST_F(DomainLockTest, isFreeOnceItsHolderIsKilledThoughAForkedChildLives)
{
   std::uint64_t const number = fileNumber();
   Pipe const childLives; // the child reads it until this process closes it
   Pipe const isHeld;
   pid_t const holder = ::fork();
   if (holder == 0) {
      ::close(childLives.ends[1]);
      if (::fork() == 0) {
         char byte = 0;
         ::_exit(static_cast<int>(::read(childLives.ends[0], &byte, 1)));
      }
      DomainLock const sut = DomainLock::takeAgain(place_, number);
      [[maybe_unused]] ssize_t const ignored = ::write(isHeld.ends[1], "h", 1);
      ::pause();
      ::_exit(0);
   }
   char byte = 0;
   ASSERT_EQ(::read(isHeld.ends[0], &byte, 1), 1);
   EXPECT_FALSE(isFree());

   ::kill(holder, SIGKILL);
   ::waitpid(holder, nullptr, 0);

   EXPECT_TRUE(isFree());
   for (int const end : {childLives.ends[0], childLives.ends[1], isHeld.ends[0], isHeld.ends[1]}) {
      ::close(end);
   }
}
