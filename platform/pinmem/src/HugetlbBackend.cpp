#include "src/HugetlbBackend.h"
#include "src/Refusal.h"
#include "src/SystemCalls.h"
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sys/mman.h>
#include <unistd.h>

namespace pinmem_lib {

namespace {

using Missing = Directory::Missing;

std::uint32_t pagesOf(std::uint64_t bytes, std::uint64_t size)
{
   return static_cast<std::uint32_t>((bytes + size - 1) / size);
}

} // namespace

HugetlbBackend::HugetlbBackend(std::string folder, HugetlbRoots roots, NodeWish wish, Sharing const& sharing)
   : folder_(std::move(folder)),
     roots_(std::move(roots)),
     pageMap_(roots_.pageMap),
     wish_(wish),
     sharing_(sharing),
     missing_(sharing.user == ::geteuid() ? Missing::create : Missing::leave)
{}

std::string HugetlbBackend::userFolder() const
{
   return "pinmem-" + std::to_string(sharing_.user);
}

std::optional<HugetlbMount> HugetlbBackend::mountOf(std::uint64_t size) const
{
   for (HugetlbMount const& mount : HugetlbMount::all(roots_.mountInfo)) {
      if (mount.pageSize == size) {
         return mount;
      }
   }
   return std::nullopt;
}

RegionFiles& HugetlbBackend::filesOf(std::uint64_t size, Missing missing)
{
   std::optional<RegionFiles>& files = size == giantPageSize ? giantFiles_ : files_;
   if (files) {
      return *files;
   }
   std::optional<HugetlbMount> const mount = mountOf(size);
   if (!mount) {
      refuse(
         "no hugetlbfs with ", sizeText(size), " pages is mounted; run: mount -t hugetlbfs -o pagesize=", size >> 20,
         "M none /dev/hugepages");
   }
   std::optional<Directory> const user = Directory::open(mount->path, Directory::Trust::guarded, sharing_)
                                            .child(userFolder(), Directory::Trust::common, missing);
   std::optional<Directory> data = user ? user->child(folder_, Directory::Trust::hidden, missing) : std::nullopt;
   if (!data) {
      refuse("'", printable(mount->path), "/", userFolder(), "/", printable(folder_), "' is not there");
   }
   return files.emplace(std::move(*data));
}

void* HugetlbBackend::create(Block& region, Reserve reserve)
{
   try {
      return createOf(pageSize, region);
   } catch (NoPages const&) {
      // Giant pages are few, and made for sharing.
      if (
         reserve == Reserve::whole || !mountOf(giantPageSize) ||
         HugePagePool::read(roots_.kernel, giantPageSize).available() == 0) {
         throw;
      }
   }
   return createOf(giantPageSize, region);
}

void* HugetlbBackend::createOf(std::uint64_t size, Block& region)
{
   RegionFiles const& files = filesOf(size, Missing::create);
   FileDescriptor const file = files.create(region);
   Block fresh = region;
   fresh.pageSize = size;
   std::uint32_t const wanted = pagesOf(region.capacity, size);
   fresh.capacity = std::uint64_t{wanted} * size;
   try {
      files.identify(file, fresh);
      std::uint32_t have = 0;
      for (std::uint32_t candidates = wanted;; candidates = have * 2) {
         have = addPages(file, size, have, std::min(candidates, PageExtent::pageMax));
         if (have < wanted) {
            refuseShortage(file, size, have, wanted);
         }
         std::size_t const longest = pick(file, fresh, have);
         if (longest >= wanted) {
            break;
         }
         if (have < candidates) {
            throw NoPages(join(
               region.capacity, " bytes need ", wanted, " contiguous ", sizeText(size), " pages; longest free run is ",
               longest, " of ", have, "; reserve pages at boot, use 1 GiB pages, or an IOMMU"));
         }
      }
      void* const address = map(file, fresh);
      try {
         checkNode(address, fresh.capacity, size, wish_);
      } catch (...) {
         systemCalls.munmap(address, fresh.capacity);
         throw;
      }
      region = fresh;
      return address;
   } catch (...) {
      files.remove(fresh);
      throw;
   }
}

std::uint32_t
HugetlbBackend::addPages(FileDescriptor const& file, std::uint64_t size, std::uint32_t have, std::uint32_t count) const
{
   bindFile(file, count * size, wish_);
   while (have < count) {
      // Before the mapping, and page by page: the answer of fallocate is the only true one about pool and limit.
      if (systemCalls.fallocate(file.number(), 0, static_cast<off_t>(have * size), static_cast<off_t>(size)) == 0) {
         ++have;
         continue;
      }
      if (errno == ENOSPC || errno == ENOMEM) {
         break;
      }
      if (errno != EINTR) {
         refuse("a ", sizeText(size), " page cannot be had: ", systemText(errno));
      }
   }
   return have;
}

std::size_t HugetlbBackend::pick(FileDescriptor const& file, Block& region, std::uint32_t candidates) const
{
   std::uint64_t const size = region.pageSize;
   void* const address = RegionFiles::map(file, candidates * size);
   PageMap::Answer answer = {};
   try {
      answer = pageMap_.read(address, candidates, size);
   } catch (...) {
      systemCalls.munmap(address, candidates * size);
      throw;
   }
   systemCalls.munmap(address, candidates * size);
   if (answer.sight != PageMap::Sight::seen) {
      refuse(PageMap::describe(answer.sight));
   }
   std::uint32_t const wanted = pagesOf(region.capacity, size);
   PageRun const run = PageRun::find(answer.physical, size, wanted);
   if (run.pages.empty()) {
      return run.longest;
   }
   std::vector<PageExtent> const extents = extentsOf(run.pages);
   if (extents.size() > region.extents.size()) {
      throw NoPages(join(
         "the ", wanted, " contiguous ", sizeText(size), " pages that there are come in ", extents.size(),
         " pieces, and a record holds ", region.extents.size(), "; reserve pages at boot, or use 1 GiB pages"));
   }
   std::vector<bool> isWanted(candidates);
   for (std::uint32_t const page : run.pages) {
      isWanted[page] = true;
   }
   for (std::uint32_t page = 0; page < candidates; ++page) {
      constexpr int mode = FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE;
      if (
         !isWanted[page] &&
         systemCalls.fallocate(file.number(), mode, static_cast<off_t>(page * size), static_cast<off_t>(size)) != 0) {
         refuse("a ", sizeText(size), " page cannot be given back: ", systemText(errno));
      }
   }
   region.addressBus = answer.physical[run.pages.front()];
   region.extents = {};
   region.extentCount = static_cast<std::uint32_t>(extents.size());
   std::transform(
      extents.begin(), extents.end(), region.extents.begin(), [](PageExtent const& extent) { return extent.packed(); });
   return run.longest;
}

void* HugetlbBackend::map(FileDescriptor const& file, Block const& region) const
{
   std::uint64_t const size = region.pageSize;
   // One reservation of addresses, so that nothing comes between the pages; huge pages want it aligned.
   std::uint64_t const reserved = region.capacity + size;
   void* const start =
      systemCalls.mmap(nullptr, reserved, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
   if (start == MAP_FAILED) {
      refuseMapping(region.capacity, errno);
   }
   auto* const first = static_cast<char*>(start);
   std::uint64_t const before = (size - reinterpret_cast<std::uintptr_t>(first) % size) % size;
   char* const address = first + before;
   char* place = address;
   auto const mapPages = [&](std::uint64_t page, std::uint64_t count) {
      constexpr int protection = PROT_READ | PROT_WRITE;
      void* const mapped = systemCalls.mmap(
         place, count * size, protection, MAP_SHARED | MAP_FIXED, file.number(), static_cast<off_t>(page * size));
      if (mapped == MAP_FAILED) {
         int const error = errno;
         systemCalls.munmap(start, reserved);
         refuseMapping(region.capacity, error);
      }
      place += count * size;
   };
   for (std::uint32_t index = 0; index < region.extentCount; ++index) {
      PageExtent const extent = PageExtent::unpacked(region.extents[index]);
      if (!extent.isDescending) {
         mapPages(extent.first, extent.count);
         continue;
      }
      for (std::uint32_t page = 0; page < extent.count; ++page) {
         mapPages(extent.page(page), 1);
      }
   }
   if (before != 0) {
      systemCalls.munmap(start, before);
   }
   if (before != size) {
      systemCalls.munmap(place, size - before);
   }
   systemCalls.madvise(address, region.capacity, MADV_DONTDUMP);
   return address;
}

bool HugetlbBackend::isThere(Block const& region)
{
   return region.inode != 0 && filesOf(region.pageSize, missing_).isThere(region);
}

void* HugetlbBackend::attach(Block const& region)
{
   std::uint64_t end = 0;
   std::uint64_t pages = 0;
   for (std::uint32_t index = 0; index < region.extentCount; ++index) {
      PageExtent const extent = PageExtent::unpacked(region.extents[index]);
      std::uint64_t const last = extent.isDescending ? extent.first : extent.first + extent.count - 1;
      end = std::max(end, (last + 1) * region.pageSize);
      pages += extent.count;
   }
   if (pages * region.pageSize != region.capacity) {
      refuse("the record of this block does not say which pages it has; run: pinmemctl check");
   }
   return map(filesOf(region.pageSize, missing_).open(region, end), region);
}

std::uint64_t HugetlbBackend::resolve(Block const& region, void* address)
{
   std::uint32_t const count = pagesOf(region.capacity, region.pageSize);
   PageMap::Answer const answer = pageMap_.read(address, count, region.pageSize);
   if (answer.sight != PageMap::Sight::seen) {
      return region.addressBus; // what somebody with privilege saw
   }
   if (
      PageRun::find(answer.physical, region.pageSize, count).pages.empty() ||
      !std::is_sorted(answer.physical.begin(), answer.physical.end())) {
      refuse("the pages of this block are no longer neighbours; end all processes of the domain and free the block");
   }
   return answer.physical.front();
}

void HugetlbBackend::provide(Block const&, void* address, std::uint64_t offset, std::uint64_t size)
{
   std::memset(static_cast<char*>(address) + offset, 0, size);
}

void HugetlbBackend::destroy(Block const& region)
{
   if (region.inode == 0) {
      return;
   }
   try {
      filesOf(region.pageSize, Missing::leave).remove(region);
   } catch (Refusal const&) {
      // No folder, so no file.
   }
}

void HugetlbBackend::refuseShortage(
   FileDescriptor const& file, std::uint64_t size, std::uint32_t have, std::uint32_t wanted) const
{
   HugePagePool const pool = HugePagePool::read(roots_.kernel, size);
   struct statfs mount = {};
   bool const isMountLimited = systemCalls.fstatfs(file.number(), &mount) == 0 && mount.f_blocks != 0;
   if (isMountLimited && mount.f_bavail == 0) {
      throw NoPages(join(
         "all ", mount.f_blocks, " ", sizeText(size),
         " pages that the mount may hand out are in use; mount it with a larger "
         "size=, or run: pinmemctl gc"));
   }
   if (wish_.isStrict && pool.available() != 0 && HugePagePool::freeOnNode(roots_.kernel, size, wish_.node) == 0) {
      throw NoPages(join(
         "no ", sizeText(size), " page is free on node ", wish_.node, ", on which PINMEM_NODE=", wish_.node,
         "! insists; enlarge that node's pool, or leave out the '!'"));
   }
   if (have == 0 || pool.available() != 0) {
      throw NoPages(pool.shortage());
   }
   throw NoPages(join(
      wanted, " ", sizeText(size), " pages are needed, and ", have, " of ", pool.total,
      " are free; enlarge the pool, or run: pinmemctl gc"));
}

std::vector<std::string> HugetlbBackend::obstacles(bool isInUse) const
{
   std::vector<std::string> found;
   if (std::string text = mountObstacle(); !text.empty()) {
      found.push_back(std::move(text));
   }
   if (std::string const group = translatingIommuGroup(roots_.kernel); !group.empty()) {
      found.push_back(join(
         "an IOMMU translates for the devices of group ", group,
         ", which fault when they are given physical addresses; boot with iommu=pt, or without the IOMMU"));
   }
   if (isInUse) {
      return found;
   }
   if (HugePagePool const pool = HugePagePool::read(roots_.kernel, pageSize); pool.available() == 0) {
      found.push_back(pool.shortage());
   }
   if (PageMap::Sight const sight = pageMap_.sight(); sight != PageMap::Sight::seen) {
      found.emplace_back(PageMap::describe(sight));
   }
   return found;
}

std::string HugetlbBackend::obstacle(bool isInUse) const
{
   std::vector<std::string> const found = obstacles(isInUse);
   return found.empty() ? "" : found.front();
}

std::string HugetlbBackend::mountObstacle() const
{
   std::optional<HugetlbMount> const mount = mountOf(pageSize);
   if (!mount) {
      return "no hugetlbfs with 2 MiB pages is mounted; run: mount -t hugetlbfs -o pagesize=2M none /dev/hugepages";
   }
   std::string const own = mount->path + "/" + userFolder();
   if (
      systemCalls.faccessat(AT_FDCWD, own.c_str(), W_OK | X_OK, AT_EACCESS) != 0 &&
      systemCalls.faccessat(AT_FDCWD, mount->path.c_str(), W_OK | X_OK, AT_EACCESS) != 0) {
      return "hugetlbfs '" + printable(mount->path) + "' is not writable for this user; run: mkdir -m 0700 '" +
             printable(own) + "' && chown " + std::to_string(::geteuid()) + " '" + printable(own) + "'";
   }
   return "";
}

std::vector<RegionFiles> HugetlbBackend::folders() const
{
   Sharing any = sharing_;
   any.group.reset();
   any.isAnyGroupGood = true;
   std::vector<RegionFiles> found;
   for (HugetlbMount const& mount : HugetlbMount::all(roots_.mountInfo)) {
      try {
         std::optional<Directory> const user = Directory::open(mount.path, Directory::Trust::guarded, any)
                                                  .child(userFolder(), Directory::Trust::common, Missing::leave);
         std::optional<Directory> data =
            user ? user->child(folder_, Directory::Trust::hidden, Missing::leave) : std::nullopt;
         if (data) {
            found.emplace_back(std::move(*data));
         }
      } catch (Shortage const&) {
         throw;
      } catch (Refusal const&) {
         // Not ours, so that nothing of ours is in it.
      }
   }
   return found;
}

void HugetlbBackend::removeFolders() const
{
   for (RegionFiles const& files : folders()) {
      std::string const& path = files.directory().path();
      systemCalls.unlinkat(AT_FDCWD, path.c_str(), AT_REMOVEDIR);
      systemCalls.unlinkat(AT_FDCWD, path.substr(0, path.rfind('/')).c_str(), AT_REMOVEDIR);
   }
}

} // namespace pinmem_lib
