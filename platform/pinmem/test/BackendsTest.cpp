#include "src/Backends.h"
#include "src/BlockFlags.h"
#include "test/support/HugePageFixture.h"
#include "test/support/RefusalOf.h"

using namespace pinmem_lib;
using namespace pinmem_test;

namespace {

Backends backendsOf(TemporaryDirectory const& place, std::string const& backend, HugetlbRoots const& roots)
{
   Settings settings;
   settings.backend = backend;
   return Backends(settings, Directory::open(place.path(), Directory::Trust::guarded), "folder", roots);
}

Block blockBy(BackendKind kind)
{
   Block block = {};
   block.backend = static_cast<std::uint32_t>(kind);
   return block;
}

/// No memory in huge pages yet.
bool no()
{
   return false;
}

constexpr char noMount[] =
   "no hugetlbfs with 2 MiB pages is mounted; run: mount -t hugetlbfs -o pagesize=2M none /dev/hugepages";

/// A machine without any hugetlbfs.
HugetlbRoots const bare = {.mountInfo = "/dev/null", .pageMap = "/dev/null", .kernel = "/dev/null"};

} // namespace

TEST(Backends, ordinaryMemoryIsAlwaysInATmpfs)
{
   TemporaryDirectory const place;
   for (char const* const backend : {"auto", "shm", "hugetlb"}) {
      EXPECT_EQ(backendsOf(place, backend, bare).kindFor(BlockFlags::ordinary, no), BackendKind::shm) << backend;
   }
}

TEST(Backends, anExplicitChoiceThatCannotWorkIsRefusedWithItsReason)
{
   TemporaryDirectory const place;

   EXPECT_EQ(
      refusalOf([&] { backendsOf(place, "hugetlb", bare).kindFor(BlockFlags::dmaFrugal, no); }),
      std::string("backend 'hugetlb' cannot be used: ") + noMount);
}

TEST(Backends, autoTakesTheFirstWithoutAnObstacle)
{
   TemporaryDirectory const place;
   Backends sut = backendsOf(place, "auto", bare);

   EXPECT_EQ(sut.kindFor(BlockFlags::dmaRoomy, no), BackendKind::shm);
   std::vector<Backends::Finding> const findings = sut.findings(false);
   ASSERT_EQ(findings.size(), 3U);
   EXPECT_EQ(findings[0].backend, "iommu");
   EXPECT_EQ(findings[0].obstacles, std::vector<std::string>{"it is not part of this build"});
   EXPECT_EQ(findings[1].backend, "hugetlb");
   EXPECT_EQ(findings[1].obstacles.at(0), noMount);
   EXPECT_EQ(findings[2].backend, "shm");
   EXPECT_TRUE(findings[2].obstacles.empty());
}

TEST(Backends, everythingThatStandsInTheWayIsFoundAtOnce)
{
   TemporaryDirectory const place;
   std::filesystem::create_directories(place / "iommu_groups/4");
   std::ofstream(place / "iommu_groups/4/type") << "DMA";
   HugetlbRoots const roots = {.mountInfo = "/dev/null", .pageMap = "/nowhere", .kernel = place.path()};

   std::vector<Backends::Finding> const sut = Backends::findingsWithoutDomain(roots);

   std::vector<std::string> const& obstacles = sut[1].obstacles;
   ASSERT_EQ(obstacles.size(), 4U);
   EXPECT_EQ(obstacles[0], noMount);
   EXPECT_EQ(obstacles[1].rfind("an IOMMU translates for the devices of group 4", 0), 0U);
   EXPECT_EQ(obstacles[2].rfind("the pool of 2 MiB pages is empty", 0), 0U);
   EXPECT_EQ(obstacles[3], PageMap::describe(PageMap::Sight::closed));
   EXPECT_TRUE(sut[2].obstacles.empty());
}

TEST(Backends, eachBlockIsItsMakersAndAnUnknownMakerIsRefused)
{
   TemporaryDirectory const place;
   Backends sut = backendsOf(place, "auto", bare);

   EXPECT_EQ(&sut.of(blockBy(BackendKind::hugetlb)), &sut.hugetlb());
   EXPECT_NE(&sut.of(blockBy(BackendKind::shm)), &sut.hugetlb());
   EXPECT_EQ(
      refusalOf([&] { sut.of(blockBy(static_cast<BackendKind>(9))); }),
      "the block was made by backend number 9, which is not part of this build");
}

TEST(Backends, aBlockOfAnotherBackendIsRefusedAsDmaMemoryOnly)
{
   TemporaryDirectory const place;
   Block const real = blockBy(BackendKind::hugetlb);

   EXPECT_EQ(
      refusalOf([&] { backendsOf(place, "shm", bare).checkUse(real, BlockFlags::dmaFrugal); }),
      "the block was made by backend 'hugetlb', but PINMEM_BACKEND=shm is set; unset it, or use another name");
   EXPECT_EQ(refusalOf([&] { backendsOf(place, "shm", bare).checkUse(real, BlockFlags::ordinary); }), "");
   EXPECT_EQ(refusalOf([&] { backendsOf(place, "hugetlb", bare).checkUse(real, BlockFlags::dmaFrugal); }), "");
   EXPECT_EQ(refusalOf([&] { backendsOf(place, "auto", bare).checkUse(real, BlockFlags::dmaFrugal); }), "");
}

TEST(Backends, backendsHaveNames)
{
   EXPECT_STREQ(nameOf(BackendKind::shm), "shm");
   EXPECT_STREQ(nameOf(BackendKind::hugetlb), "hugetlb");
   EXPECT_STREQ(nameOf(static_cast<BackendKind>(9)), "unknown");
}

using BackendsOnHugePages = HugePageFixture;

TEST_F(BackendsOnHugePages, autoTakesHugePagesAndStaysWithIt)
{
   Backends sut = backendsOf(temporary_, "auto", roots_);
   EXPECT_EQ(sut.kindFor(BlockFlags::dmaFrugal, no), BackendKind::hugetlb);

   std::ofstream(mountInfo_) << "";

   EXPECT_EQ(sut.kindFor(BlockFlags::dmaFrugal, no), BackendKind::hugetlb);
   EXPECT_EQ(sut.findings(false)[1].obstacles, std::vector<std::string>{noMount});
}
