#pragma once

// How one of several signatures is picked and called. Not for users.

#include <Kro/GenericIf.h>

#include <span>

namespace Kro::Detail {

/// @return the overload whose argument types are exactly those given, or null
Overload const* findOverload(std::span<Overload const> overloads, std::span<GenericIf const> arguments) noexcept;

/// Calls what `findOverload` found with the same arguments.
void callOverload(Overload const& overload, void* object, std::span<GenericIf const> arguments, void* result);

} // namespace Kro::Detail
