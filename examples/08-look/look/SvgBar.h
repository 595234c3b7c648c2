#pragma once

#include "look/BarScale.h"
#include "look/Svg.h"
#include "look/Users.h"

#include <span>

namespace Look {

/// Draws the bar of a chunk: one lane for each of the users, one below the other, with the bytes that are theirs in colour and
/// lines between entries that are far enough apart; ordinary memory hatched.
///
/// @param users those of the chunk that are to be drawn
/// @param room  what the longest bar of that scale may fill
void drawBar(
   Svg& svg, BarScale const& scale, Chunk const& chunk, std::span<User const> users, Users const& colours,
   Svg::Rectangle const& room);

} // namespace Look
