#pragma once

#include <Kro/AllocTrackTypeInfo.h>
#include <Kro/Export.h>

#include <Orvo/Assert.h>
#include <TolSlab/Slab.h>

#include <cstddef>
#include <cstdint>
#include <utility>

namespace Kro {

/// What lies under every hash collection, whatever its key and value: one doubly linked list of all elements, ascending
/// by (hash, key), and above it, when there are many, an array of buckets. A bucket is a range of the hash's top bits and
/// points to the first element of that range, or is null.
///
/// So the order of iteration is a function of the content alone: not of the sequence of calls, not of the number of
/// buckets. A copy has its original's order; growing and shrinking make a new array and relink nothing; empty buckets
/// cost a walk nothing. Which of two elements of equal hash is first is the business of the collection, which knows the
/// keys.
///
/// Up to 8 elements need no array: the list is searched, and a word with one bit for each 32nd of the range of hashes
/// tells most of the absent ones before. The ninth element brings an array of 16 buckets. It doubles when there is more
/// than one element for a bucket, and halves when there is less than one for eight; half of 16 is none again. So an array
/// that was made for the ninth element stays until one is left.
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
   ~HashMapGeneric()
   {
      if (buckets_ != nullptr) [[unlikely]] {
         freeBuckets();
      }
   }

   void swap(HashMapGeneric& other) noexcept
   {
      std::swap(buckets_, other.buckets_);
      std::swap(first_, other.first_);
      std::swap(last_, other.last_);
      std::swap(size_, other.size_);
      std::swap(bits_, other.bits_);
      std::swap(parts_, other.parts_);
      ++version_;
      ++other.version_;
   }

   std::size_t size() const noexcept { return size_; }

   bool empty() const noexcept { return size_ == 0; }

   /// Raised by every change. Equal versions of one collection: nothing has changed in between.
   std::uint64_t version() const noexcept { return version_; }

   /// 0 without an array.
   std::size_t bucketCount() const noexcept { return buckets_ == nullptr ? 0 : capacity(); }

   Link* first() const noexcept { return first_; }

   /// Where an element with that hash is, if there is one: the first whose hash is not less than `hash`. Null when there
   /// surely is none, whatever stands behind its place.
   Link* search(std::uint64_t hash) const noexcept
   {
      if (buckets_ != nullptr) {
         return firstFrom(buckets_[slot(hash)], hash);
      }
      if ((parts_ & partOf(hash)) == 0) {
         return nullptr;
      }
      auto* at = first_;
      while (at->hash < beginOfPart(hash)) { // the part is not empty: this ends at its first element
         at = at->next;
      }
      return firstFrom(at, hash);
   }

   /// First element whose hash is not less than `hash`, or null.
   Link* lowerBound(std::uint64_t hash) const noexcept
   {
      if (buckets_ == nullptr) {
         return firstFrom(first_, hash);
      }
      auto* const head = buckets_[slot(hash)];
      return head != nullptr ? firstFrom(head, hash) : firstBehindBucket(hash);
   }

