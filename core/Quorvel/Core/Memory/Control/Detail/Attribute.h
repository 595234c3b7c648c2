#pragma once

#include <Quorvel/Core/Export.h>
#include <Quorvel/Core/Memory/Control/Detail/Chunk.h>
#include <Quorvel/Core/Memory/Control/Detail/ExtentIndex.h>
#include <Quorvel/Core/Memory/Control/Detail/Group.h>
#include <Quorvel/Core/Memory/Control/Offsetter.h>

#include <Kro/OrderedEntities.h>
#include <Kro/OrderedMap.h>
#include <Orvo/Ptr.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>

namespace Quorvel::Core::Memory::Control {
class Collection;
}

namespace Quorvel::Core::Memory::Control::Detail {

/// Consecutive entries of which one field lies side by side in one chunk.
struct Stretch {
   std::uint32_t first;  ///< number of the first entry
   std::uint32_t count;  ///< number of entries
   Chunk* chunk;         ///< borrowed
   std::uint32_t offset; ///< of the first entry's field in the chunk, in bytes
};

/// One field of a collection's entries: where, group by group, its bytes live.
///
/// Ownership: keeps a reference to every group and chunk it is given. Itself the node of its collection's tree.
/// Threads: const operations may run together; the caller serialises changes.
class QUORVEL_CORE_EXPORT Attribute final : public Orvo::Node,
                                            public Kro::RbTreeNode<std::int32_t>,
                                            public Kro::SlabAllocated<Attribute> {
public:
   class QUORVEL_CORE_EXPORT KroGroup final : public Kro::OrderedNode<KroGroup, std::uint32_t, Orvo::Ptr<Group>> {
   public:
      using OrderedNode::OrderedNode;
      static Kro::AllocTrackTypeInfo memAllocationTracker_;
   };

   class QUORVEL_CORE_EXPORT KroChunk final : public Kro::OrderedNode<KroChunk, std::uint32_t, Orvo::Ptr<Chunk>> {
   public:
      using OrderedNode::OrderedNode;
      static Kro::AllocTrackTypeInfo memAllocationTracker_;
   };

   using Groups = Kro::OrderedMap<KroGroup>;
   using Chunks = Kro::OrderedMap<KroChunk>;

   /// @param id   the field's number in its collection
   /// @param size bytes of the field in one entry
   Attribute(std::int32_t id, std::uint32_t size) : RbTreeNode(id), size_(size) {}

   ~Attribute() override;

   std::int32_t id() const noexcept { return key(); }

   std::uint32_t size() const noexcept { return size_; }

   /// The groups in which this field has storage, ascending by id.
   Groups const& group() const noexcept { return group_; }

   /// @return the group, or null (borrowed)
   Group* group(std::uint32_t id) const;
   /// Adds the group under its id, or replaces the one that is there.
   /// @throws Kro::ArgNullPointerException when `group` is null; nothing has changed
   void groupIs(Orvo::Ptr<Group> const& group);
   /// @return the removed group, or null
   Orvo::Ptr<Group> groupDel(std::uint32_t id);
   /// @return the iterator behind the removed group
   Groups::const_iterator groupDel(Groups::const_iterator at);
   void groupDelAll();

   /// For each group id the chunk that holds this field of that group's entries, ascending.
   Chunks const& chunk() const noexcept { return chunk_; }

   /// @return the chunk under the key, or null (borrowed)
   Chunk* chunk(std::uint32_t key) const;
   /// Sets or replaces the chunk under the key; a null `chunk` removes it. A group of that id is not asked for.
   void chunkIs(std::uint32_t key, Orvo::Ptr<Chunk> const& chunk);
   /// @return the removed chunk, or null
   Orvo::Ptr<Chunk> chunkDel(std::uint32_t key);
   /// @return the iterator behind the removed chunk
   Chunks::const_iterator chunkDel(Chunks::const_iterator at);
   void chunkDelAll();

   /// Finds the chunk and the byte offset that hold this field of one entry: of the groups that have a chunk the first,
   /// by ascending id, that covers the entry.
   ///
   /// @param index     number of the entry in the collection (entries, not bytes)
   /// @param offsetter layout rule; null means densely packed
   /// @return the chunk (borrowed: valid while this attribute keeps it) and the offset in it, in bytes
   /// @throws Kro::RangeException when no such group covers `index`; nothing has changed
   /// A chunk key whose group is missing stops the process when the search reaches it.
   /// Cost: constant where the groups that have a chunk do not overlap and are of about one size, O(log groups) where they
   /// only do not overlap, O(chunks * log groups) else, and when they no longer overlap until there were as many changes as
   /// chunks; allocates only to build the error text, touches no reference count.
   std::pair<Chunk*, std::uint32_t> obtainChunkAndOffset(std::uint32_t index, Offsetter offsetter) const;

   /// Finds the longest stretch of one group's entries, densely packed, that begins at `from` or, where no group covers that
   /// entry, at the next one that is covered.
   ///
   /// @return nothing when no group that has a chunk covers `from` or an entry behind it
   /// Any chunk key whose group is missing stops the process.
   /// Cost: like that of obtainChunkAndOffset, and O(chunks) at worst.
   std::optional<Stretch> nextStretch(std::uint32_t from) const;

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   Kro::KroType const& fwkType() const noexcept { return kroType; }

   static Kro::KroType const kroType;
   static Kro::AllocTrackTypeInfo memAllocationTracker_;

private:
   friend class Control::Collection;
   struct Declaration;

   /// Keeps `index_` in step: where `before` was under one key with a chunk, there is `after` with `chunk` now. Null: no
   /// group, or no chunk for it.
   [[gnu::visibility("hidden")]] void pairIs(Group const* before, Group const* after, Chunk* chunk) noexcept;
   [[gnu::visibility("hidden")]] void reindex() noexcept;

   [[gnu::visibility("hidden")]] Group const& groupOf(std::uint32_t key) const;
   [[gnu::visibility("hidden")]] std::optional<Extent> nextExtent(std::uint32_t from) const;
   [[gnu::visibility("hidden")]] std::optional<std::uint32_t> nextCovered(std::uint32_t from) const;
   [[gnu::visibility("hidden")]] std::pair<Chunk*, std::uint32_t> walk(std::uint32_t index, Offsetter offsetter) const;

   std::uint32_t offsetOf(std::uint32_t head, std::uint32_t index, Offsetter offsetter) const
   {
      // 32-bit wrap intended.
      return offsetter != nullptr ? offsetter(head, index, size_) : (index - head) * size_;
   }

   /// The common case of `lookUp`.
   /// @return null and 0 else
   std::pair<Chunk*, std::uint32_t> lookUpQuickly(std::uint32_t index, Offsetter offsetter) const
   {
      if (offsetter == nullptr) [[likely]] {
         if (auto const* const extent = index_.findQuickly(index)) [[likely]] {
            return {extent->chunk, (index - extent->begin) * size_}; // 32-bit wrap intended
         }
      }
      return {};
   }

   /// What obtainChunkAndOffset does.
   [[gnu::visibility("hidden")]] std::pair<Chunk*, std::uint32_t>
   lookUp(std::uint32_t index, Offsetter offsetter) const;

   void lonelyChunksIs(std::size_t count) noexcept
   {
      lonelyChunks_ = count;
      index_.isSuspendedIs(count != 0);
   }

   bool isIndexed() const noexcept { return !hasOverlap_ && lonelyChunks_ == 0; }

   static constexpr auto all = static_cast<std::size_t>(-1);

   Groups group_;
   Chunks chunk_;
   // From here on what a look-up reads.
   std::uint32_t size_;
   bool hasOverlap_ = false; ///< or there was no memory for the index
   /// Answers where it must agree with the walk over `chunk_`: empty while extents overlap, suspended while a chunk lacks its
   /// group.
   ExtentIndex index_;
   std::size_t lonelyChunks_ = 0; ///< chunks without a group
   std::size_t changesSince_ = 0; ///< changes since extents were last found to overlap, or had no memory
   std::size_t chunksThen_ = 0;   ///< how many chunks there were then
   std::size_t patience_ = all;   ///< changes after which to try again, if the chunks were not and are not fewer
};

} // namespace Quorvel::Core::Memory::Control::Detail
