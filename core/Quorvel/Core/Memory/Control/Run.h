#pragma once

#include <Quorvel/Core/Memory/Control/Detail/Attribute.h>
#include <Quorvel/Core/Pointer.h>

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>

namespace Quorvel::Core::Memory::Control {

/// Consecutive entries whose field lies side by side in one block of memory.
///
/// The field of entry `first` + i lies at `memory.get() + i` and, where the memory is DMA capable, at bus address
/// `addressBus` + i * sizeof(T). Where T is std::byte, a field has more bytes than one: use i * size of the field for both.
template <class T>
struct Run {
   std::uint32_t first;      ///< number of the first entry
   std::uint32_t count;      ///< number of entries, at least one
   std::uint64_t addressBus; ///< of the first entry; 0 where the memory is not DMA capable
   Pointer<T> memory;        ///< of the first entry
};

/// The runs of one field, ascending by entry: each entry once, where `Collection::addressBus` and `addressVirtual` place it;
/// entries that no group with a chunk covers are left out. Made by `Collection::runs`.
///
/// Ownership: borrows the field and its chunks; valid as long as they live. A change of the field shows from the next run on.
/// Cost: like one look-up of an address for each run, but O(chunks) for each where groups overlap; allocates nothing.
/// A chunk key of the field whose group is missing stops the process.
template <class T>
class Runs {
public:
   class Iterator {
   public:
      using value_type = Run<T>;
      using difference_type = std::ptrdiff_t;

      Iterator() = default;

      explicit Iterator(Detail::Attribute const& attribute) : attribute_(&attribute), at_(attribute.nextStretch(0)) {}

      Run<T> operator*() const noexcept
      {
         auto const& chunk = *at_->chunk;
         auto const address = chunk.addressVirtual() + at_->offset;
         return {
            at_->first, at_->count, chunk.isIncapableDma() ? 0 : chunk.addressBus() + at_->offset,
            Pointer<T>(reinterpret_cast<T*>(address))};
      }

      Iterator& operator++()
      {
         // 32-bit wrap impossible: no group covers the last number.
         at_ = attribute_->nextStretch(at_->first + at_->count);
         return *this;
      }

      void operator++(int) { ++*this; }

      friend bool operator==(Iterator const& iterator, std::default_sentinel_t) noexcept { return !iterator.at_; }

   private:
      Detail::Attribute const* attribute_ = nullptr;
      std::optional<Detail::Stretch> at_;
   };

   Iterator begin() const { return Iterator(*attribute_); }

   std::default_sentinel_t end() const noexcept { return {}; }

private:
   friend class Collection;

   explicit Runs(Detail::Attribute const& attribute) noexcept : attribute_(&attribute) {}

   Detail::Attribute const* attribute_;
};

} // namespace Quorvel::Core::Memory::Control
