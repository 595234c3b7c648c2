#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace pinmem_lib {

/// One line of a file for `prealloc`.
struct ListedWish {
   int line; ///< from 1
   std::string name;
   std::uint32_t size; ///< in bytes
   std::uint32_t flags;
   std::string owner;
};

/// Reads blocks that are wanted, one a line: `<name> <size> <flags> [<owner>]`. The size is in bytes, or in KiB, MiB or
/// GiB with a `K`, `M` or `G` behind it; `#` starts a comment.
///
/// @throws Refusal  naming file, line and cause, when a line is anything else or the file cannot be read
std::vector<ListedWish> readBlockList(std::string const& path);

} // namespace pinmem_lib
