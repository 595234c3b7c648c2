#include "../src/SlabSource.h"

#include "../src/AddressSanitizer.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <set>
#include <vector>

#include <gtest/gtest.h>

#include <sys/mman.h>
#include <sys/resource.h>

using TolSlab::Detail::giveSlabMemory;
using TolSlab::Detail::slabOf;
using TolSlab::Detail::slabSize;
using TolSlab::Detail::takeSlabMemory;

namespace {

constexpr std::size_t keptAtMost = 16;

std::vector<void*> takeMany(std::size_t count)
{
   std::vector<void*> slabs;
   for (std::size_t i = 0; i < count; ++i) {
      slabs.push_back(takeSlabMemory());
   }
   return slabs;
}

bool isMapped(void* slab)
{
   return msync(slab, slabSize, MS_ASYNC) == 0;
}

// While it lives the system gives the process no more memory.
class NoMoreMemory {
public:
   NoMoreMemory()
   {
      getrlimit(RLIMIT_AS, &before_);
      rlimit none = before_;
      none.rlim_cur = 0;
      setrlimit(RLIMIT_AS, &none);
   }

   NoMoreMemory(NoMoreMemory const&) = delete;
   NoMoreMemory& operator=(NoMoreMemory const&) = delete;

   ~NoMoreMemory() { setrlimit(RLIMIT_AS, &before_); }

private:
   rlimit before_{};
};

} // namespace

TEST(SlabSource, findsTheSlabOfItsFirstAndLastByte)
{
   auto* const slab = static_cast<std::byte*>(takeSlabMemory());

   EXPECT_EQ(slabOf(slab), slab);
   EXPECT_EQ(slabOf(slab + 1), slab);
   EXPECT_EQ(slabOf(slab + slabSize - 1), slab);
   EXPECT_EQ(slabOf(slab + slabSize), slab + slabSize);
   giveSlabMemory(slab);
}

TEST(SlabSource, givesAlignedBlocksThatDoNotOverlap)
{
   auto const slabs = takeMany(50);

   EXPECT_EQ(std::set<void*>(slabs.begin(), slabs.end()).size(), slabs.size());
   for (auto* const slab : slabs) {
      ASSERT_EQ(slabOf(slab), slab);
      std::memset(slab, 0x5a, slabSize);
      giveSlabMemory(slab);
   }
}

TEST(SlabSource, givesBlocksAlignedAlsoWhenTheSystemDoesNot)
{
   std::vector<void*> slabs;
   std::vector<void*> disturbers;
   for (int i = 0; i < 40; ++i) { // a page in between, so that the next mapping starts somewhere else
      disturbers.push_back(mmap(nullptr, 4096, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
      slabs.push_back(takeSlabMemory());
   }

   for (auto* const slab : slabs) {
      EXPECT_EQ(slabOf(slab), slab);
      std::memset(slab, 0x5a, slabSize);
      giveSlabMemory(slab);
   }
   for (auto* const page : disturbers) {
      EXPECT_EQ(munmap(page, 4096), 0) << "no slab took it away";
   }
}

TEST(SlabSource, givesTheBlockThatCameBackLast)
{
   auto const slabs = takeMany(2);
   giveSlabMemory(slabs[0]);
   giveSlabMemory(slabs[1]);

   EXPECT_EQ(takeSlabMemory(), slabs[1]);
   EXPECT_EQ(takeSlabMemory(), slabs[0]);
   giveSlabMemory(slabs[0]);
   giveSlabMemory(slabs[1]);
}

TEST(SlabSource, keepsAFewBlocksAndGivesTheOthersToTheSystem)
{
   auto const slabs = takeMany(keptAtMost + 20); // more than it has kept
   for (std::size_t i = 0; i < keptAtMost; ++i) {
      giveSlabMemory(slabs[i]);
   }
   EXPECT_EQ(std::count_if(slabs.begin(), slabs.begin() + keptAtMost, isMapped), keptAtMost);

   giveSlabMemory(slabs[keptAtMost]);
   EXPECT_FALSE(isMapped(slabs[keptAtMost]));

   std::for_each(slabs.begin() + keptAtMost + 1, slabs.end(), giveSlabMemory);
   EXPECT_EQ(std::count_if(slabs.begin(), slabs.end(), isMapped), keptAtMost);
}

TEST(SlabSource, throwsWhenTheSystemHasNoMemoryAndServesAgainLater)
{
   if (TolSlab::Detail::isMemoryPoisoned) {
      GTEST_SKIP() << "the address sanitizer needs memory of the system for every exception";
   }
   auto slabs = takeMany(keptAtMost + 1); // none is kept any more
   {
      NoMoreMemory const noMoreMemory;
      EXPECT_THROW(takeSlabMemory(), std::bad_alloc);
      giveSlabMemory(slabs.back());
      EXPECT_EQ(takeSlabMemory(), slabs.back()) << "needs nothing of the system";
      EXPECT_THROW(takeSlabMemory(), std::bad_alloc);
   }

   slabs.push_back(takeSlabMemory());

   EXPECT_EQ(slabOf(slabs.back()), slabs.back());
   std::for_each(slabs.begin(), slabs.end(), giveSlabMemory);
}
