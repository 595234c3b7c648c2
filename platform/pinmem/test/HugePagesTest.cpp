#include "src/HugePages.h"
#include "test/support/TemporaryDirectory.h"
#include <fstream>
#include <gtest/gtest.h>

using namespace pinmem_lib;
using namespace pinmem_test;

namespace {

constexpr std::uint64_t pageSize = 2U << 20;

class HugePagesTest : public testing::Test {
protected:
   TemporaryDirectory const kernel_;

   void put(std::string const& path, std::string const& text)
   {
      std::filesystem::create_directories(std::filesystem::path(kernel_ / path).parent_path());
      std::ofstream(kernel_ / path) << text << '\n';
   }

   HugePagePool poolOf(int total, int free, int reserved)
   {
      put("mm/hugepages/hugepages-2048kB/nr_hugepages", std::to_string(total));
      put("mm/hugepages/hugepages-2048kB/free_hugepages", std::to_string(free));
      put("mm/hugepages/hugepages-2048kB/resv_hugepages", std::to_string(reserved));
      return HugePagePool::read(kernel_.path(), pageSize);
   }
};

} // namespace

TEST_F(HugePagesTest, aPoolIsReadFromTheKernel)
{
   HugePagePool const sut = poolOf(12, 7, 3);

   EXPECT_EQ(sut.total, 12U);
   EXPECT_EQ(sut.available(), 4U);
   EXPECT_EQ(HugePagePool::read(kernel_ / "none", pageSize).total, 0U);
}

TEST_F(HugePagesTest, eachShortageHasItsOwnText)
{
   EXPECT_EQ(
      poolOf(0, 0, 0).shortage(), "the pool of 2 MiB pages is empty; run: echo 64 > "
                                  "/sys/kernel/mm/hugepages/hugepages-2048kB/nr_hugepages, or reserve pages at boot");
   EXPECT_EQ(poolOf(12, 0, 0).shortage(), "all 12 2 MiB pages are in use; enlarge the pool, or run: pinmemctl gc");
   EXPECT_EQ(
      poolOf(12, 3, 3).shortage(),
      "the 3 free ones of 12 2 MiB pages are reserved by other processes; enlarge the pool, or end those");
   EXPECT_EQ(
      poolOf(12, 3, 1).shortage(), "2 of 12 2 MiB pages are free, but the control group of this process may not take "
                                   "one more; raise its limit hugetlb.2MB.max");
}

TEST_F(HugePagesTest, mountsAreThoseOfHugetlbfsWithTheirPathsAsTheyAre)
{
   std::filesystem::create_directory(kernel_ / "with blank");
   put(
      "mountinfo", "22 1 0:21 / /proc rw,relatime shared:5 - proc proc rw\n"
                   "30 1 0:27 / " +
                      kernel_.path() +
                      "/with\\040blank rw shared:2 - hugetlbfs none rw\n"
                      "31 1 0:27 / " +
                      kernel_.path() +
                      "/none rw - hugetlbfs none rw\n"
                      "nonsense - hugetlbfs \n");

   std::vector<HugetlbMount> const sut = HugetlbMount::all(kernel_ / "mountinfo");

   ASSERT_EQ(sut.size(), 1U);
   EXPECT_EQ(sut[0].path, kernel_ / "with blank");
   EXPECT_NE(sut[0].pageSize, 0U);
   EXPECT_TRUE(HugetlbMount::all(kernel_ / "no such file").empty());
}

TEST_F(HugePagesTest, sizesAreTextsOfTheLargestUnitThatFits)
{
   EXPECT_EQ(sizeText(0), "0 bytes");
   EXPECT_EQ(sizeText(1023), "1023 bytes");
   EXPECT_EQ(sizeText(4096), "4 KiB");
   EXPECT_EQ(sizeText(pageSize), "2 MiB");
   EXPECT_EQ(sizeText(1U << 30), "1 GiB");
   EXPECT_EQ(sizeText((1U << 30) + 1024), "1048577 KiB");
}

TEST_F(HugePagesTest, onlyATranslatingIommuStandsInTheWay)
{
   EXPECT_EQ(translatingIommuGroup(kernel_.path()), "");
   put("iommu_groups/3/type", "identity");
   EXPECT_EQ(translatingIommuGroup(kernel_.path()), "");
   put("iommu_groups/7/type", "DMA-FQ");
   EXPECT_EQ(translatingIommuGroup(kernel_.path()), "7");
   put("iommu_groups/5/type", "DMA");
   EXPECT_EQ(translatingIommuGroup(kernel_.path()), "5");
}
