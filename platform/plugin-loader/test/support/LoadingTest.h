#pragma once

#include "Journal.h"
#include "PluginFolder.h"

#include <Plugin/Impl/LoaderImpl.h>
#include <Plugin/Result.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

namespace Plugin {

/// For the messages of failed tests.
inline void PrintTo(Result const& result, std::ostream* stream)
{
   *stream << result.family << ' ' << result.file << " state=" << static_cast<int>(result.state) << ' '
           << result.reason;
}

} // namespace Plugin

namespace Plugin::Test {

/// @return the directories that the library was built with
inline std::vector<std::string> builtIn()
{
   std::vector<std::string> directories;
   std::istringstream text(BUILT_IN);
   for (std::string directory; std::getline(text, directory, ':');) {
      directories.push_back(directory);
   }
   return directories;
}

/// A test that loads plugins from folders of its own.
class LoadingTest : public testing::Test {
protected:
   LoadingTest()
   {
      ::unsetenv("PLUGIN_PATH");
      journal().clear();
   }

   ~LoadingTest() override
   {
      ::unsetenv("PLUGIN_PATH");
      whenEntered() = nullptr;
   }

   /// @return what the call has added to the results, but for the directories that the library was built with
   static std::vector<Result> load(std::string const& searchPath, Orvo::String const& family)
   {
      auto const before = results().size();
      count = Impl::LoaderImpl::loadPlugins(searchPath, family, "", "", "");
      std::vector<Result> added;
      for (auto i = before; i < results().size(); ++i) {
         auto const file = results()[i].file.view();
         if (std::ranges::none_of(
                builtIn(), [&](auto const& directory) { return file.starts_with(directory + '/'); })) {
            added.push_back(results()[i]);
         }
      }
      return added;
   }

   static inline std::size_t count = 0; ///< what the last call has returned
   PluginFolder const folder;
};

} // namespace Plugin::Test
