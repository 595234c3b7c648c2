#include <Kro/Table.h>

struct Sample {
   Sample() = default;

   explicit Sample(Kro::CharRange& text);

   std::uint32_t twice() const { return 2 * a; }

   std::uint32_t a = 0;

   static Kro::KroType const kroType;
   struct Declaration;
};

struct Sample::Declaration {
   static constexpr auto table =
      Kro::table<Sample>(Kro::value<2, &Sample::a>("a"), Kro::value<3, &Sample::twice>("twice"));
};

constinit Kro::KroType const Sample::kroType = Kro::valueType<Sample, Sample::Declaration>("Sample", nullptr);

Sample::Sample(Kro::CharRange& text)
{
   Kro::readByTable<Sample, Declaration>(text, *this);
}
