#pragma once

#include "src/Record.h"
#include <cstdint>

namespace pinmem_lib {

/// The backends that a record may name.
enum class BackendKind : std::uint32_t { shm = 1 };

/// The word for it in lists and messages; "unknown" for a number that this library does not know.
char const* nameOf(BackendKind kind);

/// Where the memory of blocks comes from, and what a device calls it.
///
/// Ownership: the memory belongs to the domain, not to this object. Functions throw Refusal and change nothing then.
/// Threads:   the caller holds the domain's mutex; for `create` and `destroy` also the domain's lock.
class Backend {
public:
   virtual ~Backend() = default;

   /// Makes memory of `block.capacity` bytes, all zero, and enters its identity in `block`; also its bus address, if
   /// the backend knows a better one than the simulated one that is there. Memory left over under the same slot and
   /// generation by a process that died before it wrote its record is replaced.
   virtual void create(Block& block) = 0;

   /// The bus address of the block's memory as it is now; 0 when the memory is gone. Needs no lock.
   virtual std::uint64_t resolve(Block const& block) = 0;

   /// Maps all of it, readable and writable, left out of core dumps.
   virtual void* attach(Block const& block) = 0;

   /// Gives the memory back. Processes that have it mapped keep it until they unmap.
   virtual void destroy(Block const& block) = 0;
};

} // namespace pinmem_lib
