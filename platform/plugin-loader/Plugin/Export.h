#pragma once

/// Marks what libPluginLoader offers to other libraries; everything else in it is hidden.
#define PLUGIN_EXPORT __attribute__((visibility("default")))
