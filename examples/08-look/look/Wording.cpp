#include "look/Wording.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace Look {
namespace {

struct Character {
   std::uint32_t code = 0;
   std::size_t size = 0; ///< bytes; 0: this is no UTF-8
};

/// Reads the character with which the text, which is not empty, begins.
Character decode(std::string_view text)
{
   auto const byte = [&](std::size_t at) { return static_cast<unsigned char>(text[at]); };
   std::uint32_t const first = byte(0);
   if (first < 0x80) {
      return {first, 1};
   }
   std::size_t const size = first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : 2;
   if (first < 0xc2 || first > 0xf4 || text.size() < size) {
      return {};
   }
   std::uint32_t code = first & (0x7fU >> size);
   for (std::size_t at = 1; at < size; ++at) {
      if ((byte(at) & 0xc0U) != 0x80) {
         return {};
      }
      code = code << 6 | (byte(at) & 0x3fU);
   }
   constexpr std::array<std::uint32_t, 5> smallest{0, 0, 0x80, 0x800, 0x10000};
   bool const isSurrogate = code >= 0xd800 && code < 0xe000;
   return code < smallest.at(size) || code > 0x10ffff || isSurrogate ? Character{} : Character{code, size};
}

bool isShown(std::uint32_t code)
{
   bool const isControl = code < 0x20 || (code >= 0x7f && code < 0xa0) || code == 0x2028 || code == 0x2029;
   bool const turnsDirection = code == 0x061c || code == 0x200e || code == 0x200f ||
                               (code >= 0x202a && code <= 0x202e) || (code >= 0x2066 && code <= 0x2069);
   bool const isNoCharacter = (code & 0xfffeU) == 0xfffe || (code >= 0xfdd0 && code < 0xfdf0);
   return !isControl && !turnsDirection && !isNoCharacter && code != '\\';
}

std::string hexadecimal(std::uint64_t number, int digits)
{
   std::array<char, 24> text{};
   std::snprintf(text.data(), text.size(), "%0*llx", digits, static_cast<unsigned long long>(number));
   return text.data();
}

/// Position in the text behind so many of its characters.
std::size_t behind(std::string_view text, std::size_t characters)
{
   std::size_t at = 0;
   while (characters-- > 0 && at < text.size()) {
      at += std::max<std::size_t>(1, decode(text.substr(at)).size);
   }
   return at;
}

} // namespace

std::string printable(std::string_view name)
{
   if (name.empty()) {
      return "\"\"";
   }
   std::string text;
   while (!name.empty()) {
      auto const [code, size] = decode(name);
      auto const taken = name.substr(0, std::max<std::size_t>(1, size));
      if (size != 0 && isShown(code)) {
         text += taken;
      } else {
         for (char const byte : taken) {
            text += "\\x" + hexadecimal(static_cast<unsigned char>(byte), 2);
         }
      }
      name.remove_prefix(taken.size());
   }
   return text;
}

std::size_t width(std::string_view printableName)
{
   return static_cast<std::size_t>(std::count_if(printableName.begin(), printableName.end(), [](char byte) {
      return (static_cast<unsigned char>(byte) & 0xc0U) != 0x80; // all but those that continue a character
   }));
}

std::string shortened(std::string_view printableName, std::size_t most)
{
   auto const has = width(printableName);
   if (has <= most) {
      return std::string(printableName);
   }
   auto const back = most / 2;
   auto const front = most - 1 - back;
   std::string text(printableName.substr(0, behind(printableName, front)));
   text += "…";
   text += printableName.substr(behind(printableName, has - back));
   return text;
}

std::string sizeText(std::uint64_t bytes)
{
   constexpr std::array<char const*, 4> units{" B", " KiB", " MiB", " GiB"};
   std::size_t unit = 0;
   std::uint64_t one = 1;
   while (unit + 1 < units.size() && bytes >= one * 1024) {
      one *= 1024;
      ++unit;
   }
   auto text = std::to_string(bytes / one);
   if (auto const rest = bytes % one; rest != 0) {
      auto const tenths =
         (bytes / one) * 10 + (rest * 10 + one / 2) / one; // never rounded to a whole number of units silently
      text = std::to_string(tenths / 10) + "." + std::to_string(tenths % 10);
   }
   return text + units.at(unit);
}

std::string addressText(std::uint64_t address)
{
   return "0x" + hexadecimal(address, 12);
}

std::string rangeText(std::uint64_t address, std::uint64_t size)
{
   return addressText(address) + (size == 0 ? " (empty)" : " - " + addressText(address + size - 1));
}

std::string fieldText(Field const& field)
{
   auto const number = "(" + std::to_string(field.number) + ")";
   return field.name.empty() ? number : printable(field.name) + " " + number;
}

std::string entriesText(Group const& group)
{
   auto const first = std::to_string(group.head);
   switch (auto const count = group.count()) {
   case 0:
      return "no entries";
   case 1:
      return "entry " + first;
   default:
      return "entries " + first + " to " + std::to_string(group.head + (count - 1));
   }
}

std::string collectionText(Collection const& collection)
{
   if (!collection.isLive) {
      return "no live collection";
   }
   return countText(collection.capacity, "entry") + " in " + countText(collection.groups.size(), "group") +
          (collection.hasOffsetter ? ", placed by an offsetter" : "");
}

std::string countText(std::uint64_t count, std::string_view one)
{
   std::string text = std::to_string(count) + " ";
   if (count != 1 && one.ends_with('y')) {
      return text.append(one.substr(0, one.size() - 1)) + "ies";
   }
   return text.append(one) + (count == 1 ? "" : "s");
}

std::uint64_t beyond(Part const& part, Chunk const& chunk)
{
   std::uint64_t bytes = 0;
   for (auto const& span : part.spans) {
      bytes += span.end > chunk.size ? span.end - std::max<std::uint64_t>(span.begin, chunk.size) : 0;
   }
   return bytes;
}

} // namespace Look
