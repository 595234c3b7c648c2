#include <Kro/CharRange.h>

#include <Kro/Exception.h>
#include <Kro/TypeOf.h>

#include <Orvo/String.h>

#include <string>

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

/// Enough to recognise the place, quoted like any text.
std::string excerptOf(std::string_view text)
{
   constexpr std::size_t longest = 24;
   Orvo::String const begin(text.substr(0, longest));
   std::string quoted;
   Leaf::text.ops.appendText(quoted, &begin);
   return text.size() > longest ? quoted + "..." : quoted;
}

} // namespace

CharRange CharRange::takeValue() noexcept
{
   CharRange value = *this;
   value.end_ = position_ + lengthOfValue(rest());
   position_ = value.end_;
   return value;
}

void CharRange::endIs() const
{
   if (!isEmpty()) {
      refuse("the end of the text");
   }
}

void CharRange::refuse(std::string_view expected) const
{
   // What follows a range that was cut off tells more than that it ends.
   auto const found = text_.substr(position_);
   throw ParseException(position_, expected, found.empty() ? "the text ends" : excerptOf(found) + " is found");
}

} // namespace Kro
