#pragma once

#include <Quorvel/Core/Export.h>

#include <Kro/AllocTrackTypeInfo.h>
#include <Kro/CharRange.h>
#include <Kro/Entity.h>
#include <Kro/SlabAllocated.h>
#include <Orvo/Ptr.h>
#include <Orvo/String.h>

#include <iosfwd>

namespace Quorvel::Core::Loader {

/// An entity that names a family of plugins. Derive from it and say the family's word.
class QUORVEL_CORE_EXPORT Singleton : public Kro::Entity, public Kro::SlabAllocated<Singleton> {
public:
   explicit Singleton(Orvo::String const& name);
   ~Singleton() override;

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   /// @return the family word of the plugins
   virtual Orvo::String prefixPath() const = 0;
   /// @return the sub-directory of the family; empty here
   virtual Orvo::String suffixPath() const;

   static Kro::KroType const kroType;
   static Kro::AllocTrackTypeInfo memAllocationTracker_;

private:
   struct Declaration;
};

/// The empty value that carries the type attribute `instantiate`. Any two are equal; it has no hash.
class QUORVEL_CORE_EXPORT Pimpl {
public:
   Pimpl() = default;

   /// Reads the text form, which is empty.
   /// @throws Kro::ParseException when any text is left
   explicit Pimpl(Kro::CharRange& text);

   /// @return the framework's living singleton of that name
   /// @throws Kro::EntityNotFoundException when there is none
   static Orvo::Ptr<Kro::Entity> instantiate(Orvo::String const& name);

   /// Always false: every Pimpl equals a default one.
   explicit operator bool() const noexcept { return false; }

   /// The framework's equality hook: always true.
   static bool isEq(void const* a, void const* b);

   friend bool operator==(Pimpl const& /*a*/, Pimpl const& /*b*/) noexcept { return true; }

   Kro::TypeData const& typeData() const noexcept { return kroType; }

   static Kro::KroType const kroType;

private:
   struct Declaration;
};

/// Writes the framework's text form.
QUORVEL_CORE_EXPORT std::ostream& operator<<(std::ostream& stream, Pimpl const& pimpl);

} // namespace Quorvel::Core::Loader
