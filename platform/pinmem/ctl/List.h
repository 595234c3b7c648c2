#pragma once

#include "src/Domain.h"
#include <ostream>

namespace pinmem_lib {

/// Writes the domain's blocks as a table for people. Bytes that are not printable appear as `\xNN`.
void writeTable(std::ostream& stream, std::vector<Record> const& records);

/// Writes the domain's blocks as one JSON object for scripts: `{"directory": text, "blocks": [...]}`. Names and owners
/// are escaped like in the table; bus addresses are text, since they do not fit the numbers of every JSON reader.
void writeJson(std::ostream& stream, std::string const& directory, std::vector<Record> const& records);

} // namespace pinmem_lib
