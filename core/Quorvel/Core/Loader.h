#pragma once

#include <Quorvel/Core/Export.h>

#include <Kro/AllocTrackTypeInfo.h>
#include <Kro/CharRange.h>
#include <Kro/Entity.h>
#include <Kro/SlabAllocated.h>
#include <Orvo/Ptr.h>
#include <Orvo/String.h>
#include <Plugin/Loader.h>

#include <iosfwd>

namespace Quorvel::Core::Loader {

/// An entity that names a family of plugins. Derive from it and say the family's word.
///
/// `load` asks the platform for a family's plugins:
///
///     Plugin::Loader<void> loader;
///     Loader::Singleton::load("Driver", "nvme", &loader); // <directory of the search path>/DriverPlugin/nvme/*.so
///
/// What became of them, `Plugin/Result.h` tells.
class QUORVEL_CORE_EXPORT Singleton : public Kro::Entity, public Kro::SlabAllocated<Singleton> {
public:
   explicit Singleton(Orvo::String const& name);
   ~Singleton() override;

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   /// @return the family word of the plugins
   virtual Orvo::String prefixPath() const = 0;
   /// @return the sub-directory of the family; empty here
   virtual Orvo::String suffixPath() const;

   /// Loads the plugins of one family, at most once in a process.
   ///
   /// The family is named `prefixPath` + "Plugin", with "/" + `suffixPath` where that is not empty. What counts as the same is
   /// `prefixPath` + `suffixPath`, and nothing else: after ("ab", "c"), neither ("a", "bc") nor another loader loads anything.
   /// A family counts as loaded when the platform has returned, whether it found plugins or not; until then, a plugin that asks
   /// for the family that it belongs to makes the platform look again. At the exit of the process, nothing is loaded any more
   /// once the static objects made after the first call are destroyed.
   ///
   /// @param loader  its `searchPath` is passed on; its `state` is zeroed before and its `message` emptied before and after. Not
   ///                touched, and may be null, where nothing is to be loaded. Borrowed for the call.
   /// An exception of the platform's, a failed allocation or a null loader where a family is to be loaded end the process.
   /// Threads: one call at a time.
   /// Cost: of a family that counts as loaded: joining the two texts and one search in a hash set.
   static void
   load(Orvo::String const& prefixPath, Orvo::String const& suffixPath, Plugin::Loader<void>* loader) noexcept;

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

   /// The framework's equality hook: always true, whatever the pointers.
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
