// Compiles and runs the agent's blocks of docs/plugins.md, which the build copies into snippet.inc.

#include "snippet.inc"
