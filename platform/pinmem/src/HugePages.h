#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace pinmem_lib {

/// Where the kernel shows what huge pages need to know; tests give their own.
struct HugetlbRoots {
   std::string mountInfo = "/proc/self/mountinfo";
   std::string pageMap = "/proc/self/pagemap";
   std::string kernel = "/sys/kernel";
};

/// The machine's pool of huge pages of one size, as the kernel counts it now.
struct HugePagePool {
   std::uint64_t pageSize; ///< in bytes
   std::uint64_t total;
   std::uint64_t free;
   std::uint64_t reserved; ///< free ones that are promised to somebody

   std::uint64_t available() const { return free > reserved ? free - reserved : 0; }

   /// @param kernel  where the kernel shows itself: `/sys/kernel`
   static HugePagePool read(std::string const& kernel, std::uint64_t pageSize);

   /// How many of its pages are free on that NUMA node; nothing where the kernel does not tell.
   static std::optional<std::uint64_t> freeOnNode(std::string const& kernel, std::uint64_t pageSize, int node);

   /// Why no page could be had, with the cure. The caller has just failed to get one.
   std::string shortage() const;
};

/// One mounted hugetlbfs.
struct HugetlbMount {
   std::string path;
   std::uint64_t pageSize; ///< in bytes

   /// All of them, in the order in which they were mounted.
   /// @param mountInfo  `/proc/self/mountinfo`
   static std::vector<HugetlbMount> all(std::string const& mountInfo);
};

/// `2 MiB`, `1 GiB`, for messages.
std::string sizeText(std::uint64_t bytes);

/// An IOMMU that translates makes physical addresses wrong for the devices behind it.
/// @param kernel  `/sys/kernel`
/// @return the number of the first group that it translates for; "" when there is none
std::string translatingIommuGroup(std::string const& kernel);

} // namespace pinmem_lib
