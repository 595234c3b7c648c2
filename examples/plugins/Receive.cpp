// Compiles the plugin's blocks of docs/plugins.md, which the build copies into plugin.inc.

#include "plugin.inc"
