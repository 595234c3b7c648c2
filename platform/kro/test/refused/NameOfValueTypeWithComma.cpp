#include <Kro/Table.h>

struct Sample {
   struct Declaration;

   static Kro::KroType const kroType;

   std::uint32_t a = 0;
};

struct Sample::Declaration {
   static constexpr auto table = Kro::table<Sample>(Kro::value<2, &Sample::a>("a"));
};

constinit Kro::KroType const Sample::kroType =
   Kro::valueType<Sample, Sample::Declaration>("Pair<int, Sample>", nullptr);
