#pragma once

#include "Journal.h"
#include "PluginFolder.h"

#include <Plugin/Impl/LoaderImpl.h>
#include <Plugin/Result.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
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

   /// @return what the call has added to the results, but for the directory that the library was built with
   static std::vector<Result> load(std::string const& searchPath, Orvo::String const& family)
   {
      auto const before = results().size();
      count = Impl::LoaderImpl::loadPlugins(searchPath, family, "", "", "");
      std::vector<Result> added;
      for (auto i = before; i < results().size(); ++i) {
         if (!results()[i].file.view().starts_with(BUILT_IN)) {
            added.push_back(results()[i]);
         }
      }
      return added;
   }

   static inline std::size_t count = 0; ///< what the last call has returned
   PluginFolder const folder;
};

} // namespace Plugin::Test
