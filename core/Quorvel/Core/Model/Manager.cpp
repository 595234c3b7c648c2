#include <Quorvel/Core/Memory/Entity/Manager.h>
#include <Quorvel/Core/Model/Modules.h>

#include <Kro/Table.h>
#include <KroOrvo/Impl.h>
#include <pinmem/Manager.h>

#include <ostream>

namespace Quorvel::Core::Memory::Entity {
namespace Detail {

struct Info::Declaration {
   // clang-format off
   static constexpr auto table = Kro::table<Info>(
      Kro::value<2, &Info::sysname_>("sysname"),
      Kro::value<3, &Info::path_>("path"));
   // clang-format on
};

constinit Kro::KroType const Info::kroType = Kro::valueType<Info, Info::Declaration>(
   "Quorvel::Core::Memory::Entity::Detail::Info", &_Manager_3f1d6af35e273bc_kroModule);

Info::Info(Kro::CharRange& text)
{
   Kro::readByTable<Info, Info::Declaration>(text, *this);
}

bool operator==(Info const& a, Info const& b)
{
   return Kro::equal<Info, Info::Declaration>(a, b);
}

bool Info::isEq(void const* a, void const* b)
{
   return *static_cast<Info const*>(a) == *static_cast<Info const*>(b);
}

std::ostream& operator<<(std::ostream& stream, Info const& info)
{
   return stream << KroOrvo::Impl::valueToStrep(Info::kroType, &info);
}

struct Orphanage::Declaration {
   // clang-format off
   static constexpr auto table = Kro::table<Orphanage, Kro::Entity>(
      Kro::computed<154, &Orphanage::nameString>("nameString"),
      Kro::collection<infoNumber, &Orphanage::info_, Kro::is<&Orphanage::infoIs>, Kro::del<&Orphanage::infoDel>,
         Kro::delAll<&Orphanage::infoDelAll>>("info"));
   // clang-format on
};

constinit Kro::KroType const Orphanage::kroType = Kro::entityType<Orphanage, Orphanage::Declaration>(
   "Quorvel::Core::Memory::Entity::Detail::Orphanage", &_Manager_3f1d6af35e273bc_kroModule);

} // namespace Detail

struct Manager::Declaration {
   // clang-format off
   static constexpr auto table = Kro::table<Manager>(
      Kro::collection<130, &Manager::infoMount_, Kro::is<&Manager::infoMountIs>, Kro::del<&Manager::infoMountDel>,
         Kro::delAll<&Manager::infoMountDelAll>>("infoMount"),
      Kro::collection<131, &Manager::orphan_, Kro::is<&Manager::orphanIs>, Kro::del<&Manager::orphanDel>,
         Kro::delAll<&Manager::orphanDelAll>>("orphan"),
      Kro::value<132, &Manager::directory_>("directory", Kro::readOnly),
      Kro::value<133, &Manager::sysname_>("sysname", Kro::readOnly | Kro::ctorArg),
      Kro::value<134, &Manager::nameDirectory>("nameDirectory"),
      Kro::value<135, &Manager::orphanage>("orphanage"),
      Kro::operation<136, &Manager::initialize>("initialize"),
      Kro::operation<137, &Manager::mountInternal>("mountInternal"),
      Kro::statics<138, &Manager::instantiate>("instantiate"),
      Kro::operation<139, &Manager::mount>("mount"),
      Kro::operation<140, &Manager::unmount>("unmount"));
   // clang-format on
};

constinit Kro::KroType const Manager::kroType =
   Kro::entityType<Manager, Manager::Declaration, Kro::constructorFunction<&Manager::ManagerIs>>(
      "Quorvel::Core::Memory::Entity::Manager", &_Manager_3f1d6af35e273bc_kroModule);

} // namespace Quorvel::Core::Memory::Entity

namespace {

namespace Memory = Quorvel::Core::Memory;

constexpr Kro::KroType const* types[] = {
   &Memory::Entity::Detail::Info::kroType, &Memory::Entity::Detail::Orphanage::kroType,
   &Memory::Entity::Manager::kroType};
constexpr Kro::KroType const* refersTo[] = {&Memory::Info::Mount::kroType};

} // namespace

constinit Kro::KroModule _Manager_3f1d6af35e273bc_kroModule{"Manager", "Memory/Entity/Manager", types, refersTo};

namespace {

[[maybe_unused]] bool const isLoaded = [] {
   Kro::kroModuleIs(_Manager_3f1d6af35e273bc_kroModule);
   pinmem_lib::Manager::captureAgentName();
   return true;
}();

} // namespace
