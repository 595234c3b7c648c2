#pragma once

#include "support/MemoryTest.h"

#include <Quorvel/Core/Memory/Control/Detail/Attribute.h>

#include <cstdint>

namespace Quorvel::Core::Test {

/// A test of an attribute: field 5, of 16 bytes.
class AttributeFixture : public MemoryTest {
protected:
   using Attribute = Memory::Control::Detail::Attribute;
   using Chunk = Memory::Control::Detail::Chunk;
   using Group = Memory::Control::Detail::Group;

   static Orvo::Ptr<Group> groupOf(std::uint32_t id, std::uint32_t head, std::uint32_t size)
   {
      return Orvo::make<Group>(id, head, size);
   }

   static Orvo::Ptr<Chunk> chunkOf(Orvo::String const& name) { return store().chunkIs(name, 4096, false); }

   /// Gives the attribute a group and a chunk for it, "chunk <id>".
   static void add(Attribute& sut, std::uint32_t id, std::uint32_t head, std::uint32_t size)
   {
      sut.groupIs(groupOf(id, head, size));
      sut.chunkIs(id, chunkOf(Orvo::join("chunk ", id)));
   }

   Orvo::Ptr<Attribute> sut = Orvo::make<Attribute>(5, 16U);

   void TearDown() override
   {
      sut.reset();
      MemoryTest::TearDown();
   }
};

} // namespace Quorvel::Core::Test
