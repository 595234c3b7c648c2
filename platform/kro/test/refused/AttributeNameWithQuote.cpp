#include <Kro/Table.h>

struct Sample {
   std::uint32_t a;
};

constexpr auto table = Kro::table<Sample>(Kro::value<2, &Sample::a>("a\""));
