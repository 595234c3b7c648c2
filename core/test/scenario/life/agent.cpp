// The agent of the scenario tests: a program that lives one of its lives, over the real platform.

#include "scenario/life/Lives.h"
#include "scenario/life/PinmemGate.h"
#include "scenario/life/RandomLife.h"

#include <Quorvel/Core/Entifier.h>
#include <Quorvel/Core/Loader.h>

#include <Plugin/Result.h>
#include <pinmem/Manager.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <map>
#include <string>

namespace Quorvel::Core::Test {

std::string notes()
{
   return std::getenv("LIFE_FOLDER") + std::string("/notes");
}

Agent born()
{
   auto const* const name = std::getenv("AGENT_PROCESS_NAME");
   EXPECT_STREQ(pinmem_lib::Manager::agentName, name);
   ::setenv("AGENT_PROCESS_NAME", "somebody else", 1); // too late

   Plugin::Loader<void> loader;
   loader.searchPath = Orvo::String(std::getenv("LIFE_FOLDER") + std::string("/plugins"));
   Loader::Singleton::load("Life", "plugs", &loader);
   auto const results = Plugin::results();
   EXPECT_EQ(results.front().family, "LifePlugin/plugs");
   EXPECT_EQ(results.front().state, Plugin::State::loaded) << results.front().reason;
   Loader::Singleton::load("Life", "plugs", &loader);
   Loader::Singleton::load("Lifepl", "ugs", &loader); // counts as the same family
   EXPECT_EQ(Plugin::results(), results);

   Detail::MakerPathMount maker;
   maker.cellIdValue = Detail::MakerPathMount::cellId();
   maker.sliceIdValue = "3";
   maker.arg0Value = "queues";
   auto const path = maker.makePath("cell%cellId/slice%sliceId/%arg0");
   EXPECT_EQ(path, "cell7/slice3/queues");
   return Agent(path);
}

namespace {

int live(std::string const& life)
{
   std::map<std::string, void (*)()> const lives{
      {"first", firstLife},
      {"second", secondLife},
      {"neighbour", neighboursLife},
      {"last", lastLife},
      {"random", randomLife}};
   try {
      lives.at(life)();
   } catch (std::exception const& error) {
      std::printf("%s\n", error.what());
      return 1;
   }
   return testing::Test::HasFailure() ? 1 : 0;
}

} // namespace
} // namespace Quorvel::Core::Test

int main(int /*count*/, char** arguments)
{
   std::setvbuf(stdout, nullptr, _IOLBF, 0); // a killed process does not print what is in its buffers
   std::atexit([] { Quorvel::Core::Test::PinmemGate::instance().writeLastMapped(std::getenv("LIFE_FOLDER")); });
   return Quorvel::Core::Test::live(arguments[1]);
}
