#pragma once

#include <Quorvel/Core/Export.h>

#include <Kro/AllocTrackTypeInfo.h>
#include <Kro/KroType.h>
#include <Kro/SlabAllocated.h>
#include <Orvo/Node.h>
#include <Orvo/String.h>

#include <cstdint>

namespace Quorvel::Core::Memory::Control::Detail {

/// The live owner of one named block of DMA memory, mapped into this process.
///
/// A chunk that exists is mapped: both addresses are non-zero. Its destructor releases the mapping; the block itself,
/// its name, bytes and bus address stay with the pinned-memory library. Ownership: reference-counted; usually made by
/// the StoreChunk, which keeps a reference. Threads: accessors may run together.
class QUORVEL_CORE_EXPORT Chunk final : public Orvo::Node, public Kro::SlabAllocated<Chunk> {
public:
   /// @param name           the block's name: no NUL byte, at most what the pinned-memory library takes
   /// @param size           bytes, passed on as they are
   /// @param isIncapableDma ordinary memory will do
   /// @throws Utility::AffirmException when the block cannot be had or mapped; `pinmem_last_error()` says why
   Chunk(Orvo::String const& name, std::uint32_t size, bool isIncapableDma);
   ~Chunk() override;

   /// Obtains and maps the block. Called by the constructor; called again it maps again, over the old addresses, and the
   /// second mapping is the caller's to release.
   /// @throws Utility::AffirmException when the block cannot be had or mapped; nothing has changed
   void initialize();

   std::uint32_t size() const noexcept { return size_; }

   Orvo::String const& name() const noexcept { return name_; }

   /// Where this process reads and writes the block.
   std::uint64_t addressVirtual() const noexcept { return addressVirtual_; }

   /// What a device is given. Of ordinary memory a token that no device can use; `Collection::addressBus` gives 0 for it.
   std::uint64_t addressBus() const noexcept { return addressBus_; }

   bool isIncapableDma() const noexcept { return isIncapableDma_; }

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   Kro::KroType const& fwkType() const noexcept { return kroType; }

   static Kro::KroType const kroType;
   static Kro::AllocTrackTypeInfo memAllocationTracker_;

private:
   struct Declaration;

   std::uint32_t size_;
   Orvo::String name_;
   std::uint64_t addressVirtual_ = 0;
   std::uint64_t addressBus_ = 0;
   bool isIncapableDma_;
};

} // namespace Quorvel::Core::Memory::Control::Detail
