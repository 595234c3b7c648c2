#include "src/Domain.h"
#include "src/BlockFlags.h"
#include "src/BootId.h"
#include "src/DomainUsers.h"
#include "src/Refusal.h"
#include "src/SystemCalls.h"
#include <algorithm>
#include <ctime>
#include <new>
#include <sstream>
#include <sys/mman.h>
#include <unistd.h>

namespace pinmem_lib {

namespace {

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
   for (RegionFiles const& files :
        HugetlbBackend(place.hugetlbFolder(), roots, {}, place.control.sharing()).folders()) {
      refuseWithoutIndex(files.directory(), place);
   }
   return Index::create(place.control, boot);
}

/// Where the block is mapped with its region.
std::uint64_t addressIn(Entry const& region, Entry const& block)
{
   return reinterpret_cast<std::uintptr_t>(region.address) + block.block.offset;
}

} // namespace

std::unique_ptr<Domain> Domain::open(Settings const& settings, Roots const& roots, Directory::Missing missing)
{
   std::string const boot = bootId();
   bool const isLooking = missing == Directory::Missing::leave;
   for (;;) {
      std::optional<DomainPlace> place = DomainPlace::open(settings, roots, missing, missing);
      if (place && place->isForeign) {
         return openForeign(settings, roots, std::move(*place));
      }
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

std::unique_ptr<Domain> Domain::openForeign(Settings const& settings, Roots const& roots, DomainPlace place)
{
   if (!Index::isThere(place.control)) {
      return nullptr;
   }
   DomainUsers users = DomainUsers::forLooking(place.control);
   Index index = Index::open(place.control, Index::Use::look);
   std::unique_ptr<Domain> domain(
      new Domain(settings, roots.hugetlb, std::move(place), 0, std::move(users), std::move(index)));
   domain->inspect([&] {
      domain->refresh();
      return domain->isWhole();
   });
   return domain;
}

Domain::Domain(
   Settings const& settings, HugetlbRoots const& roots, DomainPlace place, std::uint64_t lockNumber, DomainUsers users,
   Index index)
   : place_(std::move(place)),
     lockNumber_(lockNumber),
     users_(std::move(users)),
     index_(std::move(index)),
     backends_(settings, std::move(place_.data), place_.hugetlbFolder(), roots),
     maker_(index_, catalog_, backends_, users_)
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
      if (size > block->block.capacity || (flags != BlockFlags::ordinary && !block->isDma)) {
         checkConflict(block->block, size, flags);
         block->isDma = true; // it was the flags that had to be looked at
      }
      return block->block.addressBus;
   }
   DomainLock const held = lock();
   block = confirmOwn(name);
   if (block == nullptr) {
      Block fresh = {};
      fresh.arena = Block::noArena;
      block = &catalog_.insert(name, fresh);
      try {
         maker_.make(*block, size, owner, flags);
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
      if (!isLeft && !maker_.isLossOurs(region)) {
         refuse(
            "the memory of this block is gone, but processes that use the domain may have it mapped, and devices may "
            "use its bus address; end the domain's other processes, then allocate it again");
      }
      maker_.make(*block, size, owner, flags);
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
   Entry* region = block == nullptr ? nullptr : tryAttach(*block);
   if (region == nullptr) {
      DomainLock const held = lock();
      block = confirmOwn(name);
      if (block == nullptr) {
         refuse("there is no block of this name in '", printable(path()), "'; allocate it first");
      }
      if (!isThere(*block)) {
         refuse("the memory of this block is gone; allocate it again");
      }
      use(*block);
      region = &regionOf(*block);
   }
   ++block->mapCount;
   return addressIn(*region, *block);
}

void Domain::unmap(std::string_view name, std::uint64_t addressVirtual)
{
   std::lock_guard const guard(mutex_);
   if (index_.isStale()) { // what is known of blocks and arenas may be a part of it
      DomainLock const held = lock();
      refresh();
   }
   Entry* const block = catalog_.find(name);
   if (block == nullptr || block->mapCount == 0) {
      refuse("this block is not mapped in this process; each pinmem_map wants one pinmem_unmap");
   }
   std::uint64_t const address = addressIn(regionOf(*block), *block);
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

Domain::Freed Domain::free(std::string_view name)
{
   std::lock_guard const guard(mutex_);
   DomainLock const held = lock();
   Entry* const block = confirm(name);
   if (block == nullptr) {
      return Freed::notThere;
   }
   if (block->isHeld || users_.isHeldByOthers(block->block.slot)) {
      return Freed::inUse;
   }
   maker_.free(*block);
   return Freed::freed;
}

Collected Domain::collect()
{
   std::lock_guard const guard(mutex_);
   DomainLock const held = lock();
   index_.readAgain();
   refresh();
   return maker_.collect();
}

std::vector<std::string> Domain::faults()
{
   std::lock_guard const guard(mutex_);
   std::vector<std::string> faults;
   inspect([&] {
      faults.clear();
      refresh();
      for (std::uint32_t const slot : index_.damaged()) {
         faults.push_back(join("record ", slot, " is damaged"));
      }
      for (std::uint32_t const slot : catalog_.contradictions()) {
         faults.push_back(join("record ", slot, " contradicts another one"));
      }
      for (Entry const& entry : catalog_.entries()) {
         Block const& block = entry.block;
         std::string const what =
            entry.name.empty() ? join("arena ", block.slot) : join("block '", printable(entry.name), "'");
         if (std::string const fault = block.isPacked() ? "" : faultOf(block); !fault.empty()) {
            faults.push_back(join(what, ": ", fault));
         }
      }
      return faults.empty();
   });
   return faults;
}

void Domain::inspect(std::function<bool()> const& look)
{
   std::optional<DomainLock> held;
   if (!place_.isForeign) {
      held.emplace(lock());
   }
   // Without the lock a change may be met half-way: what is wrong for that reason alone is right a moment later.
   for (int attempts = held ? 1 : 20; attempts > 0; --attempts) {
      try {
         index_.readAgain();
         if (look()) {
            return;
         }
      } catch (Refusal const&) {
         if (attempts == 1) {
            throw;
         }
      }
   }
}

std::string Domain::faultOf(Block const& region)
{
   try {
      Backend& backend = backends_.of(region);
      if (!backend.isThere(region)) {
         return region.inode == 0 ? "" : "its memory is gone"; // of an earlier boot: as it should be
      }
      if (place_.isForeign) {
         return ""; // what is in it is its user's alone
      }
      void* const address = backend.attach(region);
      std::uint64_t now = 0;
      try {
         now = backend.resolve(region, address);
      } catch (Refusal const&) {
         now = 0;
      }
      systemCalls.munmap(address, region.capacity);
      return now == region.addressBus ? "" : "it is no longer at its recorded bus address";
   } catch (Refusal const& refusal) {
      return refusal.what();
   }
}

std::vector<std::uint32_t> Domain::userCounts(std::vector<std::uint32_t> const& slots)
{
   return users_.countsOf(slots);
}

std::vector<Backends::Finding> Domain::findings()
{
   std::lock_guard const guard(mutex_);
   return backends_.findings(maker_.isHugetlbInUse());
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
   std::vector<Record> result;
   inspect([&] {
      result.clear();
      refresh(&result);
      return isWhole();
   });
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
   try {
      index_.refresh(
         [this] { catalog_.forget(); },
         [&](Record const& record) {
            catalog_.add(record);
            if (copies != nullptr) {
               copies->push_back(record);
            }
         });
      catalog_.settle();
   } catch (std::bad_alloc const&) {
      index_.readAgain(); // a record may be taken in by half
      throw;
   }
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

Entry* Domain::confirmOwn(std::string_view name)
{
   Entry* const block = confirm(name);
   if (block != nullptr && block->block.uid != ::geteuid()) {
      refuse("the block belongs to user ", block->block.uid, ", not to user ", ::geteuid(), "; use another name");
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
   backends_.checkUse(block, flags);
}

Entry* Domain::tryAttach(Entry& block)
{
   Entry* const region = catalog_.regionOf(block);
   if (region == nullptr || region->address != nullptr) {
      return region;
   }
   if (region->block.backend != static_cast<std::uint32_t>(BackendKind::shm)) {
      return nullptr; // its bus address may be another one now, which wants the lock
   }
   try {
      maker_.attach(*region);
      return region;
   } catch (Refusal const&) {
      return nullptr;
   }
}

DomainLock Domain::lock()
{
   if (place_.isForeign) {
      refuse(
         "the domain belongs to user ", place_.control.sharing().user, ", and user ", ::geteuid(),
         " may only look at it; run this as that user");
   }
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
          backends_.of(region).isThere(region);
}

void Domain::use(Entry& block)
{
   Entry& region = regionOf(block);
   users_.hold(block.block.slot); // first: what is mapped must not be freed
   try {
      maker_.attach(region);
   } catch (...) {
      if (!block.isHeld) {
         users_.release(block.block.slot);
      }
      throw;
   }
   if (block.block.isPacked()) {
      block.block.addressBus = region.block.addressBus + block.block.offset;
   }
   block.isHeld = true;
}

} // namespace pinmem_lib
