// Where plugins are looked for.

#include <Plugin/Impl/LoaderImpl.h>

#include "support/LoadingTest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include <unistd.h>

namespace {

using Plugin::Result;
using Plugin::State;
using Plugin::Impl::LoaderImpl;
using Plugin::Test::PluginFolder;
using testing::ElementsAre;
using testing::IsEmpty;

class Search : public Plugin::Test::LoadingTest {
protected:
   static Result loaded(Orvo::String const& family, std::string const& file)
   {
      return {family, file, State::loaded, ""};
   }
};

TEST_F(Search, takesTheNamesInTheOrderOfTheirBytes)
{
   std::vector<Result> expected;
   for (auto const* name : {"10.so", "9.so", "Zoo.so", "a.so", "b.so", "\xc3\xa4.so"}) {
      expected.push_back(loaded("FooPlugin", folder.place("FooPlugin", name)));
   }
   for (auto const* name : {"b.so", "\xc3\xa4.so", "9.so", "a.so", "10.so", "Zoo.so"}) {
      folder.add("FooPlugin", "PluginWithoutEntryPoint", name);
   }

   EXPECT_EQ(load(folder.path(), "FooPlugin"), expected);
   EXPECT_EQ(count, 6U);
}

TEST_F(Search, leavesOutWhatIsNotNamedLikeAPlugin)
{
   for (auto const* name : {".hidden.so", "a.so.1", "aso", "a.SO", ".so"}) {
      folder.add("FooPlugin", "PluginWithoutEntryPoint", name);
   }
   folder.add("FooPlugin/bar", "PluginWithoutEntryPoint", "a.so");

   EXPECT_THAT(load(folder.path(), "FooPlugin"), IsEmpty());
   EXPECT_EQ(count, 0U);
}

TEST_F(Search, takesASubDirectoryForAFamilyOfItsOwn)
{
   auto const file = folder.add("FooPlugin", "PluginWithoutEntryPoint");
   auto const below = folder.add("FooPlugin/bar", "PluginWithoutEntryPoint");

   EXPECT_THAT(load(folder.path(), "FooPlugin/bar"), ElementsAre(loaded("FooPlugin/bar", below)));
   EXPECT_THAT(load(folder.path(), "FooPlugin"), ElementsAre(loaded("FooPlugin", file)));
}

TEST_F(Search, goesThroughTheCallersDirectoriesThenTheVariables)
{
   PluginFolder const second;
   PluginFolder const third;
   PluginFolder const fourth;
   ::setenv("PLUGIN_PATH", (third.path() + ':' + fourth.path()).c_str(), 1);
   std::vector<Result> expected;
   for (auto const* at : {&folder, &second, &third, &fourth}) {
      expected.push_back(loaded("FooPlugin", at->add("FooPlugin", "PluginWithoutEntryPoint", "same.so")));
   }

   EXPECT_EQ(load(folder.path() + ':' + second.path(), "FooPlugin"), expected);
   EXPECT_EQ(count, 4U);
}

TEST_F(Search, endsInTheDirectoriesThatTheLibraryWasBuiltWith)
{
   std::vector<Result> expected;
   for (auto const& directory : Plugin::Test::builtIn()) {
      expected.push_back(
         {"NobodyHasThisPlugin", directory + "/NobodyHasThisPlugin", State::missing, "No such file or directory"});
   }

   LoaderImpl::loadPlugins("", "NobodyHasThisPlugin", "", "", "");

   EXPECT_EQ(Plugin::results("NobodyHasThisPlugin"), expected);
}

TEST_F(Search, tellsOfADirectoryThatIsMissingAndGoesOn)
{
   PluginFolder const other;
   auto const file = other.add("FooPlugin", "PluginWithoutEntryPoint");

   auto const results = load("/nowhere:" + folder.path() + ':' + other.path(), "FooPlugin");

   EXPECT_THAT(
      results, ElementsAre(
                  Result{"FooPlugin", "/nowhere/FooPlugin", State::missing, "No such file or directory"},
                  Result{"FooPlugin", folder.path() + "/FooPlugin", State::missing, "No such file or directory"},
                  loaded("FooPlugin", file)));
}

TEST_F(Search, tellsOfADirectoryThatCannotBeReadAndGoesOn)
{
   PluginFolder const other;
   auto const file = other.add("FooPlugin", "PluginWithoutEntryPoint");
   auto const noDirectory = folder.write("", "FooPlugin", "a file");

   EXPECT_THAT(
      load(folder.path() + ':' + other.path(), "FooPlugin"),
      ElementsAre(
         Result{"FooPlugin", folder.path() + "/FooPlugin", State::failed, "Not a directory"},
         loaded("FooPlugin", file)));
}

TEST_F(Search, skipsRelativeDirectoriesAndTellsSo)
{
   constexpr auto* reason = "a directory of the search path begins with '/' and holds no NUL";
   folder.add("FooPlugin", "PluginWithoutEntryPoint");
   auto const before = std::filesystem::current_path();
   std::filesystem::current_path(folder.path());

   auto const results = load(".:" + folder.path().substr(1) + ':' + folder.path() + std::string(1, '\0'), "FooPlugin");
   std::filesystem::current_path(before);

   EXPECT_THAT(
      results, ElementsAre(
                  Result{"FooPlugin", ".", State::failed, reason},
                  Result{"FooPlugin", folder.path().substr(1), State::failed, reason},
                  Result{"FooPlugin", folder.path() + std::string(1, '\0'), State::failed, reason}));
}

TEST_F(Search, doesNotTakeAnEmptyDirectoryForTheCurrentOne)
{
   folder.add("FooPlugin", "PluginWithoutEntryPoint");
   auto const before = std::filesystem::current_path();
   std::filesystem::current_path(folder.path());
   ::setenv("PLUGIN_PATH", "::", 1);

   auto const results = load(":", "FooPlugin");
   std::filesystem::current_path(before);

   EXPECT_THAT(results, IsEmpty());
}

TEST_F(Search, doesNotLeaveTheSearchPath)
{
   folder.add("FooPlugin", "PluginWithoutEntryPoint");
   constexpr auto* reason = "the name of a family is a relative path without '.' and '..'";

   EXPECT_THAT(
      load(folder.path() + "/FooPlugin", "../FooPlugin"),
      ElementsAre(Result{"../FooPlugin", "", State::failed, reason}));
   EXPECT_THAT(
      load("/", (folder.path() + "/FooPlugin").c_str()),
      ElementsAre(Result{folder.path() + "/FooPlugin", "", State::failed, reason}));
   EXPECT_THAT(load(folder.path(), ""), ElementsAre(Result{"", "", State::failed, reason}));
   EXPECT_EQ(count, 0U);
}

} // namespace
