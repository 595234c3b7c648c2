// A plugin that registers its module in a static initialiser and has no entry point: a refusal would end the process.

#include <Quorvel/Core/Memory/Control/Collection.h>

#include <Kro/Entity.h>
#include <Kro/KroModule.h>
#include <Kro/Table.h>

#include <array>
#include <cstdint>

namespace {

using Quorvel::Core::Memory::Control::Collection;

extern Kro::KroModule module;

struct Command { // one entry of the command queue
   std::array<std::uint64_t, 8> command;
   struct Declaration;
   static Kro::KroType const kroType;
};

struct Command::Declaration {
   static constexpr auto table = Kro::table<Command>(Kro::field<2, &Command::command>("command"));
};

constinit Kro::KroType const Command::kroType =
   Kro::entryType<Command, Command::Declaration>("Driver::Storage::Command", &module);

class Storage final : public Kro::Entity {
public:
   explicit Storage(Orvo::String const& name) : Entity(name)
   {
      queue->attributesIs(Command::kroType);
      queue->synchronizerIs([](std::uint32_t /*entry*/) {}); // nothing in software to bring in step
   }

   ~Storage() override { nodeFlagSet(flagDeleteOnLastUser, false); }

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   Orvo::Ptr<Collection> queue = Orvo::make<Collection>(nullptr); // densely packed

   static Kro::KroType const kroType;
   struct Declaration;
};

struct Storage::Declaration {
   static constexpr auto table = Kro::table<Storage, Kro::Entity>(
      Kro::entries<1, Command>("queue"), Kro::value<2, &Storage::queue>("queueControl", Kro::readOnly));
};

constinit Kro::KroType const Storage::kroType =
   Kro::entityType<Storage, Storage::Declaration>("Driver::Storage", &module);

constexpr Kro::KroType const* types[] = {&Command::kroType, &Storage::kroType};
constinit Kro::KroModule module{"Storage", "examples/06-plugins/drivers/Storage", types, {}};

[[maybe_unused]] bool const isRegistered = (Kro::kroModuleIs(module), true);

} // namespace
