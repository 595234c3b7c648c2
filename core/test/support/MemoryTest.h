#pragma once

#include "support/PinmemRecorder.h"

#include <Quorvel/Core/Memory/Control/Detail/StoreChunk.h>

#include <Kro/Dir.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace Quorvel::Core::Test {

/// A test that uses chunks, over the recording pinned-memory library. At its end the entity tree and the chunk store are
/// emptied, and each block must have been unmapped as often as it was mapped.
class MemoryTest : public testing::Test {
protected:
   MemoryTest() { pinmem.reset(); }

   void TearDown() override
   {
      empty(*Kro::globalDir());
      store().chunkDelAll();
      EXPECT_THAT(pinmem.stillMapped(), testing::IsEmpty());
      EXPECT_THAT(pinmem.mistakes(), testing::IsEmpty());
   }

   static Memory::Control::Detail::StoreChunk& store() { return *Memory::Control::Detail::StoreChunk::instance(); }

   PinmemRecorder& pinmem = PinmemRecorder::instance();

private:
   static void empty(Kro::Dir& directory)
   {
      for (auto at = directory.entity().begin(); at != directory.entity().end(); ++at) {
         auto const entity = *at;
         if (auto* const below = dynamic_cast<Kro::Dir*>(entity.get())) {
            empty(*below);
         }
         directory.deleteEntity(entity->name());
      }
   }
};

} // namespace Quorvel::Core::Test
