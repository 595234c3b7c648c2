#include <Quorvel/Core/Entifier.h>

#include <Orvo/Assert.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// Reads the bytes up to each line feed as a template and the four values, and expands it: with any values, and with the same
// values written so that they mean their own characters. Both agree with the expansions below, which know nothing of
// patterns and formats. What the library refuses by ending the process is left out, and so is what would grow beyond bounds.

using Quorvel::Core::Detail::MakerPathMount;

namespace {

constexpr std::size_t longest = 1 << 16;

using Values = std::array<std::string, 4>;

// What one occurrence becomes.
std::string
format(std::string_view value, std::string_view placeholder, std::string_view before, std::string_view after)
{
   std::string text;
   for (std::size_t i = 0; i < value.size(); ++i) {
      char const next = value[i] == '$' && i + 1 < value.size() ? value[i + 1] : '\0';
      switch (next) {
      case '$':
         text += '$';
         break;
      case '&':
         text += placeholder;
         break;
      case '`':
         text += before;
         break;
      case '\'':
         text += after;
         break;
      default:
         text += value[i];
         continue;
      }
      ++i;
   }
   return text;
}

// One step; nothing when the text would become too long.
template <class Insert>
std::optional<std::string> replaceAll(std::string const& text, std::string_view placeholder, Insert insert)
{
   std::string result;
   std::size_t from = 0;
   for (std::size_t at = text.find(placeholder); at != std::string::npos; at = text.find(placeholder, from)) {
      std::string_view const before = std::string_view(text).substr(from, at - from);
      from = at + placeholder.size();
      result += before;
      result += insert(before, std::string_view(text).substr(from));
      if (result.size() > longest) {
         return std::nullopt;
      }
   }
   return result + text.substr(from);
}

// The expansion; nothing when it is refused, or becomes too long.
std::optional<std::string> expand(std::string const& pathTemplate, Values const& values, bool isFormat)
{
   std::optional<std::string> path = pathTemplate;
   for (std::size_t i = 0; i < values.size() && path; ++i) {
      std::string_view const placeholder = MakerPathMount::Constant::arrayArgPath[i];
      auto const& value = values[i];
      if (value.empty() && path->find(placeholder) != std::string::npos) {
         return std::nullopt;
      }
      path = replaceAll(*path, placeholder, [&](std::string_view before, std::string_view after) {
         return isFormat ? format(value, placeholder, before, after) : value;
      });
   }
   return path;
}

std::string escaped(std::string const& value)
{
   std::string text;
   for (char const character : value) {
      text.append(character == '$' ? 2 : 1, character);
   }
   return text;
}

// A $ and digits: standard libraries differ in what $0 is.
bool hasNumber(std::string_view value)
{
   for (std::size_t at = value.find('$'); at != std::string_view::npos; at = value.find('$', at + 1)) {
      if (at + 1 < value.size() && value[at + 1] >= '0' && value[at + 1] <= '9') {
         return true;
      }
   }
   return false;
}

MakerPathMount maker(Values const& values)
{
   MakerPathMount maker;
   maker.cellIdValue = values[0];
   maker.sliceIdValue = values[1];
   maker.arg0Value = values[2];
   maker.arg1Value = values[3];
   return maker;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
   std::string_view rest(reinterpret_cast<char const*>(data), size);
   auto const line = [&] {
      auto const text = rest.substr(0, rest.find('\n'));
      rest.remove_prefix(text.size() < rest.size() ? text.size() + 1 : text.size());
      return text;
   };
   auto const first = line();
   std::string const pathTemplate(first.substr(0, first.find('\0'))); // a template ends with its first NUL
   Values values;
   Values plain;
   bool isComparable = true;
   for (std::size_t i = 0; i < values.size(); ++i) {
      values[i] = line();
      plain[i] = escaped(values[i]);
      isComparable = isComparable && !hasNumber(values[i]);
   }

   if (auto const expected = expand(pathTemplate, values, false)) {
      ORVO_ASSERT(maker(plain).makePath(pathTemplate.c_str()) == *expected, "escaped values mean their own characters");
   }
   if (auto const expected = expand(pathTemplate, values, true); expected && isComparable) {
      ORVO_ASSERT(maker(values).makePath(pathTemplate.c_str()) == *expected, "values mean what their escapes say");
   }
   return 0;
}
