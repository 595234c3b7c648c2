#include <Kro/Model.h>

#include <Kro/Dir.h>
#include <Kro/Entity.h>
#include <Kro/Table.h>

namespace Kro {

struct Entity::Declaration {
   // clang-format off
   static constexpr auto table = Kro::table<Entity>(
      Kro::computed<154, &Entity::nameString>("nameString"));
   // clang-format on
};

constinit KroType const Entity::kroType = entityType<Entity, Entity::Declaration>("Kro::Entity", &kroModule);

struct Dir::Declaration {
   // clang-format off
   static constexpr auto table = Kro::table<Dir, Entity>(
      Kro::collection<258, &Dir::entity_, Kro::is<&Dir::createEntity>, Kro::del<&Dir::deleteEntity>>("entity"));
   // clang-format on
};

constinit KroType const Dir::kroType = entityType<Dir, Dir::Declaration>("Kro::Dir", &kroModule);

namespace {

constexpr KroType const* types[] = {&Entity::kroType, &Dir::kroType};

} // namespace

constinit KroModule kroModule{"Kro", "Kro/Model", types, {}};

namespace {

[[maybe_unused]] bool const registered = (kroModuleIs(kroModule), true);

} // namespace
} // namespace Kro
