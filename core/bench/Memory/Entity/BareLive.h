#pragma once

#include "../Info/BareNodes.h"

#include <Quorvel/Core/Memory/Info/Mount.h>

#include <Orvo/String.h>
#include <pinmem/pinmem.h>

#include <cstdint>
#include <map>
#include <memory>
#include <unordered_map>
#include <vector>

namespace Quorvel::Core::Bench {

/// The floor under a mount, besides the calls for its memory: as many objects and elements as it must keep, in the standard
/// library's collections. Nothing is counted, tracked, published, checked or shared.
class BareLive {
   struct LiveChunk {
      Orvo::String name;
      std::uint64_t addressBus;
      std::uint64_t addressVirtual;
   };

   struct LiveGroup {
      std::uint32_t head;
      std::uint32_t size;
   };

   struct Extent {
      std::uint32_t begin;
      std::uint32_t end;
      LiveChunk* chunk;
   };

public:
   /// What a description with one collection holds: the collection as it was given, and the derived one.
   struct Nodes {
      explicit Nodes(Memory::Info::Mount const& mount)
         : given(*mount.collection().begin()), derived(*mount.collectionInternal().begin())
      {}

      BareNodes given;
      BareNodes derived;
   };

   /// @param nodes  of the description; a copy is kept
   BareLive(Memory::Info::Mount const& mount, Nodes const& nodes) : description_(nodes)
   {
      for (auto const& group : mount.collectionInternal().begin()->group()) {
         for (auto const& chunk : group.chunkInternal()) {
            add(group, chunk);
         }
      }
   }

   BareLive(BareLive const&) = delete;
   BareLive& operator=(BareLive const&) = delete;

   ~BareLive()
   {
      for (auto const& [name, chunk] : chunks_) {
         pinmem_unmap(name.c_str(), chunk->addressVirtual, 0);
      }
   }

private:
   void add(Group const& group, Chunk const& described)
   {
      auto& chunk = chunks_[described.name()];
      if (chunk == nullptr) {
         auto const* const name = described.name().c_str();
         auto const addressBus = pinmem_alloc_func(name, described.size(), "bench", 4);
         chunk = std::make_unique<LiveChunk>(LiveChunk{described.name(), addressBus, pinmem_map(name, 1, 0, 0)});
      }
      auto const at = groups_.emplace_hint(
         groups_.end(), group.id(), std::make_unique<LiveGroup>(LiveGroup{group.head(), group.size()}));
      groupsOfField_.emplace_hint(groupsOfField_.end(), group.id(), at->second.get());
      chunksOfField_.emplace_hint(chunksOfField_.end(), group.id(), chunk.get());
      extents_.push_back({group.head(), group.head() + group.size(), chunk.get()});
   }

   Nodes description_;
   std::unordered_map<Orvo::String, std::unique_ptr<LiveChunk>> chunks_;
   std::map<std::uint32_t, std::unique_ptr<LiveGroup>> groups_;
   std::map<std::uint32_t, LiveGroup*> groupsOfField_;
   std::map<std::uint32_t, LiveChunk*> chunksOfField_;
   std::vector<Extent> extents_;
};

} // namespace Quorvel::Core::Bench
