#include <Quorvel/Core/Memory/Entity/Manager.h>
#include <Quorvel/Core/Model/Modules.h>

#include <Kro/Table.h>
#include <pinmem/Manager.h>

namespace Quorvel::Core::Memory::Entity {

struct Manager::Declaration {
   // clang-format off
   static constexpr auto table = Kro::table<Manager>(
      Kro::collection<130, &Manager::infoMount_, Kro::is<&Manager::infoMountIs>, Kro::del<&Manager::infoMountDel>,
         Kro::delAll<&Manager::infoMountDelAll>>("infoMount"),
      Kro::value<132, &Manager::directory_>("directory", Kro::readOnly),
      Kro::value<133, &Manager::sysname_>("sysname", Kro::readOnly | Kro::ctorArg),
      Kro::value<134, &Manager::nameDirectory>("nameDirectory"),
      Kro::operation<136, &Manager::initialize>("initialize"),
      Kro::operation<137, &Manager::mountInternal>("mountInternal"),
      Kro::statics<138, &Manager::instantiate>("instantiate"),
      Kro::operation<139, &Manager::mount>("mount"));
   // clang-format on
};

constinit Kro::KroType const Manager::kroType =
   Kro::entityType<Manager, Manager::Declaration, Kro::constructorFunction<&Manager::ManagerIs>>(
      "Quorvel::Core::Memory::Entity::Manager", &_Manager_3f1d6af35e273bc_kroModule);

} // namespace Quorvel::Core::Memory::Entity

namespace {

namespace Memory = Quorvel::Core::Memory;

constexpr Kro::KroType const* types[] = {&Memory::Entity::Manager::kroType};
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
