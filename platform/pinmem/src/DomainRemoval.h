#pragma once

#include "src/DomainPlace.h"

namespace pinmem_lib {

enum class DomainRemoval { removed, notThere, inUse };

/// Removes a domain with everything in it: blocks, records and folders. Works on one whose index is damaged, too.
///
/// @return `inUse`: a process has it open, nothing was changed
/// @throws Refusal  when a folder of the domain holds something that is not pinmem's (nothing was changed), or when
///                  the system refuses half-way; a second call carries on
DomainRemoval removeDomain(Settings const& settings, Roots const& roots = {});

} // namespace pinmem_lib
