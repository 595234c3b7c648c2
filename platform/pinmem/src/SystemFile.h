#pragma once

#include "src/FileDescriptor.h"
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace pinmem_lib {

// Each throws Shortage where nothing is left to open a file with.

/// Opens a file or folder of the system for reading; not open when that failed.
/// @param flags  further ones for open(2)
FileDescriptor openIfThere(std::string const& path, int flags = 0);

/// The whole text of a small file of the system, such as those in /proc and /sys; nothing when it cannot be read.
std::optional<std::string> textOfFile(std::string const& path);

/// The number at the start of such a file; nothing when there is none.
std::optional<std::uint64_t> numberInFile(std::string const& path);

/// The names in a folder of the system, sorted, without those that start with a dot; none when it cannot be read.
std::vector<std::string> namesIn(std::string const& path);

} // namespace pinmem_lib
