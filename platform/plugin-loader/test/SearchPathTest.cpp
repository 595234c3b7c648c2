#include "SearchPath.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

namespace {

using Plugin::Detail::isFamilyName;
using Plugin::Detail::searchPath;
using testing::ElementsAre;
using namespace std::string_view_literals;

/// Whether the process is to look like one that runs with other rights than its user's.
bool hasOtherRights = false;

class SearchPath : public testing::Test {
protected:
   SearchPath()
   {
      hasOtherRights = false;
      ::unsetenv("PLUGIN_PATH");
   }

   ~SearchPath() override { ::unsetenv("PLUGIN_PATH"); }
};

TEST_F(SearchPath, isWhatTheLibraryWasBuiltWithWhenNobodySaysMore)
{
   EXPECT_THAT(searchPath(""), ElementsAre("/built", "/in"));
}

TEST_F(SearchPath, beginsWithTheCallersThenTheVariables)
{
   ::setenv("PLUGIN_PATH", "/third:/fourth", 1);

   EXPECT_THAT(searchPath("/first:/second"), ElementsAre("/first", "/second", "/third", "/fourth", "/built", "/in"));
}

TEST_F(SearchPath, followsTheVariableWhenItChanges)
{
   ::setenv("PLUGIN_PATH", "/a", 1);
   EXPECT_THAT(searchPath(""), ElementsAre("/a", "/built", "/in"));
   ::setenv("PLUGIN_PATH", "/b", 1);
   EXPECT_THAT(searchPath(""), ElementsAre("/b", "/built", "/in"));
   ::setenv("PLUGIN_PATH", "", 1);
   EXPECT_THAT(searchPath(""), ElementsAre("/built", "/in"));
}

TEST_F(SearchPath, leavesOutTheVariableInAProcessWithOtherRightsThanItsUsers)
{
   ::setenv("PLUGIN_PATH", "/of/the/user", 1);
   hasOtherRights = true;

   EXPECT_THAT(searchPath("/first"), ElementsAre("/first", "/built", "/in"));
}

TEST_F(SearchPath, leavesOutEmptyDirectories)
{
   ::setenv("PLUGIN_PATH", ":/a::", 1);

   EXPECT_THAT(searchPath("::/b:"), ElementsAre("/b", "/a", "/built", "/in"));
}

TEST_F(SearchPath, keepsRelativeDirectoriesAndRepetitions)
{
   EXPECT_THAT(searchPath(".:/a:/a"), ElementsAre(".", "/a", "/a", "/built", "/in"));
}

TEST(FamilyName, isAnyRelativePath)
{
   EXPECT_TRUE(isFamilyName("Plugin"));
   EXPECT_TRUE(isFamilyName("FooPlugin/bar"));
   EXPECT_TRUE(isFamilyName("FooPlugin/bar/zoo"));
   EXPECT_TRUE(isFamilyName("Foo Plugin/..bar"));
}

TEST(FamilyName, leadsNowhereElse)
{
   for (auto const name :
        {""sv, "/"sv, "/FooPlugin"sv, "FooPlugin/"sv, "Foo//bar"sv, "."sv, ".."sv, "../FooPlugin"sv, "FooPlugin/.."sv,
         "FooPlugin/./bar"sv, "FooPlugin\0"sv}) {
      EXPECT_FALSE(isFamilyName(name)) << name;
   }
}

} // namespace

/// Takes the place of the C library's.
extern "C" char* secure_getenv(char const* name) noexcept
{
   return hasOtherRights ? nullptr : ::getenv(name);
}
