#pragma once

#include "src/ArenaSpace.h"
#include "src/Backend.h"
#include "src/NameTable.h"
#include "src/Record.h"
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace pinmem_lib {

/// What one process knows of a block or an arena, and what it has done with it.
struct Entry {
   std::string name;                      ///< empty: an arena
   bool isRecorded = true;                ///< the index has it; false between `forget` and `add`
   bool isDma = false;                    ///< this process may use the block as DMA memory
   bool isHeld = false;                   ///< this process is counted in as a user of the block
   void* address = nullptr;               ///< a region's: where it is mapped; null: it is not
   std::uint64_t mapCount = 0;            ///< a block's: how many `map` have no `unmap` yet
   Block block = {};                      ///< behind what every call reads: it is long
   ArenaSpace space = ArenaSpace(0);      ///< an arena's
   std::list<Entry>::iterator place = {}; ///< where the catalog keeps it
};

/// A process's picture of its domain's index: blocks by name, arenas and what is free in them, and the first simulated
/// bus address that nobody has.
///
/// Entries stay where they are until they are forgotten or removed. Not for several threads at once.
class Catalog {
public:
   /// Forgets everything but what this process uses; `add` for all records is to follow.
   void forget();

   /// Takes in one record, which is intact.
   void add(Record const& record);

   /// Works out, once all records are in, what is free in the arenas.
   void settle();

   /// Block by name; null when there is none.
   Entry* find(std::string_view name);

   /// Arena by slot; null when there is none.
   Entry* arena(std::uint32_t slot);

   /// The region that holds the block: itself or its arena; null when there is no such arena.
   Entry* regionOf(Entry& block);

   /// Puts in what this process has just made. An arena's space is all free; a packed block's is taken already.
   Entry& insert(std::string_view name, Block const& block);

   /// Takes out a block and gives back what it took of its arena.
   void remove(Entry& block);

   /// A place for a packed block; not taken yet.
   struct Place {
      Entry* arena;
      std::uint64_t offset;
   };

   /// @param like      what the block will be: its capacity, backend, user and node decide
   /// @param isUsable  has the last word on an arena that has room
   std::optional<Place> placeFor(Block const& like, std::function<bool(Entry&)> const& isUsable);

   /// The lowest simulated bus address above all that were ever seen.
   std::uint64_t addressBusNext() const { return addressBusNext_; }

   /// Notes that the region's simulated bus addresses are given away.
   void addressesAreTaken(Block const& region);

   /// Slots of records that contradict another one: a name that is another block's, no arena, or a
   /// part of it that is another block's.
   std::set<std::uint32_t> const& contradictions() const { return contradictions_; }

   /// All entries, arenas as well.
   std::list<Entry>& entries() { return entries_; }

   /// Arenas in which no block is.
   std::vector<Entry*> emptyArenas();

private:
   /// Takes in an entry for good.
   Entry& keep(Entry entry);

   std::list<Entry> entries_;
   NameTable byName_;
   std::map<std::uint32_t, Entry*> arenas_;      ///< by slot
   std::multimap<std::uint32_t, Entry*> mapped_; ///< arenas that `forget` has kept, by slot
   std::vector<Entry*> unsettled_;
   std::set<std::uint32_t> contradictions_;
   std::uint64_t addressBusNext_ = addressBusFirst;

   /// No device reaches an address with bit 63 set. The rest keeps the first region away from a mere bit 63.
   static constexpr std::uint64_t addressBusFirst = 0x8000'0001'0000'0000U;
};

} // namespace pinmem_lib
