#pragma once

#include <Quorvel/Core/Export.h>

#include <Kro/CharRange.h>
#include <Kro/KroType.h>
#include <Orvo/String.h>

#include <cstdint>
#include <iosfwd>

namespace Quorvel::Core::Memory::Info::Detail {

/// Describes one piece of memory: the bytes that hold one field of a collection's entries for one group.
///
/// A plain value: copied, compared, printed, never shared. Default: empty texts, size 0, DMA capable.
class QUORVEL_CORE_EXPORT Chunk {
public:
   Chunk() = default;

   /// Reads the text form, all of which must be used up.
   /// @throws Kro::ParseException saying where, and what was expected
   explicit Chunk(Kro::CharRange& text);

   /// The name attribute (a field of the entries) that this chunk backs; its key in its group.
   Orvo::String const& nameAttribute() const noexcept { return nameAttribute_; }

   void nameAttributeIs(Orvo::String const& nameAttribute) { nameAttribute_ = nameAttribute; }

   /// The name of the memory block. Chunks of one name share one block, in this and in every other process of the
   /// domain.
   Orvo::String const& name() const noexcept { return name_; }

   void nameIs(Orvo::String const& name) { name_ = name; }

   /// Size of the block, in bytes.
   std::uint32_t size() const noexcept { return size_; }

   void sizeIs(std::uint32_t size) noexcept { size_ = size; }

   /// Set when ordinary memory will do: no device reaches it, it has no bus address.
   bool isIncapableDma() const noexcept { return isIncapableDma_; }

   void isIncapableDmaIs(bool isIncapableDma) noexcept { isIncapableDma_ = isIncapableDma; }

   /// True when this chunk differs from a default one.
   explicit operator bool() const;

   /// The framework's equality hook: both point to a Chunk.
   static bool isEq(void const* a, void const* b);
   friend QUORVEL_CORE_EXPORT bool operator==(Chunk const& a, Chunk const& b);

   /// Consistent with equality, the same in every process.
   std::uint64_t hash() const noexcept;

   Kro::TypeData const& typeData() const noexcept { return kroType; }

   static Kro::KroType const kroType;

private:
   struct Declaration;

   Orvo::String nameAttribute_;
   Orvo::String name_;
   std::uint32_t size_ = 0;
   bool isIncapableDma_ = false;
};

/// Writes the framework's text form.
QUORVEL_CORE_EXPORT std::ostream& operator<<(std::ostream& stream, Chunk const& chunk);

} // namespace Quorvel::Core::Memory::Info::Detail
