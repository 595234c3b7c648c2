#include "src/DomainRemoval.h"
#include "src/DomainLock.h"
#include "src/DomainUsers.h"
#include "src/HugetlbBackend.h"
#include "src/Index.h"
#include "src/Refusal.h"
#include "src/RegionFiles.h"
#include "src/SystemCalls.h"
#include <algorithm>
#include <cerrno>
#include <fcntl.h>

namespace pinmem_lib {

namespace {

using Missing = Directory::Missing;

/// The lock goes last: until then a process that comes waits for it, and then sees that it is gone.
constexpr char const* controlFiles[] = {"index.new", "index", "users", "lock"};

void checkEntries(Directory const& directory, bool (*isExpected)(std::string const&))
{
   for (std::string const& name : directory.entries()) {
      if (!isExpected(name)) {
         refuse(
            "'", printable(directory.path()), "/", printable(name),
            "' was not made by pinmem; nothing was removed; move it elsewhere first");
      }
   }
}

bool isControlEntry(std::string const& name)
{
   return name == "data" || std::find(std::begin(controlFiles), std::end(controlFiles), name) != std::end(controlFiles);
}

void removeEntry(Directory const& directory, std::string const& name, int flags)
{
   if (systemCalls.unlinkat(directory.number(), name.c_str(), flags) != 0 && errno != ENOENT) {
      refuse(
         "'", printable(directory.path()), "/", printable(name), "' cannot be removed: ", systemText(errno),
         "; remove the cause and try again");
   }
}

} // namespace

DomainRemoval removeDomain(Settings const& settings, Roots const& roots)
{
   std::optional<DomainPlace> const place = DomainPlace::open(settings, roots, Missing::leave, Missing::create);
   std::optional<DomainLock> const lock = place ? DomainLock::take(place->control, Missing::create) : std::nullopt;
   if (!lock) {
      return DomainRemoval::notThere;
   }
   DomainUsers users(place->control, Index::isThere(place->control) ? Missing::leave : Missing::create);
   if (!users.tryExclusive()) {
      return DomainRemoval::inUse;
   }
   HugetlbBackend const hugetlb(place->hugetlbFolder(), roots.hugetlb, {}, place->control.sharing());
   std::vector<RegionFiles> const folders = hugetlb.folders();
   for (RegionFiles const& files : folders) {
      checkEntries(files.directory(), &RegionFiles::isName);
   }
   checkEntries(place->data, &RegionFiles::isName);
   checkEntries(place->memory, &isControlEntry);
   checkEntries(place->control, &isControlEntry);

   for (RegionFiles const& files : folders) {
      for (std::string const& name : files.directory().entries()) {
         removeEntry(files.directory(), name, 0);
      }
   }
   hugetlb.removeFolders();
   for (std::string const& name : place->data.entries()) {
      removeEntry(place->data, name, 0);
   }
   removeEntry(place->memory, "data", AT_REMOVEDIR);
   for (char const* const name : controlFiles) {
      removeEntry(place->control, name, 0);
   }
   removeEntry(place->memoryBase, settings.domain, AT_REMOVEDIR);
   removeEntry(place->controlBase, settings.domain, AT_REMOVEDIR);
   if (!settings.directory) {
      // Only when this was the last domain; otherwise they are not empty and stay.
      systemCalls.unlinkat(AT_FDCWD, place->memoryBase.path().c_str(), AT_REMOVEDIR);
      systemCalls.unlinkat(AT_FDCWD, place->controlBase.path().c_str(), AT_REMOVEDIR);
   }
   return DomainRemoval::removed;
}

} // namespace pinmem_lib
