#pragma once

#include "src/Directory.h"
#include "src/FileIdentity.h"
#include <cstdint>
#include <string>
#include <vector>

namespace pinmem_lib {

/// Says whether a domain is in use: each process that uses it holds a shared `flock` on one file until it ends. A
/// forked child shares its parent's, and is not counted apart. Users of a single block hold a shared lock on the byte of
/// that file that has the number of the block's record; the kernel lets go of both kinds when a process dies.
///
/// The caller holds the domain's lock during every call, so that none of them ever waits.
class DomainUsers {
public:
   /// @param missing  `leave` when the domain is in order otherwise: without its file it would look unused
   /// @throws Refusal  when the file is missing, or cannot be made or opened
   DomainUsers(Directory const& place, Directory::Missing missing);

   /// For looking alone, `countsOf`: needs no right to the file.
   /// @throws Refusal  like the constructor
   static DomainUsers forLooking(Directory const& place);

   /// Counts this process in until the object is destroyed.
   void share();

   /// Whether nobody else is counted in; nobody can be until the object is destroyed or `share`d. When false, this
   /// process is not counted in any more.
   bool tryExclusive();

   /// Whether nobody but this process is counted in; it stays so.
   bool isAlone();

   /// Counts this process in as a user of one block until the object is destroyed or `release` is called.
   /// @throws Refusal  when the system refuses
   void hold(std::uint32_t slot);

   void release(std::uint32_t slot);

   /// Whether a process other than this one is counted in as a user of the block.
   bool isHeldByOthers(std::uint32_t slot) const;

   /// How many processes are counted in as users of each block; a process and the children that it forked count as one.
   /// All are 0 where the system does not tell.
   ///
   /// @param slots      numbers of the blocks' records
   /// @param locksPath  where the kernel lists all file locks
   std::vector<std::uint32_t>
   countsOf(std::vector<std::uint32_t> const& slots, std::string const& locksPath = "/proc/locks") const;

   /// Makes sure that this process still counts.
   /// @throws Refusal  when the file was removed, or its descriptor closed by somebody else in this process
   void check() const;

private:
   DomainUsers(Directory const& place, int flags);

   std::string what_; ///< the file, for messages
   FileDescriptor file_;
   FileIdentity identity_;
};

} // namespace pinmem_lib
