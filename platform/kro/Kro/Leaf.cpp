#include <Kro/TypeOf.h>

#include <Orvo/String.h>

#include <charconv>
#include <functional>

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

/// Quotes; a quote, a backslash and every byte that does not print is escaped, so that all byte sequences round-trip.
void appendText(std::string& text, void const* value)
{
   constexpr char hex[] = "0123456789abcdef";
   text += '"';
   for (char const c : static_cast<Orvo::String const*>(value)->view()) {
      auto const byte = static_cast<unsigned char>(c);
      if (c == '"' || c == '\\') {
         text += '\\';
         text += c;
      } else if (byte < 0x20 || byte == 0x7f) {
         text += "\\x";
         text += hex[byte >> 4U];
         text += hex[byte & 0xfU];
      } else {
         text += c;
      }
   }
   text += '"';
}

template <class T>
consteval KroType leaf(std::string_view name, void (*append)(std::string&, void const*))
{
   TypeData data;
   data.name = name;
   data.size = sizeof(T);
   data.ops = {equal<T>, assign<T>, hash<T>, append};
   return KroType(data);
}

consteval KroType opaque(std::string_view name)
{
   TypeData data;
   data.name = name;
   return KroType(data);
}

} // namespace

constinit KroType const boolean = leaf<bool>("bool", appendBoolean);
constinit KroType const int16 = leaf<std::int16_t>("int16", appendNumber<std::int16_t>);
constinit KroType const int32 = leaf<std::int32_t>("int32", appendNumber<std::int32_t>);
constinit KroType const int64 = leaf<std::int64_t>("int64", appendNumber<std::int64_t>);
constinit KroType const uint16 = leaf<std::uint16_t>("uint16", appendNumber<std::uint16_t>);
constinit KroType const uint32 = leaf<std::uint32_t>("uint32", appendNumber<std::uint32_t>);
constinit KroType const uint64 = leaf<std::uint64_t>("uint64", appendNumber<std::uint64_t>);
constinit KroType const text = leaf<Orvo::String>("text", appendText);
constinit KroType const bytes = opaque("bytes");

} // namespace Kro::Leaf
