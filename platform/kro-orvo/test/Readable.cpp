#include "Readable.h"

#include <Kro/Table.h>

namespace Test {

struct Label::Declaration {
   static constexpr auto table = Kro::table<Label>(Kro::value<2, &Label::text>("text"));
};

constinit Kro::KroType const Label::kroType = Kro::valueType<Label, Label::Declaration>("Test::Label", nullptr);

struct Nothing::Declaration {
   static constexpr auto table = Kro::table<Nothing>(Kro::statics<2, &Nothing::instances>("instances"));
};

constinit Kro::KroType const Nothing::kroType = Kro::valueType<Nothing, Nothing::Declaration>("Test::Nothing", nullptr);

struct Leaves::Declaration {
   // clang-format off: a row for each attribute
   static constexpr auto table = Kro::table<Leaves>(
      Kro::value<2, &Leaves::flag>("flag"), Kro::value<3, &Leaves::int16>("int16"),
      Kro::value<4, &Leaves::int32>("int32"), Kro::value<5, &Leaves::int64>("int64"),
      Kro::value<6, &Leaves::uint16>("uint16"), Kro::value<7, &Leaves::uint32>("uint32"),
      Kro::value<8, &Leaves::uint64>("uint64"), Kro::value<9, &Leaves::text>("text"));
   // clang-format on
};

constinit Kro::KroType const Leaves::kroType = Kro::valueType<Leaves, Leaves::Declaration>("Test::Leaves", nullptr);

struct Frame::Declaration {
   // clang-format off: a row for each attribute
   static constexpr auto table = Kro::table<Frame>(
      Kro::value<2, &Frame::before>("before"), Kro::value<3, &Frame::leaves>("leaves"),
      Kro::value<4, &Frame::label>("label"), Kro::value<5, &Frame::between>("between"),
      Kro::value<6, &Frame::name>("name"));
   // clang-format on
};

Frame::Frame(Kro::CharRange& range)
{
   Kro::desAttrPre(range, kroType.name, "before", before);
   Kro::desAttrIntra(range, "leaves", leaves);
   Kro::desAttrIntra(range, "label", label);
   Kro::desAttrIntra(range, "between", between);
   Kro::desAttrPost(range, "name", name);
}

constinit Kro::KroType const Frame::kroType = Kro::valueType<Frame, Frame::Declaration>("Test::Frame", nullptr);

struct Nest::Declaration {
   // clang-format off: a row for each attribute
   static constexpr auto table = Kro::table<Nest>(
      Kro::value<2, &Nest::frame>("frame"), Kro::value<3, &Nest::id>("id"), Kro::value<4, &Nest::label>("label"),
      Kro::value<5, &Nest::after>("after"));
   // clang-format on
};

constinit Kro::KroType const Nest::kroType = Kro::valueType<Nest, Nest::Declaration>("Test::Nest", nullptr);

} // namespace Test
