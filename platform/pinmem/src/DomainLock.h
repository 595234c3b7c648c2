#pragma once

#include "src/Directory.h"
#include <cstdint>
#include <optional>

namespace pinmem_lib {

/// The lock that orders the changes of all processes of a domain, held for the life of the object: `flock` on a file,
/// which the kernel lets go when its holder dies. Threads of one process exclude each other by other means first.
///
/// The file is opened afresh each time: a `flock` belongs to the open file, which a forked child shares, so that a
/// descriptor kept open would leave the domain locked while a child of a dead holder lives.
class DomainLock {
public:
   /// Waits until the lock is free.
   /// @return nothing when the folder or the file has just been removed; with `leave` also when there is no file
   static std::optional<DomainLock> take(Directory const& place, Directory::Missing missing);

   /// Takes the lock again for a process that had it before.
   /// @param number  what `fileNumber` was then
   /// @throws Refusal  when the file was removed or replaced meanwhile, or the folder's descriptor closed
   static DomainLock takeAgain(Directory const& place, std::uint64_t fileNumber);

   DomainLock(DomainLock&&) noexcept = default;
   DomainLock& operator=(DomainLock&&) = delete;
   ~DomainLock();

   /// Tells this lock file from one that is made later in its place.
   std::uint64_t fileNumber() const;

private:
   explicit DomainLock(FileDescriptor file) : file_(std::move(file)) {}

   void wait(Directory const& place);
   /// Whether the file is still in its folder; else processes that come later do not meet this one here.
   bool isCurrent() const;

   FileDescriptor file_;
};

} // namespace pinmem_lib
