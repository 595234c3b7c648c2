#pragma once

#include "src/Directory.h"

namespace pinmem_lib {

/// Says whether a domain is in use: each process that uses it holds a shared `flock` on one file until it ends.
///
/// The caller holds the domain's lock during every call, so that none of them ever waits.
class DomainUsers {
public:
   /// @throws Refusal  when the file cannot be made or opened
   explicit DomainUsers(Directory const& place);

   /// Counts this process in until the object is destroyed.
   void share();

   /// Whether nobody else is counted in; nobody can be until the object is destroyed or `share`d.
   bool tryExclusive();

private:
   FileDescriptor file_;
};

} // namespace pinmem_lib
