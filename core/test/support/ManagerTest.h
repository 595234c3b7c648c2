#pragma once

#include "support/MemoryTest.h"
#include "support/TestMount.h"

#include <Quorvel/Core/Memory/Entity/Manager.h>

#include <Kro/Dir.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

namespace Quorvel::Core::Test {

/// A test of a manager named "m", which the registry does not know. No orphan may outlive a test.
class ManagerTest : public MemoryTest {
protected:
   void TearDown() override
   {
      sut.reset();
      Memory::Entity::Manager::orphanage()->infoDelAll();
      MemoryTest::TearDown();
   }

   /// @return the mount at that path, which is a TestMount
   Orvo::Ptr<TestMount> mounted(Orvo::String const& path) const
   {
      return Orvo::dynamicCast<TestMount>(sut->entify(path));
   }

   static std::vector<std::string> namesIn(Kro::Dir const& directory)
   {
      std::vector<std::string> names;
      for (auto const& entity : directory.entity()) {
         names.emplace_back(entity->name());
      }
      return names;
   }

   void fill(std::string const& block, std::byte value) const
   {
      auto const bytes = pinmem.bytes(block);
      std::fill(bytes.begin(), bytes.end(), value);
   }

   Orvo::Ptr<Memory::Entity::Manager> sut = Memory::Entity::managerFactory("m");
};

} // namespace Quorvel::Core::Test
