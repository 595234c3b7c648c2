#pragma once

#include <Orvo/Export.h>

#include <sys/single_threaded.h>

namespace Orvo {

/// The process-wide question whether threads are in use. Reference counts are plain while they are not.
class ThreadControl {
public:
   /// False until the process starts its second thread; turns by itself, from the C library's own flag. It turns only
   /// while one thread runs, so that what was written before is seen by all threads.
   /// Cost: one load.
   static bool threadsInUse() noexcept { return __libc_single_threaded == 0; }

   /// Makes `threadsInUse` true, for tests of the way with threads: starts a thread and waits for its end. There is no
   /// way back, just as after a real thread.
   /// @throws std::system_error  when the system starts no thread
   ORVO_EXPORT static void forceThreadsInUse();
};

} // namespace Orvo
