#include <Kro/CharRange.h>

#include <Kro/Exception.h>
#include <Kro/QuotedText.h>

#include <Orvo/String.h>

namespace Kro {
namespace {

/// @return the length of the quoted text that `text` begins with; all of it when the closing quote is missing
std::size_t lengthOfQuoted(std::string_view text) noexcept
{
   std::size_t at = 1;
   while (at < text.size() && text[at] != '"') {
      at += text[at] == '\\' ? 2 : 1;
   }
   return at < text.size() ? at + 1 : text.size();
}

std::size_t lengthOfValue(std::string_view text) noexcept
{
   std::size_t depth = 0;
   std::size_t at = 0;
   while (at < text.size()) {
      char const c = text[at];
      bool const isClosing = c == ')' || c == '}';
      if (depth == 0 && (isClosing || c == ',' || c == '=')) {
         return at;
      }
      depth += c == '(' || c == '{' ? 1U : 0U;
      depth -= isClosing ? 1U : 0U;
      at += c == '"' ? lengthOfQuoted(text.substr(at)) : 1;
   }
   return at;
}

/// Whether the byte continues a UTF-8 character, which an excerpt must not cut in two.
constexpr bool isContinuation(char c) noexcept
{
   return (static_cast<unsigned char>(c) & 0xc0U) == 0x80;
}

/// Enough to recognise the place, quoted like any text.
Orvo::String excerptOf(std::string_view text)
{
   constexpr std::size_t longest = 24;
   constexpr std::size_t longestCharacter = 4;
   auto length = longest;
   while (length < text.size() && length > longest - longestCharacter && isContinuation(text[length])) {
      --length;
   }
   TextBuffer quoted;
   Detail::appendQuoted(quoted, text.substr(0, length));
   return Orvo::join(quoted.view(), text.size() > length ? "..." : "");
}

} // namespace

CharRange CharRange::takeValue() noexcept
{
   CharRange value = *this;
   advance(lengthOfValue(rest()));
   value.end_ = at_;
   return value;
}

void CharRange::refuseRest() const
{
   bool const isCutOff = end_ != text_.data() + text_.size();
   refuse(isCutOff ? "the end of the value" : "the end of the text");
}

void CharRange::refuse(std::string_view expected) const
{
   // What follows a range that was cut off tells more than that it ends.
   auto const found = text_.substr(position());
   throw ParseException(
      position(), expected, found.empty() ? Orvo::String("the text ends") : Orvo::join(excerptOf(found), " is found"));
}

} // namespace Kro
