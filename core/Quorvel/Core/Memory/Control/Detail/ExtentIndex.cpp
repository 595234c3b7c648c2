#include <Quorvel/Core/Memory/Control/Detail/ExtentIndex.h>

#include <algorithm>
#include <bit>
#include <new>

namespace Quorvel::Core::Memory::Control::Detail {
namespace {

/// Stands behind the last extent, so that `find` may look one further.
constexpr Extent guard{0xffffffffU, 0xffffffffU, nullptr};

/// The longest range of entries in which the division by multiplication is exact.
constexpr unsigned bitsOfRegularRange = 31;

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

Extent const* ExtentIndex::findSlowly(std::uint32_t entry) const noexcept
{
   if (isSuspended_) {
      return nullptr;
   }
   if (layout_ == Layout::uneven && entry - firstEntry_ < sortedEnd_ - firstEntry_) {
      auto const* const at = search(entry);
      if (at->begin <= entry && entry < at->end) {
         return at;
      }
   }
   return findLate(entry);
}

Extent const* ExtentIndex::search(std::uint32_t entry) const noexcept
{
   auto const* const first = sorted_.data();
   auto const bucket = (entry - firstEntry_) >> shift_;
   return std::upper_bound(first + buckets_[bucket], first + buckets_[bucket + 1], entry, endsBehind);
}

Extent const* ExtentIndex::findLate(std::uint32_t entry) const noexcept
{
   auto const at = std::upper_bound(late_.begin(), late_.end(), entry, endsBehind);
   return at != late_.end() && at->begin <= entry ? &*at : nullptr;
}

Extent const* ExtentIndex::findNext(std::uint32_t entry) const noexcept
{
   if (auto const* const holds = findQuickly(entry)) [[likely]] {
      return holds;
   }
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
   try {
      appendToLayout(extent);
   } catch (...) {
      sorted_.pop_back();
      sorted_.back() = guard;
      throw;
   }
}

/// Makes the layout fit the extent, the last in `sorted_` now.
void ExtentIndex::appendToLayout(Extent const& extent)
{
   auto const position = static_cast<std::uint32_t>(sortedCount() - 1);
   if (layout_ == Layout::regular && continuesRegularly(extent)) {
      endIs(extent.end);
      return;
   }
   if (buckets_.empty() || position >= 2 * laidOut_) {
      layOut();
      return;
   }
   auto const needed = ((extent.end - 1 - firstEntry_) >> shift_) + 1;
   if (needed > mostBuckets(sortedCount())) {
      layOut();
      return;
   }
   buckets_.resize(needed + 1, position);
   // So far nothing ended behind the last bucket's end: what stands there is this extent's position already.
   buckets_[needed] = position + 1;
   if (position + 1 - buckets_[needed - 1] > 1) {
      layout_ = Layout::uneven;
   }
   endIs(extent.end);
}

void ExtentIndex::insertLate(Extent const& extent)
{
   late_.insert(placeOf(late_, extent.begin), extent);
   if (late_.size() > mostLate(sortedCount())) {
      merge();
   }
}

/// Chooses how to find what `sorted_` holds, which is not empty.
void ExtentIndex::layOut()
{
   auto const count = sortedCount();
   auto const first = sorted_.front().begin;
   auto const end = sorted_[count - 1].end;
   if (count == 1) {
      layout_ = Layout::single;
      buckets_ = {};
   } else if (isRegular()) {
      regularIs();
   } else {
      divide();
   }
   firstEntry_ = first;
   laidOut_ = count;
   endIs(end);
}

/// @return whether those in `sorted_`, two at least, begin at equal distances, and none is longer
bool ExtentIndex::isRegular() const noexcept
{
   auto const distance = sorted_[1].begin - sorted_[0].begin;
   for (std::size_t i = 2; i < sortedCount(); ++i) {
      if (sorted_[i].begin - sorted_[i - 1].begin != distance) {
         return false;
      }
   }
   auto const& last = sorted_[sortedCount() - 1];
   return last.end - last.begin <= distance && (last.end - sorted_[0].begin) >> bitsOfRegularRange == 0;
}

bool ExtentIndex::continuesRegularly(Extent const& extent) const noexcept
{
   auto const distance = sorted_[1].begin - sorted_[0].begin;
   return extent.begin - sorted_[sortedCount() - 2].begin == distance && extent.end - extent.begin <= distance &&
          (extent.end - firstEntry_) >> bitsOfRegularRange == 0;
}

void ExtentIndex::regularIs() noexcept
{
   auto const distance = sorted_[1].begin - sorted_[0].begin;
   // n * reciprocal / 2^shift is too large by n * (less than 1) / 2^shift at most, which is less than 1 / distance for every
   // n below 2^31, so that it is rounded to the right number. It is below 2^64.
   shift_ = bitsOfRegularRange + static_cast<std::uint32_t>(std::bit_width(distance - 1));
   reciprocal_ = ((std::uint64_t{1} << shift_) + distance - 1) / distance;
   layout_ = Layout::regular;
   buckets_ = {};
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
   layout_ = isEven ? Layout::even : Layout::uneven;
   shift_ = shift;
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
         layOut();
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
   endIs(sortedEnd_);
}

void ExtentIndex::endIs(std::uint32_t end) noexcept
{
   sortedEnd_ = end;
   quickRange_ = isSuspended_ || layout_ == Layout::uneven ? 0 : sortedEnd_ - firstEntry_;
}

} // namespace Quorvel::Core::Memory::Control::Detail
