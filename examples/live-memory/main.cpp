// Compiles and runs the lines of docs/live-memory.md, which the build copies into snippet.inc.

#include <Quorvel/Core/Memory/Control/Collection.h>
#include <Quorvel/Core/Memory/Control/Detail/StoreChunk.h>
#include <Quorvel/Core/Memory/Entity/Manager.h>
#include <Quorvel/Core/Memory/Info/Mount.h>

#include <Kro/Exception.h>
#include <Kro/KroModule.h>
#include <Kro/Table.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iostream>
#include <stdexcept>
#include <vector>

namespace Control = Quorvel::Core::Memory::Control;
namespace Entity = Quorvel::Core::Memory::Entity;
namespace Info = Quorvel::Core::Memory::Info;

namespace {

extern Kro::KroModule module;

struct Receive {
   std::array<std::byte, 16> descriptor;
   std::array<std::byte, 2048> packet;
   std::uint64_t state;
   struct Declaration;
   static Kro::KroType const kroType;
};

struct Receive::Declaration {
   // clang-format off
   static constexpr auto table = Kro::table<Receive>(
      Kro::field<2, &Receive::descriptor>("descriptor"),
      Kro::field<3, &Receive::packet>("packet"),
      Kro::field<4, &Receive::state>("state"));
   // clang-format on
};

constinit Kro::KroType const Receive::kroType = Kro::entryType<Receive, Receive::Declaration>("Receive", &module);

class Rings : public Kro::Entity {
public:
   explicit Rings(Orvo::String const& name) : Entity(name), receive(Orvo::make<Control::Collection>(nullptr))
   {
      receive->attributesIs(Receive::kroType);
      receive->synchronizerIs([](std::uint32_t /*index*/) {});
   }

   ~Rings() override { nodeFlagSet(flagDeleteOnLastUser, false); }

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   struct Declaration;
   static Kro::KroType const kroType;

   Orvo::Ptr<Control::Collection> receive;
};

struct Rings::Declaration {
   // clang-format off
   static constexpr auto table = Kro::table<Rings, Kro::Entity>(
      Kro::entries<1, Receive>("receive"),
      Kro::value<2, &Rings::receive>("receiveControl", Kro::readOnly));
   // clang-format on
};

constinit Kro::KroType const Rings::kroType = Kro::entityType<Rings, Rings::Declaration>("Rings", &module);

constexpr Kro::KroType const* types[] = {&Receive::kroType, &Rings::kroType};
constinit Kro::KroModule module{"LiveMemory", "examples/live-memory", types, {}};

/// The description that docs/describing-memory.md builds.
Info::Mount describe()
{
   Info::Collection receive("receive");
   receive.addNameAttribute("descriptor");
   receive.addNameAttribute("packet");
   receive.addNameAttribute("state");
   receive.addGroup(0, 4);
   receive.addGroup(1, 2);
   receive.addGroup(2, 4, 8);
   for (auto const& group : receive.group()) {
      auto const id = group.id();
      receive.createChunk(id, "descriptor", Orvo::join("eth0.descriptor.", id), group.size() * 16, false);
      receive.createChunk(id, "packet", Orvo::join("eth0.packet.", id), group.size() * 2048, false);
      receive.createChunk(id, "state", Orvo::join("eth0.state.", id), group.size() * 8, true);
   }
   Info::Mount mount("rings", "Rings");
   mount.collectionIs(receive);
   return mount;
}

} // namespace

int main()
{
   Kro::kroModuleIs(module);

#include "snippet.inc"

   return 0;
}
