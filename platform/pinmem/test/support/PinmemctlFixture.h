#pragma once

#include "test/support/Program.h"
#include "test/support/TemporaryDirectory.h"
#include <algorithm>
#include <fstream>
#include <gtest/gtest.h>

namespace pinmem_test {

/// Runs pinmemctl, and small agents, in a folder for domains.
class PinmemctlFixture : public testing::Test {
protected:
   using Arguments = std::vector<std::string>;

   TemporaryDirectory const temporary_;
   Program::Environment environment_ = {{"PINMEM_DIR", temporary_.path()}, {"PINMEM_BACKEND", "shm"}};
   std::string output_;
   std::string errors_;

   int run(char const* path, Arguments arguments)
   {
      arguments.insert(arguments.begin(), path);
      Program program(arguments, environment_);
      int const status = program.wait();
      output_ = program.restOfOutput();
      errors_ = program.errors();
      return status;
   }

   int ctl(Arguments const& arguments) { return run(PINMEMCTL, arguments); }

   void makeBlocks()
   {
      ASSERT_EQ(run(PINMEM_CHILD, {"alloc", "ring.rx", "5000", "slice-a", "4", "alloc", "b\n\xff", "0", "", "1"}), 0);
   }

   /// Changes one byte of the index.
   void spoilIndex(int offset) const
   {
      std::fstream(temporary_ / "default/index", std::ios::in | std::ios::out | std::ios::binary)
         .seekp(offset)
         .put('x');
   }
};

} // namespace pinmem_test
