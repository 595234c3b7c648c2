#pragma once

#include "support/ChildProcess.h"
#include "support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace Quorvel::Core::Test {

/// Where the lives of an agent take place: a domain of its own, a plugin to be found, a cell.
class Stage {
public:
   /// @param backend of the pinned-memory library
   explicit Stage(std::string const& backend)
      : environment_{{"AGENT_PROCESS_NAME", "life"},  {"PINMEMCTL", PINMEMCTL},   {"CELL_ID", "7"},
                     {"LIFE_FOLDER", folder_.path()}, {"ORVO_SMALL_MEMORY", "0"}, {"PINMEM_DIR", memory()},
                     {"PINMEM_DOMAIN", "life"},       {"PINMEM_BACKEND", backend}}
   {
      std::filesystem::create_directories(folder_.path() + "/plugins/LifePlugin/plugs");
      std::filesystem::create_symlink(TEST_PLUGIN, folder_.path() + "/plugins/LifePlugin/plugs/plug.so");
      std::filesystem::create_directory(memory());
      std::filesystem::permissions(memory(), std::filesystem::perms::owner_all);
   }

   std::string const& folder() const { return folder_.path(); }

   std::string memory() const { return folder_.path() + "/memory"; }

   /// One life in a process of its own. It ends by itself, with all memory unmapped, or is killed, and has nothing to say.
   /// @return its status
   int live(std::vector<std::string> arguments, Environment const& more = {}) const
   {
      arguments.insert(arguments.begin(), LIFE_AGENT);
      auto environment = environment_;
      environment.insert(more.begin(), more.end());
      auto const result = runProgram(arguments, environment);
      EXPECT_EQ(result.output, "");
      EXPECT_EQ(result.errors, "");
      if (result.status == 0) {
         std::stringstream mapped;
         mapped << std::ifstream(folder() + "/mapped").rdbuf();
         EXPECT_EQ(mapped.str(), "");
         EXPECT_TRUE(std::filesystem::remove(folder() + "/mapped"));
      }
      return result.status;
   }

   ChildResult pinmemctl(std::vector<std::string> arguments) const
   {
      arguments.insert(arguments.begin(), PINMEMCTL);
      return runProgram(arguments, environment_);
   }

   /// Nobody uses the domain, it is sound, and is removed without a trace.
   void expectSoundAndRemove() const
   {
      auto const check = pinmemctl({"check"});
      EXPECT_EQ(check.status, 0) << check.output << check.errors;
      auto const removal = pinmemctl({"remove-domain"});
      EXPECT_EQ(removal.status, 0) << removal.output << removal.errors;
      EXPECT_TRUE(std::filesystem::is_empty(memory()));
   }

private:
   TemporaryDirectory const folder_;
   Environment const environment_;
};

} // namespace Quorvel::Core::Test
