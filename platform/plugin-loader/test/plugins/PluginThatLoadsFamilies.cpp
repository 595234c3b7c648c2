// Loads its own family and another one, before and after its entry.

#include "../support/Journal.h"

#include <Plugin/Entry.h>
#include <Plugin/Impl/LoaderImpl.h>

namespace {

void load()
{
   for (auto const* family : {"OuterPlugin", "InnerPlugin"}) {
      Plugin::Impl::LoaderImpl::loadPlugins("", family, "", "", "");
   }
}

[[maybe_unused]] bool const isInitialised = [] {
   Plugin::Test::journal().emplace_back("PluginThatLoadsFamilies is initialised");
   load();
   return true;
}();

} // namespace

extern "C" void pluginMain()
{
   Plugin::Test::journal().emplace_back("PluginThatLoadsFamilies is entered");
   load();
}
