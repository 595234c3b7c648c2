#include <Plugin/Result.h>

#include <Plugin/Impl/LoaderImpl.h>

#include "support/PluginFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

namespace {

using Plugin::Result;
using Plugin::State;
using Plugin::Impl::LoaderImpl;
using Plugin::Test::PluginFolder;

TEST(Result, ofAFamilyThatNobodyAskedForIsEmpty)
{
   EXPECT_THAT(Plugin::results("NeverAskedForPlugin"), testing::IsEmpty());
}

TEST(Result, ofEveryFamilyStandInOrder)
{
   PluginFolder const folder;
   folder.write("FirstPlugin", "a.so", "no library");
   folder.write("SecondPlugin", "b.so", "no library");
   auto const before = Plugin::results().size();

   LoaderImpl::loadPlugins(folder.path(), "SecondPlugin", "", "", "");
   LoaderImpl::loadPlugins(folder.path(), "FirstPlugin", "", "", "");
   LoaderImpl::loadPlugins(folder.path(), "SecondPlugin", "", "", "");

   std::vector<Orvo::String> families;
   for (auto at = Plugin::results().begin() + static_cast<std::ptrdiff_t>(before); at != Plugin::results().end();
        ++at) {
      if (at->state == State::failed) {
         families.push_back(at->family);
      }
   }
   EXPECT_THAT(families, testing::ElementsAre("SecondPlugin", "FirstPlugin", "SecondPlugin"));
   for (auto const& result : Plugin::results("FirstPlugin")) {
      EXPECT_EQ(result.family, "FirstPlugin");
   }
}

TEST(Result, isAnsweredWhileTheProcessEndsAndPluginsAreLoadedThen)
{
   PluginFolder const folder;
   folder.add("AtExitPlugin", "PluginWithoutEntryPoint");
   static auto const& path = *new Orvo::String(folder.path()); // for a handler that can be given nothing

   EXPECT_EXIT(
      {
         ::unsetenv("PLUGIN_PATH");
         std::atexit([] { // runs after the destruction of all that is made later
            LoaderImpl::loadPlugins(path, "AtExitPlugin", "", "", "");
            for (auto const& result : Plugin::results("AtExitPlugin")) {
               if (result.state != State::missing) {
                  std::fprintf(stderr, "%d ", static_cast<int>(result.state));
               }
            }
         });
         LoaderImpl::loadPlugins(path, "AtExitPlugin", "", "", "");
         std::exit(0);
      },
      testing::ExitedWithCode(0), "^0 1 $");
}

TEST(Result, isEqualWhenAllItSaysIs)
{
   Result const sut{"FooPlugin", "/a.so", State::loaded, ""};

   EXPECT_EQ(sut, sut);
   EXPECT_NE(sut, (Result{"BarPlugin", "/a.so", State::loaded, ""}));
   EXPECT_NE(sut, (Result{"FooPlugin", "/b.so", State::loaded, ""}));
   EXPECT_NE(sut, (Result{"FooPlugin", "/a.so", State::loadedBefore, ""}));
   EXPECT_NE(sut, (Result{"FooPlugin", "/a.so", State::loaded, "why"}));
}

} // namespace
