#include "src/ShmBackend.h"
#include "src/Refusal.h"
#include "src/SystemCalls.h"
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace pinmem_lib {

namespace {

/// Bytes reserved by one call. A signal makes the kernel undo the whole call, so that only small ones get on in a
/// process that receives many.
constexpr std::uint64_t reserveStep = 2U << 20;

std::uint64_t pageSize()
{
   static auto const size = static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
   return size;
}

/// Whether the file has no page there that was ever written.
bool isHole(FileDescriptor const& file, std::uint64_t offset, std::uint64_t size)
{
   std::uint64_t const first = offset / pageSize() * pageSize();
   off_t const data = systemCalls.lseek(file.number(), static_cast<off_t>(first), SEEK_DATA);
   return data < 0 ? errno == ENXIO : static_cast<std::uint64_t>(data) >= offset + size;
}

} // namespace

char const* nameOf(BackendKind kind)
{
   return kind == BackendKind::shm ? "shm" : kind == BackendKind::hugetlb ? "hugetlb" : "unknown";
}

std::uint64_t ShmBackend::unit() const
{
   return pageSize();
}

void* ShmBackend::create(Block& region, Reserve reserve)
{
   FileDescriptor const file = files_.create(region);
   try {
      bindFile(file, region.capacity, wish_);
      if (reserve == Reserve::whole) {
         this->reserve(file, 0, region.capacity);
      } else if (systemCalls.ftruncate(file.number(), static_cast<off_t>(region.capacity)) != 0) {
         refuse("file '", files_.pathOf(region), "' cannot be sized: ", systemText(errno));
      }
      region.pageSize = pageSize();
      files_.identify(file, region);
      void* const address = RegionFiles::map(file, region.capacity);
      if (reserve == Reserve::whole) {
         checkNodeOrUnmap(address, region.capacity);
      }
      return address;
   } catch (...) {
      files_.remove(region);
      throw;
   }
}

void ShmBackend::checkNodeOrUnmap(void* address, std::uint64_t size) const
{
   try {
      checkNode(address, size, pageSize(), wish_);
   } catch (...) {
      systemCalls.munmap(address, size);
      throw;
   }
}

void ShmBackend::reserve(FileDescriptor const& file, std::uint64_t offset, std::uint64_t size) const
{
   // Now: "no memory" becomes an answer here instead of a SIGBUS at the first touch.
   for (std::uint64_t done = 0; done < size;) {
      std::uint64_t const step = std::min(reserveStep, size - done);
      if (systemCalls.fallocate(file.number(), 0, static_cast<off_t>(offset + done), static_cast<off_t>(step)) == 0) {
         done += step;
         continue;
      }
      int const error = errno;
      if (error != EINTR) {
         refuse(
            size, " bytes cannot be had in '", printable(files_.directory().path()), "': ", systemText(error),
            error == EOPNOTSUPP ? "; its file system cannot reserve memory; use a directory in a tmpfs, like /dev/shm"
                                : "; see 'df' of that file system and the memory limit of this process's control "
                                  "group");
      }
   }
}

bool ShmBackend::isThere(Block const& region)
{
   return files_.isThere(region);
}

void* ShmBackend::attach(Block const& region)
{
   return RegionFiles::map(files_.open(region, region.capacity), region.capacity);
}

std::uint64_t ShmBackend::resolve(Block const& region, void*)
{
   return region.addressBus;
}

void ShmBackend::provide(Block const& arena, void* address, std::uint64_t offset, std::uint64_t size)
{
   FileDescriptor const& file = fileOf(arena);
   bool const isZero = isHole(file, offset, size);
   reserve(file, offset, size);
   if (!isZero) {
      std::memset(static_cast<char*>(address) + offset, 0, size);
   }
   std::uint64_t const before = offset % pageSize();
   checkNode(static_cast<char*>(address) + offset - before, before + size, pageSize(), wish_);
}

FileDescriptor const& ShmBackend::fileOf(Block const& arena)
{
   // Blocks are made in one arena until it is full, so that one file is kept open.
   struct stat status = {};
   if (
      !last_.isOpen() || systemCalls.fstat(last_.number(), &status) != 0 || status.st_nlink == 0 ||
      status.st_dev != arena.device || status.st_ino != arena.inode) {
      last_ = files_.open(arena, arena.capacity);
   }
   return last_;
}

void ShmBackend::destroy(Block const& region)
{
   files_.remove(region);
}

} // namespace pinmem_lib
