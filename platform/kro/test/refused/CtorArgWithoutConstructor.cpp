#include <Kro/Table.h>

struct Sample {
   Sample() = default;

   explicit Sample(std::uint32_t first) : a(first) {}

   std::uint32_t a = 0;
   std::uint32_t b = 0;

   static Kro::KroType const kroType;
   struct Declaration;
};

// There is a constructor from one of the two.
struct Sample::Declaration {
   static constexpr auto table =
      Kro::table<Sample>(Kro::value<2, &Sample::a>("a", Kro::ctorArg), Kro::value<3, &Sample::b>("b", Kro::ctorArg));
};

constinit Kro::KroType const Sample::kroType = Kro::valueType<Sample, Sample::Declaration>("Sample", nullptr);
