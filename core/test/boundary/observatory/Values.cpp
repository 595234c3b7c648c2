#include "boundary/observatory/Values.h"

#include "boundary/observatory/Module.h"

#include <Kro/Table.h>

namespace Observatory {

struct Angle::Declaration {
   // clang-format off
   static constexpr auto table = Kro::table<Angle>(
      Kro::value<2, &Angle::degrees_>("degrees", Kro::ctorArg),
      Kro::value<3, &Angle::isNorth_>("isNorth", Kro::ctorArg));
   // clang-format on
};

constinit Kro::KroType const Angle::kroType = Kro::valueType<Angle, Angle::Declaration>("Observatory::Angle", &module);

Angle::Angle(Kro::CharRange& text)
{
   auto const begin = text;
   Kro::readByTable<Angle, Declaration>(text, *this);
   if (degrees_ < -180 || degrees_ > 180) {
      begin.refuse("an angle from -180 to 180 degrees");
   }
}

std::uint64_t Angle::hash() const noexcept
{
   return (static_cast<std::uint64_t>(degrees_) << 1U) + (isNorth_ ? 1U : 0U);
}

bool operator==(Angle const& a, Angle const& b)
{
   return Kro::equal<Angle, Angle::Declaration>(a, b);
}

struct Reading::Declaration {
   // clang-format off
   static constexpr auto table = Kro::table<Reading>(
      Kro::value<-32768, &Reading::offset_>("offset"),
      Kro::value<-1, &Reading::weight_>("weight"),
      Kro::value<0, &Reading::flux_>("flux"),
      Kro::value<1, &Reading::isValid_>("isValid"),
      Kro::value<2, &Reading::label_>("label"),
      Kro::value<130, &Reading::count_>("count"),
      Kro::value<131, &Reading::exposure_>("exposure"),
      Kro::value<5000, &Reading::photons_>("photons"),
      Kro::value<5001, &Reading::direction_>("direction"),
      Kro::value<32767, &Reading::note_>("note", Kro::notCompared));
   // clang-format on
};

constinit Kro::KroType const Reading::kroType =
   Kro::valueType<Reading, Reading::Declaration, Kro::constructor<>, Kro::constructor<Orvo::String, Angle>>(
      "Observatory::Reading", &module);

bool operator==(Reading const& a, Reading const& b)
{
   return Kro::equal<Reading, Reading::Declaration>(a, b);
}

constinit Kro::AllocTrackTypeInfo KroReading::memAllocationTracker_{sizeof(KroReading), "Observatory::KroReading"};

Orvo::String Night::title() const
{
   return Orvo::join(reading_.size(), " readings");
}

void Night::readingIs(std::int32_t id, Reading const& reading)
{
   reading_.is(id, reading);
   handleReading(id);
}

Reading Night::readingDel(std::int32_t id)
{
   auto taken = reading_.take(id);
   if (!taken) {
      return {};
   }
   handleReading(id);
   return *taken;
}

struct Night::Declaration {
   // clang-format off
   static constexpr auto table = Kro::table<Night>(
      Kro::collection<2, &Night::reading_, Kro::is<&Night::readingIs>, Kro::del<&Night::readingDel>,
         Kro::delAll<&Night::readingDelAll>>("reading"),
      Kro::collection<3, &Night::place_, Kro::is<&Night::placeIs>, Kro::del<&Night::placeDel>>("place"),
      Kro::collection<4, &Night::observer_, Kro::is<&Night::observerIs>>("observer"),
      Kro::value<5, &Night::title>("title"),
      Kro::value<6, &Night::changes_>("changes", Kro::readOnly | Kro::notCompared),
      Kro::reactor<7, &Night::handleReading>("handleReading"));
   // clang-format on
};

constinit Kro::KroType const Night::kroType = Kro::valueType<Night, Night::Declaration>("Observatory::Night", &module);

bool operator==(Night const& a, Night const& b)
{
   return Kro::equal<Night, Night::Declaration>(a, b);
}

} // namespace Observatory
