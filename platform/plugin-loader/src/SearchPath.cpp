#include "SearchPath.h"

#include <cstdlib>

namespace Plugin::Detail {
namespace {

/// Calls `use` with each piece; a text without the separator is one piece.
template <class Use>
void split(std::string_view text, char separator, Use use)
{
   for (;;) {
      auto const end = text.find(separator);
      use(text.substr(0, end));
      if (end == text.npos) {
         return;
      }
      text.remove_prefix(end + 1);
   }
}

} // namespace

std::vector<std::string> searchPath(std::string_view own)
{
   std::vector<std::string> directories;
   auto const add = [&](std::string_view directory) {
      if (!directory.empty()) {
         directories.emplace_back(directory);
      }
   };
   split(own, ':', add);
   if (auto const* const variable = ::secure_getenv("PLUGIN_PATH")) {
      split(variable, ':', add);
   }
   split(PLUGIN_DIRECTORY, ':', add);
   return directories;
}

bool isFamilyName(std::string_view name) noexcept
{
   bool isGood = name.find('\0') == name.npos;
   split(
      name, '/', [&](std::string_view piece) { isGood = isGood && !piece.empty() && piece != "." && piece != ".."; });
   return isGood;
}

} // namespace Plugin::Detail
