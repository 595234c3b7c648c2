#include "test/support/Program.h"
#include <gtest/gtest.h>

using pinmem_test::Program;

namespace {

/// What a process with this environment prints for these commands.
std::string outputOf(std::vector<std::string> commands, Program::Environment const& environment)
{
   commands.insert(commands.begin(), PINMEM_CHILD);
   Program program(commands, environment);
   EXPECT_EQ(program.wait(), 0) << program.errors();
   return program.restOfOutput();
}

} // namespace

TEST(Manager, hasNoNameBeforeTheCapture)
{
   EXPECT_EQ(outputOf({"agent"}, {{"AGENT_PROCESS_NAME", "slice-a"}}), "(null)\n");
}

TEST(Manager, capturesTheName)
{
   EXPECT_EQ(outputOf({"capture", "agent"}, {{"AGENT_PROCESS_NAME", "slice-a"}}), "captured\nslice-a\n");
}

TEST(Manager, capturesAnEmptyNameAsEmpty)
{
   EXPECT_EQ(outputOf({"capture", "agent"}, {{"AGENT_PROCESS_NAME", ""}}), "captured\n\n");
}

TEST(Manager, hasNoNameWhenTheVariableIsNotSet)
{
   EXPECT_EQ(outputOf({"capture", "agent"}, {}), "captured\n(null)\n");
}

TEST(Manager, keepsItsCopyWhenTheEnvironmentChanges)
{
   EXPECT_EQ(
      outputOf(
         {"capture", "setenv", "AGENT_PROCESS_NAME", "slice-b", "agent", "capture", "agent"},
         {{"AGENT_PROCESS_NAME", "slice-a"}}),
      "captured\nset\nslice-a\ncaptured\nslice-a\n");
}

TEST(Manager, capturesOnlyOnceAlsoWhenTheVariableWasNotSet)
{
   EXPECT_EQ(
      outputOf({"capture", "setenv", "AGENT_PROCESS_NAME", "slice-b", "capture", "agent"}, {}),
      "captured\nset\ncaptured\n(null)\n");
}
