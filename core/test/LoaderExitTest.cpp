// Loading while the process ends, for which the process must not have loaded before: only the children of this program do.

#include <Quorvel/Core/Loader.h>

#include "support/ChildProcess.h"
#include "support/PluginRecorder.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

namespace {

using Quorvel::Core::Loader::Singleton;
using Quorvel::Core::Test::inChild;
using Quorvel::Core::Test::PluginRecorder;

void loadAndPrint(char const* prefixPath)
{
   static auto& loader = *new Plugin::Loader<void>;
   Singleton::load(prefixPath, "", &loader);
   std::printf("%s:", prefixPath);
   for (auto const& family : PluginRecorder::instance().takeFamilies()) {
      std::printf(" %s", family.c_str());
   }
   std::printf("\n");
   std::fflush(stdout);
}

TEST(LoaderExit, loadsUntilTheKeysAreDestroyedAndNothingAfterwards)
{
   auto const result = inChild({}, [] {
      std::atexit([] { // runs after the keys' destruction, since they are made later
         loadAndPrint("Known");
         loadAndPrint("NewAfterwards");
      });
      loadAndPrint("Known");
      std::atexit([] { loadAndPrint("NewBefore"); });
   });

   EXPECT_EQ(result.errors, "");
   EXPECT_EQ(result.status, 0);
   EXPECT_EQ(result.output, "Known: KnownPlugin\nNewBefore: NewBeforePlugin\nKnown:\nNewAfterwards:\n");
}

TEST(LoaderExit, loadsWhereTheFirstCallComesWhileTheProcessEnds)
{
   auto const result = inChild({}, [] { std::atexit([] { loadAndPrint("First"); }); });

   EXPECT_EQ(result.errors, "");
   EXPECT_EQ(result.status, 0);
   EXPECT_EQ(result.output, "First: FirstPlugin\n");
}

} // namespace
