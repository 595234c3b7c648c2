#include <Kro/LeafText.h>

#include <Kro/QuotedText.h>

#include <Orvo/String.h>

#include <charconv>
#include <cstdint>
#include <new>

namespace Kro::Detail {
namespace {

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

/// Whether the number has neither a needless 0 in front nor, being 0, a sign.
constexpr bool isShortest(std::string_view number) noexcept
{
   return number.size() == 1 || number[number[0] == '-' ? 1 : 0] != '0';
}

} // namespace

template <class T>
void appendNumber(TextBuffer& text, void const* value)
{
   char digits[20]; // of the longest: 18446744073709551615 or -9223372036854775808
   auto* const end = std::to_chars(digits, digits + sizeof digits, *static_cast<T const*>(value)).ptr;
   text.append({digits, end});
}

void appendFlag(TextBuffer& text, void const* value)
{
   text.append(*static_cast<bool const*>(value) ? "true" : "false");
}

void appendText(TextBuffer& text, void const* value)
{
   appendQuoted(text, static_cast<Orvo::String const*>(value)->view());
}

template <class T>
char const* readNumber(void* to, CharRange& text)
{
   T value{};
   auto const rest = text.rest();
   auto const [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), value);
   if (error != std::errc()) {
      return expectedNumber<T>;
   }
   auto const length = static_cast<std::size_t>(end - rest.data());
   if (!isShortest(rest.substr(0, length))) {
      return "a number in its shortest form";
   }
   new (to) T(value);
   text.advance(length);
   return nullptr;
}

char const* readFlag(void* to, CharRange& text)
{
   bool const isTrue = text.skip("true");
   if (!isTrue && !text.skip("false")) {
      return "true or false";
   }
   new (to) bool(isTrue);
   return nullptr;
}

template void appendNumber<std::int16_t>(TextBuffer&, void const*);
template void appendNumber<std::int32_t>(TextBuffer&, void const*);
template void appendNumber<std::int64_t>(TextBuffer&, void const*);
template void appendNumber<std::uint16_t>(TextBuffer&, void const*);
template void appendNumber<std::uint32_t>(TextBuffer&, void const*);
template void appendNumber<std::uint64_t>(TextBuffer&, void const*);
template char const* readNumber<std::int16_t>(void*, CharRange&);
template char const* readNumber<std::int32_t>(void*, CharRange&);
template char const* readNumber<std::int64_t>(void*, CharRange&);
template char const* readNumber<std::uint16_t>(void*, CharRange&);
template char const* readNumber<std::uint32_t>(void*, CharRange&);
template char const* readNumber<std::uint64_t>(void*, CharRange&);

} // namespace Kro::Detail
