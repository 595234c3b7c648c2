#include "src/RegionFiles.h"
#include "src/FileIdentity.h"
#include "src/Refusal.h"
#include "src/SystemCalls.h"
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <sys/file.h>
#include <sys/mman.h>

namespace pinmem_lib {

namespace {

/// Marks the file as in use for as long as it is open or mapped: the lock belongs to the open file, which a mapping
/// keeps. Somebody else's lock does not stand in the way, since the mark orders nothing.
bool tryHold(FileDescriptor const& file)
{
   return systemCalls.flock(file.number(), LOCK_SH | LOCK_NB) == 0 || errno == EWOULDBLOCK;
}

bool isFileOf(struct stat const& status, Block const& region)
{
   return S_ISREG(status.st_mode) && status.st_dev == region.device && status.st_ino == region.inode;
}

} // namespace

FileDescriptor RegionFiles::create(Block const& region) const
{
   std::string const name = nameOf(region);
   constexpr int flags = O_RDWR | O_CREAT | O_EXCL;
   FileDescriptor file = directory_.file(name, flags);
   if (!file.isOpen() && errno == EEXIST && systemCalls.unlinkat(directory_.number(), name.c_str(), 0) == 0) {
      file = directory_.file(name, flags);
   }
   if (!file.isOpen() && errno == ENOENT) {
      refuseRemoved("directory '" + printable(directory_.path()) + "'");
   }
   if (!file.isOpen()) {
      refuse("file '", pathOf(region), "' cannot be made: ", systemText(errno), "; make its directory writable");
   }
   if (!tryHold(file)) {
      int const error = errno;
      remove(region);
      refuse("file '", pathOf(region), "' cannot be marked as in use: ", systemText(error));
   }
   return file;
}

void RegionFiles::identify(FileDescriptor const& file, Block& region) const
{
   struct stat status = {};
   if (systemCalls.fstat(file.number(), &status) != 0) {
      refuse("file '", pathOf(region), "' cannot be examined: ", systemText(errno));
   }
   region.device = status.st_dev;
   region.inode = status.st_ino;
}

bool RegionFiles::isThere(Block const& region) const
{
   struct stat status = {};
   if (region.inode == 0) {
      return false;
   }
   if (systemCalls.fstatat(directory_.number(), nameOf(region).c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
      if (errno == ENOENT) {
         return false;
      }
      refuse("file '", pathOf(region), "' cannot be found: ", systemText(errno));
   }
   if (!isFileOf(status, region)) {
      refuse("file '", pathOf(region), "' was replaced by another; run: pinmemctl remove-domain");
   }
   return true;
}

FileDescriptor RegionFiles::open(Block const& region, std::uint64_t size) const
{
   FileDescriptor file = directory_.file(nameOf(region), O_RDWR);
   struct stat status = {};
   if (!file.isOpen() || systemCalls.fstat(file.number(), &status) != 0) {
      refuse("file '", pathOf(region), "' cannot be opened: ", systemText(errno), "; allocate the block again");
   }
   if (!isFileOf(status, region)) {
      refuse("file '", pathOf(region), "' is not the one that was made for the block; run: pinmemctl remove-domain");
   }
   if (static_cast<std::uint64_t>(status.st_size) < size) {
      refuse("file '", pathOf(region), "' was cut to ", status.st_size, " bytes; run: pinmemctl remove-domain");
   }
   if (!tryHold(file)) {
      refuse("file '", pathOf(region), "' cannot be marked as in use: ", systemText(errno));
   }
   return file;
}

void RegionFiles::remove(Block const& region) const
{
   systemCalls.unlinkat(directory_.number(), nameOf(region).c_str(), 0);
}

std::optional<std::uint64_t> RegionFiles::tryCollect(std::string const& name) const
{
   FileDescriptor const file = directory_.file(name, O_RDONLY | O_NONBLOCK);
   struct stat status = {};
   if (
      !file.isOpen() || systemCalls.flock(file.number(), LOCK_EX | LOCK_NB) != 0 ||
      systemCalls.fstat(file.number(), &status) != 0 ||
      systemCalls.unlinkat(directory_.number(), name.c_str(), 0) != 0) {
      return std::nullopt;
   }
   return static_cast<std::uint64_t>(status.st_blocks) * 512;
}

void* RegionFiles::map(FileDescriptor const& file, std::uint64_t size)
{
   void* const address = systemCalls.mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file.number(), 0);
   if (address == MAP_FAILED) {
      refuseMapping(size, errno);
   }
   systemCalls.madvise(address, size, MADV_DONTDUMP);
   return address;
}

std::string RegionFiles::nameOf(Block const& region)
{
   char name[18];
   std::snprintf(name, sizeof(name), "%08x-%08x", region.slot, region.generation);
   return name;
}

bool RegionFiles::isName(std::string const& name)
{
   auto const isDigit = [](char character) {
      return (character >= '0' && character <= '9') || (character >= 'a' && character <= 'f');
   };
   return name.size() == 17 && name[8] == '-' && std::all_of(name.begin(), name.begin() + 8, isDigit) &&
          std::all_of(name.begin() + 9, name.end(), isDigit);
}

std::uint32_t RegionFiles::slotOf(std::string const& name)
{
   return static_cast<std::uint32_t>(std::stoul(name, nullptr, 16));
}

std::string RegionFiles::pathOf(Block const& region) const
{
   return printable(directory_.path()) + "/" + nameOf(region);
}

} // namespace pinmem_lib
