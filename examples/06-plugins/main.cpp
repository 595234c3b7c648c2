// An agent that knows no device. What it can drive comes with plugins, each with a mount type of its own: the agent loads the
// family, looks the types up by name, describes memory for them as they say, and asks for addresses.

#include <Quorvel/Core/Loader.h>
#include <Quorvel/Core/Memory/Control/Collection.h>
#include <Quorvel/Core/Memory/Entity/Manager.h>

#include <Kro/GenericIf.h>
#include <Kro/KroModule.h>
#include <Plugin/Result.h>
#include <Quorvel/Utility/Affirm.h>
#include <pinmem/pinmem.h>

#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>

namespace Memory = Quorvel::Core::Memory;
namespace Loader = Quorvel::Core::Loader;

namespace {

/// Names the family: DriverPlugin/dma.
class Drivers final : public Loader::Singleton {
public:
   using Singleton::Singleton;

   ~Drivers() override { nodeFlagSet(flagDeleteOnLastUser, false); }

   Orvo::String prefixPath() const override { return "Driver"; }

   Orvo::String suffixPath() const override { return "dma"; }
};

/// Loads the family from where the build puts plugins, and wherever else the process looks for them.
void load(Drivers const& drivers)
{
   Plugin::Loader<void> loader;
   loader.searchPath = std::filesystem::canonical("/proc/self/exe").parent_path().string() + "/../lib/plugins";
   Loader::Singleton::load(drivers.prefixPath(), drivers.suffixPath(), &loader);
}

constexpr std::uint32_t entries = 16;

/// One group of entries in each collection that the type declares, with a chunk for each field.
Memory::Info::Mount describe(std::string const& name, Kro::KroType const& type)
{
   Memory::Info::Mount mount(name, type.name);
   for (auto const& attribute : type.attrs) {
      if (attribute.kind != Kro::Kind::collection) {
         continue;
      }
      Memory::Info::Collection collection(attribute.name);
      collection.addGroup(0, entries);
      for (auto const& field : attribute.type.type->attrs) {
         collection.addNameAttribute(field.name);
         collection.createChunk(0, field.name, Orvo::join(name, ".", field.name), entries * field.size, false);
      }
      mount.collectionIs(collection);
   }
   return mount;
}

void drive(std::string const& name)
{
   auto const& type = Kro::typeNode("Driver::" + name); // by agreement, the file's name
   auto const mount = describe(name, type);
   auto const manager = Memory::Entity::Manager::instantiate("agent");
   manager->mount(mount);
   auto const entity = manager->entify(name);

   std::printf(
      "%s is a %s of module %s\n", entity->fullName().c_str(), std::string(type.name).c_str(),
      std::string(type.module->name).c_str());
   for (auto const& collection : mount.collectionInternal()) {
      auto const& control = type.attr(Memory::Control::Collection::composeName(collection.name()));
      Orvo::Ptr<Memory::Control::Collection> live;
      Kro::GenericIf::ofNode(*entity).get(control.number, Kro::GenericIf::of(live));
      for (auto const& field : live->attribute()) {
         std::printf(
            "  %s, field %d, %4u bytes an entry: entry %u is at bus address 0x%016lx, here at 0x%012lx\n",
            collection.name().c_str(), field.id(), field.size(), entries - 1, live->addressBus(field.id(), entries - 1),
            live->addressVirtual(field.id(), entries - 1));
      }
   }
}

void run()
{
   auto const drivers = Orvo::make<Drivers>("drivers");
   load(*drivers);
   load(*drivers); // does nothing: the family is loaded once in a process

   auto const results = Plugin::results("DriverPlugin/dma");
   for (auto const& result : results) {
      auto const file = std::filesystem::path(result.file.view());
      switch (result.state) {
      case Plugin::State::loaded:
         std::printf("%s is loaded\n", file.filename().c_str());
         break;
      case Plugin::State::loadedBefore:
      case Plugin::State::missing: // a directory of the search path without drivers
         break;
      case Plugin::State::failed:
         std::printf("%s failed: %s\n", file.filename().c_str(), result.reason.c_str());
      }
   }
   for (auto const& result : results) {
      if (result.state == Plugin::State::loaded) {
         drive(std::filesystem::path(result.file.view()).stem().string());
      }
   }
}

} // namespace

int main()
{
   try {
      run();
      return 0;
   } catch (Quorvel::Utility::AffirmException const&) { // the memory cannot be had; the library under it knows why
      std::fprintf(stderr, "%s\n", pinmem_last_error());
   } catch (std::exception const& error) {
      std::fprintf(stderr, "%s\n", error.what());
   }
   return 1;
}
