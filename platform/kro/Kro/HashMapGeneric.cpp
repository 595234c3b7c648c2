#include <Kro/HashMapGeneric.h>

#include <TolSlab/Slab.h>

#include <algorithm>
#include <new>

namespace Kro {

constinit AllocTrackTypeInfo HashMapGeneric::memAllocationTracker_{0, "Kro::HashMap"};

HashMapGeneric::~HashMapGeneric()
{
   freeBuckets(buckets_, bits_);
}

void HashMapGeneric::remove(Link& link) noexcept
{
   auto& head = buckets_[slot(link.hash)];
   if (head == &link) {
      head = link.next != nullptr && slot(link.next->hash) == slot(link.hash) ? link.next : nullptr;
   }
   (link.previous == nullptr ? first_ : link.previous->next) = link.next;
   (link.next == nullptr ? last_ : link.next->previous) = link.previous;
   --size_;
   ++version_;
   if (bits_ > minBits && size_ < bucketCount() / 8) [[unlikely]] {
      shrink();
   }
}

void HashMapGeneric::reserveLike(HashMapGeneric const& other)
{
   if (other.empty()) {
      return;
   }
   auto** const buckets = allocateBuckets(other.bits_);
   freeBuckets(buckets_, bits_);
   buckets_ = buckets;
   bits_ = other.bits_;
   ++version_;
}

HashMapGeneric::Link* HashMapGeneric::release() noexcept
{
   freeBuckets(buckets_, bits_);
   buckets_ = nullptr;
   bits_ = minBits;
   size_ = 0;
   last_ = nullptr;
   ++version_;
   return std::exchange(first_, nullptr);
}

HashMapGeneric::Link* HashMapGeneric::firstBehindBucket(std::uint64_t hash) const noexcept
{
   if (buckets_ == nullptr) {
      return nullptr;
   }
   auto** const end = buckets_ + bucketCount();
   auto** const at = std::find_if(buckets_ + slot(hash) + 1, end, [](Link* link) { return link != nullptr; });
   return at == end ? nullptr : *at;
}

void HashMapGeneric::resize(unsigned bits)
{
   auto const slotsToShift = bits > bits_ ? bits - bits_ : bits_ - bits;
   Orvo::assertThat(slotsToShift == 1, "slotsToShift == 1");
   auto** const buckets = allocateBuckets(bits);
   if (bits > bits_) {
      // Backwards, so that the first element of each bucket is written last.
      for (auto* link = last_; link != nullptr; link = link->previous) {
         buckets[slot(link->hash, bits)] = link;
      }
   } else {
      for (std::size_t i = 0; i < std::size_t{1} << bits; ++i) {
         buckets[i] = buckets_[2 * i] != nullptr ? buckets_[2 * i] : buckets_[2 * i + 1];
      }
   }
   freeBuckets(buckets_, bits_);
   buckets_ = buckets;
   bits_ = bits;
   ++version_;
}

void HashMapGeneric::grow()
{
   if (buckets_ == nullptr) {
      buckets_ = allocateBuckets(minBits);
      bits_ = minBits;
      return;
   }
   resize(bits_ + 1);
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
   auto const count = std::size_t{1} << bits;
   auto** const buckets = static_cast<Link**>(TolSlab::slabAllocOrStdMalloc(count * sizeof(Link*)));
   memAllocationTracker_.trackArrayAllocation(count);
   std::fill_n(buckets, count, nullptr);
   return buckets;
}

void HashMapGeneric::freeBuckets(Link** buckets, unsigned bits) noexcept
{
   if (buckets != nullptr) {
      auto const count = std::size_t{1} << bits;
      memAllocationTracker_.trackArrayDeallocation(count);
      TolSlab::slabFreeOrStdFree(buckets, count * sizeof(Link*));
   }
}

void* HashMapGeneric::allocateNode(std::size_t size)
{
   void* const node = TolSlab::slabAllocOrStdMalloc(size);
   memAllocationTracker_.trackAllocation();
   return node;
}

void HashMapGeneric::freeNode(void* node, std::size_t size) noexcept
{
   memAllocationTracker_.trackDeallocation();
   TolSlab::slabFreeOrStdFree(node, size);
}

} // namespace Kro
