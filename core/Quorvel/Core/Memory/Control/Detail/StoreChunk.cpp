#include <Quorvel/Core/Memory/Control/Detail/StoreChunk.h>

#include <Quorvel/Core/Memory/SingletonOwner.h>
#include <Quorvel/Core/Model/Modules.h>

#include <Kro/Exception.h>

namespace Quorvel::Core::Memory::Control::Detail {
namespace {

constexpr char const* storeName = "Quorvel::Core::Memory::Control::Detail::StoreChunk";

/// The chunk is asked for with another size or another DMA capability.
[[noreturn, gnu::noinline]] void refuse(Chunk const& existing, std::uint32_t size, bool isIncapableDma)
{
   auto const& module = _Chunk_334569107d2ca953_kroModule;
   auto const member = Orvo::join("'", existing.name(), "'");
   if (existing.size() != size) {
      Kro::throwMutatorReinstantiating(module, "size", existing.size(), size, member);
   }
   Kro::throwMutatorReinstantiating(module, "isIncapableDma", existing.isIncapableDma(), isIncapableDma, member);
}

} // namespace

constinit Kro::AllocTrackTypeInfo StoreChunk::memAllocationTracker_{sizeof(StoreChunk), storeName};

StoreChunk::StoreChunk(Orvo::String const& name) : Entity(name) {}

StoreChunk::~StoreChunk()
{
   nodeFlagSet(flagDeleteOnLastUser, false);
   chunkDelAll();
}

Orvo::Ptr<StoreChunk> StoreChunk::instance()
{
   static SingletonOwner<StoreChunk> const owner(_Chunk_334569107d2ca953_kroModule, storeName);
   return SingletonOwner<StoreChunk>::living();
}

Orvo::Ptr<Chunk> StoreChunk::chunkIs(Orvo::String const& name, std::uint32_t size, bool isIncapableDma)
{
   auto const* const found = chunk_.find(name);
   if (found == nullptr) [[unlikely]] {
      return chunkMake(name, size, isIncapableDma);
   }
   auto const& existing = **found;
   if (existing.size() != size || existing.isIncapableDma() != isIncapableDma) [[unlikely]] {
      refuse(existing, size, isIncapableDma);
   }
   return *found;
}

Orvo::Ptr<Chunk> StoreChunk::chunkMake(Orvo::String const& name, std::uint32_t size, bool isIncapableDma)
{
   auto chunk = Orvo::make<Chunk>(name, size, isIncapableDma);
   chunk_.is(chunk);
   handleChunk(name);
   publishChunk(name);
   return chunk;
}

Orvo::Ptr<Chunk> StoreChunk::chunkDel(Orvo::String const& name)
{
   auto taken = chunk_.take(name);
   if (!taken) {
      return nullptr;
   }
   handleChunk((*taken)->name());
   publishChunk((*taken)->name());
   return *std::move(taken);
}

void StoreChunk::chunkDelAll()
{
   // Deleting advances nothing: the iterator finds its place again by key.
   for (auto at = chunk_.begin(); at != chunk_.end(); ++at) {
      chunkDel(Orvo::String(at.key()));
   }
}

Orvo::Ptr<Chunk> StoreChunk::chunk(Orvo::String const& name) const
{
   auto const* found = chunk_.find(name);
   return found != nullptr ? *found : nullptr;
}

void StoreChunk::handleChunk(Orvo::String const& name) const
{
   static_cast<void>(chunk_.contains(name));
}

void StoreChunk::publishChunk(Orvo::String const& name)
{
   publisher()->publishChangeRecursive(chunkNumber, "chunk", name);
}

} // namespace Quorvel::Core::Memory::Control::Detail
