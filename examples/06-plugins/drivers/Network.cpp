// A plugin that registers its module in its entry point: a refusal becomes its result.

#include <Quorvel/Core/Memory/Control/Collection.h>

#include <Kro/Entity.h>
#include <Kro/KroModule.h>
#include <Kro/Table.h>
#include <Plugin/Entry.h>

#include <array>
#include <cstdint>

namespace {

using Quorvel::Core::Memory::Control::Collection;

extern Kro::KroModule module;

struct Packet { // one entry of the receive ring
   std::array<std::uint64_t, 2> descriptor;
   std::array<std::byte, 2048> data;
   struct Declaration;
   static Kro::KroType const kroType;
};

struct Packet::Declaration {
   static constexpr auto table =
      Kro::table<Packet>(Kro::field<2, &Packet::descriptor>("descriptor"), Kro::field<3, &Packet::data>("data"));
};

constinit Kro::KroType const Packet::kroType =
   Kro::entryType<Packet, Packet::Declaration>("Driver::Network::Packet", &module);

class Network final : public Kro::Entity {
public:
   explicit Network(Orvo::String const& name) : Entity(name)
   {
      receive->attributesIs(Packet::kroType);
      receive->synchronizerIs([](std::uint32_t /*entry*/) {}); // nothing in software to bring in step
   }

   ~Network() override { nodeFlagSet(flagDeleteOnLastUser, false); }

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   Orvo::Ptr<Collection> receive = Orvo::make<Collection>(nullptr); // densely packed

   static Kro::KroType const kroType;
   struct Declaration;
};

struct Network::Declaration {
   static constexpr auto table = Kro::table<Network, Kro::Entity>(
      Kro::entries<1, Packet>("receive"), Kro::value<2, &Network::receive>("receiveControl", Kro::readOnly));
};

constinit Kro::KroType const Network::kroType =
   Kro::entityType<Network, Network::Declaration>("Driver::Network", &module);

constexpr Kro::KroType const* types[] = {&Packet::kroType, &Network::kroType};
constinit Kro::KroModule module{"Network", "examples/06-plugins/drivers/Network", types, {}};

} // namespace

extern "C" void pluginMain()
{
   Kro::kroModuleIs(module);
}
