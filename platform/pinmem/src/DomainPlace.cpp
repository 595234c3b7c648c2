#include "src/DomainPlace.h"
#include "src/Refusal.h"
#include "src/SystemCalls.h"
#include <cerrno>
#include <fcntl.h>
#include <sstream>
#include <sys/stat.h>
#include <utility>

namespace pinmem_lib {

namespace {

using Trust = Directory::Trust;
using Missing = Directory::Missing;

/// `/dev/shm/pinmem-<uid>`.
std::optional<Directory> userFolderOf(Sharing const& sharing, Roots const& roots, Missing missing)
{
   return Directory::open(roots.memory, Trust::shared, sharing)
      .child("pinmem-" + std::to_string(sharing.user), Trust::common, missing);
}

/// Who has the folder; nobody when it is not there.
std::optional<uid_t> userOf(std::string const& path)
{
   struct stat status = {};
   bool const isThere = systemCalls.fstatat(AT_FDCWD, path.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
   return isThere && S_ISDIR(status.st_mode) ? std::optional(status.st_uid) : std::nullopt;
}

Sharing sharingOf(Settings const& settings, Missing missing, Missing missingBelow)
{
   Sharing sharing;
   if (missing == Missing::create) {
      sharing.group = groupOf(settings);
      return sharing;
   }
   sharing.isAnyGroupGood = true;
   if (settings.directory && missingBelow == Missing::leave) {
      sharing.user = userOf(*settings.directory + "/" + settings.domain).value_or(sharing.user);
   }
   return sharing;
}

/// The folder that holds the control files of this user's domains.
std::optional<Directory>
controlBaseOf(Settings const& settings, Sharing const& sharing, Roots const& roots, Missing missing)
{
   if (settings.directory) {
      return Directory::open(*settings.directory, Trust::guarded, sharing);
   }
   if (roots.isPrivileged) {
      return Directory::open(roots.run, Trust::shared, sharing).child("pinmem", Trust::guarded, missing);
   }
   std::string const path = roots.run + "/pinmem";
   return userOf(path + "/" + settings.domain) == sharing.user ? Directory::open(path, Trust::guarded, sharing)
                                                               : userFolderOf(sharing, roots, missing);
}

} // namespace

std::optional<DomainPlace>
DomainPlace::open(Settings const& settings, Roots const& roots, Missing missing, Missing missingBelow)
{
   checkPlaceOf(settings);
   Sharing const sharing = sharingOf(settings, missing, missingBelow);
   std::optional<Directory> controlBase = controlBaseOf(settings, sharing, roots, missing);
   if (!controlBase) {
      return std::nullopt;
   }
   std::optional<Directory> control = controlBase->child(settings.domain, Trust::hidden, missing);
   if (!control) {
      return std::nullopt;
   }
   bool const isForeign = sharing.user != ::geteuid();
   // Somebody who looks at another user's domain names the folder with its control files, wherever its memory is.
   bool const isMemoryHere =
      settings.directory && (!isForeign || control->child("data", Trust::hidden, Missing::leave).has_value());
   std::optional<Directory> memoryBase = isMemoryHere ? Directory::open(*settings.directory, Trust::guarded, sharing)
                                                      : userFolderOf(sharing, roots, missingBelow);
   if (!memoryBase) {
      return std::nullopt;
   }
   std::optional<Directory> memory = memoryBase->child(settings.domain, Trust::hidden, missingBelow);
   if (!memory) {
      return std::nullopt;
   }
   std::optional<Directory> data = memory->child("data", Trust::hidden, missingBelow);
   if (!data) {
      return std::nullopt;
   }
   return DomainPlace{std::move(*controlBase), std::move(*control), std::move(*memoryBase),
                      std::move(*memory),      std::move(*data),    isForeign};
}

std::string DomainPlace::hugetlbFolder() const
{
   struct stat status = {};
   if (systemCalls.fstat(control.number(), &status) != 0) {
      refuse("directory '", printable(control.path()), "' cannot be examined: ", systemText(errno));
   }
   constexpr std::size_t shown = 200; // of a name that may fill a whole folder name
   std::string const name = control.path().substr(control.path().rfind('/') + 1, shown);
   std::ostringstream text;
   text.exceptions(std::ios_base::badbit); // else a name that finds no memory is cut silently
   text << name << '.' << std::hex << status.st_dev << '-' << status.st_ino;
   return text.str();
}

} // namespace pinmem_lib
