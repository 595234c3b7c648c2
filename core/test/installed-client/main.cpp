// An agent outside the repository: has nothing but what is installed. Looks where every interface is, then lives a short life.

#include "Interfaces.h"

#include <Kro/Exception.h>
#include <Kro/KroModule.h>
#include <Kro/Table.h>
#include <pinmem/Manager.h>

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <span>
#include <string_view>

namespace {

int failures = 0;

void check(bool isTrue, char const* what)
{
   if (!isTrue) {
      std::fprintf(stderr, "wrong: %s\n", what);
      ++failures;
   }
}

bool isInLibrary(void const* address)
{
   Dl_info info{};
   return dladdr(address, &info) != 0 &&
          std::string_view(info.dli_fname).find("/libQuorvelCore.so") != std::string_view::npos;
}

void look(std::span<Interface const> interfaces)
{
   for (auto const& interface : interfaces) {
      check(interface.address != nullptr && (!interface.isInLibrary || isInLibrary(interface.address)), interface.name);
   }
}

extern Kro::KroModule module;

struct Slot {
   std::array<std::byte, 64> command;
   struct Declaration;
   static Kro::KroType const kroType;
};

struct Slot::Declaration {
   static constexpr auto table = Kro::table<Slot>(Kro::field<2, &Slot::command>("command"));
};

constinit Kro::KroType const Slot::kroType = Kro::entryType<Slot, Slot::Declaration>("Slot", &module);

class Queue : public Kro::Entity {
public:
   explicit Queue(Orvo::String const& name) : Entity(name), slots(Orvo::make<Control::Collection>(nullptr))
   {
      slots->attributesIs(Slot::kroType);
      slots->synchronizerIs([](std::uint32_t /*index*/) {});
   }

   ~Queue() override { nodeFlagSet(flagDeleteOnLastUser, false); }

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   struct Declaration;
   static Kro::KroType const kroType;

   Orvo::Ptr<Control::Collection> slots;
};

struct Queue::Declaration {
   // clang-format off
   static constexpr auto table = Kro::table<Queue, Kro::Entity>(
      Kro::entries<1, Slot>("slots"),
      Kro::value<2, &Queue::slots>("slotsControl", Kro::readOnly));
   // clang-format on
};

constinit Kro::KroType const Queue::kroType = Kro::entityType<Queue, Queue::Declaration>("Queue", &module);

constexpr Kro::KroType const* types[] = {&Slot::kroType, &Queue::kroType};
constinit Kro::KroModule module{"Client", "client", types, {}};

Info::Mount describe()
{
   Info::Collection slots("slots");
   slots.addNameAttribute("command");
   slots.addGroup(0, 8);
   slots.createChunk(0, "command", "client.slots", 8 * 64, false);
   Info::Mount mount("queue", "Queue");
   mount.collectionIs(slots);
   return mount;
}

bool isThere(Entity::Manager const& manager)
{
   try {
      return manager.entify("queue") != nullptr;
   } catch (Kro::EntityNotFoundException const&) {
      return false;
   }
}

void live()
{
   auto const manager = Entity::Manager::instantiate("client");
   manager->mount(describe());
   auto queue = Orvo::dynamicCast<Queue>(manager->entify("queue"));
   check(queue->slots->addressBus(2, 5) == queue->slots->addressBus(2, 0) + 320, "bus address of entry 5");
   auto* const bytes = reinterpret_cast<unsigned char*>(queue->slots->addressVirtual(2, 5));
   bytes[63] = 7;
   queue->slots->reset(5);
   check(bytes[63] == 0, "entry 5 is cleared");

   manager->unmount("queue");
   check(Entity::Manager::orphanage()->info(queue.get()).sysname() == "client", "the orphanage's record");
   Entity::Destructor::cleanup(queue.get());
   check(!isThere(*manager), "nothing is at the path that was cleaned up");
}

} // namespace

int main()
{
   look(descriptions);
   look(liveMemory);
   look(entities);
   look(services);
   look(modules);

   char const* const name = std::getenv("AGENT_PROCESS_NAME");
   char const* const captured = pinmem_lib::Manager::agentName;
   check(name != nullptr && captured != nullptr && std::string_view(name) == captured, "the captured agent name");
   Kro::kroModuleIs(module);
   live();
   return failures == 0 ? 0 : 1;
}
