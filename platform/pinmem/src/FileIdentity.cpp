#include "src/FileIdentity.h"
#include "src/Refusal.h"
#include "src/SystemCalls.h"
#include <sys/stat.h>

namespace pinmem_lib {

FileIdentity::FileIdentity(int number)
{
   struct stat status = {};
   isThere_ = number >= 0 && systemCalls.fstat(number, &status) == 0;
   device_ = status.st_dev;
   inode_ = status.st_ino;
}

struct stat FileIdentity::check(int number, std::string const& what) const
{
   struct stat status = {};
   if (!isThere_ || systemCalls.fstat(number, &status) != 0 || status.st_dev != device_ || status.st_ino != inode_) {
      refuseClosed(what);
   }
   if (status.st_nlink == 0) {
      refuseRemoved(what);
   }
   return status;
}

void refuseClosed(std::string const& what)
{
   refuse("the descriptor of ", what, " was closed by another part of this process; close only your own");
}

void refuseRemoved(std::string const& what)
{
   refuse(what, " was removed while this process used it; end all processes of the domain, then restart");
}

} // namespace pinmem_lib
