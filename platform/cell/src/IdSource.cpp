#include "IdSource.h"

#include <cerrno>
#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

namespace Cell::Detail {

namespace {

constexpr char const* expected = " no cell identifier, which is a decimal number from 0 to 4294967295.";

std::optional<std::uint32_t> numberIn(std::string_view text)
{
   std::uint32_t number = 0;
   auto const* const end = text.data() + text.size();
   auto const [rest, error] = std::from_chars(text.data(), end, number);
   bool const hasLeadingZero = text.size() > 1 && text.front() == '0';
   if (error != std::errc() || rest != end || hasLeadingZero) {
      return std::nullopt;
   }
   return number;
}

[[noreturn]] void refuseFile(std::string const& path)
{
   int const error = errno;
   throw std::system_error(
      error, std::system_category(), "file='" + path + "' with the cell identifier cannot be read");
}

class File {
public:
   explicit File(std::string const& path) : descriptor_(::open(path.c_str(), O_RDONLY | O_CLOEXEC)) {}

   File(File const&) = delete;
   File& operator=(File const&) = delete;

   ~File()
   {
      if (isOpen()) {
         ::close(descriptor_);
      }
   }

   bool isOpen() const { return descriptor_ >= 0; }

   // Reads until the end, or until there are more bytes than an identifier can have. Less than it asks for is no end.
   std::optional<std::string> text() const
   {
      constexpr std::size_t enough = sizeof "4294967295\n";
      std::string text;
      char bytes[enough];
      while (text.size() < enough) {
         auto const count = ::read(descriptor_, bytes, enough - text.size());
         if (count < 0) {
            return std::nullopt;
         }
         if (count == 0) {
            break;
         }
         text.append(bytes, static_cast<std::size_t>(count));
      }
      return text;
   }

private:
   int descriptor_;
};

std::uint32_t numberOf(File const& file, std::string const& path)
{
   auto text = file.text();
   if (!text) {
      refuseFile(path);
   }
   if (text->ends_with('\n')) {
      text->pop_back();
   }
   auto const number = numberIn(*text);
   if (!number) {
      throw std::runtime_error("file='" + path + "' holds" + expected);
   }
   return *number;
}

} // namespace

std::uint32_t findCellId(char const* usual)
{
   if (char const* const text = ::secure_getenv("CELL_ID")) {
      auto const number = numberIn(text);
      if (!number) {
         throw std::runtime_error(std::string("CELL_ID='") + text + "' is" + expected);
      }
      return *number;
   }
   char const* const named = ::secure_getenv("CELL_ID_FILE");
   std::string const path = named != nullptr ? named : usual;
   File const file(path);
   if (file.isOpen()) {
      return numberOf(file, path);
   }
   if (named == nullptr && errno == ENOENT) {
      return 0; // a machine without cells
   }
   refuseFile(path);
}

} // namespace Cell::Detail
