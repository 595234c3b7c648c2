#include "src/Catalog.h"
#include <algorithm>

namespace pinmem_lib {

void Catalog::forget()
{
   byName_.clear();
   arenas_.clear();
   unsettled_.clear();
   contradictions_.clear();
   mapped_.clear();
   entries_.remove_if([](Entry const& entry) { return !entry.isHeld && entry.address == nullptr; });
   for (Entry& entry : entries_) {
      entry.isRecorded = false;
      if (entry.name.empty()) {
         mapped_.emplace(entry.block.slot, &entry);
      } else {
         byName_.insert(entry);
      }
   }
}

void Catalog::add(Record const& record)
{
   Block const& block = record.block;
   Entry* entry = record.isArena() ? nullptr : find(record.name());
   if ((record.isArena() && block.isPacked()) || (entry != nullptr && entry->isRecorded)) {
      contradictions_.insert(block.slot);
      return;
   }
   if (record.isArena()) {
      auto const [first, last] = mapped_.equal_range(block.slot);
      auto const known = std::find_if(first, last, [&](auto const& other) {
         // The slot of a freed arena may be another one's now.
         return other.second->block.device == block.device && other.second->block.inode == block.inode;
      });
      entry = known == last ? &keep(Entry()) : known->second;
      entry->space = ArenaSpace(block.capacity);
      arenas_[block.slot] = entry;
      addressesAreTaken(block);
   } else {
      if (entry == nullptr) {
         entry = &keep(Entry{.name = std::string(record.name())});
         byName_.insert(*entry);
      }
      if (block.isPacked()) {
         unsettled_.push_back(entry);
      } else {
         addressesAreTaken(block);
      }
   }
   entry->isRecorded = true;
   bool const isMappedOne = entry->block.slot == block.slot && entry->block.generation == block.generation &&
                            entry->block.device == block.device && entry->block.inode == block.inode;
   if (entry->address != nullptr && isMappedOne) {
      entry->block = block; // its bus address may be another one now
   } else if (entry->address == nullptr) {
      entry->isHeld = entry->isHeld && entry->block.slot == block.slot && entry->block.generation == block.generation;
      entry->block = block;
   }
}

void Catalog::settle()
{
   for (Entry* const entry : unsettled_) {
      Block const& block = entry->block;
      auto const arena = arenas_.find(block.arena);
      if (arena == arenas_.end() || !arena->second->space.take(block.offset, block.capacity)) {
         contradictions_.insert(block.slot);
      }
   }
   unsettled_.clear();
}

Entry* Catalog::find(std::string_view name)
{
   return byName_.find(name);
}

Entry* Catalog::regionOf(Entry& block)
{
   if (!block.block.isPacked()) {
      return &block;
   }
   return arena(block.block.arena);
}

Entry* Catalog::arena(std::uint32_t slot)
{
   auto const found = arenas_.find(slot);
   return found == arenas_.end() ? nullptr : found->second;
}

Entry& Catalog::keep(Entry entry)
{
   auto const place = entries_.insert(entries_.end(), std::move(entry));
   place->place = place;
   return *place;
}

Entry& Catalog::insert(std::string_view name, Block const& block)
{
   Entry& entry = keep(Entry{.name = std::string(name), .block = block});
   try {
      if (name.empty()) {
         entry.space = ArenaSpace(block.capacity);
         arenas_[block.slot] = &entry;
      } else {
         byName_.insert(entry);
      }
   } catch (...) {
      entries_.erase(entry.place);
      throw;
   }
   return entry;
}

void Catalog::remove(Entry& block)
{
   if (Entry* const region = regionOf(block); block.block.isPacked() && region != nullptr) {
      region->space.giveBack(block.block.offset, block.block.capacity);
   }
   if (block.name.empty()) {
      arenas_.erase(block.block.slot);
   } else {
      byName_.erase(block);
   }
   entries_.erase(block.place);
}

std::optional<Catalog::Place> Catalog::placeFor(Block const& like, std::function<bool(Entry&)> const& isUsable)
{
   for (auto const& [slot, arena] : arenas_) {
      Block const& block = arena->block;
      if (block.backend != like.backend || block.uid != like.uid || block.node != like.node) {
         continue;
      }
      std::optional<std::uint64_t> const offset = arena->space.find(like.capacity);
      if (offset && isUsable(*arena)) {
         return Place{arena, *offset};
      }
   }
   return std::nullopt;
}

void Catalog::addressesAreTaken(Block const& region)
{
   if (region.addressBus >= addressBusFirst) {
      addressBusNext_ = std::max(addressBusNext_, region.addressBus + region.capacity);
   }
}

std::vector<Entry*> Catalog::emptyArenas()
{
   std::vector<Entry*> empty;
   for (auto const& [slot, arena] : arenas_) {
      if (arena->space.isAllFree()) {
         empty.push_back(arena);
      }
   }
   return empty;
}

} // namespace pinmem_lib
