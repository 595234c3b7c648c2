#pragma once

#include "look/MemoryMap.h"

#include <cstdint>
#include <string>
#include <string_view>

/// How names, numbers and places are put into words, in texts and in drawings alike.
namespace Look {

/// @return the name as UTF-8 that any terminal and any XML document can hold: invalid bytes, control characters, what turns the
///         direction of writing and the backslash itself stand as `\x` and two hexadecimal digits for each byte; the empty
///         name as ""
std::string printable(std::string_view name);

/// @return the number of characters of a printable name
std::size_t width(std::string_view printableName);

/// @return a printable name, at most `most` (3 or more) characters long: the middle of a longer one is an ellipsis
std::string shortened(std::string_view printableName, std::size_t most);

/// @return "64 B", "4 KiB", "1.5 MiB"; with one digit behind the point where the size is no whole number of units
std::string sizeText(std::uint64_t bytes);

/// @return "0x7f0000001000", 12 digits or more
std::string addressText(std::uint64_t address);

/// @return the first and the last address, "0x7f0000001000 - 0x7f0000001fff"; of no bytes the first and "(empty)"
std::string rangeText(std::uint64_t address, std::uint64_t size);

/// @return "command (2)", or "(2)" where the name is not known
std::string fieldText(Field const& field);

/// @return "entries 0 to 7", "entry 7", "no entries"
std::string entriesText(Group const& group);

/// @return "16 entries in 2 groups, placed by an offsetter"; "no live collection"
std::string collectionText(Collection const& collection);

/// @return "1 chunk", "2 chunks"
std::string countText(std::uint64_t count, std::string_view one);

/// @return how many bytes of the part lie beyond its chunk
std::uint64_t beyond(Part const& part, Chunk const& chunk);

} // namespace Look
