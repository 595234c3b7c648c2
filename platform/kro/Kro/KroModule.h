#pragma once

#include <Kro/KroType.h>

#include <cstdint>
#include <span>
#include <string_view>

namespace Kro {

/// The descriptor of a module: the types of one model source. A constant-initialised global of the library that owns
/// the types; it lives as long as the process.
struct KroModule {
   std::string_view name;                    ///< unique in the process
   std::string_view source;                  ///< path of the model source
   std::span<KroType const* const> types;    ///< in the order of registration
   std::span<KroType const* const> refersTo; ///< types of other modules, or of none, that it uses

   // The framework's own.
   KroModule* next = nullptr;
   std::uint16_t firstIndex = 0;
   bool isRegistered = false;
};

/// Registers a module: its types can be found by name from then on. Called from static initialisers; allocates nothing.
/// Registering the same descriptor again does nothing.
///
/// @throws ModuleException when a module of that name, or a type of one of its types' names, is registered already;
///         when the base of a type is neither registered nor earlier in this module; when a type names another module;
///         when there are more than 65 536 types. Nothing is registered then. Out of a static initialiser the
///         exception ends the process with this text, in a plugin too, since `dlopen` is declared not to throw: a plugin whose
///         refusal is not to end the process registers in a function that is called after `dlopen`.
/// Cost: some 100 instructions a type while some thousands are known, then more; no page of memory but those of the records.
KRO_EXPORT void kroModuleIs(KroModule& module);

/// @return the module of that name, or null (borrowed)
KRO_EXPORT KroModule const* findModule(std::string_view name) noexcept;

/// @return the first registered module; the others follow by `next`
KRO_EXPORT KroModule const* firstModule() noexcept;

/// @return the type of that full name
/// @throws TypeNotFoundException naming it
/// Cost: a hash of the name and, usually, one compare; allocates nothing unless it throws.
KRO_EXPORT KroType const& typeNode(std::string_view name);

/// @return the type of that full name, or null
KRO_EXPORT KroType const* findType(std::string_view name) noexcept;

} // namespace Kro
