#pragma once

#include "look/MemoryMap.h"

#include <string>

namespace Look {

/// @return the map as lines of text: the tree with its collections, and where each field of each group lies; then each chunk
///         once, with its addresses. UTF-8, each line with its newline; names as `printable` gives them.
std::string textMap(MemoryMap const& map);

} // namespace Look
