#include "look/Fitted.h"

#include "look/Wording.h"

#include <algorithm>

namespace Look {
namespace {

constexpr std::size_t mostCharacters = 160; ///< more fit nowhere

/// How wide a character is at most in usual fonts without serifs, in units of the font's size.
double widthOf(char character)
{
   constexpr std::string_view narrow = " ilj.,:;'|!()[]/\\frtI";
   constexpr std::string_view wide = "mwMW@%";
   auto const byte = static_cast<unsigned char>(character);
   if (byte >= 0x80) {
      return (byte & 0xc0U) == 0x80 ? 0 : 1; // the first byte of a character counts
   }
   if (narrow.find(character) != narrow.npos) {
      return 0.42;
   }
   if (wide.find(character) != wide.npos) {
      return 1;
   }
   bool const isSmall = (character >= 'a' && character <= 'z') || (character >= '0' && character <= '9');
   return isSmall ? 0.64 : 0.8;
}

double widthOf(std::string_view text)
{
   double sum = 0;
   for (char const character : text) {
      sum += widthOf(character);
   }
   return sum;
}

} // namespace

std::string fitted(std::string_view printableText, double fontSize, double room)
{
   auto most = std::min(width(printableText), mostCharacters);
   auto text = shortened(printableText, std::max<std::size_t>(most, 3));
   while (most > 3 && widthOf(text) * fontSize > room) {
      text = shortened(printableText, --most);
   }
   return text;
}

} // namespace Look
