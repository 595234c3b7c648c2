#include "src/Domain.h"
#include "src/BlockFlags.h"
#include "src/BootId.h"
#include "src/DomainUsers.h"
#include "src/Refusal.h"
#include "src/SystemCalls.h"
#include <algorithm>
#include <ctime>
#include <sys/mman.h>

namespace pinmem_lib {

namespace {

/// No device reaches an address with bit 63 set. The rest keeps the first block away from a mere bit 63.
constexpr std::uint64_t addressBusFirst = 0x8000'0001'0000'0000U;

std::uint64_t capacityFor(std::uint32_t size)
{
   static auto const page = static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
   return std::max<std::uint64_t>((std::uint64_t{size} + page - 1) / page * page, page);
}

Index openIndex(DomainPlace const& place, std::string const& boot)
{
   if (Index::isThere(place.control)) {
      return Index::open(place.control);
   }
   if (!place.data.entries().empty()) {
      refuse(
         "'", printable(place.data.path()), "' holds blocks, but their index is missing in '",
         printable(place.control.path()), "'; nothing was changed; put it back, or run: pinmemctl remove-domain");
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
      Index index = openIndex(*place, boot);
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
      std::unique_ptr<Domain> domain(
         new Domain(std::move(*place), lock->fileNumber(), std::move(users), std::move(index)));
      domain->refresh();
      return domain;
   }
}

Domain::Domain(DomainPlace place, std::uint64_t lockNumber, DomainUsers users, Index index)
   : place_(std::move(place)),
     lockNumber_(lockNumber),
     users_(std::move(users)),
     index_(std::move(index)),
     shm_(std::move(place_.data)),
     addressBusNext_(addressBusFirst)
{}

Domain::~Domain()
{
   for (Known const& known : known_) {
      if (known.address != nullptr) {
         systemCalls.munmap(known.address, known.block.capacity);
      }
   }
}

std::uint64_t Domain::allocate(std::string_view name, std::uint32_t size, std::string_view owner, std::uint32_t flags)
{
   std::lock_guard const guard(mutex_);
   Known* known = findResolved(name);
   if (known == nullptr) {
      DomainLock const held = lock();
      known = findInIndex(name);
      if (known == nullptr) {
         return make(name, size, owner, flags);
      }
      if (!resolve(*known)) {
         // Memory of an earlier boot (no inode) is nobody's any more.
         if (known->block.inode != 0 && !users_.isAlone()) {
            refuse(
               "the memory of this block is gone, but processes that use the domain may have it mapped, and devices "
               "may use its bus address; end the domain's other processes, then allocate it again");
         }
         known->block = remake(known->block, name, size, owner, flags);
         known->isResolved = true;
      }
   }
   checkConflict(known->block, size, flags);
   return known->block.addressBus;
}

std::uint64_t Domain::map(std::string_view name)
{
   std::lock_guard const guard(mutex_);
   Known* known = findResolved(name);
   if (known == nullptr || !tryAttach(*known)) {
      DomainLock const held = lock();
      known = findInIndex(name);
      if (known == nullptr) {
         refuse("there is no block of this name in '", printable(path()), "'; allocate it first");
      }
      if (!resolve(*known)) {
         refuse("the memory of this block is gone; allocate it again");
      }
      attach(*known);
   }
   ++known->mapCount;
   return reinterpret_cast<std::uintptr_t>(known->address);
}

void Domain::unmap(std::string_view name, std::uint64_t addressVirtual)
{
   std::lock_guard const guard(mutex_);
   Known* const known = find(name);
   if (known == nullptr || known->address == nullptr) {
      refuse("this block is not mapped in this process; each pinmem_map wants one pinmem_unmap");
   }
   if (reinterpret_cast<std::uintptr_t>(known->address) != addressVirtual) {
      refuse(
         "this block is mapped at ", known->address, ", not at ", reinterpret_cast<void*>(addressVirtual),
         "; pass what pinmem_map returned");
   }
   if (--known->mapCount == 0) {
      systemCalls.munmap(known->address, known->block.capacity);
      known->address = nullptr;
   }
}

std::vector<Record> Domain::records()
{
   std::lock_guard const guard(mutex_);
   DomainLock const held = lock();
   refresh();
   std::vector<Record> result;
   for (auto const& [name, known] : byName_) {
      if (std::optional<Record> const record = index_.read(known->block.slot)) {
         result.push_back(*record);
      }
   }
   std::sort(result.begin(), result.end(), [](Record const& left, Record const& right) {
      return left.block.addressBus < right.block.addressBus;
   });
   return result;
}

std::set<std::uint32_t> Domain::damaged()
{
   std::lock_guard const guard(mutex_);
   return index_.damaged();
}

void Domain::refresh()
{
   index_.refresh([this](Record const& record) {
      addressBusNext_ = std::max(addressBusNext_, record.block.addressBus + record.block.capacity);
      Known* const known = find(record.name());
      if (known == nullptr) {
         remember(record.name(), record.block);
      } else if (known->address == nullptr) {
         known->block = record.block;
         known->isResolved = false;
      }
   });
}

Domain::Known* Domain::find(std::string_view name)
{
   auto const found = byName_.find(name);
   return found == byName_.end() ? nullptr : found->second;
}

Domain::Known& Domain::remember(std::string_view name, Block const& block)
{
   Known& known = known_.emplace_back(Known{std::string(name), block});
   byName_.emplace(known.name, &known);
   return known;
}

Domain::Known* Domain::findResolved(std::string_view name)
{
   Known* const known = find(name);
   if (known == nullptr || known->isResolved) {
      return known;
   }
   // No lock: the memory is made anew only under another generation, and only once this one is gone.
   try {
      return resolve(*known) ? known : nullptr;
   } catch (Refusal const&) {
      return nullptr;
   }
}

void Domain::attach(Known& known)
{
   if (known.address == nullptr) {
      known.isResolved = false; // should its memory be gone, the next call looks again
      known.address = backendOf(known.block).attach(known.block);
      known.isResolved = true;
   }
}

bool Domain::tryAttach(Known& known)
{
   try {
      attach(known);
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

Domain::Known* Domain::findInIndex(std::string_view name)
{
   refresh();
   Known* const known = find(name);
   if (known == nullptr) {
      return nullptr;
   }
   std::optional<Record> const record = index_.read(known->block.slot);
   if (!record || record->name() != name) {
      // Not pinmem's doing: a record, once written, stays or is replaced.
      index_.lookAgain(known->block.slot);
      byName_.erase(known->name);
      refresh();
      return find(name);
   }
   known->block = record->block;
   return known;
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
}

std::uint64_t Domain::make(std::string_view name, std::uint32_t size, std::string_view owner, std::uint32_t flags)
{
   Block slot = {};
   slot.slot = index_.slotForNew();
   // Remembered first: once the record is written nothing may fail.
   Known& known = remember(name, slot);
   try {
      known.block = remake(slot, name, size, owner, flags);
   } catch (...) {
      byName_.erase(known.name);
      known_.pop_back();
      throw;
   }
   known.isResolved = true;
   return known.block.addressBus;
}

Block Domain::remake(
   Block block, std::string_view name, std::uint32_t size, std::string_view owner, std::uint32_t flags)
{
   Block const earlier = block;
   std::uint64_t const capacity = capacityFor(size);
   if (capacity > block.capacity) {
      block.capacity = capacity;
      block.addressBus = newAddressBus();
   }
   ++block.generation;
   block.backend = static_cast<std::uint32_t>(BackendKind::shm);
   block.flags = flags;
   block.size = size;
   block.timeCreated = ::time(nullptr);
   block.uid = ::geteuid();
   Backend& backend = backendOf(block);
   if (earlier.generation != 0) {
      backend.destroy(earlier); // a file of an earlier boot, where files outlive it
   }
   backend.create(block);
   try {
      index_.write(Record::make(block, name, owner));
   } catch (Refusal const&) {
      backend.destroy(block);
      throw;
   }
   addressBusNext_ = std::max(addressBusNext_, block.addressBus + block.capacity);
   return block;
}

std::uint64_t Domain::newAddressBus() const
{
   if (!index_.damaged().empty()) {
      refuse(
         "record ", *index_.damaged().begin(), " of index '", index_.path(),
         "' is damaged: it may be this block's, and its bus addresses are not known; no new block is made and none "
         "grows; end the domain's processes and run: pinmemctl remove-domain");
   }
   return addressBusNext_;
}

bool Domain::resolve(Known& known)
{
   known.isResolved = backendOf(known.block).resolve(known.block) != 0;
   return known.isResolved;
}

Backend& Domain::backendOf(Block const& block)
{
   if (block.backend != static_cast<std::uint32_t>(BackendKind::shm)) {
      refuse("the block was made by backend number ", block.backend, ", which is not part of this build");
   }
   return shm_;
}

} // namespace pinmem_lib
