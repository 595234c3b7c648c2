#include <Quorvel/Core/Memory/Control/Detail/ExtentIndex.h>

#include <algorithm>
#include <bit>
#include <new>

namespace Quorvel::Core::Memory::Control::Detail {
namespace {

/// Stands behind the last extent, so that `find` may look one further.
constexpr Extent guard{0xffffffffU, 0xffffffffU, nullptr};

bool isErased(Extent const& extent) noexcept
{
   return extent.begin == extent.end;
}

bool beginsBefore(Extent const& extent, std::uint32_t begin) noexcept
{
   return extent.begin < begin;
}

bool endsBehind(std::uint32_t entry, Extent const& extent) noexcept
{
   return entry < extent.end;
}

/// How many buckets extents may have: few enough to be filled in the time that the extents take.
std::size_t mostBuckets(std::size_t extents) noexcept
{
   return 4 * extents + 4;
}

/// How many may wait: few enough to move on each insertion, enough to make a merge worth it. About four square roots.
std::size_t mostLate(std::size_t sorted) noexcept
{
   return std::max<std::size_t>(8, std::min(sorted / 8, std::size_t{4} << (std::bit_width(sorted) / 2)));
}

} // namespace

Extent const* ExtentIndex::search(std::uint32_t bucket, std::uint32_t entry) const noexcept
{
   auto const* const first = sorted_.data();
   return std::upper_bound(first + buckets_[bucket], first + buckets_[bucket + 1], entry, endsBehind);
}

Extent const* ExtentIndex::findLate(std::uint32_t entry) const noexcept
{
   auto const at = std::upper_bound(late_.begin(), late_.end(), entry, endsBehind);
   return !isSuspended_ && at != late_.end() && at->begin <= entry ? &*at : nullptr;
}

Extent const* ExtentIndex::findNext(std::uint32_t entry) const noexcept
{
   auto const end = sorted_.begin() + static_cast<std::ptrdiff_t>(sortedCount());
   auto at = std::upper_bound(sorted_.begin(), end, entry, endsBehind);
   while (at != end && isErased(*at)) {
      ++at;
   }
   auto const late = std::upper_bound(late_.begin(), late_.end(), entry, endsBehind);
   if (late != late_.end() && (at == end || late->begin < at->begin)) {
      return &*late;
   }
   return at != end ? &*at : nullptr;
}

bool ExtentIndex::overlaps(Extent const& extent) const noexcept
{
   auto const end = sorted_.begin() + static_cast<std::ptrdiff_t>(sortedCount());
   auto at = extent.begin < sortedEnd_ ? std::upper_bound(sorted_.begin(), end, extent.begin, endsBehind) : end;
   for (; at != end && at->begin < extent.end; ++at) {
      if (!isErased(*at)) {
         return true;
      }
   }
   auto const late = std::upper_bound(late_.begin(), late_.end(), extent.begin, endsBehind);
   return late != late_.end() && late->begin < extent.end;
}

bool ExtentIndex::insert(Extent const& extent)
{
   if (overlaps(extent)) {
      return false;
   }
   // Not into the room of one that was erased: `find` looks one further, not two.
   if (sortedEnd_ <= extent.begin) {
      append(extent);
   } else {
      insertLate(extent);
   }
   return true;
}

void ExtentIndex::append(Extent const& extent)
{
   if (sorted_.empty()) {
      sorted_.push_back(guard);
   }
   sorted_.back() = extent;
   try {
      sorted_.push_back(guard);
   } catch (...) {
      sorted_.back() = guard;
      throw;
   }
   auto const position = static_cast<std::uint32_t>(sortedCount() - 1);
   auto const needed = ((extent.end - 1 - firstEntry_) >> shift_) + 1;
   try {
      if (position >= 2 * divided_ || needed > mostBuckets(sortedCount())) {
         divide();
         return;
      }
      buckets_.resize(needed + 1, position);
   } catch (...) {
      sorted_.pop_back();
      sorted_.back() = guard;
      throw;
   }
   // So far nothing ended behind the last bucket's end: what stands there is this extent's position already.
   buckets_[needed] = position + 1;
   isEven_ = isEven_ && position + 1 - buckets_[needed - 1] <= 1;
   sortedEnd_ = extent.end;
   bucketCountIs(needed);
}

void ExtentIndex::insertLate(Extent const& extent)
{
   late_.insert(placeOf(late_, extent.begin), extent);
   if (late_.size() > mostLate(sortedCount())) {
      merge();
   }
}

/// Makes the buckets so narrow that none holds the ends of two extents or, where that were too many, as wide as extents are
/// apart on average.
void ExtentIndex::divide()
{
   auto const count = sortedCount();
   auto const first = sorted_.front().begin;
   std::uint32_t const range = sorted_[count - 1].end - first;
   auto nearest = range;
   for (std::size_t i = 1; i < count; ++i) {
      nearest = std::min(nearest, sorted_[i].end - sorted_[i - 1].end);
   }
   auto width = std::bit_floor(std::max(nearest, 1U));
   if ((range - 1) / width + 1 > mostBuckets(count)) {
      width = std::bit_floor(range / static_cast<std::uint32_t>(count));
   }
   auto const shift = static_cast<std::uint32_t>(std::countr_zero(width));
   auto const needed = ((range - 1) >> shift) + 1;

   buckets_.resize(std::max<std::size_t>(buckets_.size(), std::size_t{needed} + 1));
   bool isEven = true;
   std::uint32_t position = 0;
   for (std::uint32_t bucket = 0; bucket <= needed; ++bucket) {
      auto const begin = std::uint64_t{first} + (std::uint64_t{bucket} << shift);
      auto const before = position;
      while (position < count && sorted_[position].end <= begin) {
         ++position;
      }
      isEven = isEven && position - before <= 1;
      buckets_[bucket] = position;
   }
   buckets_.resize(std::size_t{needed} + 1);
   isEven_ = isEven;
   firstEntry_ = first;
   shift_ = shift;
   divided_ = count;
   sortedEnd_ = sorted_[count - 1].end;
   bucketCountIs(needed);
}

void ExtentIndex::merge() noexcept
{
   try {
      Extents all;
      all.reserve(sortedCount() - erased_ + late_.size() + 1);
      auto late = late_.begin();
      for (auto const& extent : sorted_) {
         for (; late != late_.end() && late->begin < extent.begin; ++late) {
            all.push_back(*late);
         }
         if (!isErased(extent)) {
            all.push_back(extent);
         }
      }
      if (all.empty()) {
         clear();
         return;
      }
      all.push_back(guard);
      sorted_.swap(all);
      try {
         divide();
      } catch (...) {
         sorted_.swap(all);
         throw;
      }
      late_.clear();
      erased_ = 0;
   } catch (std::bad_alloc const&) {
      // All is where it was, and found there, only not as fast.
   }
}

ExtentIndex::Extents::iterator ExtentIndex::placeOf(Extents& extents, std::uint32_t begin) noexcept
{
   return std::lower_bound(extents.begin(), extents.end(), begin, beginsBefore);
}

Extent* ExtentIndex::extentAt(std::uint32_t begin) noexcept
{
   for (auto* extents : {&sorted_, &late_}) {
      auto at = placeOf(*extents, begin);
      // One that was erased there is not meant.
      while (at != extents->end() && at->begin == begin && isErased(*at)) {
         ++at;
      }
      if (at != extents->end() && at->begin == begin) {
         return &*at;
      }
   }
   return nullptr;
}

void ExtentIndex::replace(std::uint32_t begin, Chunk* chunk) noexcept
{
   if (auto* extent = extentAt(begin)) {
      extent->chunk = chunk;
   }
}

void ExtentIndex::erase(std::uint32_t begin) noexcept
{
   auto* const extent = extentAt(begin);
   if (extent == nullptr) {
      return;
   }
   auto const at = placeOf(late_, begin);
   if (at != late_.end() && &*at == extent) {
      late_.erase(at);
      return;
   }
   extent->end = extent->begin;
   ++erased_;
   if (erased_ > sortedCount() / 2) {
      merge();
   }
}

void ExtentIndex::clear() noexcept
{
   bool const isSuspended = isSuspended_;
   *this = ExtentIndex();
   isSuspended_ = isSuspended;
}

void ExtentIndex::isSuspendedIs(bool isSuspended) noexcept
{
   isSuspended_ = isSuspended;
   bucketCountIs(bucketCount_);
}

void ExtentIndex::bucketCountIs(std::uint32_t count) noexcept
{
   bucketCount_ = count;
   bucketLimit_ = isSuspended_ ? 0 : count;
}

} // namespace Quorvel::Core::Memory::Control::Detail
