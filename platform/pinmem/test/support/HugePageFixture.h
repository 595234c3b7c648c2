#pragma once

#include "src/Domain.h"
#include "src/HugetlbBackend.h"
#include "src/Refusal.h"
#include "test/support/TemporaryDirectory.h"
#include <algorithm>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <system_error>

namespace pinmem_test {

/// A hugetlbfs that only this process and its children see, and a pool of huge pages; both as they were afterwards. Such
/// tests run one after the other, also those of several programs. Skipped where the machine does not let us.
class HugePageFixture : public testing::Test {
protected:
   static constexpr std::int64_t wantedPages = 40;

   void SetUp() override
   {
      if (::geteuid() != 0) {
         GTEST_SKIP() << "only root can enlarge the pool of huge pages and mount a hugetlbfs";
      }
      ::flock(lock_.number(), LOCK_EX);
      pagesBefore_ = total();
      poolIs(pagesBefore_ + wantedPages);
      if (static_cast<std::int64_t>(pool().available()) < wantedPages) {
         GTEST_SKIP() << "the machine has no memory for " << wantedPages << " huge pages";
      }
      if (
         ::unshare(CLONE_NEWNS) != 0 || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
         ::mkdir(mount_.c_str(), 0755) != 0 || ::mount("none", mount_.c_str(), "hugetlbfs", 0, "pagesize=2M") != 0) {
         GTEST_SKIP() << "a hugetlbfs cannot be mounted here";
      }
      isMounted_ = true;
      std::ofstream(mountInfo_) << "1 1 0:1 / " << mount_ << " rw - hugetlbfs none rw\n";
      roots_.mountInfo = mountInfo_;
      roots_.kernel = kernel_;
      std::filesystem::create_directories(kernel_ + "/mm");
      std::filesystem::create_directory_symlink("/sys/kernel/mm/hugepages", kernel_ + "/mm/hugepages");
   }

   ~HugePageFixture() override
   {
      if (isMounted_) {
         std::error_code ignored; // not by the unmounting, which may free pages only later
         for (auto const& entry : std::filesystem::directory_iterator(mount_)) {
            std::filesystem::remove_all(entry.path(), ignored);
         }
         ::umount2(mount_.c_str(), MNT_DETACH);
      }
      // The kernel frees pages in the background, and the next test is to find the pool as it was.
      for (int attempt = 0; pagesBefore_ >= 0 && attempt < 1000; ++attempt) {
         poolIs(pagesBefore_);
         if (total() == pagesBefore_) {
            break;
         }
         ::sched_yield();
      }
      EXPECT_EQ(total(), std::max<std::int64_t>(pagesBefore_, 0)) << "the pool of huge pages is not as it was";
   }

   static pinmem_lib::HugePagePool pool()
   {
      return pinmem_lib::HugePagePool::read("/sys/kernel", pinmem_lib::HugetlbBackend::pageSize);
   }

   static std::int64_t total() { return static_cast<std::int64_t>(pool().total); }

   static void poolIs(std::int64_t pages)
   {
      std::ofstream("/sys/kernel/mm/hugepages/hugepages-2048kB/nr_hugepages") << pages;
   }

   /// Whether the pool has that many free pages side by side; where memory is scattered, it may have no two.
   bool hasNeighbours(std::uint64_t count) const
   {
      pinmem_lib::HugetlbBackend probe("probe", roots_, {});
      pinmem_lib::Block block = {};
      block.slot = 1;
      block.generation = 1;
      block.arena = pinmem_lib::Block::noArena;
      block.capacity = count * pinmem_lib::HugetlbBackend::pageSize;
      try {
         ::munmap(probe.create(block, pinmem_lib::Backend::Reserve::whole), block.capacity);
      } catch (pinmem_lib::Refusal const&) {
         return false;
      }
      probe.destroy(block);
      return true;
   }

   /// Each call is a process of its own, as far as the domain can tell.
   std::unique_ptr<pinmem_lib::Domain> open(std::string const& backend = "hugetlb") const
   {
      pinmem_lib::Settings settings;
      settings.directory = temporary_.path();
      settings.backend = backend;
      pinmem_lib::Roots roots;
      roots.hugetlb = roots_;
      return pinmem_lib::Domain::open(settings, roots);
   }

   static char* memoryOf(pinmem_lib::Domain& domain, std::string_view name)
   {
      return reinterpret_cast<char*>(static_cast<std::uintptr_t>(domain.map(name)));
   }

   TemporaryDirectory const temporary_;
   std::string const mount_ = temporary_ / "huge";
   std::string const mountInfo_ = temporary_ / "mountinfo";
   std::string const kernel_ = temporary_ / "kernel";
   pinmem_lib::HugetlbRoots roots_;

private:
   pinmem_lib::FileDescriptor const lock_ =
      pinmem_lib::FileDescriptor(::open("/dev/shm/pinmem-test-hugepages.lock", O_RDWR | O_CREAT | O_CLOEXEC, 0600));
   std::int64_t pagesBefore_ = -1;
   bool isMounted_ = false;
};

} // namespace pinmem_test
