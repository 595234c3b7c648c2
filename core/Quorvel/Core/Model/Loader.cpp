#include <Quorvel/Core/Loader.h>
#include <Quorvel/Core/Model/Modules.h>

#include <Kro/Table.h>
#include <KroOrvo/Impl.h>

#include <ostream>

namespace Quorvel::Core::Loader {

struct Pimpl::Declaration {
   // clang-format off
   static constexpr auto table = Kro::table<Pimpl>(
      Kro::statics<2, &Pimpl::instantiate>("instantiate"));
   // clang-format on
};

constinit Kro::KroType const Pimpl::kroType =
   Kro::valueType<Pimpl, Pimpl::Declaration>("Quorvel::Core::Loader::Pimpl", &_Loader_65b35f617e5fa89d_kroModule);

Pimpl::Pimpl(Kro::CharRange& text)
{
   Kro::readByTable<Pimpl, Pimpl::Declaration>(text, *this);
}

bool Pimpl::isEq(void const* /*a*/, void const* /*b*/)
{
   return true;
}

std::ostream& operator<<(std::ostream& stream, Pimpl const& pimpl)
{
   return stream << KroOrvo::Impl::valueToStrep(Pimpl::kroType, &pimpl);
}

struct Singleton::Declaration {
   // clang-format off
   static constexpr auto table = Kro::table<Singleton, Kro::Entity>(
      Kro::computed<154, &Singleton::nameString>("nameString"),
      Kro::computed<258, &Singleton::prefixPath>("prefixPath"),
      Kro::computed<259, &Singleton::suffixPath>("suffixPath"));
   // clang-format on
};

constinit Kro::KroType const Singleton::kroType = Kro::entityType<Singleton, Singleton::Declaration>(
   "Quorvel::Core::Loader::Singleton", &_Loader_65b35f617e5fa89d_kroModule);

} // namespace Quorvel::Core::Loader

namespace {

namespace Loader = Quorvel::Core::Loader;

constexpr Kro::KroType const* types[] = {&Loader::Pimpl::kroType, &Loader::Singleton::kroType};

} // namespace

constinit Kro::KroModule _Loader_65b35f617e5fa89d_kroModule{"Loader", "Loader", types, {}};

namespace {

[[maybe_unused]] bool const isLoaded = [] {
   Kro::kroModuleIs(_Loader_65b35f617e5fa89d_kroModule);
   return true;
}();

} // namespace
