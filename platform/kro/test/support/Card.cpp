#include "Card.h"

#include <Kro/Dir.h>
#include <Kro/Exception.h>
#include <Kro/KroModule.h>
#include <Kro/Table.h>

namespace Test {

constinit Kro::AllocTrackTypeInfo Lane::memAllocationTracker_{sizeof(Lane), "Test::Lane"};
constinit Kro::AllocTrackTypeInfo KroLimit::memAllocationTracker_{sizeof(KroLimit), "Test::KroLimit"};
constinit Kro::AllocTrackTypeInfo Card::memAllocationTracker_{sizeof(Card), "Test::Card"};

struct Lane::Declaration {
   // clang-format off: a row for each attribute
   static constexpr auto table = Kro::table<Lane>(
      Kro::value<-2, &Lane::key>("id", Kro::ctorArg), Kro::value<130, &Lane::speed_>("speed", Kro::ctorArg));
   // clang-format on
};

constinit Kro::KroType const Lane::kroType = Kro::entityType<Lane, Lane::Declaration>("Test::Lane", &testModule);

Card::Card(Orvo::String const& name) : Entity(name)
{
   ++live;
}

Card::~Card()
{
   nodeFlagSet(flagDeleteOnLastUser, false);
   --live;
}

void Card::portIs(Port const& port)
{
   port_.is(port);
   handlePort(port.name());
}

void Card::portDel(Orvo::String const& name)
{
   if (port_.erase(name)) {
      handlePort(name);
   }
}

void Card::portDelAll()
{
   port_.clear();
}

struct Card::Declaration {
   // clang-format off: a row for each attribute
   static constexpr auto table = Kro::table<Card, Kro::Entity>(
      Kro::value<258, &Card::speed_>("speed"), Kro::value<259, &Card::serial_>("serial", Kro::readOnly | Kro::ctorArg),
      Kro::value<260, &Card::label>("label"), Kro::value<261, &Card::partner_>("partner"),
      Kro::value<262, &Card::borrowed>("borrowed"),
      Kro::collection<
         263, &Card::port_, Kro::is<&Card::portIs>, Kro::del<&Card::portDel>, Kro::delAll<&Card::portDelAll>>("port"),
      Kro::collection<264, &Card::limit_, Kro::is<&Card::limitIs>, Kro::del<&Card::limitDel>>("limit"),
      Kro::collection<265, &Card::tag_, Kro::is<&Card::tagIs>>("tag"),
      Kro::collection<266, &Card::lane_, Kro::is<&Card::laneIs>, Kro::del<&Card::laneDel>>("lane"),
      Kro::operation<
         267, Kro::overload<std::uint32_t>(&Card::scale), Kro::overload<std::uint32_t, std::uint32_t>(&Card::scale)>(
         "scale"),
      Kro::operation<268, &Card::fail>("fail"), Kro::computed<269, &Card::total>("total"),
      Kro::computed<270, &Card::sum>("sum"), Kro::computed<271, &Card::sumOfNine>("sumOfNine"),
      Kro::statics<272, &Card::liveCards>("liveCards"), Kro::reactor<273, &Card::handlePort>("handlePort"),
      Kro::entries<274, Descriptor>("ring"));
   // clang-format on
};

constinit Kro::KroType const Card::kroType =
   Kro::entityType<Card, Card::Declaration, Kro::constructor<Orvo::String>>("Test::Card", &testModule);

struct FastCard::Declaration {
   // clang-format off: a row for each attribute
   static constexpr auto table = Kro::table<FastCard, Card>(
      Kro::computed<154, &FastCard::nameString>("nameString"), Kro::value<258, &FastCard::boost_>("boost"));
   // clang-format on
};

constinit Kro::KroType const FastCard::kroType =
   Kro::entityType<FastCard, FastCard::Declaration>("Test::FastCard", &testModule);

struct Fixed::Declaration {
   static constexpr auto table = Kro::table<Fixed, Kro::Entity>(Kro::computed<154, &Fixed::nameString>("nameString"));
};

constinit Kro::KroType const Fixed::kroType = Kro::entityType<Fixed, Fixed::Declaration>("Test::Fixed", &testModule);

Picky::Picky(Orvo::String const& name) : Entity(name == "alias" ? Orvo::String("other") : name)
{
   if (name == "bad") {
      throw Kro::RangeException("bad name");
   }
   if (name == "twin") {
      Kro::globalDir()->createEntity("Test::Card", name);
   }
   ++live;
}

Picky::~Picky()
{
   nodeFlagSet(flagDeleteOnLastUser, false);
   --live;
}

struct Picky::Declaration {
   static constexpr auto table = Kro::table<Picky, Kro::Entity>(Kro::computed<154, &Picky::nameString>("nameString"));
};

constinit Kro::KroType const Picky::kroType = Kro::entityType<Picky, Picky::Declaration>("Test::Picky", &testModule);

namespace {

constexpr Kro::KroType const* types[] = {&Port::kroType,     &Wide::kroType,  &Descriptor::kroType,
                                         &Odd::kroType,      &Lane::kroType,  &Card::kroType,
                                         &FastCard::kroType, &Fixed::kroType, &Picky::kroType};
constexpr Kro::KroType const* otherTypes[] = {&Kro::Entity::kroType};

} // namespace

constinit Kro::KroModule testModule{"Test", "Test/Card", types, otherTypes};

namespace {

[[maybe_unused]] bool const isRegistered = (Kro::kroModuleIs(testModule), true);

} // namespace
} // namespace Test