   /// Makes sure that one more element can be added without allocating.
   /// @throws std::bad_alloc  nothing has changed
   void reserveOne()
   {
      if (size_ >= capacity()) [[unlikely]] {
         resize(bits_ + 1);
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
      if (buckets_ != nullptr) {
         auto& head = buckets_[slot(link.hash)];
         if (head == nullptr || head == next) {
            head = &link;
         }
      }
      parts_ |= partOf(link.hash);
      ++size_;
      ++version_;
   }

   /// Takes `link`, an element, out of the list. May make the array smaller.
   KRO_EXPORT void remove(Link& link) noexcept;

   /// Fills this new collection with `clone(Link const&)`, a `Link&`, of each element of `other`, in its order. The array
   /// is as long as the other's, and there is none for elements that need none.
   /// @throws whatever cloning throws, and std::bad_alloc; then only `release` may be called, which gives what was made
   template <class Clone>
   void cloneFrom(HashMapGeneric const& other, Clone clone)
   {
      if (other.size_ > largestList) [[unlikely]] {
         replaceBuckets(other.bits_);
      }
      auto** const buckets = buckets_;
      Link* last = nullptr;
      auto** end = &first_;
      for (auto const* from = other.first_; from != nullptr; from = from->next) {
         Link& made = clone(*from);
         made.previous = last;
         made.next = nullptr; // at every step what has been made is a list
         *end = last = &made;
         end = &made.next;
         if (buckets != nullptr) {
            if (auto*& head = buckets[slot(made.hash)]; head == nullptr) {
               head = &made;
            }
         }
      }
      last_ = last;
      size_ = other.size_;
      parts_ = other.parts_;
      ++version_;
   }

   /// Empties it and frees the array. The elements stay linked to each other, as a list that begins with the result.
   Link* release() noexcept
   {
      if (buckets_ != nullptr) [[unlikely]] {
         freeBuckets();
      }
      size_ = 0;
      parts_ = 0;
      last_ = nullptr;
      ++version_;
      return std::exchange(first_, nullptr);
   }

   /// An element has got another value.
   void noteReplaced() noexcept { ++version_; }

   /// Makes the array 2^bits long, 2^3 meaning none and the least: twice or half of what it is, which is the step of
   /// growing and shrinking.
   /// @throws std::bad_alloc  nothing has changed
   KRO_EXPORT void resize(unsigned bits);

   /// Storage for an element.
   /// @throws std::bad_alloc
   static void* allocateNode(std::size_t size)
   {
      void* const node = TolSlab::slabAllocOrStdMalloc(size);
      memAllocationTracker_.trackAllocation();
      return node;
   }

   static void freeNode(void* node, std::size_t size) noexcept
   {
      memAllocationTracker_.trackDeallocation();
      TolSlab::slabFreeOrStdFree(node, size);
   }

private:
   static constexpr unsigned bitsOfList = 3;
   static constexpr std::size_t largestList = std::size_t{1} << bitsOfList; ///< elements that need no array

   /// Elements for which there is room.
   std::size_t capacity() const noexcept { return std::size_t{1} << bits_; }

   std::size_t slot(std::uint64_t hash) const noexcept { return slot(hash, bits_); }

   static std::size_t slot(std::uint64_t hash, unsigned bits) noexcept { return hash >> (64 - bits); }

   static constexpr unsigned bitsOfParts = 5;

   /// The bit of `parts_` that stands for the part to which `hash` belongs.
   static std::uint32_t partOf(std::uint64_t hash) noexcept { return std::uint32_t{1} << (hash >> (64 - bitsOfParts)); }

   static std::uint64_t beginOfPart(std::uint64_t hash) noexcept { return hash & ~(~std::uint64_t{0} >> bitsOfParts); }

   /// First element from `at` on whose hash is not less than `hash`, or null.
   static Link* firstFrom(Link* at, std::uint64_t hash) noexcept
   {
      while (at != nullptr && at->hash < hash) {
         at = at->next;
      }
      return at;
   }

   static Link** allocateBuckets(unsigned bits);
   KRO_EXPORT void freeBuckets() noexcept;
   KRO_EXPORT void replaceBuckets(unsigned bits);
   KRO_EXPORT Link* firstBehindBucket(std::uint64_t hash) const noexcept;
   void shrink() noexcept;

   Link** buckets_ = nullptr;
   Link* first_ = nullptr;
   Link* last_ = nullptr;
   std::size_t size_ = 0;
   std::uint64_t version_ = 0;
   std::uint32_t bits_ = bitsOfList; ///< binary logarithm of the number of buckets; without an array `bitsOfList`
   std::uint32_t parts_ = 0; ///< one bit for each 32nd of the range of hashes: whether an element's hash is in it
};

} // namespace Kro
