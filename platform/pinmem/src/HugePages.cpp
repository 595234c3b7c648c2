#include "src/HugePages.h"
#include "src/Refusal.h"
#include "src/SystemCalls.h"
#include "src/SystemFile.h"
#include <algorithm>
#include <fcntl.h>
#include <sstream>

namespace pinmem_lib {

namespace {

std::string folderOf(std::string const& kernel, std::uint64_t pageSize)
{
   return kernel + "/mm/hugepages/hugepages-" + std::to_string(pageSize / 1024) + "kB/";
}

/// The kernel writes blanks and the like in paths as `\040`.
std::string unescaped(std::string const& text)
{
   std::string result;
   for (std::size_t at = 0; at < text.size(); ++at) {
      if (text[at] == '\\' && at + 3 < text.size()) {
         result += static_cast<char>((text[at + 1] - '0') * 64 + (text[at + 2] - '0') * 8 + (text[at + 3] - '0'));
         at += 3;
      } else {
         result += text[at];
      }
   }
   return result;
}

} // namespace

HugePagePool HugePagePool::read(std::string const& kernel, std::uint64_t pageSize)
{
   std::string const folder = folderOf(kernel, pageSize);
   return {
      pageSize, numberInFile(folder + "nr_hugepages").value_or(0), numberInFile(folder + "free_hugepages").value_or(0),
      numberInFile(folder + "resv_hugepages").value_or(0)};
}

std::optional<std::uint64_t> HugePagePool::freeOnNode(std::string const& kernel, std::uint64_t pageSize, int node)
{
   return numberInFile(join(
      kernel, "/../devices/system/node/node", node, "/hugepages/hugepages-", pageSize / 1024, "kB/free_hugepages"));
}

std::string HugePagePool::shortage() const
{
   std::string const size = sizeText(pageSize);
   std::string const count = std::to_string(total);
   if (total == 0) {
      return "the pool of " + size + " pages is empty; run: echo 64 > /sys/kernel/mm/hugepages/hugepages-" +
             std::to_string(pageSize / 1024) + "kB/nr_hugepages, or reserve pages at boot";
   }
   if (free == 0) {
      return "all " + count + " " + size + " pages are in use; enlarge the pool, or run: pinmemctl gc";
   }
   if (available() == 0) {
      return "the " + std::to_string(free) + " free ones of " + count + " " + size +
             " pages are reserved by other processes; enlarge the pool, or end those";
   }
   return std::to_string(available()) + " of " + count + " " + size +
          " pages are free, but the control group of this process may not take one more; raise its limit hugetlb." +
          (pageSize >= (1U << 30) ? "1GB" : "2MB") + ".max";
}

std::vector<HugetlbMount> HugetlbMount::all(std::string const& mountInfo)
{
   std::vector<HugetlbMount> mounts;
   std::istringstream lines(textOfFile(mountInfo).value_or(""));
   lines.exceptions(std::ios_base::badbit); // else mounts are passed over when there is no memory
   for (std::string line; std::getline(lines, line);) {
      // 36 35 98:0 /root /mount/point options ... - type source options
      std::size_t const separator = line.find(" - hugetlbfs ");
      std::istringstream words(line);
      words.exceptions(std::ios_base::badbit);
      std::string path;
      for (int word = 0; word < 5; ++word) {
         words >> path;
      }
      if (separator == std::string::npos || !words) {
         continue;
      }
      path = unescaped(path);
      FileDescriptor const folder = openIfThere(path, O_DIRECTORY);
      struct statfs status = {};
      if (folder.isOpen() && systemCalls.fstatfs(folder.number(), &status) == 0) {
         mounts.push_back({path, static_cast<std::uint64_t>(status.f_bsize)});
      }
   }
   return mounts;
}

std::string sizeText(std::uint64_t bytes)
{
   constexpr std::uint64_t step = 1024;
   constexpr char const* units[] = {"bytes", "KiB", "MiB", "GiB", "TiB"};
   std::size_t unit = 0;
   while (unit + 1 < std::size(units) && bytes >= step && bytes % step == 0) {
      bytes /= step;
      ++unit;
   }
   return std::to_string(bytes) + " " + units[unit];
}

std::string translatingIommuGroup(std::string const& kernel)
{
   std::string const groups = kernel + "/iommu_groups/";
   for (std::string const& group : namesIn(groups)) {
      std::string path = groups;
      path.append(group).append("/type");
      std::string const type = textOfFile(path).value_or("");
      if (type.rfind("DMA", 0) == 0) {
         return group;
      }
   }
   return "";
}

} // namespace pinmem_lib
