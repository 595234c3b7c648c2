#include <Kro/Table.h>

struct Sample {
   std::uint32_t a;
   std::uint32_t b;
};

constexpr auto table = Kro::table<Sample>(Kro::value<2, &Sample::a>("a"), Kro::value<3, &Sample::b>(""));
