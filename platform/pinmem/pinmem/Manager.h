#pragma once

#include <pinmem/Export.h>

namespace pinmem_lib {

/// The name of the agent that this process is, one for the whole process.
///
/// Threads: `captureAgentName` may be called from several threads; `agentName` may be read once one call has returned.
class PINMEM_EXPORT Manager {
public:
   /// The label that allocations of this process carry; null before the capture, and when there was no name.
   /// Constant-initialised, so that static initialisers may read it in any order.
   static char const* agentName;

   /// Sets `agentName` to a copy of the environment variable `AGENT_PROCESS_NAME`: null when it is not set, "" when it
   /// is empty. Only the first call of the process does anything, also when the variable was not set then; later
   /// changes of the environment do not reach the copy. The copy is never freed.
   static void captureAgentName();
};

} // namespace pinmem_lib
