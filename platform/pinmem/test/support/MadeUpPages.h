#pragma once

#include "src/Domain.h"
#include "src/HugetlbBackend.h"
#include "src/SystemCalls.h"
#include "test/support/TemporaryDirectory.h"
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <sstream>

namespace pinmem_test {

/// A machine whose huge pages lie where a test wants them, on every machine and for every user. Files of a tmpfs stand in
/// for those of a hugetlbfs; behind the table of system calls each of their pages gets a frame from a list, and the page
/// map shows that frame. What takes and gives back frames are `fallocate` and `unlinkat`, as with the real ones.
class MadeUpPages : public testing::Test {
protected:
   static constexpr std::uint64_t page = pinmem_lib::HugetlbBackend::pageSize;
   static constexpr std::uint64_t giantPage = pinmem_lib::HugetlbBackend::giantPageSize;

   using Frames = std::vector<std::uint64_t>;

   MadeUpPages()
   {
      pools_ = {};
      limit_ = -1;
      mountLimit_ = 0;
      taken_.clear();
      root_ = std::filesystem::canonical(temporary_.path());
      roots_.mountInfo = root_ + "/mountinfo";
      roots_.kernel = root_ + "/kernel";
      roots_.pageMap = root_ + "/pagemap";
      std::ofstream(roots_.pageMap).flush();
      real_ = pinmem_lib::systemCalls;
      pinmem_lib::systemCalls.fstatfs = fstatfs;
      pinmem_lib::systemCalls.fallocate = fallocate;
      pinmem_lib::systemCalls.unlinkat = unlinkat;
      pinmem_lib::systemCalls.pread = pread;
   }

   ~MadeUpPages() override { pinmem_lib::systemCalls = real_; }

   /// Mounts pages of a size, with these frames free: the kernel gives them in this order. A frame is counted in pages.
   void mountPages(std::uint64_t size, Frames const& frames)
   {
      std::filesystem::create_directory(root_ + folderOf(size));
      std::ofstream(roots_.mountInfo, std::ios::app)
         << "1 1 0:1 / " << root_ << folderOf(size) << " rw - hugetlbfs none rw\n";
      pools_[size] = frames;
      totals_[size] = frames.size();
      tellPool(size);
   }

   /// The frames that nobody has.
   static std::set<std::uint64_t> freeFrames(std::uint64_t size = page)
   {
      return {pools_[size].begin(), pools_[size].end()};
   }

   /// As if the kernel had moved a page.
   static void movePage(std::uint64_t from, std::uint64_t to)
   {
      for (auto& [path, frames] : taken_) {
         for (auto& [number, frame] : frames) {
            frame = frame == from ? to : frame;
         }
      }
   }

   /// How many more pages the control group of this process may take; -1: any number.
   static inline int limit_ = -1;

   /// How many pages the mount may hand out; 0: any number.
   static inline std::uint64_t mountLimit_ = 0;

   pinmem_lib::HugetlbBackend backend(pinmem_lib::NodeWish const& wish = {}) const
   {
      return pinmem_lib::HugetlbBackend("folder", roots_, wish);
   }

   /// Each call is a process of its own, as far as the domain can tell.
   std::unique_ptr<pinmem_lib::Domain> open(std::string const& backend = "hugetlb") const
   {
      pinmem_lib::Settings settings;
      settings.directory = root_;
      settings.backend = backend;
      pinmem_lib::Roots roots;
      roots.hugetlb = roots_;
      return pinmem_lib::Domain::open(settings, roots);
   }

   /// Where a virtual address is said to lie.
   static std::uint64_t physicalOf(std::uint64_t address)
   {
      std::ifstream maps("/proc/self/maps");
      for (std::string line; std::getline(maps, line);) {
         std::istringstream words(line);
         std::uint64_t start = 0;
         std::uint64_t end = 0;
         std::uint64_t offset = 0;
         std::string rights, device, inode, path;
         char dash = 0;
         words >> std::hex >> start >> dash >> end >> rights >> offset >> device >> inode >> path;
         std::uint64_t const size = pageSizeOf(path);
         if (start <= address && address < end && size != 0) {
            std::uint64_t const inFile = address - start + offset;
            return taken_.at(path).at(inFile / size) * size + inFile % size;
         }
      }
      return 4096; // ordinary memory
   }

   pinmem_lib::HugetlbRoots roots_;
   static inline std::string root_; ///< the folder of it all

private:
   static std::string folderOf(std::uint64_t size) { return size == page ? "/huge" : "/giant"; }

