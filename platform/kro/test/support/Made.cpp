#include "Made.h"

#include <Kro/Exception.h>
#include <Kro/KroModule.h>
#include <Kro/Table.h>

namespace Test {
namespace {

extern Kro::KroModule module;

} // namespace

Witness::Witness(std::uint32_t number) : number_(number)
{
   if (number == 13) {
      throw Kro::RangeException("no witness 13");
   }
   ++live;
}

Witness::Witness(Witness const& other) : label_(other.label_), number_(other.number_)
{
   if (number_ == 14) {
      throw Kro::RangeException("no copy of witness 14");
   }
   ++live;
}

struct Witness::Declaration {
   // clang-format off: a row for each attribute
   static constexpr auto table = Kro::table<Witness>(
      Kro::value<2, &Witness::label_>("label", Kro::readOnly | Kro::ctorArg),
      Kro::value<3, &Witness::number_>("number", Kro::ctorArg));
   // clang-format on
};

constinit Kro::KroType const Witness::kroType = Kro::valueType<
   Witness, Witness::Declaration, Kro::constructor<>, Kro::constructor<Orvo::String, std::uint32_t>,
   Kro::constructor<std::uint32_t>>("Test::Witness", &module);

constinit Kro::AllocTrackTypeInfo Engine::memAllocationTracker_{sizeof(Engine), "Test::Engine"};

Engine::Engine(Orvo::String const& name, std::uint32_t power) : Entity(name), power_(power)
{
   if (power == 13) {
      throw Kro::RangeException("no engine 13");
   }
   ++live;
}

Engine::~Engine()
{
   nodeFlagSet(flagDeleteOnLastUser, false);
   --live;
}

Orvo::Ptr<Engine> Engine::twin(Engine* original)
{
   return original != nullptr ? Orvo::make<Engine>(Orvo::join(original->name(), "'"), original->power()) : nullptr;
}

struct Engine::Declaration {
   static constexpr auto table = Kro::table<Engine, Kro::Entity>(Kro::value<258, &Engine::power_>("power"));
};

constinit Kro::KroType const Engine::kroType = Kro::entityType<
   Engine, Engine::Declaration, Kro::constructor<Orvo::String, std::uint32_t>,
   Kro::constructor<Orvo::String, Orvo::Ptr<Engine>>, Kro::constructorFunction<&Engine::twin>>("Test::Engine", &module);

namespace {

constexpr Kro::KroType const* types[] = {&Witness::kroType, &Engine::kroType};
constexpr Kro::KroType const* otherTypes[] = {&Kro::Entity::kroType};

constinit Kro::KroModule module{"Made", "Test/Made", types, otherTypes};

[[maybe_unused]] bool const isRegistered = (Kro::kroModuleIs(module), true);

} // namespace
} // namespace Test
