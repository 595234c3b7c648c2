// A plugin that registers its module in its entry point, so that a refusal is reported. It is refused: the framework has a type
// of that name.

#include <Kro/KroModule.h>
#include <Kro/Table.h>
#include <Plugin/Entry.h>

#include <cstdint>

namespace {

extern Kro::KroModule lateModule;

struct Impostor {
   std::uint32_t field;
   struct Declaration;
   static Kro::KroType const kroType;
};

struct Impostor::Declaration {
   static constexpr auto table = Kro::table<Impostor>(Kro::field<2, &Impostor::field>("field"));
};

constinit Kro::KroType const Impostor::kroType =
   Kro::entryType<Impostor, Impostor::Declaration>("Kro::Dir", &lateModule);

constexpr Kro::KroType const* types[] = {&Impostor::kroType};
constinit Kro::KroModule lateModule{"LatePlugin", "core/test/boundary/LatePlugin", types, {}};

} // namespace

extern "C" void pluginMain()
{
   Kro::kroModuleIs(lateModule);
}
