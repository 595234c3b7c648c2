#include "src/NameTable.h"
#include "src/Catalog.h"
#include <functional>
#include <utility>

namespace pinmem_lib {

namespace {

std::size_t hashOf(std::string_view name)
{
   return std::hash<std::string_view>()(name);
}

} // namespace

Entry* NameTable::find(std::string_view name) const
{
   std::size_t const hash = hashOf(name);
   for (std::size_t index = home(hash); slots_[index].entry != nullptr; index = next(index)) {
      if (slots_[index].hash == hash && slots_[index].entry->name == name) {
         return slots_[index].entry;
      }
   }
   return nullptr;
}

void NameTable::insert(Entry& entry)
{
   if (2 * (count_ + 1) > slots_.size()) {
      std::vector<Slot> const before = std::exchange(slots_, std::vector<Slot>(2 * slots_.size()));
      for (Slot const& slot : before) {
         if (slot.entry != nullptr) {
            place(slot);
         }
      }
   }
   place({hashOf(entry.name), &entry});
   ++count_;
}

void NameTable::erase(Entry const& entry)
{
   std::size_t gap = home(hashOf(entry.name));
   while (slots_[gap].entry != &entry) {
      gap = next(gap);
   }
   // Whoever stands behind the gap, and would be searched for before it, moves in: a search ends at a free slot.
   for (std::size_t index = next(gap); slots_[index].entry != nullptr; index = next(index)) {
      if (home(index - home(slots_[index].hash)) >= home(index - gap)) {
         slots_[gap] = slots_[index];
         gap = index;
      }
   }
   slots_[gap] = {};
   --count_;
}

void NameTable::clear()
{
   slots_.assign(slots_.size(), {});
   count_ = 0;
}

void NameTable::place(Slot const& slot)
{
   std::size_t index = home(slot.hash);
   while (slots_[index].entry != nullptr) {
      index = next(index);
   }
   slots_[index] = slot;
}

} // namespace pinmem_lib
