#pragma once

#include <Plugin/Export.h>

#include <Orvo/String.h>

#include <vector>

namespace Plugin {

/// How a file, or a place to look for files, has turned out.
enum class State {
   loaded,       ///< opened now; its entry point, if it has one, has returned
   loadedBefore, ///< the same file has been opened already, under this path or another
   missing,      ///< the search path has a directory without this family, which is no failure
   failed,       ///< the other results are as good without it
};

/// What has become of one plugin, or of one directory of the search path that gave none.
struct Result {
   Orvo::String family; ///< as it was asked for: "FooPlugin", "FooPlugin/bar"
   Orvo::String file;   ///< path of the plugin or of the directory
   State state = State::failed;
   Orvo::String reason; ///< why it failed or is missing, for people; else empty

   friend bool operator==(Result const& a, Result const& b) = default;
};

/// Everything that the process has tried to load, in the order in which it was decided: a plugin that an entry point loads
/// stands before the plugin with that entry point.
///
/// @return the process's list; the next load adds to it, which ends what iterators and references to elements are good for
/// Threads: like loading. Usable until the very end of the process.
PLUGIN_EXPORT std::vector<Result> const& results();

/// @return those of one family
PLUGIN_EXPORT std::vector<Result> results(Orvo::String const& family);

} // namespace Plugin
