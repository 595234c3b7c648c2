// Does everything in a static initialiser. A library that it needs has an entry point.

#include "../support/Journal.h"

namespace {

[[maybe_unused]] bool const isInitialised = [] {
   Plugin::Test::journal().emplace_back("PluginWithoutEntryPoint is initialised");
   return true;
}();

} // namespace
