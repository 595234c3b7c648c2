#pragma once

#include "support/ChildProcess.h"
#include "support/TemporaryDirectory.h"

namespace Quorvel::Core::Test {

/// A domain of the real pinned-memory library for one test: blocks in shared memory, below a folder that goes with it.
class MemoryDomain {
public:
   /// Runs `body` in a child process that uses the domain; see `inChild`.
   ChildResult run(std::function<void()> const& body, Environment const& more = {}) const
   {
      Environment environment{{"PINMEM_DIR", directory_.path()}, {"PINMEM_DOMAIN", "test"}, {"PINMEM_BACKEND", "shm"}};
      for (auto const& [name, value] : more) {
         environment[name] = value;
      }
      return inChild(environment, body);
   }

   std::string const& path() const { return directory_.path(); }

private:
   TemporaryDirectory directory_;
};

} // namespace Quorvel::Core::Test
