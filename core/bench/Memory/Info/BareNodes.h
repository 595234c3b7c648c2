#pragma once

#include <Quorvel/Core/Memory/Info/Collection.h>

#include <TolSlab/Slab.h>

#include <cstddef>
#include <cstdint>
#include <new>
#include <utility>

namespace Quorvel::Core::Bench {

using Memory::Info::Collection;
using Memory::Info::Detail::Chunk;
using Memory::Info::Detail::Group;

/// The floor under a collection: as many nodes of the same sizes from the same allocator, and copies of the same texts,
/// chained by bare pointers. No trees, no hash tables, no counting.
class BareNodes {
   struct ChunkNode {
      ChunkNode* next;
      std::size_t bytes; ///< that it takes
      std::uint64_t unused;
      Chunk chunk;
   };

   struct GroupNode {
      GroupNode* next;
      ChunkNode* chunks;
      std::uint32_t id;
      std::uint32_t head;
      std::uint32_t size;
   };

   /// Of an element of a hash collection: two links and the hash before the value.
   static constexpr std::size_t bytesOfChunk = 3 * sizeof(std::uint64_t) + sizeof(Chunk);
   static_assert(sizeof(ChunkNode) == bytesOfChunk);

public:
   /// @param collection  whose chunks by name and by number both count
   explicit BareNodes(Collection const& collection)
   {
      auto** end = &first_;
      for (auto const& group : collection.group()) {
         auto* const node = newGroup(group.id(), group.head(), group.size());
         auto** endOfChunks = &node->chunks;
         auto const append = [&](Chunk const& chunk, std::size_t bytes) {
            *endOfChunks = newChunk(chunk, bytes);
            endOfChunks = &(*endOfChunks)->next;
         };
         for (auto const& chunk : group.chunk()) {
            append(chunk, bytesOfChunk);
         }
         for (auto const& chunk : group.chunkInternal()) {
            append(chunk, Group::KroChunkInternal::memAllocationTracker_.size);
         }
         *end = node;
         end = &node->next;
      }
   }

   BareNodes(BareNodes const& other)
   {
      auto** end = &first_;
      for (auto const* from = other.first_; from != nullptr; from = from->next) {
         auto* const node = newGroup(from->id, from->head, from->size);
         auto** endOfChunks = &node->chunks;
         for (auto const* chunk = from->chunks; chunk != nullptr; chunk = chunk->next) {
            *endOfChunks = newChunk(chunk->chunk, chunk->bytes);
            endOfChunks = &(*endOfChunks)->next;
         }
         *end = node;
         end = &node->next;
      }
   }

   BareNodes& operator=(BareNodes const&) = delete;

   ~BareNodes()
   {
      while (first_ != nullptr) {
         auto* const group = std::exchange(first_, first_->next);
         for (auto* chunk = group->chunks; chunk != nullptr;) {
            auto* const last = std::exchange(chunk, chunk->next);
            auto const bytes = last->bytes;
            last->~ChunkNode();
            TolSlab::slabFreeOrStdFree(last, bytes);
         }
         TolSlab::slabFreeOrStdFree(group, bytesOfGroup());
      }
   }

   friend bool operator==(BareNodes const& a, BareNodes const& b)
   {
      auto const* x = a.first_;
      auto const* y = b.first_;
      for (; x != nullptr && y != nullptr; x = x->next, y = y->next) {
         if (x->id != y->id || x->head != y->head || x->size != y->size || !equal(x->chunks, y->chunks)) {
            return false;
         }
      }
      return x == y;
   }

private:
   static std::size_t bytesOfGroup() { return Collection::KroGroup::memAllocationTracker_.size; }

   static GroupNode* newGroup(std::uint32_t id, std::uint32_t head, std::uint32_t size)
   {
      return new (TolSlab::slabAllocOrStdMalloc(bytesOfGroup())) GroupNode{nullptr, nullptr, id, head, size};
   }

   static ChunkNode* newChunk(Chunk const& chunk, std::size_t bytes)
   {
      return new (TolSlab::slabAllocOrStdMalloc(bytes)) ChunkNode{nullptr, bytes, 0, chunk};
   }

   static bool equal(ChunkNode const* a, ChunkNode const* b)
   {
      for (; a != nullptr && b != nullptr; a = a->next, b = b->next) {
         auto const& x = a->chunk;
         auto const& y = b->chunk;
         if (
            !(x.nameAttribute() == y.nameAttribute()) || !(x.name() == y.name()) || x.size() != y.size() ||
            x.isIncapableDma() != y.isIncapableDma()) {
            return false;
         }
      }
      return a == b;
   }

   GroupNode* first_ = nullptr;
};

} // namespace Quorvel::Core::Bench
