// A plugin's mount type, mounted by a program that does not know it: types, exceptions and process-wide objects are the same
// on both sides of the library boundary.

#include "boundary/Plugin.h"
#include "support/MemoryTest.h"
#include "support/MessageOf.h"

#include <Quorvel/Core/Memory/Entity/Manager.h>

#include <Kro/Exception.h>
#include <Kro/GenericIf.h>
#include <Kro/KroModule.h>
#include <pinmem/Manager.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <stdexcept>

#include <dlfcn.h>

namespace {

using Quorvel::Core::Memory::Control::Collection;
using Quorvel::Core::Memory::Entity::Manager;
using Quorvel::Core::Test::messageOf;
using Quorvel::Core::Test::PluginView;

namespace Info = Quorvel::Core::Memory::Info;

class Plugin : public Quorvel::Core::Test::MemoryTest {
protected:
   Plugin()
   {
      // Never closed: a registered module stays in use.
      auto* const library = ::dlopen(TEST_PLUGIN, RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
      if (library == nullptr) {
         throw std::runtime_error(::dlerror());
      }
      auto* const entry = reinterpret_cast<PluginView const* (*)()>(::dlsym(library, Quorvel::Core::Test::pluginEntry));
      view_ = entry;
   }

   PluginView const& view() const { return *view_(); }

   static Info::Mount description()
   {
      Info::Collection collection("queue");
      collection.addGroup(0, 4);
      collection.addNameAttribute("descriptor");
      collection.createChunk(0, "descriptor", "plugin.descriptor", 512, false);
      Info::Mount mount("plugin", "PluginMount");
      mount.collectionIs(collection);
      return mount;
   }

   /// Reads the plugin's live collection as the core does.
   static Orvo::Ptr<Collection> queueOf(Kro::Entity& entity)
   {
      Orvo::Ptr<Collection> queue;
      EXPECT_EQ(Kro::GenericIf::ofNode(entity).get(2, Kro::GenericIf::of(queue)), Kro::success);
      return queue;
   }

   Orvo::Ptr<Manager> manager = Quorvel::Core::Memory::Entity::managerFactory("boundary");

   void TearDown() override
   {
      manager.reset();
      MemoryTest::TearDown();
   }

private:
   PluginView const* (*view_)() = nullptr;
};

TEST_F(Plugin, seesTheTypesOfTheProgram)
{
   EXPECT_EQ(view().collectionType, &Collection::kroType);
   EXPECT_EQ(view().dirType, &Kro::Dir::kroType);
}

TEST_F(Plugin, sharesTheProcessWideObjects)
{
   auto const* const own = &store(); // makes it, where this test is the first

   EXPECT_EQ(view().store, own);
   EXPECT_EQ(view().agentName, pinmem_lib::Manager::agentName);
}

TEST_F(Plugin, bringsAMountTypeThatTheProgramMounts)
{
   manager->mount(description());

   auto const entity = manager->entify("plugin");
   EXPECT_EQ(entity->fwkType().name, "PluginMount");
   EXPECT_EQ(entity->fwkType().module, Kro::findModule("Plugin"));
   auto const queue = queueOf(*entity);
   EXPECT_EQ(queue->capacity(), 4U);
   EXPECT_EQ(queue->addressBus(2, 3), pinmem.addressBus("plugin.descriptor") + 384);
   EXPECT_EQ(
      queue->addressVirtual(2, 1), reinterpret_cast<std::uint64_t>(pinmem.bytes("plugin.descriptor").data()) + 128);
   std::uint32_t synchronized = 0;
   Kro::GenericIf::ofNode(*entity).get(3, Kro::GenericIf::of(synchronized));
   EXPECT_EQ(synchronized, 4U);
}

TEST_F(Plugin, isToldApartByTheExactTypeOfASlot)
{
   manager->mount(description());

   std::uint64_t wide = 0;
   EXPECT_EQ(
      messageOf<Kro::TypeException>(
         [&] { Kro::GenericIf::ofNode(*manager->entify("plugin")).get(3, Kro::GenericIf::of(wide)); }),
      "a slot of type 'uint64' cannot be used as 'uint32'");
}

TEST_F(Plugin, exceptionsThatItLetsOutAreCaughtByTheirType)
{
   auto const collection = Orvo::make<Collection>(nullptr);
   collection->attributeIs(2, 8);

   EXPECT_EQ(
      messageOf<Kro::ReinstantiatingException>([&] { view().attributeIs(*collection); }),
      "Memory/Control/Collection attribute 2: size=4711 is asked for, but size=8 exists");
}

TEST_F(Plugin, typeNameThatTheCoreHasIsRefusedAndNothingIsRegistered)
{
   EXPECT_EQ(
      messageOf<Kro::ModuleException>([&] { view().registerWrongModule(); }),
      "module 'WrongPlugin' cannot be registered: type 'Quorvel::Core::Memory::Info::Mount' is registered already by "
      "module 'Mount'");
   EXPECT_EQ(Kro::findModule("WrongPlugin"), nullptr);
   EXPECT_EQ(&Kro::typeNode("Quorvel::Core::Memory::Info::Mount"), &Info::Mount::kroType);
}

} // namespace
