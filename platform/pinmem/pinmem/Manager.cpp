#include <cstdlib>
#include <cstring>
#include <mutex>
#include <pinmem/Manager.h>

namespace pinmem_lib {

namespace {

constinit std::once_flag captured;

} // namespace

constinit char const* Manager::agentName = nullptr;

void Manager::captureAgentName()
{
   std::call_once(captured, [] {
      if (char const* const name = std::getenv("AGENT_PROCESS_NAME"); name != nullptr) {
         agentName = ::strdup(name);
      }
   });
}

} // namespace pinmem_lib
