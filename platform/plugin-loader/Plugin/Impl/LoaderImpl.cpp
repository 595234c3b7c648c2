#include <Plugin/Impl/LoaderImpl.h>

#include "../../src/PluginFile.h"
#include "../../src/Results.h"
#include "../../src/SearchPath.h"

#include <algorithm>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace Plugin::Impl {
namespace {

using Detail::report;

/// A file that has been opened.
struct Opened {
   void* library = nullptr; ///< null while its own initialisers run
   std::string thrown;      ///< what its entry point has thrown
};

/// By device and inode. Never destroyed, so that plugins can be loaded until the end of the process.
std::map<std::pair<dev_t, ino_t>, Opened>& opened()
{
   static auto& files = *new std::map<std::pair<dev_t, ino_t>, Opened>;
   return files;
}

bool isKnown(void const* library)
{
   return std::ranges::any_of(opened(), [&](auto const& file) { return file.second.library == library; });
}

/// @return whether the plugin is loaded now and was not before
bool load(Orvo::String const& family, std::string const& path)
{
   auto const [device, inode, refusal] = Detail::inspect(path);
   if (!refusal.empty()) {
      report({family, path, State::failed, refusal});
      return false;
   }
   // Noted before it is opened: its own initialisers may ask for it.
   auto const [at, isNew] = opened().try_emplace({device, inode});
   auto& file = at->second;
   if (!isNew) {
      report({family, path, file.thrown.empty() ? State::loadedBefore : State::failed, file.thrown});
      return false;
   }
   std::string reason;
   auto* const library = Detail::open(path, reason);
   if (library != nullptr && isKnown(library)) { // the dynamic loader goes by the path before it looks at the file
      reason = "an earlier file is loaded under this path, for good";
   }
   if (!reason.empty()) {
      opened().erase(at);
      report({family, path, State::failed, reason});
      return false;
   }
   file.library = library;
   file.thrown = Detail::callEntryPoint(library);
   report({family, path, file.thrown.empty() ? State::loaded : State::failed, file.thrown});
   return file.thrown.empty();
}

/// @return the names of a directory that may be plugins, in ascending order of their bytes
std::vector<std::string> namesIn(std::string const& directory, std::error_code& error)
{
   std::vector<std::string> names;
   for (std::filesystem::directory_iterator at(directory, error), end; !error && at != end; at.increment(error)) {
      auto name = at->path().filename().string();
      if (name.ends_with(".so") && !name.starts_with('.')) {
         names.push_back(std::move(name));
      }
   }
   std::ranges::sort(names);
   return names;
}

std::size_t loadFrom(std::string const& directory, Orvo::String const& family)
{
   if (!directory.starts_with('/') || directory.find('\0') != directory.npos) {
      report({family, directory, State::failed, "a directory of the search path begins with '/' and holds no NUL"});
      return 0;
   }
   auto const path = std::string(Orvo::join(directory, "/", family));
   std::error_code error;
   auto const names = namesIn(path, error);
   if (error) {
      auto const state = error == std::errc::no_such_file_or_directory ? State::missing : State::failed;
      report({family, path, state, error.message()});
   }
   std::size_t count = 0;
   for (auto const& name : names) {
      count += load(family, std::string(Orvo::join(path, "/", name))) ? 1 : 0;
   }
   return count;
}

} // namespace

std::size_t LoaderImpl::loadPlugins(
   Orvo::String const& searchPath, Orvo::String const& family, Orvo::String const& reserved1,
   Orvo::String const& reserved2, Orvo::String const& reserved3)
{
   if (!reserved1.empty() || !reserved2.empty() || !reserved3.empty()) {
      throw std::invalid_argument("family='" + std::string(family) + "' is asked for with a reserved text.");
   }
   auto const name = family; // the caller's may change in a plugin's entry point
   if (!Detail::isFamilyName(name)) {
      report({name, {}, State::failed, "the name of a family is a relative path without '.' and '..'"});
      return 0;
   }
   std::size_t count = 0;
   for (auto const& directory : Detail::searchPath(searchPath)) {
      count += loadFrom(directory, name);
   }
   return count;
}

} // namespace Plugin::Impl
