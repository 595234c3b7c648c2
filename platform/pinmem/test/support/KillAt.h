#pragma once

#include <signal.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

namespace pinmem_test {

enum class Fate { killed, ended, notWatched };

/// Runs `action` in a child process and kills it at the start or the end of a system call.
///
/// @param stop  counts the starts and ends of the child's system calls, from 0
/// @return `ended`: the child has no such stop and did all of it; `notWatched`: processes may not be traced here
template <typename Action>
Fate killAt(int stop, Action const& action)
{
   pid_t const child = ::fork();
   if (child == 0) {
      if (::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) {
         ::_exit(1);
      }
      ::raise(SIGSTOP);
      action();
      ::_exit(0);
   }
   int status = 0;
   ::waitpid(child, &status, 0);
   if (!WIFSTOPPED(status)) {
      return Fate::notWatched;
   }
   for (int count = 0; count <= stop; ++count) {
      ::ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
      ::waitpid(child, &status, 0);
      if (!WIFSTOPPED(status)) {
         return Fate::ended;
      }
   }
   ::kill(child, SIGKILL);
   ::waitpid(child, &status, 0);
   return Fate::killed;
}

} // namespace pinmem_test
