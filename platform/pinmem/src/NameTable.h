#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace pinmem_lib {

struct Entry;

/// Finds entries by their names. The hashes stand side by side, so that among many thousand names a look-up touches one place
/// in the table and the entry that it is for, where a chain of nodes would have it wait for memory four times.
///
/// Ownership: borrows the entries, whose names stay what they are while they are in.
class NameTable {
public:
   /// The entry of that name, or null.
   Entry* find(std::string_view name) const;

   /// Adds an entry, whose name is not in it.
   void insert(Entry& entry);

   /// Takes out an entry that is in it.
   void erase(Entry const& entry);

   void clear();

private:
   struct Slot {
      std::size_t hash;
      Entry* entry; ///< null: nobody is here
   };

   /// Where a search for this hash begins.
   std::size_t home(std::size_t hash) const { return hash & (slots_.size() - 1); }

   std::size_t next(std::size_t index) const { return home(index + 1); }

   /// Fills the first free slot from the hash's home on.
   void place(Slot const& slot);

   std::vector<Slot> slots_ = std::vector<Slot>(16); ///< a power of two of them, and at least half are free
   std::size_t count_ = 0;
};

} // namespace pinmem_lib
