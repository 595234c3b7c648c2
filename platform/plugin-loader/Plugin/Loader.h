#pragma once

#include <Orvo/String.h>

#include <cstdint>

namespace Plugin {

/// What a program keeps for loading plugins. There is one for plugins that register what they bring by themselves,
/// `Loader<void>`.
template <class Interface>
struct Loader;

/// Where a program looks for its plugins, and two members for whoever loads through it. The order of the members is part of
/// the binary interface.
template <>
struct Loader<void> {
   /// Zeroed by whoever loads through this object, before it does; nothing here reads it.
   std::uintptr_t state = 0;
   /// Directories that are searched before those of the process: absolute paths, parted by ':'; empty: none.
   Orvo::String searchPath;
   /// Emptied by whoever loads through this object, before and after; nothing here reads it.
   Orvo::String message;
};

} // namespace Plugin
