#pragma once

#include "src/FileDescriptor.h"
#include <cstdint>
#include <optional>
#include <string>

namespace pinmem_lib {

/// On which NUMA node new memory is wanted.
struct NodeWish {
   int node = -1;         ///< -1: anywhere
   bool isStrict = false; ///< nowhere else

   /// Reads `n` or `n!` (strict); nothing when it is neither.
   static std::optional<NodeWish> parse(std::string const& text);

   bool operator==(NodeWish const&) const = default;
};

/// Makes the first `size` bytes of a file come from the wanted node when they are first needed. Grows the file.
/// @throws Refusal  when the node is not there and the wish is strict, or the system refuses
void bindFile(FileDescriptor const& file, std::uint64_t size, NodeWish const& wish);

/// Makes sure that the mapped and touched pages came from the wanted node, if the wish is strict.
/// @throws Refusal  when one did not
void checkNode(void* address, std::uint64_t size, std::uint64_t pageSize, NodeWish const& wish);

} // namespace pinmem_lib
