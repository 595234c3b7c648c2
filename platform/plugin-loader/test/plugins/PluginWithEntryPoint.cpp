// Notes when its static objects are made, and when it is entered; then it does what the test says.

#include "../support/Journal.h"

#include <Plugin/Entry.h>

namespace {

[[maybe_unused]] bool const isInitialised = [] {
   Plugin::Test::journal().emplace_back("PluginWithEntryPoint is initialised");
   return true;
}();

} // namespace

/// A symbol that it does not hide.
extern "C" __attribute__((visibility("default"))) int onlyOfPluginWithEntryPoint;
int onlyOfPluginWithEntryPoint = 1;

extern "C" void pluginMain()
{
   Plugin::Test::journal().emplace_back("PluginWithEntryPoint is entered");
   if (auto const& action = Plugin::Test::whenEntered()) {
      action();
   }
}
