#include "src/DomainUsers.h"
#include "src/Refusal.h"
#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>

namespace pinmem_lib {

DomainUsers::DomainUsers(Directory const& place) : file_(place.file("users", O_RDWR | O_CREAT))
{
   if (!file_.isOpen()) {
      refuse(
         "file '", printable(place.path()), "/users' cannot be opened: ", systemText(errno),
         "; make it a plain file, readable and writable for this user");
   }
}

void DomainUsers::share()
{
   if (::flock(file_.number(), LOCK_SH | LOCK_NB) != 0) {
      refuse("the domain cannot be marked as in use: ", systemText(errno));
   }
}

bool DomainUsers::tryExclusive()
{
   return ::flock(file_.number(), LOCK_EX | LOCK_NB) == 0;
}

} // namespace pinmem_lib