   /// The size of the pages that the file has; 0: it is none of a hugetlbfs.
   static std::uint64_t pageSizeOf(std::string const& path)
   {
      for (std::uint64_t const size : {page, giantPage}) {
         if (path.rfind(root_ + folderOf(size), 0) == 0) {
            return size;
         }
      }
      return 0;
   }

   static std::string pathOf(int number)
   {
      std::error_code ignored;
      return std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(number), ignored);
   }

   static void tellPool(std::uint64_t size)
   {
      std::string const folder = root_ + "/kernel/mm/hugepages/hugepages-" + std::to_string(size / 1024) + "kB/";
      std::filesystem::create_directories(folder);
      std::ofstream(folder + "nr_hugepages") << totals_[size];
      std::ofstream(folder + "free_hugepages") << pools_[size].size();
      std::ofstream(folder + "resv_hugepages") << 0;
   }

   static int fstatfs(int number, struct statfs* status)
   {
      int const result = real_.fstatfs(number, status);
      if (std::uint64_t const size = pageSizeOf(pathOf(number)); size != 0) {
         status->f_bsize = static_cast<decltype(status->f_bsize)>(size);
         status->f_blocks = mountLimit_;
         status->f_bavail = mountLimit_ == 0 ? 0 : mountLimit_ - takenPages(size);
      }
      return result;
   }

   static int fallocate(int number, int mode, off_t offset, off_t length)
   {
      std::string const path = pathOf(number);
      std::uint64_t const size = pageSizeOf(path);
      if (size == 0) {
         return real_.fallocate(number, mode, offset, length);
      }
      std::uint64_t const first = static_cast<std::uint64_t>(offset) / size;
      std::uint64_t const end = first + static_cast<std::uint64_t>(length) / size;
      bool const isPunched = (mode & FALLOC_FL_PUNCH_HOLE) != 0;
      for (std::uint64_t at = first; at < end; ++at) {
         if (isPunched) {
            giveBack(size, taken_[path], at);
         } else if (pools_[size].empty() || limit_ == 0 || (mountLimit_ != 0 && takenPages(size) >= mountLimit_)) {
            errno = ENOSPC;
            return -1;
         } else {
            limit_ -= limit_ > 0 ? 1 : 0;
            taken_[path][at] = pools_[size].front();
            pools_[size].erase(pools_[size].begin());
         }
      }
      tellPool(size);
      if (isPunched) {
         return real_.fallocate(number, mode, offset, length);
      }
      bool const isLonger = ::lseek(number, 0, SEEK_END) < offset + length;
      return isLonger ? ::ftruncate(number, offset + length) : 0; // takes hardly any memory
   }

   static int unlinkat(int directory, char const* name, int flags)
   {
      std::string const path = pathOf(directory) + "/" + name;
      int const result = real_.unlinkat(directory, name, flags);
      if (std::uint64_t const size = pageSizeOf(path); size != 0 && result == 0) {
         while (!taken_[path].empty()) {
            giveBack(size, taken_[path], taken_[path].begin()->first);
         }
         tellPool(size);
      }
      return result;
   }

   static std::uint64_t takenPages(std::uint64_t size) { return totals_[size] - pools_[size].size(); }

   static void giveBack(std::uint64_t size, std::map<std::uint64_t, std::uint64_t>& frames, std::uint64_t number)
   {
      auto const found = frames.find(number);
      if (found != frames.end()) {
         pools_[size].push_back(found->second);
         frames.erase(found);
      }
   }

   static ssize_t pread(int number, void* bytes, std::size_t size, off_t offset)
   {
      if (pathOf(number) != root_ + "/pagemap") {
         return real_.pread(number, bytes, size, offset);
      }
      constexpr std::uint64_t smallPage = 4096;
      std::uint64_t const entry =
         std::uint64_t{1} << 63 | physicalOf(static_cast<std::uint64_t>(offset) / 8 * smallPage) / smallPage;
      std::memcpy(bytes, &entry, sizeof(entry));
      return sizeof(entry);
   }

   static inline std::map<std::uint64_t, Frames> pools_;
   static inline std::map<std::uint64_t, std::size_t> totals_;
   static inline std::map<std::string, std::map<std::uint64_t, std::uint64_t>> taken_; ///< frames, by file and page
   static inline pinmem_lib::SystemCalls real_ = {};

   TemporaryDirectory const temporary_;
};

} // namespace pinmem_test
