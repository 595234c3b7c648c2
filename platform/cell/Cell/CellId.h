#pragma once

#include <Cell/Export.h>

#include <cstdint>

namespace Cell {

/// The identifier of the cell that this process runs in.
///
/// Comes from the environment variable CELL_ID; else from the file that CELL_ID_FILE names, which must be there; else from
/// /etc/cell-id; and is 0 where there is none of these. Text and file hold the number in decimal digits, without sign, blank
/// or leading zero; the file may end it with one line feed. A program with more rights than its user asks the file
/// /etc/cell-id alone.
///
/// Threads: any. The first call reads the environment, which nobody may change meanwhile.
/// Cost:    the first call that succeeds may read a file; its answer holds for the life of the process. What was refused is
///          looked up again by the next call.
/// @throws std::runtime_error  when what is there is no such number: "CELL_ID='x' is no cell identifier, which is a decimal
///                             number from 0 to 4294967295."; the same for a file, with "file='/etc/cell-id' holds …"
/// @throws std::system_error   with the system's code, when the file cannot be read, or CELL_ID_FILE names one that is not there
CELL_EXPORT std::uint32_t cellId();

} // namespace Cell
