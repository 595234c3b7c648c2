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
   for (Position entry = entries_.begin(); entry != entries_.end(); ++entry) {
      entry->isRecorded = false;
      if (entry->name.empty()) {
         mapped_.emplace(entry->block.slot, entry);
      } else {
         byName_.emplace(entry->name, entry);
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
      Position const place = known == last ? entries_.emplace(entries_.end()) : known->second;
      entry = &*place;
      entry->space = ArenaSpace(block.capacity);
      arenas_[block.slot] = place;
      addressesAreTaken(block);
   } else {
      if (entry == nullptr) {
         Position const place = entries_.insert(entries_.end(), Entry{.name = std::string(record.name())});
         entry = &*place;
         byName_.emplace(entry->name, place);
      }
      if (block.isPacked()) {
         unsettled_.push_back(entry);
      } else {
         addressesAreTaken(block);
      }
   }
   entry->isRecorded = true;
   if (entry->address == nullptr) {
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
   auto const found = byName_.find(name);
   return found == byName_.end() ? nullptr : &*found->second;
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
   return found == arenas_.end() ? nullptr : &*found->second;
}

Entry& Catalog::insert(std::string_view name, Block const& block)
{
   Position const place = entries_.insert(entries_.end(), Entry{.name = std::string(name), .block = block});
   if (name.empty()) {
      place->space = ArenaSpace(block.capacity);
      arenas_[block.slot] = place;
   } else {
      byName_.emplace(place->name, place);
   }
   return *place;
}

void Catalog::remove(Entry& block)
{
   if (Entry* const region = regionOf(block); block.block.isPacked() && region != nullptr) {
      region->space.giveBack(block.block.offset, block.block.capacity);
   }
   Position place;
   if (block.name.empty()) {
      auto const found = arenas_.find(block.block.slot);
      place = found->second;
      arenas_.erase(found);
   } else {
      auto const found = byName_.find(block.name);
      place = found->second;
      byName_.erase(found);
   }
   entries_.erase(place);
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
         return Place{&*arena, *offset};
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
         empty.push_back(&*arena);
      }
   }
   return empty;
}

} // namespace pinmem_lib
