#include <Kro/Table.h>

struct Base {
   std::uint32_t a;

   static Kro::KroType const kroType;
};

struct Sample : Base {
   std::uint32_t b;

   struct Declaration;
};

struct Sample::Declaration {
   static constexpr auto table = Kro::table<Sample, Base>(Kro::value<3, &Sample::b>("b"));
};

constexpr Kro::KroType type = Kro::valueType<Sample, Sample::Declaration>("Sample", nullptr);
