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
   /// @return null when the domain is not there and `missing` is `leave`
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

   Domain(DomainPlace place, DomainLock lock, DomainUsers users, Index index);

   /// The block, if this process has heard of it, whatever has become of it.
   Known* find(std::string_view name);
   Known& remember(std::string_view name, Block const& block);
   /// The block, if this process knows it and its memory is there; null: the index must tell.
   Known* findResolved(std::string_view name);
   /// Whether its memory is there.
   bool resolve(Known& known);
   void checkConflict(Block const& block, std::uint32_t size, std::uint32_t flags) const;
   Backend& backendOf(Block const& block);

   // The domain's lock is held in each of these.

   /// Takes in what other processes have added.
   void refresh();
   /// The block as the index has it now; null when there is none.
   Known* findInIndex(std::string_view name);
   std::uint64_t make(std::string_view name, std::uint32_t size, std::string_view owner, std::uint32_t flags);
   /// Gives a block, or a slot without one, new memory and a record. A block keeps its bus address, unless it grows.
   /// @return what is recorded
   Block remake(Block block, std::string_view name, std::uint32_t size, std::string_view owner, std::uint32_t flags);

   std::mutex mutex_;
   DomainPlace place_;
   DomainLock lock_;
   DomainUsers users_;
   Index index_;
   ShmBackend shm_;
   std::uint64_t addressBusNext_;
   std::deque<Known> known_;
   std::unordered_map<std::string_view, Known*> byName_; ///< keys are the names in `known_`
};

} // namespace pinmem_lib
