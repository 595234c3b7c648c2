#include "src/DomainUsers.h"
#include "src/Refusal.h"
#include "src/SystemCalls.h"
#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>

namespace pinmem_lib {

using Missing = Directory::Missing;

DomainUsers::DomainUsers(Directory const& place, Missing missing)
   : what_("file '" + printable(place.path()) + "/users'"),
     file_(place.file("users", missing == Missing::create ? O_RDWR | O_CREAT : O_RDWR)),
     identity_(file_.number())
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

void DomainUsers::check() const
{
   identity_.check(file_.number(), what_);
}

} // namespace pinmem_lib
