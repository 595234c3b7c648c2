#include "Values.h"

#include "Card.h"

#include <Kro/Table.h>

namespace Test {

struct Port::Declaration {
   // clang-format off: a row for each attribute
   static constexpr auto table = Kro::table<Port>(
      Kro::value<2, &Port::name_>("name", Kro::readOnly | Kro::ctorArg), Kro::value<3, &Port::lanes_>("lanes"),
      Kro::value<5, &Port::isOpen_>("isOpen"), Kro::value<6, &Port::note_>("note", Kro::notCompared));
   // clang-format on
};

constinit Kro::KroType const Port::kroType = Kro::valueType<Port, Port::Declaration>("Test::Port", &testModule);

bool operator==(Port const& a, Port const& b)
{
   return Kro::equal<Port, Port::Declaration>(a, b);
}

struct Wide::Declaration {
   // clang-format off: a row for each attribute
   static constexpr auto table = Kro::table<Wide>(
      Kro::value<-32768, &Wide::lowest>("lowest"), Kro::value<-1, &Wide::minus>("minus"),
      Kro::value<0, &Wide::zero>("zero"), Kro::value<2, &Wide::two>("two"),
      Kro::value<32767, &Wide::highest>("highest"));
   // clang-format on
};

constinit Kro::KroType const Wide::kroType = Kro::valueType<Wide, Wide::Declaration>("Test::Wide", &testModule);

struct Descriptor::Declaration {
   // clang-format off: a row for each attribute
   static constexpr auto table = Kro::table<Descriptor>(
      Kro::field<-3, &Descriptor::address>("address"), Kro::field<-2, &Descriptor::length>("length"),
      Kro::field<-1, &Descriptor::reserved>("reserved"));
   // clang-format on
};

constinit Kro::KroType const Descriptor::kroType =
   Kro::entryType<Descriptor, Descriptor::Declaration>("Test::Descriptor", &testModule);

struct Odd::Declaration {
   // clang-format off: a row for each attribute
   static constexpr auto table = Kro::table<Odd>(
      Kro::value<2, &Odd::half>("half"), Kro::value<3, &Odd::withoutEquality>("withoutEquality", Kro::notCompared),
      Kro::value<4, &Odd::reads>("reads", Kro::notCompared), Kro::value<5, &Odd::fixed>("fixed"),
      Kro::value<6, &Odd::forAll>("forAll"));
   // clang-format on
};

constinit Kro::KroType const Odd::kroType = Kro::valueType<Odd, Odd::Declaration>("Test::Odd", &testModule);

} // namespace Test
