// An agent that makes one chunk over the recording pinned-memory library. Prints the agent name, and each call as it comes,
// to the very end of the process. What it is started with, it changes before it makes the chunk.

#include "support/PinmemRecorder.h"

#include <Quorvel/Core/Memory/Control/Detail/StoreChunk.h>

#include <pinmem/Manager.h>

#include <cstdio>
#include <cstdlib>

#include <unistd.h>

int main()
{
   using Quorvel::Core::Memory::Control::Detail::StoreChunk;
   ::setenv("AGENT_PROCESS_NAME", "changed", 1);
   auto const* const name = pinmem_lib::Manager::agentName;
   std::printf("%s\n", name != nullptr ? name : "(null)");
   std::fflush(stdout);
   Quorvel::Core::Test::PinmemRecorder::instance().traceTo(STDOUT_FILENO);
   StoreChunk::instance()->chunkIs("ring", 64, true);
}
