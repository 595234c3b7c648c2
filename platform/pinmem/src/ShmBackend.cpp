#include "src/ShmBackend.h"
#include "src/FileIdentity.h"
#include "src/Refusal.h"
#include "src/SystemCalls.h"
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

namespace pinmem_lib {

namespace {

/// Bytes reserved by one call. A signal makes the kernel undo the whole call, so that only small ones get on in a
/// process that receives many.
constexpr std::uint64_t reserveStep = 2U << 20;

} // namespace

char const* nameOf(BackendKind kind)
{
   return kind == BackendKind::shm ? "shm" : "unknown";
}

void ShmBackend::create(Block& block)
{
   std::string const name = fileNameOf(block);
   constexpr int flags = O_RDWR | O_CREAT | O_EXCL;
   FileDescriptor file = data_.file(name, flags);
   if (!file.isOpen() && errno == EEXIST && systemCalls.unlinkat(data_.number(), name.c_str(), 0) == 0) {
      file = data_.file(name, flags);
   }
   if (!file.isOpen() && errno == ENOENT) {
      refuseRemoved("directory '" + printable(data_.path()) + "'");
   }
   if (!file.isOpen()) {
      refuse("file '", pathOf(block), "' cannot be made: ", systemText(errno), "; make its directory writable");
   }
   reserve(file, block);
   struct stat status = {};
   if (systemCalls.fstat(file.number(), &status) != 0) {
      int const error = errno;
      destroy(block);
      refuse("file '", pathOf(block), "' cannot be examined: ", systemText(error));
   }
   block.device = status.st_dev;
   block.inode = status.st_ino;
}

void ShmBackend::reserve(FileDescriptor const& file, Block const& block)
{
   // Now: "no memory" becomes an answer here instead of a SIGBUS at the first touch.
   for (std::uint64_t done = 0; done < block.capacity;) {
      std::uint64_t const step = std::min(reserveStep, block.capacity - done);
      if (systemCalls.fallocate(file.number(), 0, static_cast<off_t>(done), static_cast<off_t>(step)) == 0) {
         done += step;
         continue;
      }
      int const error = errno;
      if (error != EINTR) {
         destroy(block);
         refuse(
            block.capacity, " bytes cannot be had in '", printable(data_.path()), "': ", systemText(error),
            error == EOPNOTSUPP ? "; its file system cannot reserve memory; use a directory in a tmpfs, like /dev/shm"
                                : "; see 'df' of that file system and the memory limit of this process's control "
                                  "group");
      }
   }
}

std::uint64_t ShmBackend::resolve(Block const& block)
{
   struct stat status = {};
   if (block.inode == 0) {
      return 0;
   }
   if (systemCalls.fstatat(data_.number(), fileNameOf(block).c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
      if (errno == ENOENT) {
         return 0;
      }
      refuse("file '", pathOf(block), "' cannot be found: ", systemText(errno));
   }
   if (!S_ISREG(status.st_mode) || status.st_dev != block.device || status.st_ino != block.inode) {
      refuse("file '", pathOf(block), "' was replaced by another; run: pinmemctl remove-domain");
   }
   return block.addressBus;
}

void* ShmBackend::attach(Block const& block)
{
   FileDescriptor const file = data_.file(fileNameOf(block), O_RDWR);
   struct stat status = {};
   if (!file.isOpen() || systemCalls.fstat(file.number(), &status) != 0) {
      refuse("file '", pathOf(block), "' cannot be opened: ", systemText(errno), "; allocate the block again");
   }
   if (!S_ISREG(status.st_mode) || status.st_dev != block.device || status.st_ino != block.inode) {
      refuse("file '", pathOf(block), "' is not the one that was made for the block; run: pinmemctl remove-domain");
   }
   if (static_cast<std::uint64_t>(status.st_size) < block.capacity) {
      refuse("file '", pathOf(block), "' was cut to ", status.st_size, " bytes; run: pinmemctl remove-domain");
   }
   void* const address =
      systemCalls.mmap(nullptr, block.capacity, PROT_READ | PROT_WRITE, MAP_SHARED, file.number(), 0);
   if (address == MAP_FAILED) {
      refuse(
         block.capacity, " bytes cannot be mapped: ", systemText(errno),
         "; see 'ulimit -v' and /proc/sys/vm/max_map_count");
   }
   systemCalls.madvise(address, block.capacity, MADV_DONTDUMP);
   return address;
}

void ShmBackend::destroy(Block const& block)
{
   systemCalls.unlinkat(data_.number(), fileNameOf(block).c_str(), 0);
}

std::string ShmBackend::fileNameOf(Block const& block)
{
   char name[18];
   std::snprintf(name, sizeof(name), "%08x-%08x", block.slot, block.generation);
   return name;
}

bool ShmBackend::isFileName(std::string const& name)
{
   auto const isDigit = [](char character) {
      return (character >= '0' && character <= '9') || (character >= 'a' && character <= 'f');
   };
   return name.size() == 17 && name[8] == '-' && std::all_of(name.begin(), name.begin() + 8, isDigit) &&
          std::all_of(name.begin() + 9, name.end(), isDigit);
}

std::string ShmBackend::pathOf(Block const& block) const
{
   return printable(data_.path()) + "/" + fileNameOf(block);
}

} // namespace pinmem_lib
