#include <Kro/DesAttr.h>

#include "support/MessageOf.h"

#include <Kro/Exception.h>
#include <Kro/OrderedMap.h>
#include <Kro/Slot.h>
#include <Kro/Table.h>

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace Kro {
namespace {

using Test::messageOf;

/// One attribute.
struct Label {
   Orvo::String text;

   Label() = default;

   explicit Label(CharRange& range) { desAttrOnly(range, kroType.name, "text", text); }

   friend bool operator==(Label const&, Label const&) = default;

   static KroType const kroType;

   struct Declaration {
      static constexpr auto table = Kro::table<Label>(Kro::value<2, &Label::text>("text"));
   };
};

constinit KroType const Label::kroType = valueType<Label, Label::Declaration>("Test::Label", nullptr);

/// None: its text is empty.
struct Nothing {
   static int count() { return 0; }

   friend bool operator==(Nothing const&, Nothing const&) = default;

   static KroType const kroType;

   struct Declaration {
      static constexpr auto table = Kro::table<Nothing>(Kro::statics<2, &Nothing::count>("count"));
   };
};

constinit KroType const Nothing::kroType = valueType<Nothing, Nothing::Declaration>("Test::Nothing", nullptr);

/// One of each kind: first, in the middle, last; leaves and values.
struct Part {
   Label label;
   std::uint32_t size = 7;
   Nothing nothing;
   bool isSpare = true;

   Part() = default;

   explicit Part(CharRange& range)
   {
      desAttrPre(range, kroType.name, "label", label);
      desAttrIntra(range, "size", size);
      desAttrIntra(range, "nothing", nothing);
      desAttrPost(range, "isSpare", isSpare);
   }

   friend bool operator==(Part const&, Part const&) = default;

   static KroType const kroType;

   struct Declaration {
      // clang-format off: a row for each attribute
      static constexpr auto table = Kro::table<Part>(
         Kro::value<2, &Part::label>("label"), Kro::value<3, &Part::size>("size"),
         Kro::value<4, &Part::nothing>("nothing"), Kro::value<5, &Part::isSpare>("isSpare"));
      // clang-format on
   };
};

constinit KroType const Part::kroType = valueType<Part, Part::Declaration>("Test::Part", nullptr);

/// Like Part, but read by its table.
struct Whole {
   Part part;
   Nothing last;

   friend bool operator==(Whole const&, Whole const&) = default;

   static KroType const kroType;

   struct Declaration {
      static constexpr auto table =
         Kro::table<Whole>(Kro::value<2, &Whole::part>("part"), Kro::value<3, &Whole::last>("last"));
   };
};

constinit KroType const Whole::kroType = valueType<Whole, Whole::Declaration>("Test::Whole", nullptr);

class KroSize final : public OrderedNode<KroSize, std::int32_t, std::uint32_t> {
public:
   using OrderedNode::OrderedNode;
   static AllocTrackTypeInfo memAllocationTracker_;
};

constinit AllocTrackTypeInfo KroSize::memAllocationTracker_{sizeof(KroSize), "Kro::KroSize"};

struct Counted {
   OrderedMap<KroSize> size;

   static KroType const kroType;

   struct Declaration {
      static constexpr auto table = Kro::table<Counted>(Kro::collection<2, &Counted::size>("size"));
   };
};

constinit KroType const Counted::kroType = valueType<Counted, Counted::Declaration>("Test::Inner::Counted", nullptr);

constexpr std::string_view partText = R"(Test::Part(label=Test::Label(text="a"), size=12, nothing=, isSpare=false))";

template <class T>
T read(std::string_view text)
{
   auto const slot = Slot::read({typeOf<T>()}, text);
   return *static_cast<T const*>(slot.genericIf().voidPtr());
}

template <class T>
std::string refusal(std::string_view text)
{
   return messageOf<ParseException>([&] { read<T>(text); });
}

Part part(Orvo::String const& label)
{
   Part made;
   made.label.text = label;
   made.size = 12;
   made.isSpare = false;
   return made;
}

TEST(DesAttr, aValueIsReadAttributeByAttribute)
{
   EXPECT_EQ(read<Part>(partText), part("a"));
}

TEST(DesAttr, aTypeWithOneAttributeIsReadByDesAttrOnly)
{
   EXPECT_EQ(read<Label>(R"(Test::Label(text="a"))").text, "a");
}

TEST(DesAttr, aTypeWithoutAttributesIsReadFromTheEmptyText)
{
   EXPECT_NO_THROW(read<Nothing>(""));
   EXPECT_EQ(refusal<Nothing>(" "), R"(position=0: the end of the text is expected, but " " is found)");
   EXPECT_EQ(
      refusal<Nothing>("Test::Nothing()"),
      R"_(position=0: the end of the text is expected, but "Test::Nothing()" is found)_");
}

TEST(DesAttr, valuesInValuesAreRead)
{
   Whole expected;
   expected.part = part("a");

   EXPECT_EQ(read<Whole>("Test::Whole(part=" + std::string(partText) + ", last=)"), expected);
}

TEST(DesAttr, theCharactersOfAValueInAValueDoNotConfuseTheOuterOne)
{
   EXPECT_EQ(
      read<Part>(R"(Test::Part(label=Test::Label(text="\"),(=\\{}, size=1"), size=12, nothing=, isSpare=false))"),
      part("\"),(=\\{}, size=1"));
}

