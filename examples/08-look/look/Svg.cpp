#include "look/Svg.h"

#include <array>
#include <charconv>

namespace Look {
namespace {

/// Like printf's "%.1f", whatever the locale.
std::string number(double value)
{
   std::array<char, 64> text{};
   auto const end = std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed, 1).ptr;
   return {text.data(), end};
}

/// @return ` name="value"`
std::string attribute(std::string_view name, double value)
{
   return " " + std::string(name) + "=\"" + number(value) + "\"";
}

std::string titleElement(std::string_view hint)
{
   return hint.empty() ? "" : "<title>" + xmlEscaped(hint) + "</title>";
}

} // namespace

std::string xmlEscaped(std::string_view text)
{
   std::string escaped;
   for (char const character : text) {
      switch (character) {
      case '&':
         escaped += "&amp;";
         break;
      case '<':
         escaped += "&lt;";
         break;
      case '>':
         escaped += "&gt;";
         break;
      case '"':
         escaped += "&quot;";
         break;
      default:
         escaped += character;
      }
   }
   return escaped;
}

void Svg::rectangle(Rectangle const& at, std::string_view attributes, std::string_view hint)
{
   body_ += "<rect" + attribute("x", at.x) + attribute("y", at.y) + attribute("width", at.width) +
            attribute("height", at.height);
   body_ += attributes;
   body_ += hint.empty() ? "/>\n" : ">" + titleElement(hint) + "</rect>\n";
}

void Svg::line(double x1, double y1, double x2, double y2, std::string_view styleClass)
{
   body_ +=
      "<line" + attribute("x1", x1) + attribute("y1", y1) + attribute("x2", x2) + attribute("y2", y2) + " class=\"";
   body_ += styleClass;
   body_ += "\"/>\n";
}

void Svg::text(
   double x, double y, std::string_view styleClass, std::string_view text, Anchor anchor, std::string_view hint)
{
   body_ += "<text" + attribute("x", x) + attribute("y", y) + " class=\"";
   body_ += styleClass;
   body_ += "\"";
   if (anchor != Anchor::start) {
      body_ += anchor == Anchor::middle ? R"( text-anchor="middle")" : R"( text-anchor="end")";
   }
   body_ += ">" + titleElement(hint == text ? "" : hint) + xmlEscaped(text) + "</text>\n";
}

std::string Svg::document(double width, double height, std::string_view definitions, std::string_view title) const
{
   auto const words = xmlEscaped(title);
   std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<svg xmlns=\"http://www.w3.org/2000/svg\"";
   text += attribute("width", width) + attribute("height", height);
   text +=
      R"( viewBox="0 0 )" + number(width) + " " + number(height) + R"(" role="img" aria-label=")" + words + "\">\n";
   text += "<title>" + words + "</title>\n";
   text += definitions;
   return text + body_ + "</svg>\n";
}

} // namespace Look
