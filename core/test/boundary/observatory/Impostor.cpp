// A plugin that cannot be registered: the name of its module, or of its type, is another one's. The build gives both, and
// whether it tries while it is loaded.

#include <Kro/KroModule.h>
#include <Kro/Table.h>

#include <cstdint>

namespace {

extern Kro::KroModule impostor;

struct Pretender {
   std::uint32_t claim = 0;
   struct Declaration;
   static Kro::KroType const kroType;
};

struct Pretender::Declaration {
   static constexpr auto table = Kro::table<Pretender>(Kro::value<2, &Pretender::claim>("claim"));
};

constinit Kro::KroType const Pretender::kroType =
   Kro::valueType<Pretender, Pretender::Declaration>(IMPOSTOR_TYPE, &impostor);

constexpr Kro::KroType const* types[] = {&Pretender::kroType};
constinit Kro::KroModule impostor{IMPOSTOR_MODULE, "core/test/boundary/observatory/Impostor", types, {}};

[[maybe_unused]] bool const isRegistered = IMPOSTOR_ON_LOAD && (Kro::kroModuleIs(impostor), true);

} // namespace

extern "C" __attribute__((visibility("default"))) void registerImpostor()
{
   Kro::kroModuleIs(impostor);
}
