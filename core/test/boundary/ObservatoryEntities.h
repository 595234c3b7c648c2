#pragma once

#include "boundary/Observatory.h"

#include <Kro/Dir.h>

#include <gtest/gtest.h>

#include <string>

namespace Quorvel::Core::Test {

/// Tests that make the plugin's entities in the directory /dome. At the end of each there must be none left.
class ObservatoryEntities : public testing::Test {
protected:
   /// Made in the tree, under /dome.
   Kro::GenericIf make(char const* typeName, char const* name)
   {
      return Kro::GenericIf::ofNode(*dome->createEntity(Observatory::type(typeName).name, name));
   }

   static std::string living() { return Observatory::textOf(Observatory::type("Instrument").genericIf(), 268); }

   void TearDown() override
   {
      Kro::globalDir()->deleteEntity("dome");
      dome.reset();
      EXPECT_EQ(living(), "0");
   }

   Orvo::Ptr<Kro::Dir> dome = Orvo::dynamicCast<Kro::Dir>(Kro::globalDir()->createEntity("Kro::Dir", "dome"));
};

} // namespace Quorvel::Core::Test
