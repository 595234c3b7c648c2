#include "src/DomainPlace.h"
#include "test/support/TemporaryDirectory.h"
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/stat.h>

using namespace pinmem_lib;
using namespace pinmem_test;
using Missing = Directory::Missing;

namespace {

class DomainPlaceTest : public testing::Test {
protected:
   TemporaryDirectory const temporary_;
   std::string const memory_ = makeFolder("memory", 01777);
   std::string const run_ = makeFolder("run", 0755);
   std::string const user_ = "/pinmem-" + std::to_string(::geteuid());

   std::string makeFolder(std::string const& name, mode_t mode)
   {
      std::string const path = temporary_ / name;
      EXPECT_EQ(::mkdir(path.c_str(), 0700), 0);
      EXPECT_EQ(::chmod(path.c_str(), mode), 0);
      return path;
   }

   std::optional<DomainPlace> open(bool isPrivileged, Missing missing, Settings const& settings = {})
   {
      return DomainPlace::open(settings, Roots{run_, memory_, isPrivileged}, missing, missing);
   }
};

} // namespace

TEST_F(DomainPlaceTest, anOrdinaryUsersDomainIsInMemory)
{
   std::optional<DomainPlace> const sut = open(false, Missing::create);

   ASSERT_TRUE(sut);
   EXPECT_EQ(sut->control.path(), memory_ + user_ + "/default");
   EXPECT_EQ(sut->data.path(), memory_ + user_ + "/default/data");
   EXPECT_TRUE(std::filesystem::is_empty(run_));
}

TEST_F(DomainPlaceTest, aPrivilegedUsersControlFilesAreInRun)
{
   std::optional<DomainPlace> const sut = open(true, Missing::create);

   ASSERT_TRUE(sut);
   EXPECT_EQ(sut->control.path(), run_ + "/pinmem/default");
   EXPECT_EQ(sut->data.path(), memory_ + user_ + "/default/data");
}

TEST_F(DomainPlaceTest, anOrdinaryUserUsesADomainInRunThatIsThereForHim)
{
   std::filesystem::create_directories(run_ + "/pinmem/default");
   ::chmod((run_ + "/pinmem/default").c_str(), 0700);
   ::chmod((run_ + "/pinmem").c_str(), 0755);

   std::optional<DomainPlace> const sut = open(false, Missing::create);

   ASSERT_TRUE(sut);
   EXPECT_EQ(sut->control.path(), run_ + "/pinmem/default");
}

TEST_F(DomainPlaceTest, aDomainThatIsNotThereIsNotMadeWhenItIsToBeLeft)
{
   EXPECT_FALSE(open(false, Missing::leave));
   EXPECT_FALSE(open(true, Missing::leave));

   EXPECT_TRUE(std::filesystem::is_empty(memory_));
   EXPECT_TRUE(std::filesystem::is_empty(run_));
}

TEST_F(DomainPlaceTest, aDomainThatIsThereIsFoundWhenItIsToBeLeft)
{
   open(false, Missing::create);

   EXPECT_TRUE(open(false, Missing::leave));
}

TEST_F(DomainPlaceTest, aDomainRemovedHalfIsMadeAgainOnlyWhenAskedFor)
{
   std::filesystem::remove_all(open(false, Missing::create)->data.path());
   Roots const roots{run_, memory_, false};

   EXPECT_FALSE(DomainPlace::open({}, roots, Missing::leave, Missing::leave));
   EXPECT_TRUE(DomainPlace::open({}, roots, Missing::leave, Missing::create));
   EXPECT_TRUE(open(false, Missing::leave));
}

TEST_F(DomainPlaceTest, aGivenDirectoryHoldsAllOfIt)
{
   Settings settings;
   settings.directory = makeFolder("given", 0700);
   settings.domain = "lab";

   std::optional<DomainPlace> const sut = open(true, Missing::create, settings);

   ASSERT_TRUE(sut);
   EXPECT_EQ(sut->control.path(), temporary_ / "given/lab");
   EXPECT_EQ(sut->data.path(), temporary_ / "given/lab/data");
   EXPECT_TRUE(std::filesystem::is_empty(memory_));
}
