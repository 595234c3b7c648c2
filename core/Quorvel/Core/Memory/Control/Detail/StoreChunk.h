#pragma once

#include <Quorvel/Core/Export.h>
#include <Quorvel/Core/Memory/Control/Detail/Chunk.h>

#include <Kro/AllocTrackTypeInfo.h>
#include <Kro/Entity.h>
#include <Kro/HashMap.h>
#include <Kro/SlabAllocated.h>
#include <Orvo/Ptr.h>
#include <Orvo/String.h>

#include <cstdint>

namespace Quorvel::Core::Memory::Control::Detail {

/// The process's one store of live chunks, each under its name: two descriptions that name the same chunk share it.
///
/// Ownership: keeps one reference to each chunk, so a chunk stays mapped until it is deleted here and its last user is
/// gone. Changes of `chunk` are published. Threads: `instance()` from any; the rest from one thread at a time.
class QUORVEL_CORE_EXPORT StoreChunk final : public Kro::Entity, public Kro::SlabAllocated<StoreChunk> {
   struct NameOf {
      Orvo::String const& operator()(Orvo::Ptr<Chunk> const& chunk) const noexcept { return chunk->name(); }
   };

public:
   struct HN_Chunk {};

   using Chunks = Kro::HashMap<HN_Chunk, Orvo::String, Orvo::Ptr<Chunk>, NameOf>;

   explicit StoreChunk(Orvo::String const& name);
   ~StoreChunk() override;

   /// @return the store, made by the first call; null while it is being destroyed at the end of the process, and after
   static Orvo::Ptr<StoreChunk> instance();

   /// Finds the chunk of that name, or makes and maps it; a new one is published.
   ///
   /// @throws Kro::ReinstantiatingException when it exists with another size (looked at first) or another DMA capability;
   ///         Utility::AffirmException when the memory cannot be had: `pinmem_last_error()` says why. Nothing has changed
   ///         then. What a subscriber throws passes through, and the chunk stays.
   Orvo::Ptr<Chunk> chunkIs(Orvo::String const& name, std::uint32_t size, bool isIncapableDma);

   /// Takes the chunk of that name out and publishes it. Unmapped when the last reference goes.
   /// @return the store's reference; null, and nothing published, when there is none
   Orvo::Ptr<Chunk> chunkDel(Orvo::String const& name);
   void chunkDelAll();

   /// The live chunks, in hash order of their names.
   Chunks const& chunk() const noexcept { return chunk_; }

   /// @return the chunk of that name, or null
   Orvo::Ptr<Chunk> chunk(Orvo::String const& name) const;

   /// Called after every change of `chunk`. Changes nothing.
   void handleChunk(Orvo::String const& name) const;

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   static Kro::KroType const kroType;
   static Kro::AllocTrackTypeInfo memAllocationTracker_;

private:
   struct Declaration;
   static constexpr std::int16_t chunkNumber = 258;

   /// Makes a chunk of a name that the store does not hold.
   [[gnu::visibility("hidden"), gnu::noinline]] Orvo::Ptr<Chunk>
   chunkMake(Orvo::String const& name, std::uint32_t size, bool isIncapableDma);
   void publishChunk(Orvo::String const& name);

   Chunks chunk_;
};

} // namespace Quorvel::Core::Memory::Control::Detail
