#pragma once

#include "src/Domain.h"
#include "test/support/TemporaryDirectory.h"
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <sstream>

namespace pinmem_test {

/// Domains over folders that pretend to be hugetlbfs mounts, with pages of 2 MiB and of 1 GiB, and a page map to go with
/// them: what a real machine gives only when its memory happens to be scattered, or when the kernel moves a page.
/// Pages of 1 GiB are neighbours, those of 2 MiB never are, not even of one file.
class PretendedHugePages : public testing::Test {
protected:
   PretendedHugePages()
   {
      std::ofstream mounts(roots_.mountInfo);
      for (std::uint64_t const size :
           {pinmem_lib::HugetlbBackend::pageSize, pinmem_lib::HugetlbBackend::giantPageSize}) {
         std::string const mount = temporary_ / std::to_string(size >> 20);
         std::filesystem::create_directory(mount);
         pageSizes_[inodeOf(mount)] = size;
         mounts << "1 1 0:1 / " << mount << " rw - hugetlbfs none rw\n";
         std::string const pool = roots_.kernel + "/mm/hugepages/hugepages-" + std::to_string(size >> 10) + "kB/";
         std::filesystem::create_directories(pool);
         for (char const* const file : {"nr_hugepages", "free_hugepages"}) {
            std::ofstream(pool + file) << pages << '\n';
         }
         std::ofstream(pool + "resv_hugepages") << "0\n";
      }
      std::ofstream(roots_.pageMap) << "pretended";
      pageMap_ = inodeOf(roots_.pageMap);
      real_ = pinmem_lib::systemCalls;
      pinmem_lib::systemCalls.fstatfs = pretendedStatus;
      pinmem_lib::systemCalls.fallocate = pretendedReserve;
      pinmem_lib::systemCalls.pread = pretendedRead;
   }

   ~PretendedHugePages() override
   {
      pinmem_lib::systemCalls = real_;
      pageSizes_.clear();
      moved_ = 0;
   }

   /// Each call is a process of its own, as far as the domain can tell.
   std::unique_ptr<pinmem_lib::Domain> open() const
   {
      pinmem_lib::Settings settings;
      settings.directory = temporary_.path();
      settings.backend = "hugetlb";
      pinmem_lib::Roots roots;
      roots.hugetlb = roots_;
      return pinmem_lib::Domain::open(settings, roots);
   }

   /// As if the kernel had moved all pages.
   static void movePages(std::uint64_t bytes) { moved_ += bytes; }

   /// Where the page map says that the memory is.
   static std::uint64_t physicalOf(void const* memory)
   {
      auto const address = reinterpret_cast<std::uintptr_t>(memory);
      std::ifstream maps("/proc/self/maps");
      for (std::string line; std::getline(maps, line);) {
         // start-end rw-s offset 00:01 inode path
         std::istringstream words(line);
         std::uint64_t start = 0;
         std::uint64_t end = 0;
         std::uint64_t offset = 0;
         std::uint64_t inode = 0;
         std::string access;
         std::string device;
         char dash = 0;
         words >> std::hex >> start >> dash >> end >> access >> offset >> device >> std::dec >> inode;
         if (address >= start && address < end) {
            std::uint64_t const inFile = offset + address - start;
            constexpr std::uint64_t page = pinmem_lib::HugetlbBackend::pageSize;
            bool const isGiant = line.find("/1024/") != std::string::npos;
            std::uint64_t const scattered = isGiant ? inFile : inFile / page * 2 * page + inFile % page;
            return (inode << 36) + scattered + moved_;
         }
      }
      return 0;
   }

   TemporaryDirectory const temporary_;
   pinmem_lib::HugetlbRoots const roots_ = {temporary_ / "mountinfo", temporary_ / "pagemap", temporary_ / "kernel"};

private:
   static constexpr int pages = 8; ///< in the pool, of each size

   static std::uint64_t inodeOf(std::string const& path)
   {
      struct stat status = {};
      ::stat(path.c_str(), &status);
      return status.st_ino;
   }

   static std::uint64_t inodeOf(int number)
   {
      struct stat status = {};
      ::fstat(number, &status);
      return status.st_ino;
   }

   static int pretendedStatus(int number, struct statfs* status)
   {
      int const result = real_.fstatfs(number, status);
      status->f_bsize = static_cast<decltype(status->f_bsize)>(pageSizes_[inodeOf(number)]);
      return result;
   }

   /// Grows the file; real memory for pages of 1 GiB would be a waste.
   static int pretendedReserve(int number, int mode, off_t offset, off_t size)
   {
      if (mode != 0 || size < static_cast<off_t>(pinmem_lib::HugetlbBackend::pageSize)) {
         return real_.fallocate(number, mode, offset, size);
      }
      errno = ENOSPC;
      return offset / size < pages ? real_.ftruncate(number, offset + size) : -1;
   }

   static ssize_t pretendedRead(int number, void* bytes, std::size_t size, off_t offset)
   {
      if (inodeOf(number) != pageMap_) {
         return real_.pread(number, bytes, size, offset);
      }
      constexpr std::uint64_t smallPage = 4096;
      constexpr std::uint64_t present = std::uint64_t{1} << 63;
      auto const address = static_cast<std::uint64_t>(offset) / sizeof(std::uint64_t) * smallPage;
      std::uint64_t const entry = present | physicalOf(reinterpret_cast<void const*>(address)) / smallPage;
      std::memcpy(bytes, &entry, sizeof(entry));
      return static_cast<ssize_t>(size);
   }

   static inline pinmem_lib::SystemCalls real_ = {};
   static inline std::map<std::uint64_t, std::uint64_t> pageSizes_; ///< of mounts, by inode
   static inline std::uint64_t pageMap_ = 0;                        ///< its inode
   static inline std::uint64_t moved_ = 0;
};

} // namespace pinmem_test
