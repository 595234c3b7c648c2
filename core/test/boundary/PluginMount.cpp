// A plugin that brings a mount type of its own, as a driver would. It hides everything but its entry point.

#include "boundary/Plugin.h"

#include <Quorvel/Core/Memory/Control/Detail/StoreChunk.h>

#include <Kro/Dir.h>
#include <Kro/KroModule.h>
#include <Kro/Table.h>
#include <pinmem/Manager.h>

#include <array>
#include <cstdint>

namespace {

using Quorvel::Core::Memory::Control::Collection;
using Quorvel::Core::Test::PluginView;

extern Kro::KroModule pluginModule;
extern Kro::KroModule wrongModule;

struct DescriptorEntry {
   std::array<std::uint64_t, 4> descriptor;
   struct Declaration;
   static Kro::KroType const kroType;
};

struct DescriptorEntry::Declaration {
   static constexpr auto table = Kro::table<DescriptorEntry>(Kro::field<2, &DescriptorEntry::descriptor>("descriptor"));
};

constinit Kro::KroType const DescriptorEntry::kroType =
   Kro::entryType<DescriptorEntry, DescriptorEntry::Declaration>("PluginDescriptorEntry", &pluginModule);

class PluginMount final : public Kro::Entity {
public:
   explicit PluginMount(Orvo::String const& name) : Entity(name), queue(Orvo::make<Collection>(spread))
   {
      queue->attributesIs(DescriptorEntry::kroType);
      queue->synchronizerIs([this](std::uint32_t /*index*/) { ++synchronized; });
   }

   ~PluginMount() override { nodeFlagSet(flagDeleteOnLastUser, false); }

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   static Kro::KroType const kroType;
   struct Declaration;

   Orvo::Ptr<Collection> queue;
   std::uint32_t synchronized = 0;

private:
   /// One descriptor in every 128 bytes.
   static std::uint32_t spread(std::uint32_t head, std::uint32_t index, std::uint32_t /*size*/)
   {
      return (index - head) * 128;
   }
};

struct PluginMount::Declaration {
   static constexpr auto table = Kro::table<PluginMount, Kro::Entity>(
      Kro::entries<1, DescriptorEntry>("queue"), Kro::value<2, &PluginMount::queue>("queueControl", Kro::readOnly),
      Kro::value<3, &PluginMount::synchronized>("synchronized", Kro::readOnly));
};

constinit Kro::KroType const PluginMount::kroType =
   Kro::entityType<PluginMount, PluginMount::Declaration>("PluginMount", &pluginModule);

constexpr Kro::KroType const* types[] = {&DescriptorEntry::kroType, &PluginMount::kroType};
constinit Kro::KroModule pluginModule{"Plugin", "core/test/boundary/PluginMount", types, {}};

/// Claims the name of a type that another module has.
struct Impostor {
   std::uint32_t field;
   struct Declaration;
   static Kro::KroType const kroType;
};

struct Impostor::Declaration {
   static constexpr auto table = Kro::table<Impostor>(Kro::field<2, &Impostor::field>("field"));
};

constinit Kro::KroType const Impostor::kroType =
   Kro::entryType<Impostor, Impostor::Declaration>("Quorvel::Core::Memory::Info::Mount", &wrongModule);

constexpr Kro::KroType const* wrongTypes[] = {&Impostor::kroType};
constinit Kro::KroModule wrongModule{"WrongPlugin", "core/test/boundary/PluginMount", wrongTypes, {}};

[[maybe_unused]] bool const isLoaded = [] {
   Kro::kroModuleIs(pluginModule);
   return true;
}();

void attributeIs(Collection& collection)
{
   collection.attributeIs(2, 4711);
}

void registerWrongModule()
{
   Kro::kroModuleIs(wrongModule);
}

} // namespace

extern "C" __attribute__((visibility("default"))) PluginView const* pluginView()
{
   using Quorvel::Core::Memory::Control::Detail::StoreChunk;
   static PluginView view;
   view = {
      &Collection::kroType,
      &Kro::Dir::kroType,
      Kro::Entity::singletonExists("Quorvel::Core::Memory::Control::Detail::StoreChunk") != nullptr
         ? StoreChunk::instance().get()
         : nullptr,
      pinmem_lib::Manager::agentName,
      attributeIs,
      registerWrongModule};
   return &view;
}
