#pragma once

#include "look/MemoryMap.h"

#include <string>

namespace Look {

/// @return the map as a drawing, an SVG document of its own: one bar for each chunk, the fields that it holds in colour, its
///         bus and virtual addresses beside it. A chunk that several collections use is drawn once, below them, with its users.
///
/// Needs no script and no font of its own. Colours can be told apart by the colour-blind, and everything also stands in words.
std::string svgMap(MemoryMap const& map);

} // namespace Look
