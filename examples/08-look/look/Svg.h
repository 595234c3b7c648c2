#pragma once

#include <string>
#include <string_view>

namespace Look {

/// @return a printable name or text as character data or attribute value of an XML document
std::string xmlEscaped(std::string_view text);

/// A drawing in the making. Coordinates and sizes are in pixels, written with one digit behind the point.
class Svg {
public:
   /// Which point of a text its position is.
   enum class Anchor { start, middle, end };

   struct Rectangle {
      double x;
      double y;
      double width;
      double height;
   };

   /// @param attributes as XML: ` class="bar"`; `hint`: what a viewer shows when one points there, escaped here; empty: nothing
   void rectangle(Rectangle const& at, std::string_view attributes, std::string_view hint = "");
   void line(double x1, double y1, double x2, double y2, std::string_view styleClass);
   /// @param styleClass rules of the style sheet
   /// @param text       escaped here
   /// @param hint       like that of a rectangle; left out where it says no more than the text
   void text(
      double x, double y, std::string_view styleClass, std::string_view text, Anchor anchor = Anchor::start,
      std::string_view hint = "");

   /// Puts another drawing over this one.
   void append(Svg const& over) { body_ += over.body_; }

   /// @return the document: of that size, with style sheet and patterns as XML, and a title also for those who cannot see it
   std::string document(double width, double height, std::string_view definitions, std::string_view title) const;

private:
   std::string body_;
};

} // namespace Look
