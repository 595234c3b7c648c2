#pragma once

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <system_error>

#include <stdlib.h>

namespace Plugin::Test {

/// A directory of a search path, for one test; removed at its end. What it holds are copies, so that each test opens files
/// that the process has not opened before.
class PluginFolder {
public:
   PluginFolder()
   {
      if (::mkdtemp(path_.data()) == nullptr) {
         throw std::runtime_error("cannot make " + path_);
      }
   }

   PluginFolder(PluginFolder const&) = delete;
   PluginFolder& operator=(PluginFolder const&) = delete;

   ~PluginFolder()
   {
      std::error_code ignored;
      std::filesystem::remove_all(path_, ignored);
   }

   std::string const& path() const { return path_; }

   /// @return the path of `<family>/<file>` here, whose folder exists then
   std::string place(std::string const& family, std::string const& file) const
   {
      std::filesystem::create_directories(path_ + '/' + family);
      return path_ + '/' + family + '/' + file;
   }

   /// Copies one of the tests' plugins to `<family>/<file>`.
   /// @return its path
   std::string add(std::string const& family, std::string const& plugin, std::string const& file) const
   {
      auto to = place(family, file);
      std::filesystem::copy_file(PLUGINS "/" + plugin + ".so", to);
      return to;
   }

   /// Like above, as `<plugin>.so`.
   std::string add(std::string const& family, std::string const& plugin) const
   {
      return add(family, plugin, plugin + ".so");
   }

   /// Writes a file that is no plugin.
   /// @return its path
   std::string write(std::string const& family, std::string const& file, std::string const& text) const
   {
      auto to = place(family, file);
      std::ofstream(to) << text;
      return to;
   }

private:
   std::string path_ = PLUGINS "/test-XXXXXX"; // in the build folder: others may be mounted so that nothing there runs
};

} // namespace Plugin::Test
