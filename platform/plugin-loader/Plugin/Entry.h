#pragma once

#include <Plugin/Export.h>

/// A plugin's entry point, which a plugin may define and a program never does:
///
///     extern "C" void pluginMain()
///     {
///        Kro::kroModuleIs(module);
///     }
///
/// It is called once, on the thread that loads the plugin, when the plugin's static objects have been constructed. What it
/// throws becomes the reason for which the plugin failed; the plugin stays in memory, since what it has registered by then
/// may be in use. It may load other families of plugins.
extern "C" PLUGIN_EXPORT void pluginMain();
