#include <Quorvel/Core/Memory/Control/Detail/Attribute.h>

#include <Quorvel/Core/Model/Modules.h>

#include <Kro/Exception.h>
#include <Orvo/Assert.h>
#include <Quorvel/Utility/Raise.h>

namespace Quorvel::Core::Memory::Control::Detail {

constinit Kro::AllocTrackTypeInfo Attribute::memAllocationTracker_{
   sizeof(Attribute), "Quorvel::Core::Memory::Control::Detail::Attribute"};
constinit Kro::AllocTrackTypeInfo Attribute::KroGroup::memAllocationTracker_{
   sizeof(KroGroup), "Quorvel::Core::Memory::Control::Detail::Attribute::KroGroup"};
constinit Kro::AllocTrackTypeInfo Attribute::KroChunk::memAllocationTracker_{
   sizeof(KroChunk), "Quorvel::Core::Memory::Control::Detail::Attribute::KroChunk"};

Attribute::~Attribute()
{
   nodeFlagSet(flagDeleteOnLastUser, false);
   chunk_.clear();
   group_.clear();
}

Group* Attribute::group(std::uint32_t id) const
{
   auto const* found = group_.find(id);
   return found != nullptr ? found->get() : nullptr;
}

void Attribute::groupIs(Orvo::Ptr<Group> const& group)
{
   if (group == nullptr) {
      Kro::throwMutatorArgNullPointerException(_Collection_d95037a923a29d5_kroModule, "group");
   }
   if (this->group(group->id()) != group.get()) {
      group_.is(group->id(), group);
   }
}

Orvo::Ptr<Group> Attribute::groupDel(std::uint32_t id)
{
   return group_.take(id).value_or(nullptr);
}

Attribute::Groups::const_iterator Attribute::groupDel(Groups::const_iterator at)
{
   return group_.erase(at);
}

void Attribute::groupDelAll()
{
   group_.clear();
}

Chunk* Attribute::chunk(std::uint32_t key) const
{
   auto const* found = chunk_.find(key);
   return found != nullptr ? found->get() : nullptr;
}

void Attribute::chunkIs(std::uint32_t key, Orvo::Ptr<Chunk> const& chunk)
{
   if (chunk == nullptr) {
      chunk_.erase(key);
   } else if (this->chunk(key) != chunk.get()) {
      chunk_.is(key, chunk);
   }
}

Orvo::Ptr<Chunk> Attribute::chunkDel(std::uint32_t key)
{
   return chunk_.take(key).value_or(nullptr);
}

Attribute::Chunks::const_iterator Attribute::chunkDel(Chunks::const_iterator at)
{
   return chunk_.erase(at);
}

void Attribute::chunkDelAll()
{
   chunk_.clear();
}

std::pair<Chunk*, std::uint32_t> Attribute::obtainChunkAndOffset(std::uint32_t index, Offsetter offsetter) const
{
   for (auto at = chunk_.begin(); at != chunk_.end(); ++at) {
      auto const* found = group_.find(at.key());
      ORVO_ASSERT(found != nullptr, "every chunk has its group");
      auto const& group = **found;
      // 32-bit wrap intended: a group that ends past 2^32 matches nothing.
      if (group.head() <= index && index < group.head() + group.size()) {
         auto const offset =
            offsetter != nullptr ? offsetter(group.head(), index, size_) : (index - group.head()) * size_;
         return {at->get(), offset};
      }
   }
   Utility::raise(Kro::RangeException(Orvo::join("index ", index, " is out of range.")));
}

} // namespace Quorvel::Core::Memory::Control::Detail
