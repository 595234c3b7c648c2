#pragma once

#include <cstdint>
#include <string>
#include <sys/stat.h>

namespace pinmem_lib {

/// Which file a descriptor had when it was opened; notices that it is no longer that one, or no longer in its folder.
class FileIdentity {
public:
   /// @param number  an open descriptor
   explicit FileIdentity(int number);

   /// @param number  a descriptor that should have this file, still under its name
   /// @param what    kind and path of the file, for the message
   /// @throws Refusal  when the descriptor was closed (and perhaps used again) behind the library's back, or the file
   ///                  was removed or replaced
   /// @return what the system says of the file now
   struct stat check(int number, std::string const& what) const;

private:
   bool isThere_;
   std::uint64_t device_ = 0;
   std::uint64_t inode_ = 0;
};

/// Refuses because the descriptor of `what` was closed by somebody else in this process.
[[noreturn]] void refuseClosed(std::string const& what);

/// Refuses because `what` is no longer in its folder, or another file is there under its name.
[[noreturn]] void refuseRemoved(std::string const& what);

} // namespace pinmem_lib
