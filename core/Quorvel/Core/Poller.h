#pragma once

#include <Quorvel/Core/Export.h>

#include <cstdint>
#include <forward_list>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace Quorvel::Core {

/// Waits on open files, such as device nodes, pipes, sockets and timers, and hands each that is ready to its own handler, until
/// a handler says that the wait is over.
///
///     Poller poller;
///     poller.open("/dev/uio0", O_RDONLY | O_CLOEXEC, POLLIN, [&](Poller::File const& file) { return serve(file.descriptor); });
///     poller.fileIs({"timer", [&](Poller::File const&) { return true; }, timer, POLLIN});
///     poller.poll(-1);
///
/// Ownership: closes what it has opened itself when it is destroyed, and no other descriptor. It moves but is not copied; what
///            it is moved from is empty.
/// Threads:   one at a time. `poll` and the handlers run on the caller's thread and take no lock.
class Poller {
public:
   /// One file to wait on: a plain record.
   struct File {
      using Handler = std::function<bool(File const& file)>; ///< true ends the wait

      std::string name;             ///< its path, for messages
      Handler handler;              ///< called when the file is ready; must not be empty then
      std::int32_t descriptor = -1; ///< -1 when opening failed. What is negative is never ready
      std::int16_t events = 0;      ///< of poll(2): POLLIN, POLLOUT, …; what makes the file ready

      /// Checks that the file was opened; to be called when it has been.
      /// @throws std::system_error  "Unable to open file 'name'" and the text of its code, when `descriptor` is -1; the code is
      ///                            9 (bad file descriptor) of the system's, whatever the reason was
      QUORVEL_CORE_EXPORT void checkDescriptor() const;
   };

   Poller() = default;
   Poller(Poller&&) noexcept = default;

   /// Closes what it had opened before, once the handlers that used it are gone.
   Poller& operator=(Poller&& other) noexcept
   {
      files = std::move(other.files);
      opened_ = std::move(other.opened_);
      return *this;
   }

   ~Poller() = default;

   /// Adds a file as the last one. Borrows the descriptor, and does not check it.
   /// @throws std::bad_alloc  nothing has changed
   QUORVEL_CORE_EXPORT void fileIs(File file);

   /// Opens a file, which stays open for as long as the poller lives, and adds it as the last one.
   ///
   /// @param flags  of open(2), for instance O_RDONLY | O_NONBLOCK | O_CLOEXEC. What O_CREAT makes may be read and written by
   ///               everybody, less the process's umask
   /// @return the descriptor (borrowed: not to be closed), also in the record
   /// @throws std::system_error  as `File::checkDescriptor` does, when it cannot be opened; nothing has changed
   /// @throws std::bad_alloc     nothing has changed
   QUORVEL_CORE_EXPORT std::int32_t open(std::string name, int flags, std::int16_t events, File::Handler handler);

   /// Waits until a handler returns true, or the system refuses to wait.
   ///
   /// After each wait every ready file is handed to its handler, in the order of `files`, also after one has returned true. A
   /// file is ready when one of the events that it asks for has happened. Errors and hang-ups count only for who asks for them
   /// (POLLERR, POLLHUP, POLLNVAL in `events`): a file that has nothing else to report ends each wait at once and is handed to
   /// nobody, so that `poll` spins.
   ///
   /// @param timeout  of each single wait, in milliseconds; negative: without limit. A wait that times out is repeated, so
   ///                 that this limits nothing: to end the whole call after a time, wait on a timer (timerfd_create(2)) as well
   /// @return what the last system call returned: how many files it had something to report of, when a handler ended the wait;
   ///         negative when it failed, with the reason in errno: EINTR after a signal, EINVAL when there are more files than
   ///         the process may open. No handler is called after a failure
   /// @throws std::bad_alloc          before it waits
   /// @throws std::bad_function_call  when a ready file has no handler; the handlers before it have run
   /// @throws whatever a handler throws; the handlers after it have not run
   ///
   /// While it runs, `files` must not change, so nothing may be added or opened, and the poller may be neither moved nor
   /// destroyed. A handler may call `poll` again.
   /// Cost: one array of 8 bytes a file for the call; nothing is allocated while it waits.
   QUORVEL_CORE_EXPORT int poll(int timeout);

private:
   // A file that the poller has opened; closed when this goes.
   class Descriptor {
   public:
      Descriptor(char const* path, int flags) noexcept;
      Descriptor(Descriptor const&) = delete;
      Descriptor& operator=(Descriptor const&) = delete;
      QUORVEL_CORE_EXPORT ~Descriptor();

      std::int32_t number() const noexcept { return number_; }

   private:
      std::int32_t number_; // -1 when it could not be opened
   };

   std::forward_list<Descriptor> opened_; // the last one first; outlives the handlers, which may use it to the end

public:
   /// What is waited on, in the order in which handlers are called. To wait no longer on a file, take it out; a descriptor that
   /// the poller has opened stays open nevertheless.
   std::vector<File> files;
};

} // namespace Quorvel::Core
