#pragma once

#include "src/Node.h"
#include <cstdint>
#include <optional>
#include <string>
#include <sys/types.h>

namespace pinmem_lib {

/// What the environment says about the domain and the backend.
struct Settings {
   std::string domain = "default";       ///< PINMEM_DOMAIN
   std::optional<std::string> directory; ///< PINMEM_DIR: the folder that holds the domain's; none: the usual places
   std::string backend = "auto";         ///< PINMEM_BACKEND
   std::string node;                     ///< PINMEM_NODE: `n` or `n!`; empty: any node
   std::string group;                    ///< PINMEM_GROUP: name or number of a group that may look; empty: none

   /// Reads the variables, unchecked. A program that gained privilege when it was started sees the defaults.
   static Settings fromEnvironment();
};

/// @throws Refusal  when the domain's name cannot be the name of a folder, or the directory's name is empty
void checkPlaceOf(Settings const& settings);

/// The NUMA node that new memory is to come from.
/// @throws Refusal  when PINMEM_NODE is neither `n` nor `n!`
NodeWish nodeOf(Settings const& settings);

/// The group whose members may look at the domain.
/// @throws Refusal  when the machine does not know it
std::optional<gid_t> groupOf(Settings const& settings);

/// Refuses a request that the chosen backend cannot serve. Ordinary memory is the same with every backend.
///
/// @param flags  as in `pinmem_alloc_func`, known to be valid
/// @throws Refusal  naming the backend and why it cannot be used
void checkBackendOf(Settings const& settings, std::uint32_t flags);

} // namespace pinmem_lib
