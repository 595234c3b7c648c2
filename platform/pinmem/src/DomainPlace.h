#pragma once

#include "src/Directory.h"
#include "src/HugePages.h"
#include "src/Settings.h"
#include <optional>
#include <string>
#include <unistd.h>

namespace pinmem_lib {

/// Where domains are when PINMEM_DIR names no other place; tests give their own.
struct Roots {
   std::string run = "/run";
   std::string memory = "/dev/shm";
   bool isPrivileged = ::geteuid() == 0;
   HugetlbRoots hugetlb = {};
};

/// The open folders of one domain.
///
/// With PINMEM_DIR everything is below `<PINMEM_DIR>/<domain>/`. Otherwise memory is in
/// `/dev/shm/pinmem-<uid>/<domain>/data/`, and control files are in `/run/pinmem/<domain>/` for a privileged process
/// or when that folder is there and belongs to this user, else in `/dev/shm/pinmem-<uid>/<domain>/`.
///
/// A process that only looks may also open another user's domain, by PINMEM_DIR, if the system lets it.
struct DomainPlace {
   Directory controlBase; ///< holds `control` under the domain's name
   Directory control;     ///< lock, users, index
   Directory memoryBase;  ///< holds `memory` under the domain's name; may be the same folder as `controlBase`
   Directory memory;      ///< holds `data`; may be the same folder as `control`
   Directory data;        ///< the blocks' files
   bool isForeign;        ///< another user's, to be looked at

   /// The name of the domain's folder below a hugetlbfs. It names the control folder, not only the domain: all domains
   /// of a machine, in containers too, may share one hugetlbfs.
   /// @throws Refusal
   std::string hugetlbFolder() const;

   /// @param missing       for the control folder: a domain is there when that is
   /// @param missingBelow  for the other folders of a domain that is there: what was removed half is made again; with
   ///                      `leave` this process only looks
   /// @return nothing when the domain is not there; with `Missing::create` when it was removed at the same time, and
   ///         the caller should try again
   /// @throws Refusal  naming the directory that stands in the way
   static std::optional<DomainPlace>
   open(Settings const& settings, Roots const& roots, Directory::Missing missing, Directory::Missing missingBelow);
};

} // namespace pinmem_lib
