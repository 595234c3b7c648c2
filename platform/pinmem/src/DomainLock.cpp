#include "src/DomainLock.h"
#include "src/FileIdentity.h"
#include "src/Refusal.h"
#include "src/SystemCalls.h"
#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

namespace pinmem_lib {

namespace {

constexpr char fileName[] = "lock";

std::string describe(Directory const& place)
{
   return "lock '" + printable(place.path()) + "/" + fileName + "'";
}

struct stat statusOf(FileDescriptor const& file)
{
   struct stat status = {}; // all 0, no links, should fstat fail
   systemCalls.fstat(file.number(), &status);
   return status;
}

} // namespace

std::optional<DomainLock> DomainLock::take(Directory const& place, Directory::Missing missing)
{
   DomainLock lock(place.file(fileName, missing == Directory::Missing::create ? O_RDWR | O_CREAT : O_RDWR));
   if (!lock.file_.isOpen()) {
      if (errno == ENOENT) {
         return std::nullopt;
      }
      refuse(
         describe(place), " cannot be opened: ", systemText(errno),
         "; make it a plain file, readable and writable for this user");
   }
   lock.wait(place);
   if (!lock.isCurrent()) {
      return std::nullopt;
   }
   return lock;
}

DomainLock DomainLock::takeAgain(Directory const& place, std::uint64_t fileNumber)
{
   DomainLock lock(place.file(fileName, O_RDWR));
   if (!lock.file_.isOpen()) {
      if (errno == ENOENT) {
         refuseRemoved(describe(place));
      }
      if (errno == EBADF || errno == ENOTDIR) {
         refuseClosed("directory '" + printable(place.path()) + "'");
      }
      refuse(describe(place), " cannot be opened: ", systemText(errno));
   }
   lock.wait(place);
   struct stat const status = statusOf(lock.file_);
   if (status.st_nlink == 0 || status.st_ino != fileNumber) {
      refuseRemoved(describe(place));
   }
   return lock;
}

DomainLock::~DomainLock()
{
   if (file_.isOpen()) {
      // Closing is not enough: a child forked meanwhile by another thread shares the open file.
      systemCalls.flock(file_.number(), LOCK_UN);
   }
}

std::uint64_t DomainLock::fileNumber() const
{
   return statusOf(file_).st_ino;
}

void DomainLock::wait(Directory const& place)
{
   while (systemCalls.flock(file_.number(), LOCK_EX) != 0) {
      if (errno != EINTR) {
         refuse(describe(place), " cannot be had: ", systemText(errno));
      }
   }
}

bool DomainLock::isCurrent() const
{
   return statusOf(file_).st_nlink != 0;
}

} // namespace pinmem_lib