TEST(DesAttr, aTextThatEndsTooSoonIsRefusedAtEveryByte)
{
   auto const text = "Test::Whole(part=" + std::string(partText) + ", last=)";
   for (std::size_t size = 0; size < text.size(); ++size) {
      EXPECT_THROW(read<Whole>(text.substr(0, size)), ParseException) << text.substr(0, size);
   }
   EXPECT_NO_THROW(read<Whole>(text));
}

TEST(DesAttr, aWrongNameIsRefusedWhereItStands)
{
   EXPECT_EQ(refusal<Label>(""), "position=0: 'Test::Label(text=' is expected, but the text ends");
   EXPECT_EQ(
      refusal<Label>(R"(Test::Lapel(text="a"))"),
      R"_(position=0: 'Test::Label(text=' is expected, but "Test::Lapel(text=\"a\")" is found)_");
   EXPECT_EQ(
      refusal<Label>(R"(Test::Label(next="a"))"),
      R"_(position=0: 'Test::Label(text=' is expected, but "Test::Label(next=\"a\")" is found)_");
   EXPECT_EQ(
      refusal<Part>(R"(Test::Part(label=Test::Label(text="a"), seize=12)"),
      R"(position=38: ', size=' is expected, but ", seize=12" is found)");
   EXPECT_EQ(
      refusal<Part>(R"(Test::Part(label=Test::Label(text="a"), nothing=, size=12, isSpare=false))"),
      R"(position=38: ', size=' is expected, but ", nothing=, size=12, isS"... is found)");
}

TEST(DesAttr, aWrongValueIsRefusedWithTheNameOfItsAttribute)
{
   EXPECT_EQ(
      refusal<Part>(R"(Test::Part(label=Test::Label(text=a), size=12, nothing=, isSpare=false))"),
      R"(position=34: a quoted text for attribute 'text' is expected, but "a), size=12, nothing=, i"... is found)");
   EXPECT_EQ(
      refusal<Part>(R"(Test::Part(label=Test::Label(text="a"), size=-1, nothing=, isSpare=false))"),
      "position=45: a number from 0 to 4294967295 for attribute 'size' is expected, "
      R"(but "-1, nothing=, isSpare=fa"... is found)");
   EXPECT_EQ(
      refusal<Part>(R"(Test::Part(label=Test::Label(text="a"), size=012, nothing=, isSpare=false))"),
      "position=45: a number in its shortest form for attribute 'size' is expected, "
      R"(but "012, nothing=, isSpare=f"... is found)");
   EXPECT_EQ(
      refusal<Part>(R"(Test::Part(label=Test::Label(text="a"), size=12, nothing=, isSpare=no))"),
      R"_(position=67: true or false for attribute 'isSpare' is expected, but "no)" is found)_");
}

TEST(DesAttr, aValueInAValueIsReadToItsEnd)
{
   EXPECT_EQ(
      refusal<Part>(R"(Test::Part(label=Test::Label(text="a")b, size=12, nothing=, isSpare=false))"),
      R"(position=38: the end of the value is expected, but "b, size=12, nothing=, is"... is found)");
   EXPECT_EQ(
      refusal<Part>(R"(Test::Part(label=Test::Label(text="a", size=12, nothing=, isSpare=false))"),
      R"(position=37: ')' is expected, but ", size=12, nothing=, isS"... is found)");
   EXPECT_EQ(
      refusal<Part>(R"(Test::Part(label=, size=12, nothing=, isSpare=false))"),
      R"(position=17: 'Test::Label(text=' is expected, but ", size=12, nothing=, isS"... is found)");
   EXPECT_EQ(
      refusal<Part>(R"(Test::Part(label=Test::Label(text="a"), size=12, nothing=0, isSpare=false))"),
      R"_(position=57: the end of the value is expected, but "0, isSpare=false)" is found)_");
}

TEST(DesAttr, nothingMayFollowTheClosingBracket)
{
   EXPECT_EQ(
      refusal<Part>(std::string(partText) + ")"),
      R"_(position=73: the end of the text is expected, but ")" is found)_");
   EXPECT_EQ(
      refusal<Label>(R"(Test::Label(text="a") )"), R"(position=21: the end of the text is expected, but " " is found)");
   EXPECT_EQ(refusal<Label>(R"(Test::Label(text="a"})"), R"(position=20: ')' is expected, but "}" is found)");
   EXPECT_EQ(
      refusal<Label>(R"(Test::Label(text="a", text="a"))"),
      R"_(position=20: ')' is expected, but ", text=\"a\")" is found)_");
}

