#pragma once

#include <optional>
#include <sys/types.h>
#include <unistd.h>

namespace pinmem_lib {

/// Whose the folders of a domain are, and who else may look into them.
struct Sharing {
   uid_t user = ::geteuid(); ///< owns them
   /// Its members may look: folders that are made, or that are closed to all, are opened to it.
   std::optional<gid_t> group;
   bool isAnyGroupGood = false; ///< without `group`: whichever one the user has opened them to
};

} // namespace pinmem_lib
