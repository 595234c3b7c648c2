#include <Kro/CharRange.h>
#include <Kro/TypeOf.h>

#include <Orvo/String.h>

#include <charconv>
#include <functional>
#include <memory>
#include <new>
#include <utility>

namespace Kro::Leaf {
namespace {

template <class T>
bool equal(void const* a, void const* b)
{
   return *static_cast<T const*>(a) == *static_cast<T const*>(b);
}

template <class T>
void assign(void* to, void const* from)
{
   *static_cast<T*>(to) = *static_cast<T const*>(from);
}

template <class T>
std::uint64_t hash(void const* value)
{
   return std::hash<T>{}(*static_cast<T const*>(value));
}

template <class T>
void appendNumber(std::string& text, void const* value)
{
   char digits[24];
   auto const end = std::to_chars(digits, digits + sizeof digits, *static_cast<T const*>(value)).ptr;
   text.append(digits, end);
}

void appendBoolean(std::string& text, void const* value)
{
   text += *static_cast<bool const*>(value) ? "true" : "false";
}

constexpr char hex[] = "0123456789abcdef";

/// Whether the byte stands escaped, by its two hexadecimal digits, in a quoted text.
constexpr bool isByNumber(char c) noexcept
{
   auto const byte = static_cast<unsigned char>(c);
   return byte < 0x20 || byte == 0x7f;
}

/// Quotes; a quote, a backslash and every byte that does not print is escaped, so that all byte sequences round-trip.
void appendText(std::string& text, void const* value)
{
   text += '"';
   for (char const c : static_cast<Orvo::String const*>(value)->view()) {
      if (c == '"' || c == '\\') {
         text += '\\';
         text += c;
      } else if (isByNumber(c)) {
         auto const byte = static_cast<unsigned char>(c);
         text += "\\x";
         text += hex[byte >> 4U];
         text += hex[byte & 0xfU];
      } else {
         text += c;
      }
   }
   text += '"';
}

/// What a number type takes, in words.
template <class T>
constexpr char const* expectedNumber = nullptr;
template <>
constexpr char const* expectedNumber<std::int16_t> = "a number from -32768 to 32767";
template <>
constexpr char const* expectedNumber<std::int32_t> = "a number from -2147483648 to 2147483647";
template <>
constexpr char const* expectedNumber<std::int64_t> = "a number from -9223372036854775808 to 9223372036854775807";
template <>
constexpr char const* expectedNumber<std::uint16_t> = "a number from 0 to 65535";
template <>
constexpr char const* expectedNumber<std::uint32_t> = "a number from 0 to 4294967295";
template <>
constexpr char const* expectedNumber<std::uint64_t> = "a number from 0 to 18446744073709551615";

/// Neither a needless 0 in front nor a sign of 0: a number has one text.
bool isPlain(std::string_view number) noexcept
{
   auto const digits = number.substr(number.front() == '-' ? 1 : 0);
   return digits.front() != '0' || number.size() == 1;
}

template <class T>
char const* readNumber(void* to, CharRange& text)
{
   T value{};
   auto const rest = text.rest();
   auto const [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), value);
   auto const length = static_cast<std::size_t>(end - rest.data());
   if (error != std::errc() || !isPlain(rest.substr(0, length))) {
      return expectedNumber<T>;
   }
   new (to) T(value);
   text.advance(length);
   return nullptr;
}

char const* readBoolean(void* to, CharRange& text)
{
   bool const isTrue = text.skip("true");
   if (!isTrue && !text.skip("false")) {
      return "true or false";
   }
   new (to) bool(isTrue);
   return nullptr;
}

/// @return the value of a hexadecimal digit as `appendText` writes it, or 16
unsigned digitOf(char c) noexcept
{
   auto const* const found = std::char_traits<char>::find(hex, 16, c);
   return found != nullptr ? static_cast<unsigned>(found - hex) : 16;
}

/// Reads one escape, of which the backslash is the first character of `text`.
/// @return the number of characters that it takes, 0 when it is none that `appendText` writes
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

/// @return how many characters stand before the first one that is not itself in a quoted text
std::size_t lengthOfPlain(std::string_view text) noexcept
{
   std::size_t length = 0;
   while (length < text.size() && text[length] != '"' && text[length] != '\\' && !isByNumber(text[length])) {
      ++length;
   }
   return length;
}

char const* readText(void* to, CharRange& text)
{
   auto const fail = [&text](CharRange const& at, char const* expected) {
      text = at;
      return expected;
   };
   auto at = text;
   if (!at.skip("\"")) {
      return "a quoted text";
   }
   auto const first = at.rest().substr(0, lengthOfPlain(at.rest()));
   at.advance(first.size());
   if (at.skip("\"")) {
      new (to) Orvo::String(first);
      text = at;
      return nullptr;
   }
   std::string unescaped(first);
   while (!at.skip("\"")) {
      if (!at.isEmpty() && at.rest().front() == '\\') {
         char c = 0;
         auto const length = readEscape(at.rest(), c);
         if (length == 0) {
            return fail(at, "an escape that is needed");
         }
         unescaped += c;
         at.advance(length);
         continue;
      }
      auto const plain = lengthOfPlain(at.rest());
      if (plain == 0) {
         return fail(at, "a printing character or a closing quote");
      }
      unescaped += at.rest().substr(0, plain);
      at.advance(plain);
   }
   new (to) Orvo::String(unescaped);
   text = at;
   return nullptr;
}

template <class T>
void init(void* to)
{
   new (to) T();
}

template <class T>
void copy(void* to, void const* from)
{
   new (to) T(*static_cast<T const*>(from));
}

template <class T>
void destroy(void* value)
{
   std::destroy_at(static_cast<T*>(value));
}

template <class T>
consteval KroType
leaf(std::string_view name, void (*append)(std::string&, void const*), char const* (*read)(void*, CharRange&))
{
   TypeData data;
   data.name = name;
   data.size = sizeof(T);
   data.alignment = alignof(T);
   data.ops = {equal<T>, assign<T>, hash<T>, append, read, init<T>, copy<T>, destroy<T>};
   return KroType(data);
}

consteval KroType opaque(std::string_view name)
{
   TypeData data;
   data.name = name;
   return KroType(data);
}

} // namespace

constinit KroType const boolean = leaf<bool>("bool", appendBoolean, readBoolean);
constinit KroType const int16 = leaf<std::int16_t>("int16", appendNumber<std::int16_t>, readNumber<std::int16_t>);
constinit KroType const int32 = leaf<std::int32_t>("int32", appendNumber<std::int32_t>, readNumber<std::int32_t>);
constinit KroType const int64 = leaf<std::int64_t>("int64", appendNumber<std::int64_t>, readNumber<std::int64_t>);
constinit KroType const uint16 = leaf<std::uint16_t>("uint16", appendNumber<std::uint16_t>, readNumber<std::uint16_t>);
constinit KroType const uint32 = leaf<std::uint32_t>("uint32", appendNumber<std::uint32_t>, readNumber<std::uint32_t>);
constinit KroType const uint64 = leaf<std::uint64_t>("uint64", appendNumber<std::uint64_t>, readNumber<std::uint64_t>);
constinit KroType const text = leaf<Orvo::String>("text", appendText, readText);
constinit KroType const bytes = opaque("bytes");

} // namespace Kro::Leaf