TEST(DesAttr, theReaderOfTheLastAttributeRefusesWhatFollowsItself)
{
   CharRange only(R"(Test::Label(text="a")b)");
   CharRange post(R"(, text="a")b)");
   Orvo::String text = "as it was";

   EXPECT_EQ(
      messageOf<ParseException>([&] { desAttrOnly(only, "Test::Label", "text", text); }),
      R"(position=21: the end of the text is expected, but "b" is found)");
   EXPECT_EQ(
      messageOf<ParseException>([&] { desAttrPost(post, "text", text); }),
      R"(position=11: the end of the text is expected, but "b" is found)");
   EXPECT_EQ(text, "as it was");
}

TEST(DesAttr, anExtraBlankIsRefusedAtEveryByteOutsideAText)
{
   auto const text = std::string(partText);
   auto const quoted = text.find("\"a\"");
   for (std::size_t at = 0; at <= text.size(); ++at) {
      if (at > quoted && at < quoted + 3) {
         continue;
      }
      auto blank = text;
      blank.insert(at, " ");
      EXPECT_THROW(read<Part>(blank), ParseException) << blank;
   }
}

TEST(DesAttr, aMissingByteIsRefusedUnlessTheRestIsAnotherValue)
{
   for (std::size_t at = 0; at < partText.size(); ++at) {
      auto shorter = std::string(partText);
      shorter.erase(at, 1);
      bool const isOther = partText[at] == 'a' && partText[at - 1] == '"'; // the empty label
      bool const isDigit = partText[at] == '1' || partText[at] == '2';     // a number of one digit
      if (!isOther && !isDigit) {
         EXPECT_THROW(read<Part>(shorter), ParseException) << shorter;
      }
   }
}

TEST(DesAttr, aRefusedAttributeKeepsItsValue)
{
   CharRange text(R"(Test::Part(size=1, size=x)");
   std::uint32_t size = 7;
   Label label{};
   label.text = "as it was";

   EXPECT_THROW(desAttrPre(text, "Test::Other", "size", size), ParseException);
   EXPECT_EQ(size, 7U);
   EXPECT_EQ(text.position(), 0U);

   desAttrPre(text, "Test::Part", "size", size);
   EXPECT_EQ(size, 1U);
   EXPECT_THROW(desAttrIntra(text, "size", size), ParseException);
   EXPECT_EQ(size, 1U);

   CharRange last(", size=2");
   EXPECT_THROW(desAttrPost(last, "size", size), ParseException); // the number is good, the bracket is missing
   EXPECT_EQ(size, 1U);

   CharRange only(R"(Test::Label(text="new"}))");
   EXPECT_THROW(desAttrOnly(only, "Test::Label", "text", label.text), ParseException);
   EXPECT_EQ(label.text, "as it was");

   CharRange nested(R"(, label=Test::Label(text="new"))");
   EXPECT_THROW(desAttrPost(nested, "label", label), ParseException);
   EXPECT_EQ(label.text, "as it was");
}

TEST(DesAttr, millionsOfBracketsAndQuotesAreRefused)
{
   std::string const brackets(1'000'000, '(');
   std::string labels;
   while (labels.size() < 1'000'000) {
      labels += "Test::Label(text=";
   }

   for (auto const& hostile : {brackets, labels, "\"" + brackets, std::string(1'000'000, '\\')}) {
      EXPECT_THROW(read<Whole>(hostile), ParseException);
      EXPECT_THROW(read<Whole>("Test::Whole(part=" + hostile), ParseException);
      EXPECT_THROW(read<Whole>("Test::Whole(part=Test::Part(label=" + hostile), ParseException);
      EXPECT_THROW(read<Whole>("Test::Whole(part=Test::Part(label=Test::Label(text=" + hostile), ParseException);
   }
}

TEST(DesAttr, aTypeThatCannotBeReadIsRefused)
{
   CharRange text("Test::Part(a=1)");
   TypeData unreadable;
   unreadable.name = "Test::Opaque";
   unreadable.kind = TypeKind::value;
   std::uint32_t room = 7;

   EXPECT_EQ(
      messageOf<TypeException>([&] { Detail::readFirst(text, "Test::Part", "a", unreadable, &room); }),
      "a value of type 'Test::Opaque' cannot be read from text");
   EXPECT_EQ(room, 7U);
}

TEST(DesAttr, aTypeWithCollectionsEndsTheProcess)
{
   GTEST_FLAG_SET(death_test_style, "threadsafe");
   EXPECT_DEATH(
      Slot::read({&Counted::kroType}, "Test::Inner::Counted(size={})"),
      "DesAttr.cpp:[0-9]+: assertion failed: No String constructor for Counted - has collection\n");
   EXPECT_DEATH(
      assertNoTextConstructor("Plain"), "assertion failed: No String constructor for Plain - has collection\n");
}

} // namespace
} // namespace Kro
