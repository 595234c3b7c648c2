#pragma once

#include <Orvo/Export.h>

namespace Orvo::Util {

/// Whether this machine has less than 1 GiB of physical memory, so that large reservations are to be avoided.
/// The environment variable ORVO_SMALL_MEMORY answers instead when it is 0 or 1; it is read at every call.
ORVO_EXPORT bool isSmallMemorySystem() noexcept;

} // namespace Orvo::Util
