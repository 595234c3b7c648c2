#pragma once

#include "src/Settings.h"
#include <string>

namespace pinmem_lib {

/// What a script can tell from the exit status.
enum Exit : int { done = 0, refused = 1, wrongUsage = 2, notThere = 3, inUse = 4 };

/// The commands of pinmemctl, named like it names them. Each writes its answer to standard output and its complaints to
/// standard error, and returns the exit status. They throw Refusal.
namespace Commands {

Exit list(Settings const& settings, bool isJson);
Exit show(Settings const& settings, std::string const& name, bool isJson);
Exit check(Settings const& settings);
Exit free(Settings const& settings, std::string const& name);
Exit gc(Settings const& settings);

/// Stops at the first block that is refused; says how many blocks of the file are there then.
/// @param path  a file for readBlockList
Exit prealloc(Settings const& settings, std::string const& path);

Exit removeDomain(Settings const& settings);

/// `refused` when a process with this environment would get no DMA memory.
Exit doctor(Settings const& settings, bool isJson);

/// Writes one line to standard error that names the domain.
void complain(Settings const& settings, std::string const& text);

} // namespace Commands

} // namespace pinmem_lib
