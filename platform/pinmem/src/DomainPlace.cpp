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
std::optional<Directory> userFolderOf(Roots const& roots, Missing missing)
{
   return Directory::open(roots.memory, Trust::shared)
      .child("pinmem-" + std::to_string(::geteuid()), Trust::hidden, missing);
}

/// The folder that holds the control files of this user's domains.
std::optional<Directory> controlBaseOf(Settings const& settings, Roots const& roots, Missing missing)
{
   if (settings.directory) {
      return Directory::open(*settings.directory, Trust::guarded);
   }
   if (roots.isPrivileged) {
      return Directory::open(roots.run, Trust::shared).child("pinmem", Trust::guarded, missing);
   }
   std::string const path = roots.run + "/pinmem";
   struct stat status = {};
   bool const isOursInRun =
      systemCalls.fstatat(AT_FDCWD, (path + "/" + settings.domain).c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
      S_ISDIR(status.st_mode) && status.st_uid == ::geteuid();
   return isOursInRun ? Directory::open(path, Trust::guarded) : userFolderOf(roots, missing);
}

} // namespace

std::optional<DomainPlace>
DomainPlace::open(Settings const& settings, Roots const& roots, Missing missing, Missing missingBelow)
{
   checkPlaceOf(settings);
   std::optional<Directory> controlBase = controlBaseOf(settings, roots, missing);
   if (!controlBase) {
      return std::nullopt;
   }
   std::optional<Directory> control = controlBase->child(settings.domain, Trust::hidden, missing);
   if (!control) {
      return std::nullopt;
   }
   std::optional<Directory> memoryBase =
      settings.directory ? Directory::open(*settings.directory, Trust::guarded) : userFolderOf(roots, missingBelow);
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
   return DomainPlace{
      std::move(*controlBase), std::move(*control), std::move(*memoryBase), std::move(*memory), std::move(*data)};
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
   text << name << '.' << std::hex << status.st_dev << '-' << status.st_ino;
   return text.str();
}

} // namespace pinmem_lib
