#pragma once

#include "support/MemoryTest.h"

#include <Quorvel/Core/Memory/Control/Collection.h>

#include <cstdint>

namespace Quorvel::Core::Test {

/// A test of live collections.
class CollectionFixture : public MemoryTest {
protected:
   using Collection = Memory::Control::Collection;

   static Orvo::Ptr<Collection> make(Memory::Control::Offsetter offsetter = nullptr)
   {
      return Orvo::make<Collection>(offsetter);
   }

   /// Puts a field of `size` bytes of a group's entries into the chunk of that name.
   static void join(
      Collection& sut, std::int32_t attribute, std::uint32_t size,
      Orvo::Ptr<Memory::Control::Detail::Group> const& group, Orvo::String const& chunk, bool isIncapableDma = false)
   {
      auto const field = sut.attributeIs(attribute, size);
      field->groupIs(group);
      field->chunkIs(group->id(), store().chunkIs(chunk, 4096, isIncapableDma));
   }
};

} // namespace Quorvel::Core::Test
