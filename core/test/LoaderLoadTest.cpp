// What `load` asks of the platform's plugin library, for which a recorder stands in. What is loaded once stays loaded for the
// process: each test has families of its own.

#include <Quorvel/Core/Loader.h>

#include "support/ChildProcess.h"
#include "support/PluginRecorder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <stdexcept>
#include <string>
#include <type_traits>

namespace {

using Quorvel::Core::Loader::Singleton;
using Quorvel::Core::Test::inChild;
using Quorvel::Core::Test::PluginRecorder;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

static_assert(std::is_nothrow_invocable_v<
              decltype(&Singleton::load), Orvo::String const&, Orvo::String const&, Plugin::Loader<void>*>);

class LoaderLoad : public testing::Test {
protected:
   LoaderLoad()
   {
      recorder.reset();
      recorder.watch(loader);
      loader.searchPath = "/first:/second";
   }

   ~LoaderLoad() override { recorder.reset(); }

   PluginRecorder& recorder = PluginRecorder::instance();
   Plugin::Loader<void> loader;
};

TEST_F(LoaderLoad, passesSearchPathAndFamilyAndThreeEmptyTexts)
{
   Singleton::load("Passes", "", &loader);

   auto const calls = recorder.takeCalls();
   ASSERT_EQ(calls.size(), 1U);
   EXPECT_EQ(calls[0].texts, (PluginRecorder::Texts{"/first:/second", "PassesPlugin", "", "", ""}));
}

TEST_F(LoaderLoad, putsTheSuffixBehindASlash)
{
   Singleton::load("Suffix", "bar", &loader);

   EXPECT_THAT(recorder.takeFamilies(), ElementsAre("SuffixPlugin/bar"));
}

TEST_F(LoaderLoad, takesTextsAsTheyAre)
{
   Singleton::load("", "", &loader);
   Singleton::load("", "alone", &loader);
   Singleton::load("A family", "/of/.././many pieces/", &loader);

   EXPECT_THAT(recorder.takeFamilies(), ElementsAre("Plugin", "Plugin/alone", "A familyPlugin//of/.././many pieces/"));
}

TEST_F(LoaderLoad, takesLongTextsWhole)
{
   std::string const prefix(5000, 'p');
   std::string const suffix(5000, 's');

   Singleton::load(prefix, suffix, &loader);
   Singleton::load(prefix, suffix, &loader);
   Singleton::load(prefix, suffix + 't', &loader);

   EXPECT_THAT(recorder.takeFamilies(), ElementsAre(prefix + "Plugin/" + suffix, prefix + "Plugin/" + suffix + 't'));
}

TEST_F(LoaderLoad, asksForAFamilyOnce)
{
   Singleton::load("Once", "bar", &loader);
   Singleton::load("Once", "bar", &loader);
   Singleton::load("Once", "bar", &loader);

   EXPECT_THAT(recorder.takeFamilies(), ElementsAre("OncePlugin/bar"));
}

TEST_F(LoaderLoad, tellsAFamilyFromItsSubDirectory)
{
   Singleton::load("Both", "", &loader);
   Singleton::load("Both", "bar", &loader);
   Singleton::load("Both", "", &loader);

   EXPECT_THAT(recorder.takeFamilies(), ElementsAre("BothPlugin", "BothPlugin/bar"));
}

TEST_F(LoaderLoad, tellsFamiliesApartByTheJoinedTextsAlone)
{
   Singleton::load("Joined", "bar", &loader);
   Singleton::load("Join", "edbar", &loader);
   Singleton::load("Joinedbar", "", &loader);
   Singleton::load("", "Joinedbar", &loader);
   Singleton::load("joined", "bar", &loader);
   Singleton::load(std::string("Joined\0", 7), "bar", &loader);

   EXPECT_THAT(
      recorder.takeFamilies(),
      ElementsAre("JoinedPlugin/bar", "joinedPlugin/bar", std::string("Joined\0Plugin/bar", 17)));
}

TEST_F(LoaderLoad, asksOnceForAllLoaders)
{
   Plugin::Loader<void> other;
   other.searchPath = "/elsewhere";
   Singleton::load("Loaders", "", &loader);

   Singleton::load("Loaders", "", &other);

   EXPECT_THAT(recorder.takeFamilies(), ElementsAre("LoadersPlugin"));
}

TEST_F(LoaderLoad, resetsTheLoaderBeforeItAsks)
{
   loader.state = std::numeric_limits<std::uintptr_t>::max();
   loader.message = "of the last load";

   Singleton::load("Before", "", &loader);

   auto const calls = recorder.takeCalls();
   ASSERT_EQ(calls.size(), 1U);
   EXPECT_EQ(calls[0].state, 0U);
   EXPECT_EQ(calls[0].searchPath, "/first:/second");
   EXPECT_EQ(calls[0].message, "");
}

TEST_F(LoaderLoad, emptiesTheMessageAfterwardsAndNothingElse)
{
   recorder.inNextCall([this] {
      loader.state = 7;
      loader.message = "a message of the platform's";
   });

   Singleton::load("After", "", &loader);

   EXPECT_EQ(loader.state, 7U);
   EXPECT_EQ(loader.searchPath, "/first:/second");
   EXPECT_EQ(loader.message, "");
}

TEST_F(LoaderLoad, doesNotTouchTheLoaderOfAKnownFamily)
{
   Singleton::load("Touched", "", &loader);
   loader.state = 4711;
   loader.message = "mine";

   Singleton::load("Touched", "", &loader);

   EXPECT_EQ(loader.state, 4711U);
   EXPECT_EQ(loader.searchPath, "/first:/second");
   EXPECT_EQ(loader.message, "mine");
}

TEST_F(LoaderLoad, needsNoLoaderForAKnownFamily)
{
   Singleton::load("Known", "", &loader);

   Singleton::load("Known", "", nullptr);

   EXPECT_THAT(recorder.takeFamilies(), ElementsAre("KnownPlugin"));
}

TEST_F(LoaderLoad, takesTheNameOutOfTheLoaderThatItResets)
{
   loader.message = "Aliased";

   Singleton::load(loader.message, loader.message, &loader);

   EXPECT_THAT(recorder.takeFamilies(), ElementsAre("AliasedPlugin/Aliased"));
}

TEST_F(LoaderLoad, countsAFamilyAsLoadedWhenThePlatformHasReturned)
{
   recorder.inNextCall([this] { Singleton::load("Reentered", "", &loader); });

   Singleton::load("Reentered", "", &loader);
   EXPECT_THAT(recorder.takeFamilies(), ElementsAre("ReenteredPlugin", "ReenteredPlugin"));

   Singleton::load("Reentered", "", &loader);
   EXPECT_THAT(recorder.takeFamilies(), IsEmpty());
}

TEST_F(LoaderLoad, loadsOtherFamiliesFromWithin)
{
   recorder.inNextCall([this] {
      for (int i = 0; i < 1000; ++i) { // more than the set of keys has room for at first
         Singleton::load("Inner", std::to_string(i), &loader);
      }
   });

   Singleton::load("Outer", "", &loader);
   Singleton::load("Inner", "999", &loader);
   Singleton::load("Outer", "", &loader);

   auto const families = recorder.takeFamilies();
   ASSERT_EQ(families.size(), 1001U);
   EXPECT_EQ(families.front(), "OuterPlugin");
   EXPECT_EQ(families.back(), "InnerPlugin/999");
}

TEST_F(LoaderLoad, endsTheProcessWhenThePlatformThrows)
{
   auto const result = inChild({}, [this] {
      recorder.inNextCall([] { throw std::runtime_error("no plugins today"); });
      try {
         Singleton::load("Throws", "", &loader);
      } catch (...) {
         std::printf("caught");
      }
   });

   EXPECT_EQ(result.status, 256 + SIGABRT);
   EXPECT_EQ(result.output, "");
   EXPECT_THAT(result.errors, HasSubstr("no plugins today"));
}

TEST_F(LoaderLoad, endsTheProcessWhenThereIsNoLoader)
{
   auto const result = inChild({}, [] { Singleton::load("Nobody", "bar", nullptr); });

   EXPECT_EQ(result.status, 256 + SIGABRT);
   EXPECT_THAT(result.errors, HasSubstr("family='NobodyPlugin/bar' is loaded through no loader."));
}

} // namespace
