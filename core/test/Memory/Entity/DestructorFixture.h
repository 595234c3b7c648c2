#pragma once

#include "support/ManagerTest.h"

#include <Quorvel/Core/Memory/Entity/Manager.h>

namespace Quorvel::Core::Test {

/// A test of cleaning up after the registry's manager "d", since that is the one to which cleaning up turns.
class DestructorFixture : public ManagerTest {
protected:
   using Manager = Memory::Entity::Manager;
   using Orphanage = Memory::Entity::Detail::Orphanage;

   DestructorFixture()
   {
      manager->initialize(); // an earlier test may have taken its directory out of the tree
      manager->infoMountDelAll();
      manager->orphanDelAll();
   }

   Kro::Entity* unmounted(Orvo::String const& path) const
   {
      manager->unmount(path);
      return manager->entify(path).get();
   }

   Orvo::Ptr<Manager> manager = Manager::instantiate("d");
   Orvo::Ptr<Orphanage> orphanage = Manager::orphanage();
};

} // namespace Quorvel::Core::Test
