#include "src/Settings.h"
#include "src/BlockFlags.h"
#include "test/support/RefusalOf.h"
#include <grp.h>
#include <gtest/gtest.h>

using namespace pinmem_lib;
using pinmem_test::refusalOf;

namespace {

std::string refusalOfDomain(std::string const& name)
{
   Settings settings;
   settings.domain = name;
   return refusalOf([&] { checkPlaceOf(settings); });
}

std::string refusalOfBackend(std::string const& name, std::uint32_t flags)
{
   Settings settings;
   settings.backend = name;
   return refusalOf([&] { checkBackendOf(settings, flags); });
}

} // namespace

TEST(Settings, anEmptyDomainNameIsRefused)
{
   EXPECT_EQ(refusalOfDomain(""), "the domain's name is empty; set PINMEM_DOMAIN to a name, or unset it for 'default'");
}

TEST(Settings, aDomainNameThatIsAPathIsRefused)
{
   for (std::string const name : {".", "..", "/", "a/b", "../a"}) {
      EXPECT_EQ(
         refusalOfDomain(name),
         "domain '" + name + "' cannot be a folder's name; choose one without '/', not '.' or '..'");
   }
}

TEST(Settings, aDomainNameMayHoldDots)
{
   EXPECT_EQ(refusalOfDomain("..."), "");
   EXPECT_EQ(refusalOfDomain(".a"), "");
}

TEST(Settings, aDomainNameIsAtMostAsLongAsAFoldersName)
{
   EXPECT_EQ(refusalOfDomain(std::string(255, 'd')), "");
   EXPECT_EQ(
      refusalOfDomain(std::string(256, 'd')), "the domain's name has 256 bytes; a folder's name has 1 to 255 bytes");
}

TEST(Settings, anEmptyDirectoryIsRefused)
{
   Settings settings;
   settings.directory = "";

   EXPECT_EQ(
      refusalOf([&] { checkPlaceOf(settings); }), "PINMEM_DIR is set but empty; set it to a directory, or unset it");
}

TEST(Settings, autoShmAndHugetlbServeAllMemory)
{
   for (std::uint32_t const flags : {BlockFlags::dmaFrugal, BlockFlags::ordinary, BlockFlags::dmaRoomy}) {
      EXPECT_EQ(refusalOfBackend("auto", flags), "");
      EXPECT_EQ(refusalOfBackend("shm", flags), "");
      EXPECT_EQ(refusalOfBackend("hugetlb", flags), "");
   }
}

TEST(Settings, aBackendThatIsNotInThisBuildIsRefusedByItsName)
{
   EXPECT_EQ(
      refusalOfBackend("iommu", BlockFlags::dmaRoomy),
      "backend 'iommu' is not part of this build; use PINMEM_BACKEND=hugetlb, or shm (simulated bus addresses)");
}

TEST(Settings, ordinaryMemoryDoesNotDependOnTheBackend)
{
   EXPECT_EQ(refusalOfBackend("iommu", BlockFlags::ordinary), "");
}

TEST(Settings, anUnknownBackendIsRefusedForAllMemory)
{
   EXPECT_EQ(
      refusalOfBackend("SHM", BlockFlags::ordinary),
      "PINMEM_BACKEND='SHM' is not known; use auto, shm, hugetlb or iommu");
   EXPECT_EQ(
      refusalOfBackend("", BlockFlags::dmaFrugal), "PINMEM_BACKEND='' is not known; use auto, shm, hugetlb or iommu");
}

TEST(Settings, theNodeIsAnyUnlessOneIsNamed)
{
   Settings settings;
   EXPECT_EQ(nodeOf(settings), NodeWish());

   settings.node = "1!";
   EXPECT_EQ(nodeOf(settings), (NodeWish{1, true}));
   settings.node = "near";
   EXPECT_EQ(
      refusalOf([&] { nodeOf(settings); }),
      "PINMEM_NODE='near' is not known; use the number of a NUMA node, such as 0, or 0! for that node and no other");
}

TEST(Settings, aGroupIsANameOrANumberOrNone)
{
   Settings settings;
   EXPECT_EQ(groupOf(settings), std::nullopt);
   settings.group = "12345";
   EXPECT_EQ(groupOf(settings), gid_t{12345});
   group const* const known = ::getgrgid(0);
   if (known == nullptr) {
      GTEST_SKIP() << "this machine has no name for group 0";
   }
   settings.group = known->gr_name;
   EXPECT_EQ(groupOf(settings), gid_t{0});
}

TEST(Settings, aGroupThatTheMachineDoesNotKnowIsRefused)
{
   for (std::string const text : {"no-such-group", "-1", "4294967296", "4294967295", "12a"}) {
      Settings settings;
      settings.group = text;

      EXPECT_EQ(
         refusalOf([&] { groupOf(settings); }),
         "PINMEM_GROUP='" + text +
            "' is not a group of this machine; use one that 'getent group' shows, or its number, or unset it");
   }
}
