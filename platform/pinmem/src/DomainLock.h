#pragma once

#include "src/Directory.h"
#include <optional>
#include <sys/types.h>

namespace pinmem_lib {

/// The lock that orders the changes of all processes of a domain: `flock` on a file, which the kernel lets go when its
/// holder dies. Threads of one process exclude each other by other means first.
class DomainLock {
public:
   /// Opens the lock file, making it where there is none.
   /// @return nothing when the folder has just been removed
   static std::optional<DomainLock> open(Directory const& place);

   /// Whether the file has been removed from its folder: processes that come later do not meet this one here.
   bool isRemoved() const;

   /// Holds the lock for the life of the object.
   class Hold {
   public:
      /// Waits until the lock is free.
      /// @param place  as given to `open`: a forked child shares its parent's lock, and opens one of its own here
      /// @throws Refusal  when the lock cannot be had
      Hold(DomainLock& lock, Directory const& place);
      Hold(Hold const&) = delete;
      Hold& operator=(Hold const&) = delete;
      ~Hold();

   private:
      int number_;
   };

private:
   DomainLock(FileDescriptor file, pid_t process) : file_(std::move(file)), process_(process) {}

   FileDescriptor file_;
   pid_t process_;
};

} // namespace pinmem_lib
