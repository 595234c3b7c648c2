#include "src/DomainUsers.h"
#include "src/Refusal.h"
#include "src/SystemCalls.h"
#include "src/SystemFile.h"
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sstream>
#include <sys/file.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace pinmem_lib {

using Missing = Directory::Missing;

namespace {

struct flock byteOf(std::uint32_t slot, short type)
{
   struct flock range = {};
   range.l_type = type;
   range.l_whence = SEEK_SET;
   range.l_start = slot;
   range.l_len = 1;
   return range;
}

} // namespace

DomainUsers::DomainUsers(Directory const& place, Missing missing)
   : DomainUsers(place, missing == Missing::create ? O_RDWR | O_CREAT : O_RDWR)
{}

DomainUsers DomainUsers::forLooking(Directory const& place)
{
   return DomainUsers(place, O_PATH);
}

DomainUsers::DomainUsers(Directory const& place, int flags)
   : what_("file '" + printable(place.path()) + "/users'"), file_(place.file("users", flags)), identity_(file_.number())
{
   if (!file_.isOpen()) {
      if (errno == ENOENT) {
         refuse(
            what_, " was removed, so that processes that use the domain are not seen; end them, then run: touch '",
            printable(place.path()), "/users'");
      }
      refuse(
         what_, " cannot be opened: ", systemText(errno),
         "; make it a plain file, readable and writable for this user");
   }
}

void DomainUsers::share()
{
   if (systemCalls.flock(file_.number(), LOCK_SH | LOCK_NB) != 0) {
      refuse("the domain cannot be marked as in use: ", systemText(errno));
   }
}

bool DomainUsers::tryExclusive()
{
   return systemCalls.flock(file_.number(), LOCK_EX | LOCK_NB) == 0;
}

bool DomainUsers::isAlone()
{
   bool const isAlone = tryExclusive();
   share();
   return isAlone;
}

void DomainUsers::hold(std::uint32_t slot)
{
   struct flock range = byteOf(slot, F_RDLCK);
   if (systemCalls.lockRange(file_.number(), F_OFD_SETLK, &range) != 0) {
      refuse("the block cannot be marked as in use: ", systemText(errno));
   }
}

void DomainUsers::release(std::uint32_t slot)
{
   struct flock range = byteOf(slot, F_UNLCK);
   systemCalls.lockRange(file_.number(), F_OFD_SETLK, &range);
}

bool DomainUsers::isHeldByOthers(std::uint32_t slot) const
{
   struct flock range = byteOf(slot, F_WRLCK);
   if (systemCalls.lockRange(file_.number(), F_OFD_GETLK, &range) != 0) {
      refuse("nobody can tell whether the block is in use: ", systemText(errno));
   }
   return range.l_type != F_UNLCK;
}

std::vector<std::uint32_t>
DomainUsers::countsOf(std::vector<std::uint32_t> const& slots, std::string const& locksPath) const
{
   struct stat status = {};
   systemCalls.fstat(file_.number(), &status);
   char device[64];
   std::snprintf(
      device, sizeof(device), "%02x:%02x:%llu", major(status.st_dev), minor(status.st_dev),
      static_cast<unsigned long long>(status.st_ino));
   std::vector<std::uint32_t> counts(slots.size());
   std::istringstream lines(textOfFile(locksPath).value_or(""));
   for (std::string line; std::getline(lines, line);) {
      // 7: OFDLCK ADVISORY  READ -1 00:19:1234 5 9
      std::istringstream words(line);
      std::string number, kind, advice, type, process, place;
      std::uint64_t first = 0;
      std::uint64_t last = 0;
      if (
         words >> number >> kind >> advice >> type >> process >> place >> first >> last && kind == "OFDLCK" &&
         place == device) {
         for (std::size_t index = 0; index < slots.size(); ++index) {
            counts[index] += slots[index] >= first && slots[index] <= last ? 1 : 0;
         }
      }
   }
   return counts;
}

void DomainUsers::check() const
{
   identity_.check(file_.number(), what_);
}

} // namespace pinmem_lib
