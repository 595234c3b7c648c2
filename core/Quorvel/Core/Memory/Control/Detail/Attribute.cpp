#include <Quorvel/Core/Memory/Control/Detail/Attribute.h>

#include <Quorvel/Core/Model/Modules.h>

#include <Kro/Exception.h>
#include <Orvo/Assert.h>
#include <Quorvel/Utility/Raise.h>

#include <algorithm>
#include <limits>
#include <new>
#include <utility>

namespace Quorvel::Core::Memory::Control::Detail {

constinit Kro::AllocTrackTypeInfo Attribute::memAllocationTracker_{
   sizeof(Attribute), "Quorvel::Core::Memory::Control::Detail::Attribute"};
constinit Kro::AllocTrackTypeInfo Attribute::KroGroup::memAllocationTracker_{
   sizeof(KroGroup), "Quorvel::Core::Memory::Control::Detail::Attribute::KroGroup"};
constinit Kro::AllocTrackTypeInfo Attribute::KroChunk::memAllocationTracker_{
   sizeof(KroChunk), "Quorvel::Core::Memory::Control::Detail::Attribute::KroChunk"};

namespace {

/// 32-bit wrap intended: a group that ends past 2^32 covers nothing.
bool hasEntries(Group const& group) noexcept
{
   return group.head() < group.head() + group.size();
}

} // namespace

Attribute::~Attribute()
{
   nodeFlagSet(flagDeleteOnLastUser, false);
   chunkDelAll();
   groupDelAll();
}

Group* Attribute::group(std::uint32_t id) const
{
   auto const* found = group_.findFromLast(id);
   return found != nullptr ? found->get() : nullptr;
}

void Attribute::groupIs(Orvo::Ptr<Group> const& group)
{
   if (group == nullptr) {
      Kro::throwMutatorArgNullPointerException(_Collection_d95037a923a29d5_kroModule, "group");
   }
   // Kept to the end: its last user may act on this attribute.
   Orvo::Ptr<Group> const before = this->group(group->id());
   if (before == group) {
      return;
   }
   group_.is(group->id(), group);
   if (auto* held = chunk(group->id())) {
      lonelyChunksIs(lonelyChunks_ - (before == nullptr ? 1U : 0U));
      pairIs(before.get(), group.get(), held);
   }
}

Orvo::Ptr<Group> Attribute::groupDel(std::uint32_t id)
{
   auto taken = group_.take(id).value_or(nullptr);
   if (taken != nullptr && chunk(id) != nullptr) {
      lonelyChunksIs(lonelyChunks_ + 1);
      pairIs(taken.get(), nullptr, nullptr);
   }
   return taken;
}

Attribute::Groups::const_iterator Attribute::groupDel(Groups::const_iterator at)
{
   auto const taken = groupDel(at.key()); // kept to the end: its last user may act on this attribute
   return ++at;
}

void Attribute::groupDelAll()
{
   Groups const gone = std::exchange(group_, Groups());
   index_.clear();
   hasOverlap_ = false;
   lonelyChunksIs(chunk_.size());
}

Chunk* Attribute::chunk(std::uint32_t key) const
{
   auto const* found = chunk_.findFromLast(key);
   return found != nullptr ? found->get() : nullptr;
}

void Attribute::chunkIs(std::uint32_t key, Orvo::Ptr<Chunk> const& chunk)
{
   if (chunk == nullptr) {
      chunkDel(key);
      return;
   }
   // Kept to the end: its last user may act on this attribute.
   Orvo::Ptr<Chunk> const before = this->chunk(key);
   if (before == chunk) {
      return;
   }
   chunk_.is(key, chunk);
   if (auto const* covered = group(key)) {
      pairIs(before != nullptr ? covered : nullptr, covered, chunk.get());
   } else if (before == nullptr) {
      lonelyChunksIs(lonelyChunks_ + 1);
   }
}

Orvo::Ptr<Chunk> Attribute::chunkDel(std::uint32_t key)
{
   auto taken = chunk_.take(key).value_or(nullptr);
   if (taken == nullptr) {
      return nullptr;
   }
   if (auto const* covered = group(key)) {
      pairIs(covered, nullptr, nullptr);
   } else {
      lonelyChunksIs(lonelyChunks_ - 1);
   }
   return taken;
}

Attribute::Chunks::const_iterator Attribute::chunkDel(Chunks::const_iterator at)
{
   auto const taken = chunkDel(at.key()); // kept to the end: its last user may act on this attribute
   return ++at;
}

void Attribute::chunkDelAll()
{
   Chunks const gone = std::exchange(chunk_, Chunks());
   index_.clear();
   hasOverlap_ = false;
   lonelyChunksIs(0);
}

void Attribute::pairIs(Group const* before, Group const* after, Chunk* chunk) noexcept
{
   if (hasOverlap_) {
      reindex();
      return;
   }
   bool const wasIndexed = before != nullptr && hasEntries(*before);
   if (wasIndexed && before == after) {
      index_.replace(after->head(), chunk);
      return;
   }
   if (wasIndexed) {
      index_.erase(before->head());
   }
   if (after == nullptr || !hasEntries(*after)) {
      return;
   }
   try {
      if (index_.insert({after->head(), after->head() + after->size(), chunk})) {
         return;
      }
      patience_ = all;
   } catch (std::bad_alloc const&) {
      patience_ = patience_ == all ? 0 : 2 * patience_ + 1;
   }
   // The walk still answers.
   hasOverlap_ = true;
   index_.clear();
   changesSince_ = 0;
   chunksThen_ = chunk_.size();
}

/// Tries again whether extents still overlap, seldom enough to be cheap, whether chunks have become more or fewer; where there
/// was no memory, soon.
void Attribute::reindex() noexcept
{
   if (++changesSince_ <= std::min({chunk_.size(), chunksThen_, patience_})) {
      return;
   }
   hasOverlap_ = false;
   for (auto at = chunk_.begin(); at != chunk_.end() && !hasOverlap_; ++at) {
      if (auto const* covered = group(at.key())) {
         pairIs(nullptr, covered, at->get());
      }
   }
   if (!hasOverlap_) {
      patience_ = all;
   }
}

std::optional<std::uint32_t> Attribute::nextCovered(std::uint32_t from) const
{
   std::optional<std::uint32_t> next;
   for (auto at = chunk_.begin(); at != chunk_.end(); ++at) {
      auto const& covered = groupOf(at.key());
      if (hasEntries(covered) && from < covered.head() + covered.size()) {
         auto const first = std::max(from, covered.head());
         next = next ? std::min(*next, first) : first;
      }
   }
   return next;
}

std::optional<Extent> Attribute::nextExtent(std::uint32_t from) const
{
   if (isIndexed()) [[likely]] {
      auto const* extent = index_.findNext(from);
      return extent != nullptr ? std::optional(*extent) : std::nullopt;
   }
   auto const first = nextCovered(from);
   if (!first) {
      return std::nullopt;
   }
   // The first group that covers the entry has it, up to where one with a smaller id begins.
   auto end = std::numeric_limits<std::uint32_t>::max();
   for (auto at = chunk_.begin(); at != chunk_.end(); ++at) {
      auto const& covered = groupOf(at.key());
      auto const behind = covered.head() + covered.size();
      if (covered.head() <= *first && *first < behind) {
         return Extent{covered.head(), std::min(end, behind), at->get()};
      }
      if (hasEntries(covered) && *first < covered.head()) {
         end = std::min(end, covered.head());
      }
   }
   return std::nullopt;
}

std::optional<Stretch> Attribute::nextStretch(std::uint32_t from) const
{
   auto const extent = nextExtent(from);
   if (!extent) {
      return std::nullopt;
   }
   auto const first = std::max(from, extent->begin);
   auto const offset = offsetOf(extent->begin, first, nullptr);
   // Offsets wrap in 32 bits; a stretch ends there.
   auto const room = (std::uint64_t{1} << 32U) - offset;
   auto const most = size_ != 0 ? (room + size_ - 1) / size_ : room;
   auto const count = static_cast<std::uint32_t>(std::min<std::uint64_t>(extent->end - first, most));
   return Stretch{first, count, extent->chunk, offset};
}

std::pair<Chunk*, std::uint32_t> Attribute::obtainChunkAndOffset(std::uint32_t index, Offsetter offsetter) const
{
   return lookUp(index, offsetter);
}

std::pair<Chunk*, std::uint32_t> Attribute::lookUp(std::uint32_t index, Offsetter offsetter) const
{
   if (auto const* extent = index_.find(index)) [[likely]] {
      return {extent->chunk, offsetOf(extent->begin, index, offsetter)};
   }
   return walk(index, offsetter);
}

/// @return the group of a chunk's key
Group const& Attribute::groupOf(std::uint32_t key) const
{
   auto const* found = group(key);
   ORVO_ASSERT(found != nullptr, "every chunk has its group");
   return *found;
}

/// The rule.
std::pair<Chunk*, std::uint32_t> Attribute::walk(std::uint32_t index, Offsetter offsetter) const
{
   for (auto at = chunk_.begin(); at != chunk_.end(); ++at) {
      auto const& group = groupOf(at.key());
      // 32-bit wrap intended: a group that ends past 2^32 matches nothing.
      if (group.head() <= index && index < group.head() + group.size()) {
         return {at->get(), offsetOf(group.head(), index, offsetter)};
      }
   }
   Utility::raise(Kro::RangeException(Orvo::join("index ", index, " is out of range.")));
}

} // namespace Quorvel::Core::Memory::Control::Detail
