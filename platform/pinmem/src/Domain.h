#pragma once

#include "src/DomainLock.h"
#include "src/DomainPlace.h"
#include "src/DomainUsers.h"
#include "src/Index.h"
#include "src/ShmBackend.h"
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
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
   /// @param missing  `leave`: for looking, not for allocating; nothing is made or changed
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

   /// The records of all blocks, in the order of their bus addresses.
   std::vector<Record> records();

   /// Which records are damaged, as numbers of their slots.
   std::set<std::uint32_t> damaged();

   /// The domain's control folder, for people.
   std::string const& path() const { return place_.control.path(); }

private:
   struct Known {
      std::string name;
      Block block;
      bool isResolved = false; ///< its memory was seen by this process
      void* address = nullptr; ///< null: not mapped
      std::uint64_t mapCount = 0;
   };

   Domain(DomainPlace place, std::uint64_t lockNumber, DomainUsers users, Index index);

   /// The block, if this process has heard of it, whatever has become of it.
   Known* find(std::string_view name);
   Known& remember(std::string_view name, Block const& block);
   /// The block, if this process knows it and its memory is there; null: the index must tell, also why not.
   Known* findResolved(std::string_view name);
   /// Maps it, unless it is.
   void attach(Known& known);
   /// Like `attach`, by what this process remembers; false: the index must tell.
   bool tryAttach(Known& known);
   /// Whether its memory is there.
   bool resolve(Known& known);
   void checkConflict(Block const& block, std::uint32_t size, std::uint32_t flags) const;
   Backend& backendOf(Block const& block);

   /// Takes the domain's lock, and makes sure that the files of the domain still are.
   DomainLock lock();

   // The domain's lock is held in each of these.

   /// Takes in what other processes have added, also in place of what they have lost.
   void refresh();
   /// The block as the index has it now; null when there is none.
   Known* findInIndex(std::string_view name);
   std::uint64_t make(std::string_view name, std::uint32_t size, std::string_view owner, std::uint32_t flags);
   /// Gives a block, or a slot without one, new memory and a record. A block keeps its bus address, unless it grows.
   /// @return what is recorded
   Block remake(Block block, std::string_view name, std::uint32_t size, std::string_view owner, std::uint32_t flags);
   /// Where a new range of bus addresses may start.
   /// @throws Refusal  when a record is damaged, since nobody can tell what its range was
   std::uint64_t newAddressBus() const;

   std::mutex mutex_;
   DomainPlace place_;
   std::uint64_t lockNumber_;
   DomainUsers users_;
   Index index_;
   ShmBackend shm_;
   std::uint64_t addressBusNext_;
   std::deque<Known> known_;
   std::unordered_map<std::string_view, Known*> byName_; ///< keys are the names in `known_`
};

} // namespace pinmem_lib
