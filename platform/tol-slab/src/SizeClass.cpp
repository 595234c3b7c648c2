#include "SizeClass.h"

#include <new>

namespace TolSlab::Detail {

constinit Slab SizeClass::none_{};

Slab* SizeClass::makeSlab(std::size_t objectSize)
{
   void* const memory = takeSlabMemory();
   searchForPointers(memory, slabSize);
   auto* const slab = new (memory) Slab{};
   slab->bump = static_cast<std::byte*>(memory) + sizeof(Slab);
   slab->end = slab->bump + capacity(objectSize) * objectSize;
   poison(slab->bump, slabSize - sizeof(Slab));
   return slab;
}

void* SizeClass::allocateFromOtherSlab(std::size_t objectSize)
{
   auto* chosen = partlyFilled_;
   if (chosen) {
      partlyFilled_ = chosen->next;
      if (partlyFilled_) {
         partlyFilled_->previous = nullptr;
      }
   } else {
      chosen = makeSlab(objectSize);
   }
   if (current_ != &none_) {
      // It is full, or it would have been allocated from.
      current_->bias = 1 - static_cast<std::uint32_t>(capacity(objectSize));
      current_->count = 1;
      ++fullCount_;
   }
   chosen->bias = 1;
   ++chosen->count;
   current_ = chosen;
   return allocate(objectSize);
}

void SizeClass::handleCountZero(Slab& slab) noexcept
{
   if (slab.bias != 0) {
      slab.count -= slab.bias;
      slab.bias = 0;
      --fullCount_;
      slab.previous = nullptr;
      slab.next = partlyFilled_;
      if (partlyFilled_) {
         partlyFilled_->previous = &slab;
      }
      partlyFilled_ = &slab;
      return;
   }
   if (slab.previous) {
      slab.previous->next = slab.next;
   } else {
      partlyFilled_ = slab.next;
   }
   if (slab.next) {
      slab.next->previous = slab.previous;
   }
   unpoison(&slab, slabSize);
   searchForPointersNoMore(&slab, slabSize);
   giveSlabMemory(&slab);
}

Counters SizeClass::counters(std::size_t objectSize) const noexcept
{
   Counters result{fullCount_ * capacity(objectSize), fullCount_};
   if (current_ != &none_) {
      result.live += current_->count - current_->bias;
      ++result.slabs;
   }
   for (auto const* slab = partlyFilled_; slab; slab = slab->next) {
      result.live += slab->count;
      ++result.slabs;
   }
   result.live -= lastFreed_ != nullptr;
   return result;
}

} // namespace TolSlab::Detail
