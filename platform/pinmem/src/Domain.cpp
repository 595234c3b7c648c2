#include "src/Domain.h"
#include "src/BlockFlags.h"
#include "src/BootId.h"
#include "src/DomainUsers.h"
#include "src/Refusal.h"
#include "src/SystemCalls.h"
#include <algorithm>
#include <ctime>
#include <sstream>
#include <sys/mman.h>
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

void refuseWithoutIndex(Directory const& folder, DomainPlace const& place)
{
   if (!folder.entries().empty()) {
      refuse(
         "'", printable(folder.path()), "' holds blocks, but their index is missing in '",
         printable(place.control.path()), "'; nothing was changed; put it back, or run: pinmemctl remove-domain");
   }
}

Index openIndex(DomainPlace const& place, HugetlbRoots const& roots, std::string const& boot)
{
   if (Index::isThere(place.control)) {
      return Index::open(place.control);
   }
   refuseWithoutIndex(place.data, place);
   for (RegionFiles const& files : HugetlbBackend(place.hugetlbFolder(), roots, {}).folders()) {
      refuseWithoutIndex(files.directory(), place);
   }
   return Index::create(place.control, boot);
}

} // namespace

std::unique_ptr<Domain> Domain::open(Settings const& settings, Roots const& roots, Directory::Missing missing)
{
   std::string const boot = bootId();
   bool const isLooking = missing == Directory::Missing::leave;
   for (;;) {
      std::optional<DomainPlace> place = DomainPlace::open(settings, roots, missing, missing);
      std::optional<DomainLock> const lock = place ? DomainLock::take(place->control, missing) : std::nullopt;
      bool const isIndexThere = lock && Index::isThere(place->control);
      if (isLooking && !isIndexThere) {
         return nullptr;
      }
      if (!lock) {
         continue;
      }
      DomainUsers users(place->control, isIndexThere ? Directory::Missing::leave : Directory::Missing::create);
      Index index = openIndex(*place, roots.hugetlb, boot);
      if (!isLooking && index.bootId() != boot) {
         if (!users.tryExclusive()) {
            refuse(
               "index '", index.path(),
               "' was made in another boot, but a process is using it; "
               "let all processes of the domain see the same /proc/sys/kernel/random/boot_id");
         }
         index.bootIdIs(boot);
      }
      users.share();
      std::unique_ptr<Domain> domain(new Domain(
         settings, roots.hugetlb, std::move(*place), lock->fileNumber(), std::move(users), std::move(index)));
      domain->refresh();
      return domain;
   }
}

Domain::Domain(
   Settings const& settings, HugetlbRoots const& roots, DomainPlace place, std::uint64_t lockNumber, DomainUsers users,
   Index index)
   : place_(std::move(place)),
     lockNumber_(lockNumber),
     users_(std::move(users)),
     index_(std::move(index)),
     backends_(settings, std::move(place_.data), place_.hugetlbFolder(), roots)
{}

Domain::~Domain()
{
   for (Entry const& entry : catalog_.entries()) {
      if (entry.address != nullptr) {
         systemCalls.munmap(entry.address, entry.block.capacity);
      }
   }
}

std::uint64_t Domain::allocate(std::string_view name, std::uint32_t size, std::string_view owner, std::uint32_t flags)
{
   std::lock_guard const guard(mutex_);
   Entry* block = findHeld(name);
   if (block != nullptr) {
      checkConflict(block->block, size, flags);
      return block->block.addressBus;
   }
   DomainLock const held = lock();
   block = confirm(name);
   if (block == nullptr) {
      Block fresh = {};
      fresh.arena = Block::noArena;
      block = &catalog_.insert(name, fresh);
      try {
         make(*block, size, owner, flags);
      } catch (...) {
         catalog_.remove(*block);
         throw;
      }
      return block->block.addressBus;
   }
   if (!isThere(*block)) {
      // That of an arena that was made anew is nobody's any more.
      Entry const& region = regionOf(*block);
      bool const isLeft = block->block.isPacked() && block->block.arenaGeneration != region.block.generation;
      if (!isLeft && !isLossOurs(region)) {
         refuse(
            "the memory of this block is gone, but processes that use the domain may have it mapped, and devices may "
            "use its bus address; end the domain's other processes, then allocate it again");
      }
      make(*block, size, owner, flags);
      return block->block.addressBus;
   }
   checkConflict(block->block, size, flags);
   use(*block);
   return block->block.addressBus;
}

std::uint64_t Domain::map(std::string_view name)
{
   std::lock_guard const guard(mutex_);
   Entry* block = findHeld(name);
   if (block == nullptr || !tryAttach(*block)) {
      DomainLock const held = lock();
      block = confirm(name);
      if (block == nullptr) {
         refuse("there is no block of this name in '", printable(path()), "'; allocate it first");
      }
      if (!isThere(*block)) {
         refuse("the memory of this block is gone; allocate it again");
      }
      use(*block);
   }
   ++block->mapCount;
   return addressOf(*block);
}

