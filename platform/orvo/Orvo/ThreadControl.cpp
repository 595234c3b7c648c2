#include <Orvo/ThreadControl.h>

#include <thread>

namespace Orvo {

void ThreadControl::forceThreadsInUse()
{
   std::thread([] {}).join();
}

} // namespace Orvo
