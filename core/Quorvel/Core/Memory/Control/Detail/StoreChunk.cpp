#include <Quorvel/Core/Memory/Control/Detail/StoreChunk.h>

#include <Quorvel/Core/Memory/SingletonOwner.h>
#include <Quorvel/Core/Model/Modules.h>

#include <Kro/Exception.h>

namespace Quorvel::Core::Memory::Control::Detail {
namespace {

constexpr char const* storeName = "Quorvel::Core::Memory::Control::Detail::StoreChunk";

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
   if (auto const* found = chunk_.find(name)) {
      auto const& existing = **found;
      auto const refuse = [&](char const* attribute, auto exists, auto asked) {
         Kro::throwMutatorReinstantiating(
            _Chunk_334569107d2ca953_kroModule, attribute, exists, asked, Orvo::join("'", name, "'"));
      };
      if (existing.size() != size) {
         refuse("size", existing.size(), size);
      }
      if (existing.isIncapableDma() != isIncapableDma) {
         refuse("isIncapableDma", existing.isIncapableDma(), isIncapableDma);
      }
      return *found;
   }
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
