// Compiles and runs the blocks of docs/declaring-types.md, which the build copies into snippet.inc.

#include "snippet.inc"
