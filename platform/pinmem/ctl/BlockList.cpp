#include "ctl/BlockList.h"
#include "src/BlockFlags.h"
#include "src/Record.h"
#include "src/Refusal.h"
#include <cerrno>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <system_error>

namespace pinmem_lib {

namespace {

std::optional<std::uint32_t> flagsOf(std::string const& text)
{
   for (std::uint32_t const flags : {BlockFlags::dmaFrugal, BlockFlags::ordinary, BlockFlags::dmaRoomy}) {
      if (text == std::to_string(flags)) {
         return flags;
      }
   }
   return std::nullopt;
}

std::optional<std::uint32_t> sizeOf(std::string const& text)
{
   constexpr std::string_view units = "KMG";
   std::uint64_t number = 0;
   char const* const end = text.data() + text.size();
   auto const [rest, error] = std::from_chars(text.data(), end, number);
   std::size_t const unit = rest + 1 == end ? units.find(*rest) : std::string_view::npos;
   if (error != std::errc() || number > UINT32_MAX || (rest != end && unit == std::string_view::npos)) {
      return std::nullopt;
   }
   std::uint64_t const size = rest == end ? number : number << (10 * (unit + 1));
   return size > UINT32_MAX ? std::nullopt : std::optional(static_cast<std::uint32_t>(size));
}

std::vector<std::string> wordsOf(std::string const& line)
{
   std::istringstream stream(line.substr(0, line.find('#')));
   std::vector<std::string> words;
   for (std::string word; stream >> word;) {
      words.push_back(word);
   }
   return words;
}

ListedWish wishOf(std::vector<std::string> const& words, std::string const& place, int line)
{
   if (words.size() < 3 || words.size() > 4) {
      refuse(place, words.size(), " words; write <name> <size> <flags> [<owner>]; nothing was made");
   }
   if (words[0].size() > Record::textMax) {
      refuse(place, "a name of ", words[0].size(), " bytes; a block's name has 1 to 255 bytes; nothing was made");
   }
   std::optional<std::uint32_t> const size = sizeOf(words[1]);
   if (!size) {
      refuse(
         place, "the size '", printable(words[1]),
         "' is not known; write up to 4294967295 bytes, or so many K, M or G; nothing was made");
   }
   std::optional<std::uint32_t> const flags = flagsOf(words[2]);
   if (!flags) {
      refuse(
         place, "the flags '", printable(words[2]),
         "' are not known; write 0 or 4 (DMA memory) or 1 (ordinary memory); nothing was made");
   }
   return {line, words[0], *size, *flags, words.size() == 4 ? words[3] : ""};
}

} // namespace

std::vector<ListedWish> readBlockList(std::string const& path)
{
   std::error_code ignored;
   errno = std::filesystem::is_directory(path, ignored) ? EISDIR : 0; // which opens, and reads as empty
   std::ifstream file(path);
   if (errno == EISDIR || !file) {
      refuse("'", printable(path), "' cannot be read: ", systemText(errno), "; name a file with one block a line");
   }
   std::vector<ListedWish> wishes;
   int number = 0;
   for (std::string line; std::getline(file, line);) {
      ++number;
      if (std::vector<std::string> const words = wordsOf(line); !words.empty()) {
         wishes.push_back(wishOf(words, join("line ", number, " of '", printable(path), "': "), number));
      }
   }
   return wishes;
}

} // namespace pinmem_lib
