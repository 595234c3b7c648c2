#include "look/Svg.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using Look::Svg;

/// What the drawing holds, without the document around it.
std::string bodyOf(Svg const& svg)
{
   auto const document = svg.document(1, 1, "", "");
   auto const begin = document.find("</title>\n") + std::string("</title>\n").size();
   return document.substr(begin, document.rfind("</svg>\n") - begin);
}

TEST(LookSvg, escapesWhatMeansSomethingInXml)
{
   EXPECT_EQ(Look::xmlEscaped("a<b>&\"c\"]]>"), "a&lt;b&gt;&amp;&quot;c&quot;]]&gt;");
}

TEST(LookSvg, isADocumentOfItsOwn)
{
   EXPECT_EQ(
      Svg().document(100, 50.25, "<style/>\n", "a & b"), "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                                         "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"100.0\" "
                                                         "height=\"50.2\" viewBox=\"0 0 100.0 50.2\" role=\"img\""
                                                         " aria-label=\"a &amp; b\">\n"
                                                         "<title>a &amp; b</title>\n"
                                                         "<style/>\n"
                                                         "</svg>\n");
}

TEST(LookSvg, drawsRectanglesAndLines)
{
   Svg sut;

   sut.rectangle({1, 2, 3.14, 0}, " class=\"chunk\"");
   sut.rectangle({0, 0, 1, 1}, "", "<hint>");
   sut.line(1, 2, 3, 4, "grid");

   EXPECT_EQ(
      bodyOf(sut), "<rect x=\"1.0\" y=\"2.0\" width=\"3.1\" height=\"0.0\" class=\"chunk\"/>\n"
                   "<rect x=\"0.0\" y=\"0.0\" width=\"1.0\" height=\"1.0\"><title>&lt;hint&gt;</title></rect>\n"
                   "<line x1=\"1.0\" y1=\"2.0\" x2=\"3.0\" y2=\"4.0\" class=\"grid\"/>\n");
}

TEST(LookSvg, writesTextsEscapedAndAnchored)
{
   Svg sut;

   sut.text(1, 2, "note", "a<b");
   sut.text(1, 2, "note", "b", Svg::Anchor::middle);
   sut.text(1, 2, "note", "c", Svg::Anchor::end);

   EXPECT_EQ(
      bodyOf(sut), "<text x=\"1.0\" y=\"2.0\" class=\"note\">a&lt;b</text>\n"
                   "<text x=\"1.0\" y=\"2.0\" class=\"note\" text-anchor=\"middle\">b</text>\n"
                   "<text x=\"1.0\" y=\"2.0\" class=\"note\" text-anchor=\"end\">c</text>\n");
}

TEST(LookSvg, givesAHintOnlyWhereItSaysMoreThanTheText)
{
   Svg sut;

   sut.text(1, 2, "name", "short", Svg::Anchor::start, "short");
   sut.text(1, 2, "name", "sh\u2026rt", Svg::Anchor::start, "sh&ort");

   EXPECT_EQ(
      bodyOf(sut), "<text x=\"1.0\" y=\"2.0\" class=\"name\">short</text>\n"
                   "<text x=\"1.0\" y=\"2.0\" class=\"name\"><title>sh&amp;ort</title>sh\u2026rt</text>\n");
}

TEST(LookSvg, putsOneDrawingOverAnother)
{
   Svg below;
   below.line(0, 0, 1, 1, "below");
   Svg over;
   over.line(0, 0, 1, 1, "over");

   below.append(over);

   EXPECT_LT(bodyOf(below).find("\"below\""), bodyOf(below).find("\"over\""));
}

} // namespace
