#pragma once

#include <Quorvel/Core/Memory/Control/Collection.h>

namespace Quorvel::Core::Test {

/// What the test plugin answers about the types that it shares with the program, and what it can be made to do.
struct PluginView {
   Kro::KroType const* collectionType; ///< of Control::Collection
   Kro::KroType const* dirType;        ///< of Kro::Dir
   void* store;                        ///< the chunk store, or null while there is none
   char const* agentName;
   /// Asks the collection for an attribute of a size of its own, which can be refused.
   void (*attributeIs)(Memory::Control::Collection& collection);
   /// Registers the plugin's second module, which is wrong.
   void (*registerWrongModule)();
};

/// Name of the plugin's one entry point: `PluginView const* pluginView()`.
inline constexpr char const* pluginEntry = "pluginView";

} // namespace Quorvel::Core::Test
