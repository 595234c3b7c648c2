#pragma once

#include <string>
#include <string_view>

namespace Look {

/// @return a printable text, its middle cut out until it surely fits into `room` pixels in a proportional font of that size
///         (its bold style is 1.15 times as wide); at least three characters of it stay
std::string fitted(std::string_view printableText, double fontSize, double room);

} // namespace Look
