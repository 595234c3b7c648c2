#include <Kro/HashMapGeneric.h>

#include <algorithm>
#include <new>
#include <utility>

namespace Kro {

constinit AllocTrackTypeInfo HashMapGeneric::memAllocationTracker_{0, "Kro::HashMap"};

void HashMapGeneric::remove(Link& link) noexcept
{
   if (buckets_ != nullptr) {
      auto& head = buckets_[slot(link.hash)];
      if (head == &link) {
         head = link.next != nullptr && slot(link.next->hash) == slot(link.hash) ? link.next : nullptr;
      }
   }
   (link.previous == nullptr ? first_ : link.previous->next) = link.next;
   (link.next == nullptr ? last_ : link.next->previous) = link.previous;
   --size_;
   ++version_;
   auto const part = partOf(link.hash);
   bool const isPartEmpty = (link.previous == nullptr || partOf(link.previous->hash) != part) &&
                            (link.next == nullptr || partOf(link.next->hash) != part);
   if (isPartEmpty) {
      parts_ &= ~part;
   }
   if (buckets_ != nullptr && size_ < bucketCount() / 8) [[unlikely]] {
      shrink();
   }
}

HashMapGeneric::Link* HashMapGeneric::firstBehindBucket(std::uint64_t hash) const noexcept
{
   auto** const end = buckets_ + bucketCount();
   auto** const at = std::find_if(buckets_ + slot(hash) + 1, end, [](Link* link) { return link != nullptr; });
   return at == end ? nullptr : *at;
}

void HashMapGeneric::resize(unsigned bits)
{
   auto const slotsToShift = bits > bits_ ? bits - bits_ : bits_ - bits;
   Orvo::assertThat(slotsToShift == 1, "slotsToShift == 1");
   replaceBuckets(bits);
}

void HashMapGeneric::replaceBuckets(unsigned bits)
{
   auto** const buckets = allocateBuckets(bits);
   if (buckets != nullptr) {
      // Backwards, so that the first element of each bucket is written last.
      for (auto* link = last_; link != nullptr; link = link->previous) {
         buckets[slot(link->hash, bits)] = link;
      }
   }
   freeBuckets();
   buckets_ = buckets;
   bits_ = bits;
   ++version_;
}

void HashMapGeneric::shrink() noexcept
{
   try {
      resize(bits_ - 1);
   } catch (std::bad_alloc const&) {
      // A larger array than needed is correct: the next removal tries again.
   }
}

HashMapGeneric::Link** HashMapGeneric::allocateBuckets(unsigned bits)
{
   if (bits == bitsOfList) {
      return nullptr;
   }
   auto const count = std::size_t{1} << bits;
   auto** const buckets = static_cast<Link**>(TolSlab::slabAllocOrStdMalloc(count * sizeof(Link*)));
   memAllocationTracker_.trackArrayAllocation(count);
   std::fill_n(buckets, count, nullptr);
   return buckets;
}

void HashMapGeneric::freeBuckets() noexcept
{
   if (buckets_ != nullptr) {
      auto const count = bucketCount();
      memAllocationTracker_.trackArrayDeallocation(count);
      TolSlab::slabFreeOrStdFree(std::exchange(buckets_, nullptr), count * sizeof(Link*));
      bits_ = bitsOfList;
   }
}

} // namespace Kro
