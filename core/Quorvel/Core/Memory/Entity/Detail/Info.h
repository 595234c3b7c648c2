#pragma once

#include <Quorvel/Core/Export.h>

#include <Kro/CharRange.h>
#include <Kro/KroType.h>
#include <Orvo/String.h>

#include <cstdint>
#include <iosfwd>

namespace Quorvel::Core::Memory::Entity::Detail {

/// Record of an orphan: which manager unmounted which entity. A plain value. Default: both texts empty.
class QUORVEL_CORE_EXPORT Info {
public:
   Info() = default;

   /// Reads the text form, all of which must be used up.
   /// @throws Kro::ParseException saying where, and what was expected
   explicit Info(Kro::CharRange& text);

   /// Name of the manager that unmounted the entity.
   Orvo::String const& sysname() const noexcept { return sysname_; }

   void sysnameIs(Orvo::String const& sysname) { sysname_ = sysname; }

   /// Full name of the entity in the entity tree, such as "/nvme0/zumem/queues".
   Orvo::String const& path() const noexcept { return path_; }

   void pathIs(Orvo::String const& path) { path_ = path; }

   /// True when this record differs from a default one.
   explicit operator bool() const;

   /// The framework's equality hook: both point to an Info.
   static bool isEq(void const* a, void const* b);
   friend QUORVEL_CORE_EXPORT bool operator==(Info const& a, Info const& b);

   /// Consistent with equality, the same in every process.
   std::uint64_t hash() const noexcept;

   Kro::TypeData const& typeData() const noexcept { return kroType; }

   static Kro::KroType const kroType;

private:
   struct Declaration;

   Orvo::String sysname_;
   Orvo::String path_;
};

/// Writes the framework's text form.
QUORVEL_CORE_EXPORT std::ostream& operator<<(std::ostream& stream, Info const& info);

} // namespace Quorvel::Core::Memory::Entity::Detail
