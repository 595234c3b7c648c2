#pragma once

#include "src/Backends.h"
#include "src/Catalog.h"
#include "src/DomainUsers.h"
#include "src/Index.h"
#include <cstdint>
#include <set>
#include <string_view>

namespace pinmem_lib {

/// What `collect` has removed.
struct Collected {
   std::uint32_t files;  ///< without a record
   std::uint64_t bytes;  ///< of memory in them
   std::uint32_t arenas; ///< empty ones
};

/// Gives blocks their memory and their records, and takes both back. A process that dies at any step leaves a block
/// whole or not there, and at most a file without a record, or an arena without a block, which `collect` removes.
///
/// Ownership: borrows all that it works on; these outlive it.
/// Threads, processes: the caller holds the domain's mutex and lock during every call.
class BlockMaker {
public:
   BlockMaker(Index& index, Catalog& catalog, Backends& backends, DomainUsers& users)
      : index_(index), catalog_(catalog), backends_(backends), users_(users)
   {}

   /// Gives a block new memory and a record: one that is there and lost its memory, or a new one, without generation.
   void make(Entry& block, std::uint32_t size, std::string_view owner, std::uint32_t flags);

   /// Maps a region, unless it is, and looks at its bus address again, also when it was mapped long ago. Needs no lock
   /// where that cannot change.
   void attach(Entry& region);

   /// Whether nobody else can still use memory that is gone.
   bool isLossOurs(Entry const& region);

   /// Frees a block that nobody uses.
   void free(Entry& block);

   Collected collect();

   /// Whether the domain has memory in huge pages.
   bool isHugetlbInUse();

private:
   /// Looks whether a mapped region is still at its bus address.
   void lookAgain(Entry& region, void* address);
   /// Takes in that a region, and what is packed in it, is now at another bus address.
   void moveTo(Entry& region, std::uint64_t addressBus);
   void rewriteAddress(Entry& entry, std::uint64_t addressBus);
   enum class Place {
      fresh, ///< to be found
      kept   ///< of memory that is gone: the same place, and the same simulated bus address
   };
   void makeAny(Entry& block, std::uint32_t size, std::string_view owner, std::uint32_t flags);
   void makePacked(Entry& block, Block fresh, std::string_view owner, Place place);
   void makeRegion(Entry& block, Block fresh, std::string_view owner, Place place);
   /// Makes the block what is described, mapped at `address` if it is a region; nothing may fail after it.
   void record(Entry& block, Block fresh, std::string_view owner, void* address);
   /// Makes and maps a region's memory.
   void* createRegion(Block& region, Place place, Backend::Reserve reserve = Backend::Reserve::whole);
   /// Takes a place for a packed block in an arena that has room, or in a new one.
   Entry& takePlace(Block& block);
   Entry& newArena(Block const& like);
   /// Maps an arena, like `attach`; gives it new memory if it has lost its own and nobody can use that.
   bool tryRestore(Entry& arena);
   void renewArena(Entry& arena, Place place);
   /// Makes sure that nobody else can have what a new place overlaps.
   /// @throws Refusal  when a record is damaged, since nobody can tell what its range was
   void checkWhole();
   std::set<std::uint32_t> damagedSlots() const;
   std::uint32_t dropEmptyArenas();
   /// Removes files that have no record and that no process has open or mapped.
   void collectFrom(RegionFiles const& files, BackendKind kind, Collected& collected);
   void collectHugePages(Collected& collected);

   Index& index_;
   Catalog& catalog_;
   Backends& backends_;
   DomainUsers& users_;
};

} // namespace pinmem_lib
