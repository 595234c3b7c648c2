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
/// Extents lie in one sorted array. Where they begin at equal distances, as groups of one size do, the entry's extent is
/// computed. Else a table divides the range of entries into buckets of one width, a few for each extent, and says for each
/// which extent to look at first: where extents are of about one size that is the right one or the one before it; where they are
/// not, those in the bucket are searched by halves. What comes out of order waits in a second, short array until it is
/// worth merging. An erased extent stays, without entries, until half of them are erased.
///
/// Ownership: borrows the chunks. Threads: `find` may run together with itself while nobody changes the index.
class ExtentIndex {
public:
   /// @return the extent that holds the entry, or null (borrowed: valid until the index changes)
   /// Cost: a handful of instructions and two or three loads where groups are of about one size, a search by halves else;
   ///       allocates nothing.
   Extent const* find(std::uint32_t entry) const noexcept
   {
      auto const* const extent = findQuickly(entry);
      return extent != nullptr ? extent : findSlowly(entry);
   }

   /// Like `find`, but also null where there is more to do than fits well into every caller.
   Extent const* findQuickly(std::uint32_t entry) const noexcept
   {
      // An entry before the first extent wraps to one behind the last.
      std::uint32_t const distance = entry - firstEntry_;
      if (distance < quickRange_) [[likely]] {
         auto const* at = sorted_.data();
         // Branches, not computed: each is taken alike for all entries, and what follows does not wait for it.
         if (layout_ != Layout::single) [[likely]] {
            if (layout_ == Layout::regular) [[likely]] {
               at += (distance * reciprocal_) >> shift_;
            } else {
               at += buckets_[distance >> shift_];
               at += at->end <= entry ? 1 : 0;
            }
         }
         if (entry - at->begin < at->end - at->begin) [[likely]] {
            return at;
         }
      }
      return nullptr;
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

   /// How extents lie in `sorted_`, and what finds one there.
   enum class Layout : std::uint8_t {
      single,  ///< there is one at most
      regular, ///< they begin at equal distances, and none is longer: a division
      even,    ///< no bucket holds the ends of two: the bucket's, or the one behind it
      uneven   ///< a search in the bucket
   };

   Extent const* findSlowly(std::uint32_t entry) const noexcept;
   /// @return the first extent that ends behind the entry, which lies in a bucket
   Extent const* search(std::uint32_t entry) const noexcept;
   Extent const* findLate(std::uint32_t entry) const noexcept;

   /// @return how many extents `sorted_` holds, erased ones included
   std::size_t sortedCount() const noexcept { return sorted_.empty() ? 0 : sorted_.size() - 1; }

   Extents::iterator placeOf(Extents& extents, std::uint32_t begin) noexcept;
   Extent* extentAt(std::uint32_t begin) noexcept;
   bool overlaps(Extent const& extent) const noexcept;
   void append(Extent const& extent);
   void appendToLayout(Extent const& extent);
   void insertLate(Extent const& extent);
   void merge() noexcept;
   void layOut();
   bool isRegular() const noexcept;
   bool continuesRegularly(Extent const& extent) const noexcept;
   void regularIs() noexcept;
   void divide();
   void endIs(std::uint32_t end) noexcept;

   // What a look-up reads stands together.
   std::uint32_t firstEntry_ = 0; ///< where the first in `sorted_` begins
   std::uint32_t quickRange_ = 0; ///< entries to the last one's end; 0 where it takes more than `findQuickly`
   std::uint32_t shift_ = 0;      ///< a bucket is 2^shift_ entries wide; regular: see `reciprocal_`
   Layout layout_ = Layout::single;
   bool isSuspended_ = false;
   std::uint64_t reciprocal_ = 0; ///< regular: 2^shift_ / the distance of two begins, rounded up
   std::vector<Extent> sorted_;   ///< by `begin`; the last is a guard that holds no entry
   /// Even, uneven: the first extent that ends behind the bucket's begin; one more than buckets.
   std::vector<std::uint32_t> buckets_;
   std::vector<Extent> late_;    ///< by `begin`, too
   std::uint32_t sortedEnd_ = 0; ///< where the last in `sorted_` ended before it was erased, if it was
   std::size_t erased_ = 0;      ///< how many in `sorted_` are
   std::size_t laidOut_ = 0;     ///< how many `sorted_` held when the layout was chosen
};

} // namespace Quorvel::Core::Memory::Control::Detail
