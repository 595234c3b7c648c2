#include "src/SystemFile.h"
#include "src/Refusal.h"
#include "src/SystemCalls.h"
#include <algorithm>
#include <cerrno>
#include <charconv>
#include <fcntl.h>
#include <memory>

namespace pinmem_lib {

FileDescriptor openIfThere(std::string const& path, int flags)
{
   FileDescriptor file(systemCalls.openat(AT_FDCWD, path.c_str(), flags | O_RDONLY | O_CLOEXEC, 0));
   if (!file.isOpen() && isShortage(errno)) {
      refuseUnopened(errno, "'", printable(path), "' cannot be opened: ", systemText(errno));
   }
   return file;
}

std::optional<std::string> textOfFile(std::string const& path)
{
   FileDescriptor const file = openIfThere(path);
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
   FileDescriptor folder = openIfThere(path, O_DIRECTORY);
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