void Domain::unmap(std::string_view name, std::uint64_t addressVirtual)
{
   std::lock_guard const guard(mutex_);
   Entry* const block = catalog_.find(name);
   if (block == nullptr || block->mapCount == 0) {
      refuse("this block is not mapped in this process; each pinmem_map wants one pinmem_unmap");
   }
   std::uint64_t const address = addressOf(*block);
   if (address != addressVirtual) {
      refuse(
         "this block is mapped at ", reinterpret_cast<void*>(address), ", not at ",
         reinterpret_cast<void*>(addressVirtual), "; pass what pinmem_map returned");
   }
   if (--block->mapCount == 0 && block->address != nullptr) {
      systemCalls.munmap(block->address, block->block.capacity);
      block->address = nullptr;
   }
}

std::uint64_t Domain::addressOf(Entry& block)
{
   return reinterpret_cast<std::uintptr_t>(catalog_.regionOf(block)->address) + block.block.offset;
}

std::vector<Record> Domain::records()
{
   std::vector<Record> result = allRecords();
   std::erase_if(result, [](Record const& record) { return record.isArena(); });
   std::sort(result.begin(), result.end(), [](Record const& left, Record const& right) {
      return left.block.addressBus < right.block.addressBus;
   });
   return result;
}

std::vector<Record> Domain::arenas()
{
   std::vector<Record> result = allRecords();
   std::erase_if(result, [](Record const& record) { return !record.isArena(); });
   return result;
}

std::vector<Record> Domain::allRecords()
{
   std::lock_guard const guard(mutex_);
   DomainLock const held = lock();
   index_.readAgain();
   std::vector<Record> result;
   refresh(&result);
   return result;
}

std::set<std::uint32_t> Domain::damaged()
{
   std::lock_guard const guard(mutex_);
   std::set<std::uint32_t> slots = index_.damaged();
   slots.insert(catalog_.contradictions().begin(), catalog_.contradictions().end());
   return slots;
}

void Domain::refresh(std::vector<Record>* copies)
{
   index_.refresh(
      [this] { catalog_.forget(); },
      [&](Record const& record) {
         catalog_.add(record);
         if (copies != nullptr) {
            copies->push_back(record);
         }
      });
   catalog_.settle();
}

Entry* Domain::findHeld(std::string_view name)
{
   Entry* const block = catalog_.find(name);
   return block != nullptr && block->isHeld ? block : nullptr;
}

Entry* Domain::confirm(std::string_view name)
{
   refresh();
   Entry* block = catalog_.find(name);
   if (block == nullptr) {
      return nullptr;
   }
   std::optional<Record> record = index_.read(block->block.slot);
   if (!record || record->name() != name || record->block.generation != block->block.generation) {
      // Not pinmem's doing: whoever changes a record announces it.
      block->isHeld = false;
      index_.readAgain();
      refresh();
      block = catalog_.find(name);
   }
   return block;
}

void Domain::checkConflict(Block const& block, std::uint32_t size, std::uint32_t flags) const
{
   if (size > block.capacity) {
      refuse(
         size, " bytes are asked for, but the block was made with ", block.size, " bytes and has room for ",
         block.capacity, "; ask for no more, or use another name");
   }
   if (block.flags == BlockFlags::ordinary && flags != BlockFlags::ordinary) {
      refuse("DMA memory is asked for, but the block was made as ordinary memory (flags=1); use another name");
   }
   if (block.uid != ::geteuid()) {
      refuse("the block belongs to user ", block.uid, ", not to user ", ::geteuid(), "; use another name");
   }
   backends_.checkUse(block, flags);
}

bool Domain::tryAttach(Entry& block)
{
   Entry* const region = catalog_.regionOf(block);
   if (region == nullptr) {
      return false;
   }
   if (region->address != nullptr) {
      return true;
   }
   if (region->block.backend != static_cast<std::uint32_t>(BackendKind::shm)) {
      return false; // its bus address may be another one now, which wants the lock
   }
   try {
      attach(*region);
      return true;
   } catch (Refusal const&) {
      return false;
   }
}

DomainLock Domain::lock()
{
   DomainLock held = DomainLock::takeAgain(place_.control, lockNumber_);
   users_.check();
   return held;
}

Entry& Domain::regionOf(Entry& block)
{
   Entry* const region = catalog_.regionOf(block);
   if (region == nullptr) {
      refuse(
         "the record of the arena that holds this block, record ", block.block.arena, " of index '", index_.path(),
         "', is damaged; end the domain's processes and run: pinmemctl remove-domain");
   }
   return *region;
}

bool Domain::isThere(Entry& block)
{
   Block const& region = regionOf(block).block;
   return (!block.block.isPacked() || block.block.arenaGeneration == region.generation) &&
          backendOf(region).isThere(region);
}

void Domain::use(Entry& block)
{
   Entry& region = regionOf(block);
   attach(region);
   users_.hold(block.block.slot);
   if (block.block.isPacked()) {
      block.block.addressBus = region.block.addressBus + block.block.offset;
   }
   block.isHeld = true;
}

