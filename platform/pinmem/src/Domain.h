#pragma once

#include "src/Backends.h"
#include "src/BlockMaker.h"
#include "src/Catalog.h"
#include "src/DomainLock.h"
#include "src/DomainPlace.h"
#include "src/DomainUsers.h"
#include "src/Index.h"
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace pinmem_lib {

/// One process's view of a domain: the blocks it knows, and those it has mapped.
///
/// Ownership: blocks belong to the domain and stay. The destructor removes this object's mappings.
/// Threads:   every function may be called from every thread; between processes the domain's lock orders changes.
class Domain {
public:
   /// Opens the domain and keeps it in use, so that nobody removes it, for as long as the object lives.
   ///
   /// @param missing  `leave`: for looking, not for allocating; nothing is made or changed. The domain may be another
   ///                 user's then, and calls that change something are refused.
   /// @return null when the domain is not there, or not all of it, and `missing` is `leave`
   /// @throws Refusal  when a folder, the index or the boot id stands in the way
   static std::unique_ptr<Domain>
   open(Settings const& settings, Roots const& roots = {}, Directory::Missing missing = Directory::Missing::create);

   ~Domain();

   /// Makes or finds a block, like `pinmem_alloc_func` with arguments that have been checked.
   ///
   /// @return the bus address
   /// @throws Refusal
   std::uint64_t allocate(std::string_view name, std::uint32_t size, std::string_view owner, std::uint32_t flags);

   /// Maps a block once more; like `pinmem_map`.
   std::uint64_t map(std::string_view name);

   /// Takes back one `map`.
   /// @throws Refusal  when the block is not mapped, or elsewhere
   void unmap(std::string_view name, std::uint64_t addressVirtual);

   enum class Freed { freed, notThere, inUse };

   /// Frees a block and its memory, unless a process uses it.
   Freed free(std::string_view name);

   /// Removes what nobody needs: files that a process left which died before it wrote their record, and empty arenas.
   Collected collect();

   /// What is wrong with the domain, each in words for a person; nothing is changed.
   std::vector<std::string> faults();

   /// How many processes use each of the blocks, like DomainUsers::countsOf.
   std::vector<std::uint32_t> userCounts(std::vector<std::uint32_t> const& slots);

   /// What `PINMEM_BACKEND=auto` finds out about the backends.
   std::vector<Backends::Finding> findings();

   /// The records of all blocks, in the order of their bus addresses.
   std::vector<Record> records();

   /// The records of all arenas, in the order of their slots.
   std::vector<Record> arenas();

   /// Which records are damaged or contradict others, as numbers of their slots.
   std::set<std::uint32_t> damaged();

   /// The domain's control folder, for people.
   std::string const& path() const { return place_.control.path(); }

private:
   Domain(
      Settings const& settings, HugetlbRoots const& roots, DomainPlace place, std::uint64_t lockNumber,
      DomainUsers users, Index index);

   static std::unique_ptr<Domain> openForeign(Settings const& settings, Roots const& roots, DomainPlace place);

   /// The block, if this process holds it already.
   Entry* findHeld(std::string_view name);
   /// Maps the region of a block that this process holds and returns it; null: the index must tell.
   Entry* tryAttach(Entry& block);
   /// The region that holds the block.
   /// @throws Refusal  when the index does not have it
   Entry& regionOf(Entry& block);
   void checkConflict(Block const& block, std::uint32_t size, std::uint32_t flags) const;

   /// What is wrong with a region's memory; "" for nothing.
   std::string faultOf(Block const& region);
   std::vector<Record> allRecords();

   bool isWhole() const { return index_.damaged().empty() && catalog_.contradictions().empty(); }

   /// Has all read again and runs `look`, which says whether all is in order.
   void inspect(std::function<bool()> const& look);

   /// Takes the domain's lock, and makes sure that the files of the domain still are.
   /// @throws Refusal  when it is another user's, too
   DomainLock lock();

   // The domain's lock is held in each of these.

   /// Takes in what other processes have changed.
   /// @param copies  gets the records that were read; null: nobody wants them
   void refresh(std::vector<Record>* copies = nullptr);
   /// The block as the index has it now; null when there is none.
   Entry* confirm(std::string_view name);
   /// The same, for use.
   /// @throws Refusal  when it is another user's
   Entry* confirmOwn(std::string_view name);
   /// Whether the block's memory is there.
   bool isThere(Entry& block);
   /// Counts this process in as the block's user and maps the region that holds it.
   void use(Entry& block);

   std::mutex mutex_;
   DomainPlace place_;
   std::uint64_t lockNumber_;
   DomainUsers users_;
   Index index_;
   Backends backends_;
   Catalog catalog_;
   BlockMaker maker_;
};

} // namespace pinmem_lib
