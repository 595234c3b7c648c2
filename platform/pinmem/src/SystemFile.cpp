#include "src/SystemFile.h"
#include "src/FileDescriptor.h"
#include "src/SystemCalls.h"
#include <algorithm>
#include <charconv>
#include <memory>

namespace pinmem_lib {

std::optional<std::string> textOfFile(std::string const& path)
{
   FileDescriptor const file(systemCalls.openat(AT_FDCWD, path.c_str(), O_RDONLY | O_CLOEXEC, 0));
   if (!file.isOpen()) {
      return std::nullopt;
   }
   std::string text;
   char buffer[4096];
   for (;;) {
      ssize_t const count = systemCalls.read(file.number(), buffer, sizeof(buffer));
      if (count < 0) {
         return std::nullopt;
      }
      if (count == 0) {
         return text;
      }
      text.append(buffer, static_cast<std::size_t>(count));
   }
}

std::optional<std::uint64_t> numberInFile(std::string const& path)
{
   std::string const text = textOfFile(path).value_or("");
   std::uint64_t number = 0;
   auto const result = std::from_chars(text.data(), text.data() + text.size(), number);
   return result.ec == std::errc() ? std::optional(number) : std::nullopt;
}

std::vector<std::string> namesIn(std::string const& path)
{
   FileDescriptor folder(systemCalls.openat(AT_FDCWD, path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0));
   if (!folder.isOpen()) {
      return {};
   }
   std::unique_ptr<DIR, int (*)(DIR*)> const stream(systemCalls.fdopendir(folder.number()), &::closedir);
   std::vector<std::string> names;
   if (stream != nullptr) {
      folder.release();
      while (dirent const* const entry = systemCalls.readdir(stream.get())) {
         if (entry->d_name[0] != '.') {
            names.emplace_back(entry->d_name);
         }
      }
   }
   std::sort(names.begin(), names.end());
   return names;
}

} // namespace pinmem_lib
