#include "src/DomainRemoval.h"
#include "src/Domain.h"
#include "test/support/RefusalOf.h"
#include "test/support/TemporaryDirectory.h"
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

using namespace pinmem_lib;
using namespace pinmem_test;

namespace {

class DomainRemovalTest : public testing::Test {
protected:
   DomainRemovalTest() { settings_.directory = temporary_.path(); }

   TemporaryDirectory const temporary_;
   Settings settings_;
   std::string const control_ = temporary_ / "default";
};

} // namespace

TEST_F(DomainRemovalTest, removesEverythingOfTheDomain)
{
   Domain::open(settings_)->allocate("a", 100, "", 0);

   EXPECT_EQ(removeDomain(settings_), DomainRemoval::removed);

   EXPECT_TRUE(std::filesystem::is_empty(temporary_.path()));
}

TEST_F(DomainRemovalTest, saysWhenThereIsNoDomain)
{
   EXPECT_EQ(removeDomain(settings_), DomainRemoval::notThere);
   EXPECT_TRUE(std::filesystem::is_empty(temporary_.path()));
}

TEST_F(DomainRemovalTest, isRefusedWhileTheDomainIsInUse)
{
   auto domain = Domain::open(settings_);
   std::uint64_t const address = domain->allocate("a", 100, "", 0);

   EXPECT_EQ(removeDomain(settings_), DomainRemoval::inUse);
   EXPECT_EQ(Domain::open(settings_)->allocate("a", 100, "", 0), address);
   domain.reset();
   EXPECT_EQ(removeDomain(settings_), DomainRemoval::removed);
}

TEST_F(DomainRemovalTest, isRefusedWhenItCannotTellWhetherTheDomainIsInUse)
{
   auto const domain = Domain::open(settings_);
   domain->allocate("a", 100, "", 0);
   std::filesystem::remove(control_ + "/users");
   std::string const expected = "file '" + control_ +
                                "/users' was removed, so that processes that use the domain are not seen; end them, "
                                "then run: touch '" +
                                control_ + "/users'";

   EXPECT_EQ(refusalOf([&] { removeDomain(settings_); }), expected);
   EXPECT_EQ(refusalOf([&] { Domain::open(settings_); }), expected);
   EXPECT_TRUE(std::filesystem::exists(control_ + "/data/00000000-00000001"));

   std::ofstream(control_ + "/users").flush();
   EXPECT_EQ(removeDomain(settings_), DomainRemoval::removed);
}

TEST_F(DomainRemovalTest, leavesOtherDomainsAlone)
{
   Domain::open(settings_)->allocate("a", 100, "", 0);
   Settings other = settings_;
   other.domain = "other";
   std::uint64_t const address = Domain::open(other)->allocate("a", 100, "", 0);

   removeDomain(settings_);

   EXPECT_EQ(Domain::open(other)->allocate("a", 100, "", 0), address);
}

TEST_F(DomainRemovalTest, removesADomainWithADamagedIndex)
{
   Domain::open(settings_)->allocate("a", 100, "", 0);
   std::filesystem::resize_file(control_ + "/index", 3);

   EXPECT_EQ(removeDomain(settings_), DomainRemoval::removed);
   EXPECT_TRUE(std::filesystem::is_empty(temporary_.path()));
}

TEST_F(DomainRemovalTest, carriesOnWhereAnEarlierRemovalStopped)
{
   Domain::open(settings_)->allocate("a", 100, "", 0);
   std::filesystem::remove_all(control_ + "/data");
   std::filesystem::remove(control_ + "/index");

   EXPECT_EQ(removeDomain(settings_), DomainRemoval::removed);
   EXPECT_TRUE(std::filesystem::is_empty(temporary_.path()));
}

TEST_F(DomainRemovalTest, removesNothingWhenAFileIsNotPinmems)
{
   Domain::open(settings_)->allocate("a", 100, "", 0);
   for (std::string const place : {"/data/notes.txt", "/notes.txt"}) {
      std::ofstream(control_ + place) << "mine";

      EXPECT_EQ(
         refusalOf([&] { removeDomain(settings_); }),
         "'" + control_ + place + "' was not made by pinmem; nothing was removed; move it elsewhere first");

      std::filesystem::remove(control_ + place);
   }
   EXPECT_TRUE(std::filesystem::exists(control_ + "/data/00000000-00000001"));
}

TEST_F(DomainRemovalTest, aDomainMadeAgainIsEmpty)
{
   Domain::open(settings_)->allocate("a", 100, "", 0);
   removeDomain(settings_);

   auto const domain = Domain::open(settings_);

   EXPECT_TRUE(domain->records().empty());
   EXPECT_EQ(domain->allocate("a", 8192, "", 1) >> 63, 1U);
}

TEST_F(DomainRemovalTest, theUsualPlacesAreLeftAsTheyWereBefore)
{
   for (bool const isPrivileged : {false, true}) {
      Roots const roots{temporary_ / "run", temporary_ / "memory", isPrivileged};
      std::filesystem::create_directory(roots.run);
      std::filesystem::create_directory(roots.memory);
      Settings settings;
      Settings other;
      other.domain = "other";
      Domain::open(settings, roots)->allocate("a", 100, "", 0);
      Domain::open(other, roots)->allocate("a", 100, "", 0);

      EXPECT_EQ(removeDomain(settings, roots), DomainRemoval::removed);
      EXPECT_EQ(removeDomain(settings, roots), DomainRemoval::notThere);
      EXPECT_EQ(Domain::open(other, roots)->records().size(), 1U);
      EXPECT_EQ(removeDomain(other, roots), DomainRemoval::removed);

      EXPECT_TRUE(std::filesystem::is_empty(roots.run));
      EXPECT_TRUE(std::filesystem::is_empty(roots.memory));
   }
}
