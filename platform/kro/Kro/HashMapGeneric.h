#pragma once

#include <Kro/AllocTrackTypeInfo.h>
#include <Kro/Export.h>

#include <Orvo/Assert.h>

#include <cstddef>
#include <cstdint>
#include <utility>

namespace Kro {

/// What lies under every hash collection, whatever its key and value: one doubly linked list of all elements, ascending
/// by (hash, key), and above it an array of buckets. A bucket is a range of the hash's top bits and points to the first
/// element of that range, or is null.
///
/// So the order of iteration is a function of the content alone: not of the sequence of calls, not of the number of
/// buckets. A copy has its original's order; growing and shrinking make a new array and relink nothing; empty buckets
/// cost a walk nothing. Which of two elements of equal hash is first is the business of the collection, which knows the
/// keys.
///
/// The array doubles when there is more than one element for a bucket, and halves when there is less than one for
/// eight. An empty collection that has never had an element has no array.
///
/// Ownership: owns the array and none of the elements.
/// Threads:   const operations may run together; the caller serialises changes.
class HashMapGeneric {
public:
   /// The part of an element that does not depend on its type.
   struct Link {
      Link* previous;
      Link* next;
      std::uint64_t hash;
   };

   /// A place in the list as it is. Any use after a change of the collection ends the process.
   class RawCursor {
   public:
      RawCursor() noexcept = default;

      RawCursor(HashMapGeneric const& hashMap, Link* link) noexcept
         : hashMap_(&hashMap), link_(link), version_(hashMap.version())
      {}

      /// Whether it may still be used.
      bool isCurrent() const noexcept { return version_ == hashMap_->version(); }

      /// The element; null at the end.
      Link* link() const
      {
         check();
         return link_;
      }

      /// To the next element; not from the end.
      void advance()
      {
         check();
         link_ = link_->next;
      }

   private:
      template <class>
      friend class HashMapPosition;

      void check() const { Orvo::assertThat(version_ == hashMap_->version(), "version_ == hashMap_->version()"); }

      HashMapGeneric const* hashMap_ = nullptr;
      Link* link_ = nullptr;
      std::uint64_t version_ = 0;
   };

   /// Counts the nodes of all hash collections of the process, and their bucket arrays as arrays of pointers.
   KRO_EXPORT static AllocTrackTypeInfo memAllocationTracker_;

   HashMapGeneric() noexcept = default;

   /// Takes over list and array; `other` is empty afterwards.
   HashMapGeneric(HashMapGeneric&& other) noexcept { swap(other); }

   HashMapGeneric& operator=(HashMapGeneric&&) = delete;

   /// Frees the array.
   KRO_EXPORT ~HashMapGeneric();

   void swap(HashMapGeneric& other) noexcept
   {
      std::swap(buckets_, other.buckets_);
      std::swap(first_, other.first_);
      std::swap(last_, other.last_);
      std::swap(size_, other.size_);
      std::swap(bits_, other.bits_);
      ++version_;
      ++other.version_;
   }

   std::size_t size() const noexcept { return size_; }

   bool empty() const noexcept { return size_ == 0; }

   /// Raised by every change. Equal versions of one collection: nothing has changed in between.
   std::uint64_t version() const noexcept { return version_; }

   std::size_t bucketCount() const noexcept { return buckets_ == nullptr ? 0 : std::size_t{1} << bits_; }

   Link* first() const noexcept { return first_; }

   /// First element of the bucket to which `hash` belongs, or null. Its hash may be smaller than, equal to or greater
   /// than `hash`; an element with that hash is in the list from here on.
   Link* bucket(std::uint64_t hash) const noexcept { return buckets_ == nullptr ? nullptr : buckets_[slot(hash)]; }

   /// First element whose hash is not less than `hash`, or null.
   Link* lowerBound(std::uint64_t hash) const noexcept
   {
      auto* at = bucket(hash);
      if (at == nullptr) {
         return firstBehindBucket(hash);
      }
      while (at != nullptr && at->hash < hash) {
         at = at->next;
      }
      return at;
   }

   /// Makes sure that one more element can be added without allocating.
   /// @throws std::bad_alloc  nothing has changed
   void reserveOne()
   {
      if (size_ >= bucketCount()) [[unlikely]] {
         grow();
      }
   }

   /// Puts `link` before `next`, at the end when that is null. The caller has called `reserveOne`, and has found the
   /// place.
   void insert(Link& link, Link* next) noexcept
   {
      auto* const previous = next == nullptr ? last_ : next->previous;
      link.previous = previous;
      link.next = next;
      (previous == nullptr ? first_ : previous->next) = &link;
      (next == nullptr ? last_ : next->previous) = &link;
      auto& head = buckets_[slot(link.hash)];
      if (head == nullptr || head == next) {
         head = &link;
      }
      ++size_;
      ++version_;
   }

   /// Takes `link`, an element, out of the list. May make the array smaller.
   KRO_EXPORT void remove(Link& link) noexcept;

   /// Gives an empty collection as many buckets as `other` has.
   /// @throws std::bad_alloc  nothing has changed
   KRO_EXPORT void reserveLike(HashMapGeneric const& other);

   /// Empties it and frees the array. The elements stay linked to each other, as a list that begins with the result.
   KRO_EXPORT Link* release() noexcept;

   /// An element has got another value.
   void noteReplaced() noexcept { ++version_; }

   /// Makes the array 2^bits long: twice or half of what it is, which is the step of growing and shrinking.
   /// @throws std::bad_alloc  nothing has changed
   KRO_EXPORT void resize(unsigned bits);

   /// Storage for an element.
   /// @throws std::bad_alloc
   KRO_EXPORT static void* allocateNode(std::size_t size);
   KRO_EXPORT static void freeNode(void* node, std::size_t size) noexcept;

private:
   static constexpr unsigned minBits = 3;

   std::size_t slot(std::uint64_t hash) const noexcept { return slot(hash, bits_); }

   static std::size_t slot(std::uint64_t hash, unsigned bits) noexcept { return hash >> (64 - bits); }

   static Link** allocateBuckets(unsigned bits);
   static void freeBuckets(Link** buckets, unsigned bits) noexcept;

   KRO_EXPORT Link* firstBehindBucket(std::uint64_t hash) const noexcept;
   KRO_EXPORT void grow();
   void shrink() noexcept;

   Link** buckets_ = nullptr;
   Link* first_ = nullptr;
   Link* last_ = nullptr;
   std::size_t size_ = 0;
   std::uint64_t version_ = 0;
   unsigned bits_ = minBits; ///< binary logarithm of the number of buckets, when there is an array
};

} // namespace Kro
