#pragma once

#include <Plugin/Export.h>

#include <Orvo/String.h>

#include <cstddef>

namespace Plugin::Impl {

/// Finds the plugins of a family and loads them.
///
/// Threads: one load at a time in a process, and none while another thread reads the results. A plugin may load another
///          family, or its own again, from its static initialisers and its entry point.
class PLUGIN_EXPORT LoaderImpl {
public:
   /// Opens every file `<directory>/<family>/*.so`, in each directory of the search path, in ascending order of the names'
   /// bytes, and calls the entry point of each one that has one (`Plugin/Entry.h`). `Plugin::results` tells what became of
   /// each; nothing is printed. One that fails does not keep the next from being tried.
   ///
   /// The search path is `searchPath`, then the environment variable PLUGIN_PATH, then the directory that the library was
   /// built with. Each holds absolute paths parted by ':'; empty ones are skipped, relative ones are reported and skipped. The
   /// variable does not count in a process that runs with other rights than its user's. A family found in several directories
   /// is loaded from all of them, in this order; the same file (device and inode) is opened once in a process. A family that is
   /// asked for again is searched for again: what is new, or had not been opened, is tried; a file that has taken the place of
   /// a plugin under the same path is reported as failed.
   ///
   /// Plugins are opened with all their symbols resolved, keep their symbols to themselves (RTLD_NOW, RTLD_LOCAL), and stay
   /// for as long as the process lives. What a plugin's static initialiser throws ends the process, and so does a crash in it.
   ///
   /// @param searchPath  directories to search first, or empty
   /// @param family      a relative path without "." and "..": "FooPlugin", "FooPlugin/bar"; any other is reported as failed
   /// @param reserved1   must be empty, like the next two
   /// @return how many plugins this call has opened whose entry points have not thrown
   /// @throws std::invalid_argument  when a reserved text is not empty; nothing has been looked for
   /// Cost: reading the directories, and the dynamic loader's work.
   static std::size_t loadPlugins(
      Orvo::String const& searchPath, Orvo::String const& family, Orvo::String const& reserved1,
      Orvo::String const& reserved2, Orvo::String const& reserved3);
};

} // namespace Plugin::Impl
