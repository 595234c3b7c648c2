#pragma once

#include "src/Domain.h"
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

namespace pinmem_lib {

/// A record and how many processes use the block.
struct Listed {
   Record record;
   std::uint32_t users;
};

/// Writes the domain's blocks as a table for people. Bytes that are not printable appear as `\xNN`. Nothing is cut: a
/// text that is very long pushes the rest of its own line to the right, and no other's.
void writeTable(std::ostream& stream, std::vector<Listed> const& blocks);

/// Writes the domain's blocks as one JSON object for scripts: `{"directory": text, "blocks": [...]}`. Names and owners
/// are escaped like in the table; bus addresses are text, since they do not fit the numbers of every JSON reader.
void writeJson(std::ostream& stream, std::string const& directory, std::vector<Listed> const& blocks);

/// Writes all that is known of one block, a line for each fact, or as one JSON object.
void writeBlock(std::ostream& stream, Listed const& listed);
void writeBlockJson(std::ostream& stream, Listed const& block);

/// What `doctor` has found out.
struct Diagnosis {
   std::string backend;        ///< what PINMEM_BACKEND says
   std::string domainObstacle; ///< why the domain can neither be opened nor be made; "" when it can
   std::vector<Backends::Finding> findings;

   /// The backend that a new block of DMA memory gets with that setting; "" when it is refused.
   std::string taken() const;
};

void writeDiagnosis(std::ostream& stream, Diagnosis const& diagnosis);
void writeDiagnosisJson(std::ostream& stream, Diagnosis const& diagnosis);

} // namespace pinmem_lib
