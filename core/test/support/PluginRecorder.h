#pragma once

#include <Plugin/Loader.h>

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace Quorvel::Core::Test {

/// Stands in for the plugin library's `loadPlugins` in the program that links it: records how it is called, and what the
/// loader holds at that time, and does what it is told meanwhile.
class PluginRecorder {
public:
   using Texts = std::array<std::string, 5>;

   struct Call {
      Texts texts;
      std::uintptr_t state; ///< of the watched loader, like the next two
      std::string searchPath;
      std::string message;
   };

   /// Never destroyed, so that it also answers while the process ends.
   static PluginRecorder& instance();

   /// Forgets calls, loader and what is to be done.
   void reset();

   /// Whose members the calls record.
   void watch(Plugin::Loader<void>& loader) { loader_ = &loader; }

   /// Does that in the next call, once, after the call is recorded.
   void inNextCall(std::function<void()> action) { action_ = std::move(action); }

   /// @return the calls since the last one to here
   std::vector<Call> takeCalls();

   /// @return the second texts of the calls since the last one to here: the families
   std::vector<std::string> takeFamilies();

   void call(Texts texts);

private:
   std::vector<Call> calls_;
   std::function<void()> action_;
   Plugin::Loader<void>* loader_ = nullptr;
};

} // namespace Quorvel::Core::Test
