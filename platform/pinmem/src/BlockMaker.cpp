#include "src/BlockMaker.h"
#include "src/BlockFlags.h"
#include "src/Refusal.h"
#include "src/SystemCalls.h"
#include <algorithm>
#include <ctime>
#include <new>
#include <unistd.h>

namespace pinmem_lib {

namespace {

/// From this size on a block that is not frugal gets memory of its own, in bytes.
constexpr std::uint64_t roomyFrom = 1U << 20;

/// The smallest arena, in bytes.
constexpr std::uint64_t arenaSize = 2U << 20;

std::uint64_t roundedUp(std::uint64_t value, std::uint64_t step)
{
   return (value + step - 1) / step * step;
}

bool isPacked(Block const& block)
{
   return block.flags == BlockFlags::dmaFrugal || block.size < roomyFrom;
}

} // namespace

void BlockMaker::attach(Entry& region)
{
   if (region.address != nullptr) {
      lookAgain(region, region.address);
      return;
   }
   void* const address = backends_.of(region.block).attach(region.block);
   try {
      lookAgain(region, address);
   } catch (...) {
      systemCalls.munmap(address, region.block.capacity);
      throw;
   }
   region.address = address;
}

void BlockMaker::lookAgain(Entry& region, void* address)
{
   std::uint64_t const now = backends_.of(region.block).resolve(region.block, address);
   if (now != region.block.addressBus) {
      moveTo(region, now);
   }
}

void BlockMaker::rewriteAddress(Entry& entry, std::uint64_t addressBus)
{
   std::optional<Record> const record = index_.read(entry.block.slot);
   if (!record) {
      refuse("the record of this block is gone; allocate it again");
   }
   Block block = record->block;
   block.addressBus = addressBus;
   ++block.changeCount;
   index_.write(Record::make(block, record->name(), record->owner()));
   entry.block = block;
}

void BlockMaker::moveTo(Entry& region, std::uint64_t addressBus)
{
   std::string const what = region.name.empty() ? join("arena ", region.block.slot, ", with the blocks packed in it")
                                                : join("'", printable(region.name), "'");
   std::string const text = join( // before the move is on record, for nobody would say it later
      "pinmem: ", what, ": the bus address was 0x", std::hex, region.block.addressBus, " and is now 0x", addressBus,
      ": the kernel has moved the memory; devices that use it must be told\n");
   // The region's own record last: until it is written, the next attach notices again.
   for (Entry& entry : catalog_.entries()) {
      Block const& block = entry.block;
      bool const isInIt =
         block.isPacked() && block.arena == region.block.slot && block.arenaGeneration == region.block.generation;
      // Some are right already where an attempt before this one came to half of them.
      if (isInIt && block.addressBus != addressBus + block.offset) {
         rewriteAddress(entry, addressBus + block.offset);
      }
   }
   rewriteAddress(region, addressBus);
   systemCalls.write(STDERR_FILENO, text.data(), text.size());
}

void BlockMaker::make(Entry& block, std::uint32_t size, std::string_view owner, std::uint32_t flags)
{
   try {
      makeAny(block, size, owner, flags);
   } catch (std::bad_alloc const&) {
      index_.readAgain(); // what is free in an arena may not be as the records have it
      throw;
   }
}

void BlockMaker::makeAny(Entry& block, std::uint32_t size, std::string_view owner, std::uint32_t flags)
{
   Block const earlier = block.block;
   Block fresh = {};
   fresh.slot = earlier.slot;
   fresh.generation = earlier.generation + 1;
   fresh.flags = flags;
   fresh.size = size;
   fresh.timeCreated = ::time(nullptr);
   fresh.uid = ::geteuid();
   fresh.node = backends_.node().node;
   fresh.backend = static_cast<std::uint32_t>(backends_.kindFor(flags, [this] {
      bool const isInUse = isHugetlbInUse();
      if (!isInUse) {
         // Free pages are looked for, and a process that was killed may have left all of them in a file.
         Collected ignored = {};
         collectHugePages(ignored);
      }
      return isInUse;
   }));
   if (earlier.generation != 0 && fresh.backend == earlier.backend && size <= earlier.capacity) {
      fresh.arena = earlier.arena;
      fresh.offset = earlier.offset;
      fresh.capacity = earlier.capacity;
      fresh.addressBus = earlier.addressBus;
      earlier.isPacked() ? makePacked(block, fresh, owner, Place::kept) : makeRegion(block, fresh, owner, Place::kept);
      return;
   }
   checkWhole();
   if (isPacked(fresh)) {
      makePacked(block, fresh, owner, Place::fresh);
      return;
   }
   try {
      makeRegion(block, fresh, owner, Place::fresh);
   } catch (NoPages const&) {
      makePacked(block, fresh, owner, Place::fresh); // an arena may be made of larger pages
   }
}

void BlockMaker::makePacked(Entry& block, Block fresh, std::string_view owner, Place place)
{
   if (place == Place::fresh) {
      fresh.capacity = ArenaSpace::capacityFor(fresh.size);
   }
   Entry& arena = place == Place::fresh ? takePlace(fresh) : *catalog_.arena(fresh.arena);
   try {
      if (place == Place::kept && !tryRestore(arena)) {
         refuse("the memory of this block is gone; end the domain's other processes, then allocate it again");
      }
      backends_.of(fresh).provide(arena.block, arena.address, fresh.offset, fresh.capacity);
      fresh.arenaGeneration = arena.block.generation;
      fresh.addressBus = arena.block.addressBus + fresh.offset;
      record(block, fresh, owner, nullptr);
   } catch (...) {
      if (place == Place::fresh) {
         arena.space.giveBack(fresh.offset, fresh.capacity);
      }
      throw;
   }
}

void BlockMaker::makeRegion(Entry& block, Block fresh, std::string_view owner, Place place)
{
   if (place == Place::fresh) {
      fresh.capacity = roundedUp(fresh.size, backends_.of(fresh).unit());
   }
   if (fresh.generation == 1) {
      fresh.slot = index_.slotForNew();
   } else if (!block.block.isPacked()) {
      backends_.of(block.block).destroy(block.block); // a file of an earlier boot, where files outlive it
   }
   void* const address = createRegion(fresh, place);
   try {
      record(block, fresh, owner, address);
   } catch (...) {
      systemCalls.munmap(address, fresh.capacity);
      backends_.of(fresh).destroy(fresh);
      throw;
   }
}

void BlockMaker::record(Entry& block, Block fresh, std::string_view owner, void* address)
{
   if (fresh.generation == 1) {
      fresh.slot = index_.slotForNew(); // only now: a new arena has taken one
   }
   users_.hold(fresh.slot);
   try {
      index_.write(Record::make(fresh, block.name, owner));
   } catch (...) {
      users_.release(fresh.slot);
      throw;
   }
   Block const& earlier = block.block;
   bool const isMoved = earlier.arena != fresh.arena || earlier.offset != fresh.offset;
   if (Entry* const left = catalog_.regionOf(block); earlier.isPacked() && isMoved && left != nullptr) {
      try {
         left->space.giveBack(earlier.offset, earlier.capacity);
      } catch (std::bad_alloc const&) {
         index_.readAgain(); // the block is made; its place is found to be free later
      }
   }
   block.block = fresh;
   block.address = address;
   block.isHeld = true;
}

void* BlockMaker::createRegion(Block& region, Place place, Backend::Reserve reserve)
{
   Backend& backend = backends_.of(region);
   region.arena = Block::noArena;
   region.offset = 0;
   if (place == Place::fresh) {
      region.addressBus = catalog_.addressBusNext();
   }
   void* const address = backend.create(region, reserve);
   try {
      region.addressBus = backend.resolve(region, address);
   } catch (...) {
      systemCalls.munmap(address, region.capacity);
      backend.destroy(region);
      throw;
   }
   catalog_.addressesAreTaken(region);
   return address;
}

Entry& BlockMaker::takePlace(Block& block)
{
   std::optional<Catalog::Place> found = catalog_.placeFor(block, [this](Entry& arena) { return tryRestore(arena); });
   if (!found) {
      found = Catalog::Place{&newArena(block), 0};
   }
   found->arena->space.take(found->offset, block.capacity);
   block.arena = found->arena->block.slot;
   block.offset = found->offset;
   return *found->arena;
}

Entry& BlockMaker::newArena(Block const& like)
{
   Block arena = {};
   arena.slot = index_.slotForNew();
   arena.backend = like.backend;
   arena.uid = like.uid;
   arena.node = like.node;
   arena.capacity = roundedUp(std::max(like.capacity, arenaSize), backends_.of(like).unit());
   arena.arena = Block::noArena;
   Entry& entry = catalog_.insert("", arena);
   try {
      renewArena(entry, Place::fresh);
   } catch (...) {
      catalog_.remove(entry);
      throw;
   }
   return entry;
}

bool BlockMaker::tryRestore(Entry& arena)
{
   Backend& backend = backends_.of(arena.block);
   if (backend.isThere(arena.block)) { // also when it is mapped: in a file that was removed a block is lost
      attach(arena);
      return true;
   }
   if (!isLossOurs(arena)) {
      return false;
   }
   backend.destroy(arena.block);
   renewArena(arena, Place::kept);
   return true;
}

bool BlockMaker::isLossOurs(Entry const& region)
{
   // Memory of an earlier boot (no inode) is nobody's any more.
   return region.block.inode == 0 || (region.address == nullptr && users_.isAlone());
}

void BlockMaker::renewArena(Entry& arena, Place place)
{
   Block fresh = arena.block;
   ++fresh.generation;
   fresh.size = fresh.capacity;
   fresh.timeCreated = ::time(nullptr);
   void* const address = createRegion(fresh, place, Backend::Reserve::parts);
   try {
      index_.write(Record::make(fresh, "", ""));
   } catch (...) {
      systemCalls.munmap(address, fresh.capacity);
      backends_.of(fresh).destroy(fresh);
      throw;
   }
   arena.block = fresh;
   arena.address = address;
   arena.space.growTo(fresh.capacity); // larger pages
}

std::set<std::uint32_t> BlockMaker::damagedSlots() const
{
   std::set<std::uint32_t> slots = index_.damaged();
   slots.insert(catalog_.contradictions().begin(), catalog_.contradictions().end());
   return slots;
}

void BlockMaker::checkWhole()
{
   std::set<std::uint32_t> const slots = damagedSlots();
   if (!slots.empty()) {
      refuse(
         "record ", *slots.begin(), " of index '", index_.path(),
         "' is damaged: it may be this block's, and its bus addresses are not known; no new block is made and none "
         "grows; end the domain's processes and run: pinmemctl remove-domain");
   }
}

bool BlockMaker::isHugetlbInUse()
{
   auto const& entries = catalog_.entries();
   return std::any_of(entries.begin(), entries.end(), [](Entry const& entry) {
      return entry.block.backend == static_cast<std::uint32_t>(BackendKind::hugetlb) && !entry.block.isPacked() &&
             entry.block.inode != 0;
   });
}

void BlockMaker::free(Entry& block)
{
   Block const freed = block.block;
   index_.clear(freed.slot); // first: killed later, a file without a record stays, which `collect` finds
   catalog_.remove(block);
   if (!freed.isPacked()) {
      backends_.of(freed).destroy(freed);
   }
   dropEmptyArenas();
}

std::uint32_t BlockMaker::dropEmptyArenas()
{
   if (!damagedSlots().empty()) {
      return 0; // one of them may be the record of a block in an arena that looks empty
   }
   std::vector<Entry*> const empty = catalog_.emptyArenas();
   for (Entry* const arena : empty) {
      Block const freed = arena->block;
      index_.clear(freed.slot);
      if (arena->address != nullptr) {
         systemCalls.munmap(arena->address, freed.capacity);
      }
      catalog_.remove(*arena);
      backends_.of(freed).destroy(freed);
   }
   return static_cast<std::uint32_t>(empty.size());
}

Collected BlockMaker::collect()
{
   Collected collected = {};
   collected.arenas = dropEmptyArenas();
   collectFrom(backends_.shmFiles(), BackendKind::shm, collected);
   collectHugePages(collected);
   return collected;
}

void BlockMaker::collectHugePages(Collected& collected)
{
   for (RegionFiles const& files : backends_.hugetlb().folders()) {
      collectFrom(files, BackendKind::hugetlb, collected);
   }
}

void BlockMaker::collectFrom(RegionFiles const& files, BackendKind kind, Collected& collected)
{
   std::set<std::uint32_t> const damaged = damagedSlots();
   std::set<std::string> recorded;
   for (Entry const& entry : catalog_.entries()) {
      // The slot may have gone to another backend since: its file there has the same name.
      if (!entry.block.isPacked() && entry.block.backend == static_cast<std::uint32_t>(kind)) {
         recorded.insert(RegionFiles::nameOf(entry.block));
      }
   }
   for (std::string const& name : files.directory().entries()) {
      bool const isOurs = RegionFiles::isName(name) && recorded.count(name) == 0;
      // What a damaged record says is not known, so that its file may be a block's.
      if (isOurs && damaged.count(RegionFiles::slotOf(name)) == 0) {
         std::optional<std::uint64_t> const bytes = files.tryCollect(name);
         collected.files += bytes ? 1 : 0;
         collected.bytes += bytes.value_or(0);
      }
   }
}

} // namespace pinmem_lib
