#include "Rings.h"

#include <Kro/KroModule.h>
#include <Kro/Table.h>

namespace {

namespace Memory = Quorvel::Core::Memory;

extern Kro::KroModule module;

} // namespace

Rings::Rings(Orvo::String const& name) : Entity(name), receive(Orvo::make<Memory::Control::Collection>(nullptr))
{
   receive->attributesIs(Receive::kroType);
   receive->synchronizerIs([](std::uint32_t /*index*/) {});
}

struct Receive::Declaration {
   // clang-format off
   static constexpr auto table = Kro::table<Receive>(
      Kro::field<2, &Receive::descriptor>("descriptor"),
      Kro::field<3, &Receive::packet>("packet"),
      Kro::field<4, &Receive::state>("state"));
   // clang-format on
};

struct Rings::Declaration {
   // clang-format off
   static constexpr auto table = Kro::table<Rings, Kro::Entity>(
      Kro::entries<1, Receive>("receive"),
      Kro::value<2, &Rings::receive>("receiveControl", Kro::readOnly));
   // clang-format on
};

constinit Kro::KroType const Receive::kroType = Kro::entryType<Receive, Receive::Declaration>("Receive", &module);
constinit Kro::KroType const Rings::kroType = Kro::entityType<Rings, Rings::Declaration>("Rings", &module);

namespace {

constexpr Kro::KroType const* types[] = {&Receive::kroType, &Rings::kroType};
constinit Kro::KroModule module{"Rings", "examples/live-memory", types, {}};

[[maybe_unused]] bool const isRegistered = (Kro::kroModuleIs(module), true);

} // namespace

Memory::Info::Mount describe(Orvo::String const& path)
{
   Memory::Info::Collection receive("receive");
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
   Memory::Info::Mount mount(path, "Rings");
   mount.collectionIs(receive);
   return mount;
}
