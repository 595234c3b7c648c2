#include "src/DomainLock.h"
#include "src/Refusal.h"
#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

namespace pinmem_lib {

namespace {

constexpr char fileName[] = "lock";

} // namespace

std::optional<DomainLock> DomainLock::open(Directory const& place)
{
   FileDescriptor file = place.file(fileName, O_RDWR | O_CREAT);
   if (!file.isOpen()) {
      if (errno == ENOENT) {
         return std::nullopt;
      }
      refuse(
         "lock '", printable(place.path()), "/", fileName, "' cannot be opened: ", systemText(errno),
         "; make it a plain file, readable and writable for this user");
   }
   return DomainLock(std::move(file), ::getpid());
}

bool DomainLock::isRemoved() const
{
   struct stat status = {};
   return ::fstat(file_.number(), &status) != 0 || status.st_nlink == 0;
}

DomainLock::Hold::Hold(DomainLock& lock, Directory const& place)
{
   if (lock.process_ != ::getpid()) {
      FileDescriptor own = place.file(fileName, O_RDWR);
      if (!own.isOpen()) {
         refuse("lock '", printable(place.path()), "/", fileName, "' was lost after a fork: ", systemText(errno));
      }
      lock.file_ = std::move(own);
      lock.process_ = ::getpid();
   }
   number_ = lock.file_.number();
   while (::flock(number_, LOCK_EX) != 0) {
      if (errno != EINTR) {
         refuse("lock '", printable(place.path()), "/", fileName, "' cannot be had: ", systemText(errno));
      }
   }
}

DomainLock::Hold::~Hold()
{
   ::flock(number_, LOCK_UN);
}

} // namespace pinmem_lib
