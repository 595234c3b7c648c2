#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Quorvel::Core::Memory::Control::Detail {

class Chunk;

/// A run of entries, `begin` up to but not including `end`, that one chunk holds.
struct Extent {
   std::uint32_t begin;
   std::uint32_t end;
   Chunk* chunk; ///< borrowed
};

/// Finds the extent that holds an entry, among extents that do not overlap.
///
/// Extents lie in one sorted array. A table divides the range of entries into buckets of one width, a few for each extent,
/// and says for each which extent to look at first: where groups are of about one size that is the right one or the one
/// before it; where they are not, those in the bucket are searched by halves. What comes out of order waits in a second,
/// short array until it is worth merging. An erased extent stays, without entries, until half of them are erased.
///
/// Ownership: borrows the chunks. Threads: `find` may run together with itself while nobody changes the index.
class ExtentIndex {
public:
   /// @return the extent that holds the entry, or null (borrowed: valid until the index changes)
   /// Cost: a handful of instructions and three loads where groups are of about one size, a search by halves else;
   ///       allocates nothing.
   Extent const* find(std::uint32_t entry) const noexcept
   {
      // An entry before the first bucket wraps to one behind the last, or at least out of its extent.
      auto const bucket = (entry - firstEntry_) >> shift_;
      if (bucket < bucketLimit_) [[likely]] {
         auto const* at = sorted_.data() + buckets_[bucket];
         if (isEven_) [[likely]] {
            at += at->end <= entry ? 1 : 0;
         } else {
            at = search(bucket, entry);
         }
         if (entry - at->begin < at->end - at->begin) [[likely]] {
            return at;
         }
      }
      return late_.empty() ? nullptr : findLate(entry);
   }

   /// @return the first extent that ends behind the entry, or null (borrowed: valid until the index changes)
   Extent const* findNext(std::uint32_t entry) const noexcept;

   /// Adds an extent with at least one entry.
   /// @return whether it could be added: false when it overlaps another one, nothing has changed then
   /// @throws std::bad_alloc; nothing has changed
   /// Cost: constant, taken over many, where extents come in ascending order; else O(square root of their number).
   bool insert(Extent const& extent);

   /// Gives the extent that begins at `begin`, if there is one, another chunk.
   void replace(std::uint32_t begin, Chunk* chunk) noexcept;

   /// Removes the extent that begins at `begin`, if there is one.
   void erase(std::uint32_t begin) noexcept;

   void clear() noexcept;

   /// While it is suspended, `find` finds nothing; what it holds is kept in step all the same.
   void isSuspendedIs(bool isSuspended) noexcept;

private:
   using Extents = std::vector<Extent>;

   /// @return the first extent that ends behind the entry, which lies in the bucket
   Extent const* search(std::uint32_t bucket, std::uint32_t entry) const noexcept;
   Extent const* findLate(std::uint32_t entry) const noexcept;

   /// @return how many extents `sorted_` holds, erased ones included
   std::size_t sortedCount() const noexcept { return sorted_.empty() ? 0 : sorted_.size() - 1; }

   Extents::iterator placeOf(Extents& extents, std::uint32_t begin) noexcept;
   Extent* extentAt(std::uint32_t begin) noexcept;
   bool overlaps(Extent const& extent) const noexcept;
   void append(Extent const& extent);
   void insertLate(Extent const& extent);
   void merge() noexcept;
   void divide();
   void bucketCountIs(std::uint32_t count) noexcept;

   std::uint32_t firstEntry_ = 0;  ///< where the first bucket begins
   std::uint32_t shift_ = 0;       ///< a bucket is 2^shift_ entries wide
   std::uint32_t bucketLimit_ = 0; ///< how many buckets there are, 0 while suspended
   bool isEven_ = true;            ///< no bucket holds the ends of two extents
   bool isSuspended_ = false;
   std::vector<std::uint32_t> buckets_; ///< the first extent that ends behind the bucket's begin; one more than buckets
   std::vector<Extent> sorted_;         ///< by `begin`; the last is a guard that holds no entry
   std::vector<Extent> late_;           ///< by `begin`, too
   std::uint32_t bucketCount_ = 0;
   std::uint32_t sortedEnd_ = 0; ///< where the last in `sorted_` ended before it was erased, if it was
   std::size_t erased_ = 0;      ///< how many in `sorted_` are
   std::size_t divided_ = 0;     ///< how many `sorted_` held when the width was chosen
};

} // namespace Quorvel::Core::Memory::Control::Detail
