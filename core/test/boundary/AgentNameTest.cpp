// The owner that allocations are labelled with, from the environment of a program as it starts.

#include "support/ChildProcess.h"

#include <gtest/gtest.h>

namespace {

using Quorvel::Core::Test::runProgram;

TEST(AgentName, labelsAllocationsThoughTheEnvironmentChangesLater)
{
   auto const result = runProgram({TEST_AGENT}, {{"AGENT_PROCESS_NAME", "strata-1"}});

   EXPECT_EQ(result.output, "strata-1\nalloc 'ring' 64 'strata-1' 1\nmap 'ring'\nunmap 'ring'\n");
   EXPECT_EQ(result.errors, "");
   EXPECT_EQ(result.status, 0);
}

TEST(AgentName, thatIsEmptyIsAName)
{
   auto const result = runProgram({TEST_AGENT}, {{"AGENT_PROCESS_NAME", ""}});

   EXPECT_EQ(result.output, "\nalloc 'ring' 64 '' 1\nmap 'ring'\nunmap 'ring'\n");
}

TEST(AgentName, thatIsMissingGivesTheModuleAsLabel)
{
   auto const result = runProgram({TEST_AGENT}, {});

   EXPECT_EQ(result.output, "(null)\nalloc 'ring' 64 '@Memory/Control/Chunk' 1\nmap 'ring'\nunmap 'ring'\n");
   EXPECT_EQ(result.status, 0);
}

} // namespace
