#pragma once

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

#include <fcntl.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Quorvel::Core::Test {

/// A pool of huge pages and a hugetlbfs that only this process and its children see; both as they were afterwards. Who has one
/// waits for his turn, also behind the tests of other programs.
class HugePages {
public:
   /// @param folder where the hugetlbfs is to be; is made
   explicit HugePages(std::string folder) : folder_(std::move(folder)) { obstacle_ = obtain(); }

   HugePages(HugePages const&) = delete;
   HugePages& operator=(HugePages const&) = delete;

   ~HugePages()
   {
      if (isMounted_) {
         std::error_code ignored; // not by the unmounting, which may free pages only later
         for (auto const& entry : std::filesystem::directory_iterator(folder_)) {
            std::filesystem::remove_all(entry.path(), ignored);
         }
         ::umount2(folder_.c_str(), MNT_DETACH);
      }
      // The kernel frees pages in the background, and the next test is to find the pool as it was.
      for (int attempt = 0; before_ >= 0 && attempt < 1000; ++attempt) {
         write(before_);
         if (read("nr_hugepages") == before_) {
            break;
         }
         ::sched_yield();
      }
      ::close(lock_);
   }

   /// Why there are none; "" when there are.
   std::string const& obstacle() const { return obstacle_; }

   static long read(std::string const& counter)
   {
      long count = 0;
      std::ifstream(pool + counter) >> count;
      return count;
   }

private:
   static constexpr long wanted = 16;
   static inline std::string const pool = "/sys/kernel/mm/hugepages/hugepages-2048kB/";

   std::string obtain()
   {
      if (::geteuid() != 0) {
         return "only root can enlarge the pool of huge pages and mount a hugetlbfs";
      }
      for (auto const& group : std::filesystem::directory_iterator("/sys/kernel/iommu_groups", ignored_)) {
         std::string type;
         std::ifstream(group.path() / "type") >> type;
         if (type.starts_with("DMA")) {
            return "an IOMMU translates, so that huge pages are no use";
         }
      }
      lock_ = ::open("/dev/shm/pinmem-test-hugepages.lock", O_RDWR | O_CREAT | O_CLOEXEC, 0600);
      ::flock(lock_, LOCK_EX);
      before_ = read("nr_hugepages");
      write(before_ + wanted);
      if (read("free_hugepages") - read("resv_hugepages") < wanted) {
         return "the machine has no memory for " + std::to_string(wanted) + " huge pages";
      }
      if (
         ::unshare(CLONE_NEWNS) != 0 || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
         ::mkdir(folder_.c_str(), 0755) != 0 || ::mount("none", folder_.c_str(), "hugetlbfs", 0, "pagesize=2M") != 0) {
         return "a hugetlbfs cannot be mounted here";
      }
      isMounted_ = true;
      return "";
   }

   static void write(long pages) { std::ofstream(pool + "nr_hugepages") << pages; }

   std::string folder_;
   std::string obstacle_;
   std::error_code ignored_;
   int lock_ = -1;
   long before_ = -1;
   bool isMounted_ = false;
};

} // namespace Quorvel::Core::Test
