#pragma once

#include <cstdint>

namespace Cell::Detail {

constexpr char const* usualFile = "/etc/cell-id";

/// Looks for the identifier in CELL_ID, in the file that CELL_ID_FILE names and in the file `usual`, which may be missing:
/// it is 0 then. Reads them at each call.
/// @throws std::runtime_error, std::system_error  as `cellId` does
std::uint32_t findCellId(char const* usual);

} // namespace Cell::Detail
