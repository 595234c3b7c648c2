#include "support/PluginRecorder.h"

#include <Plugin/Impl/LoaderImpl.h>

#include <utility>

namespace Quorvel::Core::Test {

PluginRecorder& PluginRecorder::instance()
{
   static auto& recorder = *new PluginRecorder;
   return recorder;
}

void PluginRecorder::reset()
{
   *this = PluginRecorder();
}

std::vector<PluginRecorder::Call> PluginRecorder::takeCalls()
{
   return std::exchange(calls_, {});
}

std::vector<std::string> PluginRecorder::takeFamilies()
{
   std::vector<std::string> families;
   for (auto const& call : takeCalls()) {
      families.push_back(call.texts[1]);
   }
   return families;
}

void PluginRecorder::call(Texts texts)
{
   Plugin::Loader<void> const none;
   auto const& loader = loader_ != nullptr ? *loader_ : none;
   calls_.push_back({std::move(texts), loader.state, std::string(loader.searchPath), std::string(loader.message)});
   if (auto const action = std::exchange(action_, nullptr)) {
      action();
   }
}

} // namespace Quorvel::Core::Test

std::size_t Plugin::Impl::LoaderImpl::loadPlugins(
   Orvo::String const& searchPath, Orvo::String const& family, Orvo::String const& reserved1,
   Orvo::String const& reserved2, Orvo::String const& reserved3)
{
   Quorvel::Core::Test::PluginRecorder::instance().call(
      {std::string(searchPath), std::string(family), std::string(reserved1), std::string(reserved2),
       std::string(reserved3)});
   return 0;
}
