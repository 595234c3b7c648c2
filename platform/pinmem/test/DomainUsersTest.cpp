#include "src/DomainUsers.h"
#include "test/support/RefusalOf.h"
#include "test/support/TemporaryDirectory.h"
#include <filesystem>
#include <gtest/gtest.h>

using namespace pinmem_lib;
using namespace pinmem_test;
using Missing = Directory::Missing;

namespace {

class DomainUsersTest : public testing::Test {
protected:
   TemporaryDirectory const temporary_;
   Directory const place_ = Directory::open(temporary_.path(), Directory::Trust::guarded);
   std::string const path_ = temporary_ / "users";
};

} // namespace

TEST_F(DomainUsersTest, nobodyIsCountedInAtFirst)
{
   DomainUsers sut(place_, Missing::create);

   EXPECT_TRUE(sut.tryExclusive());
   EXPECT_TRUE(sut.tryExclusive());
}

TEST_F(DomainUsersTest, aUserIsSeenUntilItEnds)
{
   DomainUsers sut(place_, Missing::create);
   {
      DomainUsers user(place_, Missing::leave);
      user.share();
      EXPECT_FALSE(sut.tryExclusive());
   }

   EXPECT_TRUE(sut.tryExclusive());
}

TEST_F(DomainUsersTest, manyUsersShare)
{
   DomainUsers first(place_, Missing::create);
   DomainUsers second(place_, Missing::leave);

   first.share();
   second.share();

   EXPECT_FALSE(DomainUsers(place_, Missing::leave).tryExclusive());
}

TEST_F(DomainUsersTest, aUserKnowsWhetherItIsAloneAndStaysCountedIn)
{
   DomainUsers sut(place_, Missing::create);
   DomainUsers looking(place_, Missing::leave);
   sut.share();
   EXPECT_TRUE(sut.isAlone());
   EXPECT_FALSE(looking.tryExclusive());
   {
      DomainUsers user(place_, Missing::leave);
      user.share();
      EXPECT_FALSE(sut.isAlone());
   }
   EXPECT_FALSE(looking.tryExclusive());
   EXPECT_TRUE(sut.isAlone());
}

TEST_F(DomainUsersTest, aMissingFileIsRefusedWhenItIsToBeThere)
{
   EXPECT_EQ(
      refusalOf([&] { DomainUsers(place_, Missing::leave); }),
      "file '" + path_ +
         "' was removed, so that processes that use the domain are not seen; end them, then run: touch '" + path_ +
         "'");
   EXPECT_FALSE(std::filesystem::exists(path_));
}

TEST_F(DomainUsersTest, aFolderInPlaceOfTheFileIsRefused)
{
   std::filesystem::create_directory(path_);

   EXPECT_EQ(
      refusalOf([&] { DomainUsers(place_, Missing::create); }),
      "file '" + path_ +
         "' cannot be opened: Is a directory; make it a plain file, readable and writable for this user");
}

TEST_F(DomainUsersTest, aRemovedFileIsNoticed)
{
   DomainUsers sut(place_, Missing::create);
   EXPECT_EQ(refusalOf([&] { sut.check(); }), "");

   std::filesystem::remove(path_);

   EXPECT_EQ(
      refusalOf([&] { sut.check(); }),
      "file '" + path_ + "' was removed while this process used it; end all processes of the domain, then restart");
}

TEST_F(DomainUsersTest, aHolderOfABlockIsSeenByOthersUntilItLetsGo)
{
   DomainUsers sut(place_, Missing::create);
   DomainUsers other(place_, Missing::leave);

   sut.hold(7);

   EXPECT_TRUE(other.isHeldByOthers(7));
   EXPECT_FALSE(other.isHeldByOthers(6));
   EXPECT_FALSE(other.isHeldByOthers(8));
   EXPECT_FALSE(sut.isHeldByOthers(7));
   sut.release(7);
   EXPECT_FALSE(other.isHeldByOthers(7));
}

TEST_F(DomainUsersTest, holdersOfABlockShareAndEndWithTheirProcess)
{
   DomainUsers sut(place_, Missing::create);
   {
      DomainUsers first(place_, Missing::leave);
      first.hold(0xffffffff);
      DomainUsers second(place_, Missing::leave);
      second.hold(0xffffffff);
   }
   EXPECT_FALSE(sut.isHeldByOthers(0xffffffff));

   sut.hold(0);
   EXPECT_TRUE(sut.tryExclusive()); // the two kinds of lock do not meet
}

TEST_F(DomainUsersTest, usersOfEachBlockAreCounted)
{
   DomainUsers sut(place_, Missing::create);
   DomainUsers first(place_, Missing::leave);
   DomainUsers second(place_, Missing::leave);
   for (std::uint32_t const slot : {3U, 4U, 5U, 9U}) {
      first.hold(slot);
   }
   second.hold(4);
   second.share();

   EXPECT_EQ(sut.countsOf({2, 3, 4, 5, 6, 9}), (std::vector<std::uint32_t>{0, 1, 2, 1, 0, 1}));
   EXPECT_EQ(sut.countsOf({}), std::vector<std::uint32_t>{});
   EXPECT_EQ(sut.countsOf({3}, "/no/such/file"), std::vector<std::uint32_t>{0});
}
