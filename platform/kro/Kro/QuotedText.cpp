#include <Kro/QuotedText.h>

#include <Orvo/String.h>

#include <bit>
#include <cstdint>
#include <cstring>
#include <new>
#include <string>

namespace Kro::Detail {
namespace {

constexpr std::string_view hexadecimal = "0123456789abcdef";

/// Whether the byte stands as two digits in a quoted text.
constexpr bool isByNumber(char c) noexcept
{
   auto const byte = static_cast<unsigned char>(c);
   return byte < 0x20 || byte == 0x7f;
}

/// Whether the byte stands as it is.
constexpr bool isPlain(char c) noexcept
{
   return c != '"' && c != '\\' && !isByNumber(c);
}

// Eight characters at once: the first one is the lowest byte.
static_assert(std::endian::native == std::endian::little);

constexpr std::uint64_t inEveryByte(unsigned char byte) noexcept
{
   return byte * 0x0101010101010101U;
}

/// @return a word in which the highest bit of the first byte that is below `limit` is the lowest bit set
constexpr std::uint64_t firstBelow(std::uint64_t word, unsigned char limit) noexcept
{
   return (word - inEveryByte(limit)) & ~word & inEveryByte(0x80); // a borrow reaches later bytes alone
}

constexpr std::uint64_t firstEqual(std::uint64_t word, unsigned char byte) noexcept
{
   return firstBelow(word ^ inEveryByte(byte), 1);
}

/// @return the position of the first of eight characters that is not itself in a quoted text, or 8
std::size_t firstSpecial(char const* characters) noexcept
{
   std::uint64_t word = 0;
   std::memcpy(&word, characters, sizeof word);
   auto const special =
      firstBelow(word, 0x20) | firstEqual(word, '"') | firstEqual(word, '\\') | firstEqual(word, 0x7f);
   return static_cast<std::size_t>(std::countr_zero(special)) / 8;
}

/// @return how many characters stand before the first one that is not itself in a quoted text
std::size_t lengthOfPlain(std::string_view text) noexcept
{
   std::size_t length = 0;
   while (text.size() - length >= 8) {
      auto const first = firstSpecial(text.data() + length);
      length += first;
      if (first < 8) {
         return length;
      }
   }
   while (length < text.size() && isPlain(text[length])) {
      ++length;
   }
   return length;
}

void appendEscaped(TextBuffer& text, char c)
{
   if (!isByNumber(c)) {
      text.append('\\');
      text.append(c);
      return;
   }
   auto const byte = static_cast<unsigned char>(c);
   char const escape[] = {'\\', 'x', hexadecimal[byte >> 4U], hexadecimal[byte & 0xfU]};
   text.append({escape, sizeof escape});
}

/// @return the value of a digit, or 16
std::size_t digitOf(char c) noexcept
{
   auto const found = hexadecimal.find(c);
   return found != std::string_view::npos ? found : 16;
}

/// Reads one escape, of which the backslash is the first character of `text`.
/// @return the number of characters that it takes, 0 when it is none that `appendEscaped` writes
std::size_t readEscape(std::string_view text, char& c) noexcept
{
   if (text.size() >= 2 && (text[1] == '"' || text[1] == '\\')) {
      c = text[1];
      return 2;
   }
   if (text.size() < 4 || text[1] != 'x') {
      return 0;
   }
   auto const high = digitOf(text[2]);
   auto const low = digitOf(text[3]);
   c = static_cast<char>(high << 4U | low);
   return high < 16 && low < 16 && isByNumber(c) ? 4 : 0;
}

/// Reads up to and with the closing quote.
/// @return null, or what was expected where the range stands then
char const* readEscaped(std::string& characters, CharRange& text)
{
   while (!text.skip("\"")) {
      auto const rest = text.rest();
      if (rest.starts_with('\\')) {
         char c = 0;
         auto const length = readEscape(rest, c);
         if (length == 0) {
            return R"(one of the escapes \", \\, \x00 to \x1f and \x7f)";
         }
         characters += c;
         text.advance(length);
         continue;
      }
      auto const plain = lengthOfPlain(rest);
      if (plain == 0) {
         return "a closing quote or a printing character";
      }
      characters += rest.substr(0, plain);
      text.advance(plain);
   }
   return nullptr;
}

} // namespace

void appendQuoted(TextBuffer& text, std::string_view characters)
{
   text.append('"');
   auto plain = lengthOfPlain(characters);
   while (plain < characters.size())
      [[unlikely]]
      {
         text.append(characters.substr(0, plain));
         characters.remove_prefix(plain);
         do {
            appendEscaped(text, characters.front());
            characters.remove_prefix(1);
         } while (!characters.empty() && !isPlain(characters.front()));
         plain = lengthOfPlain(characters);
      }
   text.append(characters);
   text.append('"');
}

char const* readQuoted(void* to, CharRange& text)
{
   if (!text.skip("\"")) {
      return "a quoted text";
   }
   auto const first = text.rest().substr(0, lengthOfPlain(text.rest()));
   text.advance(first.size());
   if (text.skip("\"")) [[likely]] {
      new (to) Orvo::String(first);
      return nullptr;
   }
   std::string characters(first);
   if (auto const* expected = readEscaped(characters, text)) {
      return expected;
   }
   new (to) Orvo::String(characters);
   return nullptr;
}

} // namespace Kro::Detail
