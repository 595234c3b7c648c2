// Makes the n-th allocation of memory for the library's own tables fail, for every n, and looks at what is left.
#include "test/support/DomainFixture.h"
#include "test/support/RefusalOf.h"
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <new>

namespace {

constinit long allocationsLeft = -1; ///< until one fails; negative: none does

void* allocated(std::size_t size)
{
   if (allocationsLeft == 0) {
      allocationsLeft = -1;
      throw std::bad_alloc();
   }
   allocationsLeft -= allocationsLeft > 0 ? 1 : 0;
   void* const memory = std::malloc(size);
   if (memory == nullptr) {
      throw std::bad_alloc();
   }
   return memory;
}

} // namespace

void* operator new(std::size_t size)
{
   return allocated(size);
}

void* operator new[](std::size_t size)
{
   return allocated(size);
}

void operator delete(void* memory) noexcept
{
   std::free(memory);
}

void operator delete[](void* memory) noexcept
{
   std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
   std::free(memory);
}

void operator delete[](void* memory, std::size_t) noexcept
{
   std::free(memory);
}

using namespace pinmem_lib;
using namespace pinmem_test;

namespace {

class NoMemoryTest : public DomainFixture {
protected:
   /// Whether `action` was stopped by its n-th allocation.
   static bool isStopped(long number, std::function<void()> const& action)
   {
      bool isStopped = false;
      allocationsLeft = number;
      try {
         action();
      } catch (std::bad_alloc const&) {
         isStopped = true;
      }
      isStopped = isStopped || (number >= 0 && allocationsLeft < 0);
      allocationsLeft = -1;
      return isStopped;
   }

   /// The process goes on: it makes all blocks, and each has bytes of its own that another process finds.
   void expectWhole(Domain& sut, long number) const
   {
      char const* const names[] = {"small", "grown", "large", "another", "one more"};
      for (char const* const name : names) {
         sut.allocate(name, std::strcmp(name, "large") == 0 ? 1 << 20 : 8192, "", 4);
         std::strcpy(memoryOf(sut, name), name);
      }
      for (char const* const name : names) {
         ASSERT_STREQ(memoryOf(sut, name), name) << number;
      }
      auto const other = open();
      ASSERT_EQ(other->faults(), std::vector<std::string>()) << number;
      ASSERT_EQ(other->records().size(), std::size(names)) << number;
      for (char const* const name : names) {
         ASSERT_STREQ(memoryOf(*other, name), name) << number;
         ASSERT_EQ(other->allocate(name, 1, "", 0), sut.allocate(name, 1, "", 0)) << number;
      }
   }
};

} // namespace

TEST_F(NoMemoryTest, newBlocksAreMadeWholeOrNotAtAllWhicheverAllocationFails)
{
   bool hasFailed = true;
   for (long number = 0; hasFailed; ++number) {
      std::filesystem::remove_all(control_);
      open()->allocate("small", 8192, "", 4);
      auto const sut = open();

      hasFailed = isStopped(number, [&] {
         sut->allocate("another", 8192, "", 4);
         sut->allocate("large", 1 << 20, "", 4);
         sut->allocate("grown", 8192, "", 4);
      });

      expectWhole(*sut, number);
      ASSERT_FALSE(HasFailure()) << number;
   }
}

TEST_F(NoMemoryTest, aChangedIndexIsReadWholeOrAgainWhicheverAllocationFails)
{
   bool hasFailed = true;
   for (long number = 0; hasFailed; ++number) {
      std::filesystem::remove_all(control_);
      open()->allocate("freed", 100, "", 0);
      auto const sut = open();
      sut->allocate("small", 8192, "", 4);
      std::uint64_t const small = sut->map("small");
      {
         auto const other = open();
         other->allocate("another", 8192, "", 4);
         other->allocate("large", 1 << 20, "", 4);
         other->free("freed");
      }

      hasFailed = isStopped(number, [&] { sut->allocate("grown", 8192, "", 4); });

      ASSERT_EQ(refusalOf([&] { sut->unmap("small", small); }), "") << number;

      expectWhole(*sut, number);
      ASSERT_FALSE(HasFailure()) << number;
   }
}

TEST_F(NoMemoryTest, blocksThatComeBackLargerAreMadeWholeOrNotAtAllWhicheverAllocationFails)
{
   bool hasFailed = true;
   for (long number = 0; hasFailed; ++number) {
      std::filesystem::remove_all(control_);
      {
         auto const first = open();
         first->allocate("grown", 100, "", 0);
         first->allocate("another", 100, "", 0);
      }
      Index::open(Directory::open(control_, Directory::Trust::guarded)).bootIdIs("another boot");
      auto const sut = open();

      hasFailed = isStopped(number, [&] {
         sut->allocate("grown", 8192, "", 4);
         sut->allocate("another", 8192, "", 4);
      });

      expectWhole(*sut, number);
      ASSERT_FALSE(HasFailure()) << number;
   }
}
