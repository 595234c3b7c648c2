#pragma once

#include <string>

#include <sys/types.h>

namespace Plugin::Detail {

/// A file that may be a plugin. Looking at it runs nothing of it.
struct PluginFile {
   dev_t device = 0;
   ino_t inode = 0;
   std::string reason; ///< why it is not to be opened; empty when it may be
};

/// Looks whether a file can be given to the dynamic loader, which trusts what it is given: a pipe would make it wait, and a
/// library that is cut off, as one that is just being copied, would end the process with a signal. Of another processor's
/// library it would say that the file is missing.
PluginFile inspect(std::string const& path);

/// Maps the library into the process, for good, and runs its static initialisers.
///
/// @return the library's handle; null with the reason why not
/// An exception of a static initialiser ends the process here, on every system alike: some dynamic loaders would let it pass
/// and stay locked.
void* open(std::string const& path, std::string& reason) noexcept;

/// Calls the entry point that the library itself has, if it has one; one that only a library has that it needs is not its own.
///
/// @return what the entry point has thrown, in words; empty when it returned or there is none
/// Cancellation of the thread passes through.
std::string callEntryPoint(void* library);

} // namespace Plugin::Detail
