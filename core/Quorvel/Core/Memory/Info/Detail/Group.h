#pragma once

#include <Quorvel/Core/Export.h>
#include <Quorvel/Core/Memory/Info/Detail/Chunk.h>

#include <Kro/HashMap.h>
#include <Kro/OrderedMap.h>

#include <cstdint>
#include <iosfwd>

namespace Quorvel::Core::Memory::Info::Detail {

/// Describes one run of entries of a collection, and the chunks that hold their fields.
///
/// The entries are `head` up to but not including `head` + `size`. The chunks are held twice: by the name of their
/// field, as the client gave them, and by the field's number, which the mount derives. The mutators of the one never
/// touch the other. A plain value with deep copies. `Group(0, 0, 0)` is the default.
class QUORVEL_CORE_EXPORT Group {
   struct NameAttributeOf {
      Orvo::String const& operator()(Chunk const& chunk) const noexcept { return chunk.nameAttribute(); }
   };

public:
   struct HN_Chunk {};

   class QUORVEL_CORE_EXPORT KroChunkInternal final : public Kro::OrderedNode<KroChunkInternal, std::int32_t, Chunk> {
   public:
      using OrderedNode::OrderedNode;
      static Kro::AllocTrackTypeInfo memAllocationTracker_;
   };

   using Chunks = Kro::HashMap<HN_Chunk, Orvo::String, Chunk, NameAttributeOf>;
   using ChunksInternal = Kro::OrderedMap<KroChunkInternal>;

   /// @param id   the group's identifier in its collection
   /// @param head index of its first entry
   /// @param size number of entries
   Group(std::uint32_t id, std::uint32_t head, std::uint32_t size) : id_(id), head_(head), size_(size) {}

   /// Cannot be read from text: ends the process with "No String constructor for Group - has collection".
   explicit Group(Kro::CharRange& text);

   std::uint32_t id() const noexcept { return id_; }

   std::uint32_t head() const noexcept { return head_; }

   std::uint32_t size() const noexcept { return size_; }

   /// The chunks by name attribute, in hash order.
   Chunks const& chunk() const noexcept { return chunk_; }

   /// @return a copy of the chunk of that name attribute, or a default one
   Chunk chunk(Orvo::String const& nameAttribute) const;
   /// Inserts the chunk under its name attribute, or replaces the one that is there.
   void chunkIs(Chunk const& chunk);
   /// @return the removed chunk, or a default one
   Chunk chunkDel(Orvo::String const& nameAttribute);
   void chunkDelAll();

   /// The chunks by attribute number, ascending.
   ChunksInternal const& chunkInternal() const noexcept { return chunkInternal_; }

   /// @return a copy of the chunk under that number, or a default one
   Chunk chunkInternal(int number) const;
   /// Inserts or replaces under that number.
   void chunkInternalIs(int number, Chunk const& chunk);
   /// @return the removed chunk, or a default one
   Chunk chunkInternalDel(int number);
   /// @return the iterator behind the removed chunk
   ChunksInternal::const_iterator chunkInternalDel(ChunksInternal::const_iterator at);
   void chunkInternalDelAll();

   /// True when this group differs from `Group(0, 0, 0)`.
   explicit operator bool() const;

   /// The framework's equality hook: both point to a Group.
   static bool isEq(void const* a, void const* b);
   friend QUORVEL_CORE_EXPORT bool operator==(Group const& a, Group const& b);

   Kro::TypeData const& typeData() const noexcept { return kroType; }

   static Kro::KroType const kroType;

private:
   struct Declaration;

   Chunks chunk_;
   ChunksInternal chunkInternal_;
   std::uint32_t id_;
   std::uint32_t head_;
   std::uint32_t size_;
};

/// Writes the framework's text form.
QUORVEL_CORE_EXPORT std::ostream& operator<<(std::ostream& stream, Group const& group);

} // namespace Quorvel::Core::Memory::Info::Detail
