// What unmounting leaves when there is no memory, told by a stand-in for the slab allocator. A program of its own.

#include "support/ManagerTest.h"

#include <TolSlab/Slab.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

constexpr int never = -1;
int allocationsToFailure = never;

} // namespace

void* TolSlab::slabAllocOrStdMalloc(std::size_t size)
{
   if (allocationsToFailure != never && allocationsToFailure-- == 0) {
      throw std::bad_alloc();
   }
   return std::malloc(size);
}

void TolSlab::slabFreeOrStdFree(void* object, std::size_t /*size*/) noexcept
{
   std::free(object);
}

namespace {

using Quorvel::Core::Memory::Entity::Manager;
using Quorvel::Core::Test::describeMount;

class EntityManagerMemory : public Quorvel::Core::Test::ManagerTest {
protected:
   /// @return whether there was memory for unmounting "a" when that allocation, counted from 0, fails
   bool unmountsWithout(int allocation) const
   {
      allocationsToFailure = allocation;
      try {
         sut->unmount("a");
      } catch (std::bad_alloc const&) {
         return false;
      }
      allocationsToFailure = never;
      return true;
   }
};

TEST_F(EntityManagerMemory, unmountWithoutMemoryChangesNothingAndGoesWellLater)
{
   sut->mount(describeMount("a", "r"));
   auto const orphanage = Manager::orphanage();

   int failures = 0;
   while (!unmountsWithout(failures)) {
      EXPECT_TRUE(sut->orphan().empty()) << "allocation " << failures;
      EXPECT_TRUE(orphanage->info().empty()) << "allocation " << failures;
      ++failures;
   }

   EXPECT_GE(failures, 2); // for the orphan and for its record
   EXPECT_EQ(sut->orphan().size(), 1U);
   EXPECT_EQ(orphanage->info().size(), 1U);
}

} // namespace
