#include <Quorvel/Core/Memory/Info/Detail/Group.h>

namespace Quorvel::Core::Memory::Info::Detail {

constinit Kro::AllocTrackTypeInfo Group::KroChunkInternal::memAllocationTracker_{
   sizeof(KroChunkInternal), "Quorvel::Core::Memory::Info::Detail::Group::KroChunkInternal"};

Chunk Group::chunk(Orvo::String const& nameAttribute) const
{
   auto const* found = chunk_.find(nameAttribute);
   return found != nullptr ? *found : Chunk();
}

void Group::chunkIs(Chunk const& chunk)
{
   chunk_.is(chunk);
}

Chunk Group::chunkDel(Orvo::String const& nameAttribute)
{
   return chunk_.take(nameAttribute).value_or(Chunk());
}

void Group::chunkDelAll()
{
   chunk_.clear();
}

Chunk Group::chunkInternal(int number) const
{
   auto const* found = chunkInternal_.find(number);
   return found != nullptr ? *found : Chunk();
}

void Group::chunkInternalIs(int number, Chunk const& chunk)
{
   chunkInternal_.is(number, chunk);
}

Chunk Group::chunkInternalDel(int number)
{
   return chunkInternal_.take(number).value_or(Chunk());
}

Group::ChunksInternal::const_iterator Group::chunkInternalDel(ChunksInternal::const_iterator at)
{
   return chunkInternal_.erase(at);
}

void Group::chunkInternalDelAll()
{
   chunkInternal_.clear();
}

Group::operator bool() const
{
   return !(*this == Group(0, 0, 0));
}

} // namespace Quorvel::Core::Memory::Info::Detail
