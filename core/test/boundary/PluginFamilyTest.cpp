// A family of plugins that the real plugin library finds and loads: the types that they bring are mounted by name.

#include "support/MemoryTest.h"
#include "support/TemporaryDirectory.h"

#include <Quorvel/Core/Loader.h>
#include <Quorvel/Core/Memory/Control/Collection.h>
#include <Quorvel/Core/Memory/Entity/Manager.h>

#include <Kro/GenericIf.h>
#include <Kro/KroModule.h>
#include <Plugin/Result.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

namespace {

using Plugin::Result;
using Plugin::State;
using Quorvel::Core::Loader::Singleton;
using Quorvel::Core::Memory::Control::Collection;
using Quorvel::Core::Memory::Entity::Manager;
using Quorvel::Core::Test::TemporaryDirectory;

namespace Info = Quorvel::Core::Memory::Info;

class PluginFamily : public Quorvel::Core::Test::MemoryTest {
protected:
   PluginFamily() { loader.searchPath = folder.path(); }

   void TearDown() override
   {
      manager.reset();
      MemoryTest::TearDown();
   }

   /// Puts a plugin into the folder of a family.
   /// @return its path there
   std::string add(std::string const& family, std::string const& plugin) const
   {
      std::filesystem::create_directories(folder.path() + '/' + family);
      auto link = folder.path() + '/' + family + "/plugin.so";
      std::filesystem::create_symlink(plugin, link);
      return link;
   }

   static Info::Mount description()
   {
      Info::Collection collection("queue");
      collection.addGroup(0, 4);
      collection.addNameAttribute("descriptor");
      collection.createChunk(0, "descriptor", "family.descriptor", 512, false);
      Info::Mount mount("plugin", "PluginMount");
      mount.collectionIs(collection);
      return mount;
   }

   TemporaryDirectory const folder;
   Plugin::Loader<void> loader;
   Orvo::Ptr<Manager> manager = Quorvel::Core::Memory::Entity::managerFactory("boundary");
};

TEST_F(PluginFamily, bringsAMountTypeThatTheProgramMounts)
{
   auto const file = add("MountTypesPlugin/queues", TEST_PLUGIN);

   Singleton::load("MountTypes", "queues", &loader);
   manager->mount(description());

   EXPECT_EQ(
      Plugin::results("MountTypesPlugin/queues").front(), (Result{"MountTypesPlugin/queues", file, State::loaded, ""}));
   auto const entity = manager->entify("plugin");
   EXPECT_EQ(entity->fwkType().module, Kro::findModule("Plugin"));
   Orvo::Ptr<Collection> queue;
   EXPECT_EQ(Kro::GenericIf::ofNode(*entity).get(2, Kro::GenericIf::of(queue)), Kro::success);
   EXPECT_EQ(queue->addressBus(2, 3), pinmem.addressBus("family.descriptor") + 384);
}

TEST_F(PluginFamily, whoseEntryPointIsRefusedItsModuleIsReported)
{
   auto const file = add("RefusedPlugin", LATE_PLUGIN);

   Singleton::load("Refused", "", &loader);

   EXPECT_EQ(
      Plugin::results("RefusedPlugin").front(), (Result{
                                                   "RefusedPlugin", file, State::failed,
                                                   "its entry point has thrown: module 'LatePlugin' cannot be "
                                                   "registered: type 'Kro::Dir' is registered already by "
                                                   "module 'Kro'"}));
   EXPECT_EQ(Kro::findModule("LatePlugin"), nullptr);
}

TEST_F(PluginFamily, isNotLookedForAgainWhenItHadNoPlugin)
{
   Singleton::load("Nobody", "", &loader);
   auto const before = Plugin::results("NobodyPlugin");
   add("NobodyPlugin", TEST_PLUGIN);

   Singleton::load("Nobody", "", &loader);

   EXPECT_EQ(Plugin::results("NobodyPlugin"), before);
   EXPECT_EQ(
      before.front(),
      (Result{"NobodyPlugin", folder.path() + "/NobodyPlugin", State::missing, "No such file or directory"}));
}

} // namespace