void Domain::attach(Entry& region)
{
   if (region.address != nullptr) {
      return;
   }
   Backend& backend = backendOf(region.block);
   void* const address = backend.attach(region.block);
   try {
      if (std::uint64_t const now = backend.resolve(region.block, address); now != region.block.addressBus) {
         moveTo(region, now);
      }
   } catch (...) {
      systemCalls.munmap(address, region.block.capacity);
      throw;
   }
   region.address = address;
}

void Domain::moveTo(Entry& region, std::uint64_t addressBus)
{
   std::optional<Record> const record = index_.read(region.block.slot);
   if (!record) {
      refuse("the record of this block is gone; allocate it again");
   }
   Block block = record->block;
   block.addressBus = addressBus;
   ++block.changeCount;
   index_.write(Record::make(block, record->name(), record->owner()));
   std::ostringstream text;
   text << "pinmem: '" << printable(region.name) << "': the bus address was 0x" << std::hex << region.block.addressBus
        << " and is now 0x" << addressBus << ": the kernel has moved the memory; devices that use it must be told\n";
   region.block = block;
   systemCalls.write(STDERR_FILENO, text.str().data(), text.str().size());
}

void Domain::make(Entry& block, std::uint32_t size, std::string_view owner, std::uint32_t flags)
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
   fresh.backend = static_cast<std::uint32_t>(backends_.kindFor(flags, isHugetlbInUse()));
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
   } catch (NoRun const&) {
      makePacked(block, fresh, owner, Place::fresh); // an arena may be made of larger pages
   }
}

void Domain::makePacked(Entry& block, Block fresh, std::string_view owner, Place place)
{
   if (place == Place::fresh) {
      fresh.capacity = ArenaSpace::capacityFor(fresh.size);
   }
   Entry& arena = place == Place::fresh ? takePlace(fresh) : *catalog_.arena(fresh.arena);
   try {
      if (place == Place::kept && !tryRestore(arena)) {
         refuse("the memory of this block is gone; end the domain's other processes, then allocate it again");
      }
      backendOf(fresh).provide(arena.block, arena.address, fresh.offset, fresh.capacity);
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

void Domain::makeRegion(Entry& block, Block fresh, std::string_view owner, Place place)
{
   if (place == Place::fresh) {
      fresh.capacity = roundedUp(fresh.size, backendOf(fresh).unit());
   }
   if (fresh.generation == 1) {
      fresh.slot = index_.slotForNew();
   } else if (!block.block.isPacked()) {
      backendOf(block.block).destroy(block.block); // a file of an earlier boot, where files outlive it
   }
   void* const address = createRegion(fresh, place);
   try {
      record(block, fresh, owner, address);
   } catch (...) {
      systemCalls.munmap(address, fresh.capacity);
      backendOf(fresh).destroy(fresh);
      throw;
   }
}

void Domain::record(Entry& block, Block fresh, std::string_view owner, void* address)
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
      left->space.giveBack(earlier.offset, earlier.capacity);
   }
   block.block = fresh;
   block.address = address;
   block.isHeld = true;
}

void* Domain::createRegion(Block& region, Place place, Backend::Reserve reserve)
{
   Backend& backend = backendOf(region);
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

Entry& Domain::takePlace(Block& block)
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

Entry& Domain::newArena(Block const& like)
{
   Block arena = {};
   arena.slot = index_.slotForNew();
   arena.backend = like.backend;
   arena.uid = like.uid;
   arena.node = like.node;
   arena.capacity = roundedUp(std::max(like.capacity, arenaSize), backendOf(like).unit());
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

bool Domain::tryRestore(Entry& arena)
{
   if (arena.address != nullptr) {
      return true;
   }
   Backend& backend = backendOf(arena.block);
   if (backend.isThere(arena.block)) {
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

bool Domain::isLossOurs(Entry const& region)
{
   // Memory of an earlier boot (no inode) is nobody's any more.
   return region.block.inode == 0 || (region.address == nullptr && users_.isAlone());
}

void Domain::renewArena(Entry& arena, Place place)
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
      backendOf(fresh).destroy(fresh);
      throw;
   }
   if (fresh.capacity != arena.block.capacity) {
      arena.space = ArenaSpace(fresh.capacity); // a new one, of larger pages
   }
   arena.block = fresh;
   arena.address = address;
}

void Domain::checkWhole()
{
   std::set<std::uint32_t> slots = index_.damaged();
   slots.insert(catalog_.contradictions().begin(), catalog_.contradictions().end());
   if (!slots.empty()) {
      refuse(
         "record ", *slots.begin(), " of index '", index_.path(),
         "' is damaged: it may be this block's, and its bus addresses are not known; no new block is made and none "
         "grows; end the domain's processes and run: pinmemctl remove-domain");
   }
}

bool Domain::isHugetlbInUse()
{
   auto const& entries = catalog_.entries();
   return std::any_of(entries.begin(), entries.end(), [](Entry const& entry) {
      return entry.block.backend == static_cast<std::uint32_t>(BackendKind::hugetlb) && !entry.block.isPacked() &&
             entry.block.inode != 0;
   });
}

} // namespace pinmem_lib
