#pragma once

#include "src/Record.h"
#include <cstdint>

namespace pinmem_lib {

/// The backends that a record may name.
enum class BackendKind : std::uint32_t { shm = 1, hugetlb = 2 };

/// The word for it in lists and messages; "unknown" for a number that this library does not know.
char const* nameOf(BackendKind kind);

/// Where the memory of regions comes from, and what a device calls it.
///
/// Ownership: the memory belongs to the domain, not to this object; a mapping belongs to the caller. Functions throw
///            Refusal and change nothing then.
/// Threads:   the caller holds the domain's mutex; for `create`, `provide` and `destroy` also the domain's lock.
class Backend {
public:
   enum class Reserve {
      whole, ///< all of it now
      parts  ///< an arena's: `provide` asks for each part, where the backend can tell them apart
   };

   virtual ~Backend() = default;

   /// Capacities of regions are multiples of it, in bytes.
   virtual std::uint64_t unit() const = 0;

   /// Makes memory of at least `region.capacity` bytes, all zero, and maps it. Enters its identity in `region`, and its bus
   /// address, if the backend knows a better one than the simulated one that is there. What a process that died before
   /// it wrote its record has left under the same slot and generation is replaced.
   /// @throws NoPages  when memory in pages of another size may serve
   virtual void* create(Block& region, Reserve reserve) = 0;

   /// Whether the region's memory is still there. Needs no lock.
   virtual bool isThere(Block const& region) = 0;

   /// Maps all of it, readable and writable, left out of core dumps. Needs no lock.
   virtual void* attach(Block const& region) = 0;

   /// The bus address of the region, mapped at `address`, as it is now; the recorded one where that cannot be seen.
   virtual std::uint64_t resolve(Block const& region, void* address) = 0;

   /// Makes sure that a part of the arena, mapped at `address`, is there and reads as zero.
   virtual void provide(Block const& arena, void* address, std::uint64_t offset, std::uint64_t size) = 0;

   /// Gives the memory back. Processes that have it mapped keep it until they unmap.
   virtual void destroy(Block const& region) = 0;
};

} // namespace pinmem_lib
