#include <Kro/Table.h>

struct Sample {
   void fill(Orvo::String& text);
};

constexpr auto table = Kro::table<Sample>(Kro::operation<2, &Sample::fill>("fill"));
