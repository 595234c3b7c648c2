#include <TolSlab/Slab.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <random>
#include <set>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

// Under a sanitizer malloc ends the process instead of returning null, unless it is told not to.
extern "C" char const* __asan_default_options();
extern "C" char const* __tsan_default_options();

extern "C" char const* __asan_default_options()
{
   return "allocator_may_return_null=1";
}

extern "C" char const* __tsan_default_options()
{
   return "allocator_may_return_null=1";
}

namespace {

// Each test has a size class of its own, so that its counters start untouched by the others.
constexpr std::size_t slabBytes = 64 * 1024;

std::size_t liveCount(std::size_t size)
{
   return TolSlab::slabCounters(size).live;
}

std::vector<void*> allocateMany(std::size_t count, std::size_t size)
{
   std::vector<void*> objects;
   for (std::size_t i = 0; i < count; ++i) {
      objects.push_back(TolSlab::slabAllocOrStdMalloc(size));
   }
   return objects;
}

void freeAll(std::vector<void*> const& objects, std::size_t size)
{
   for (auto* const object : objects) {
      TolSlab::slabFreeOrStdFree(object, size);
   }
}

// Runs before `main`, and its destructor after it: both must find the allocator in order.
struct UserOutsideMain {
   UserOutsideMain() { std::memset(memory, 1, 1000); }

   ~UserOutsideMain() { TolSlab::slabFreeOrStdFree(memory, 1000); }

   void* memory = TolSlab::slabAllocOrStdMalloc(1000);
};

UserOutsideMain userOutsideMain;

} // namespace

TEST(Slab, servesStaticInitialisers)
{
   EXPECT_NE(userOutsideMain.memory, nullptr);
   EXPECT_EQ(liveCount(1000), 1u);
}

TEST(Slab, alignsEverySizeToSixteenBytesAndOverlapsNothing)
{
   std::vector<std::pair<unsigned char*, std::size_t>> objects;
   for (std::size_t size = 0; size <= 1100; ++size) {
      auto* const object = static_cast<unsigned char*>(TolSlab::slabAlloc(size));
      EXPECT_EQ(reinterpret_cast<std::uintptr_t>(object) % 16, 0u) << size;
      std::memset(object, static_cast<int>(size % 251), size);
      objects.emplace_back(object, size);
   }

   for (auto const& [object, size] : objects) {
      for (std::size_t i = 0; i < size; ++i) {
         ASSERT_EQ(object[i], size % 251) << "size " << size << " at " << i;
      }
      TolSlab::slabFreeOrStdFree(object, size);
   }
}

TEST(Slab, givesDistinctAddressesForSizeZero)
{
   void* const first = TolSlab::slabAlloc(0);
   void* const second = TolSlab::slabAlloc(0);

   EXPECT_NE(first, nullptr);
   EXPECT_NE(first, second);

   TolSlab::slabFreeOrStdFree(first, 0);
   TolSlab::slabFreeOrStdFree(second, 0);
}

TEST(Slab, freesNullAsNothing)
{
   auto const before = TolSlab::slabCountersTotal().live;

   TolSlab::slabFree(nullptr, TolSlab::TypeInfo{32, "none"});
   TolSlab::slabFreeOrStdFree(nullptr, 32);
   TolSlab::slabFreeOrStdFree(nullptr, 100'000);

   EXPECT_EQ(TolSlab::slabCountersTotal().live, before);
}

TEST(Slab, countsTheObjectsOfATypeInItsSizeClass)
{
   static constinit TolSlab::TypeInfo const type{250, "Witness"};

   void* const object = TolSlab::slabAlloc(type);

   EXPECT_EQ(liveCount(250), 1u);
   EXPECT_EQ(liveCount(256), 1u) << "the same class";
   EXPECT_EQ(liveCount(257), 0u) << "the next class";
   TolSlab::slabFree(object, type);
   EXPECT_EQ(liveCount(250), 0u);
}

TEST(Slab, reusesAFreedObjectFirst)
{
   void* const first = TolSlab::slabAlloc(300);
   TolSlab::slabFreeOrStdFree(first, 300);

   void* const second = TolSlab::slabAlloc(300);

   EXPECT_EQ(second, first);
   TolSlab::slabFreeOrStdFree(second, 300);
}

TEST(Slab, takesTheLargestSlabSizeFromASlabAndOneMoreFromTheStandardAllocator)
{
   auto const largeBefore = TolSlab::slabCounters(1025);

   void* const largest = TolSlab::slabAlloc(1024);
   void* const larger = TolSlab::slabAlloc(1025);

   EXPECT_EQ(TolSlab::slabCounters(1024).live, 1u);
   EXPECT_EQ(TolSlab::slabCounters(1024).slabs, 1u);
   EXPECT_EQ(TolSlab::slabCounters(1025).live, largeBefore.live + 1);
   EXPECT_EQ(TolSlab::slabCounters(1025).slabs, 0u);
   TolSlab::slabFreeOrStdFree(largest, 1024);
   TolSlab::slabFreeOrStdFree(larger, 1025);
   EXPECT_EQ(TolSlab::slabCounters(1025).live, largeBefore.live);
}

TEST(Slab, refusesWhatNoMachineHasAndChangesNothing)
{
   auto const before = TolSlab::slabCountersTotal().live;
   auto const isRefused = [](std::size_t size) {
      try {
         TolSlab::slabFreeOrStdFree(TolSlab::slabAllocOrStdMalloc(size), size);
         return false;
      } catch (std::bad_alloc const&) {
         return true;
      }
   };

   EXPECT_TRUE(isRefused(std::numeric_limits<std::size_t>::max() / 2));
   EXPECT_TRUE(isRefused(std::numeric_limits<std::size_t>::max() - 15)) << "rounding up would wrap";
   EXPECT_FALSE(isRefused(1));
   EXPECT_EQ(TolSlab::slabCountersTotal().live, before);
}

TEST(Slab, takesOneMoreSlabWhenOneIsExactlyFull)
{
   constexpr std::size_t size = 512;
   constexpr std::size_t perSlab = (slabBytes - 64) / size;
   auto objects = allocateMany(perSlab, size);
   EXPECT_EQ(TolSlab::slabCounters(size).slabs, 1u);

   objects.push_back(TolSlab::slabAlloc(size));

   EXPECT_EQ(TolSlab::slabCounters(size).slabs, 2u);
   EXPECT_EQ(liveCount(size), perSlab + 1);
   EXPECT_EQ(std::set<void*>(objects.begin(), objects.end()).size(), perSlab + 1);
   freeAll(objects, size);
   EXPECT_EQ(liveCount(size), 0u);
}

TEST(Slab, givesEmptySlabsBackButForTwo)
{
   constexpr std::size_t size = 640;
   auto const objects = allocateMany(5000, size);
   EXPECT_GE(TolSlab::slabCounters(size).slabs, 5000 * size / slabBytes);

   freeAll(objects, size);

   EXPECT_LE(TolSlab::slabCounters(size).slabs, 2u);
   EXPECT_EQ(liveCount(size), 0u);
}

TEST(Slab, fillsTheGapsOfOldSlabsBeforeItTakesANewOne)
{
   constexpr std::size_t size = 704;
   auto objects = allocateMany(1000, size);
   auto const slabs = TolSlab::slabCounters(size).slabs;
   for (std::size_t i = 0; i < objects.size(); i += 2) {
      TolSlab::slabFreeOrStdFree(objects[i], size);
   }
   EXPECT_EQ(liveCount(size), 500u);

   for (std::size_t i = 0; i < objects.size(); i += 2) {
      objects[i] = TolSlab::slabAlloc(size);
   }

   EXPECT_EQ(TolSlab::slabCounters(size).slabs, slabs);
   EXPECT_EQ(liveCount(size), 1000u);
   EXPECT_EQ(std::set<void*>(objects.begin(), objects.end()).size(), 1000u);
   freeAll(objects, size);
}

TEST(Slab, keepsContentsAndCountsThroughRandomChurn)
{
   constexpr std::size_t size = 768;
   std::mt19937 random(1);
   std::vector<std::pair<unsigned char*, unsigned char>> objects;
   std::size_t expected = 0;
   for (int i = 0; i < 50'000; ++i) {
      // Phases of growth and of shrinking, so that slabs fill up, get gaps and become empty.
      bool const isGrowing = (i / 5000) % 2 == 0;
      if (objects.empty() || random() % 100 < (isGrowing ? 70u : 30u)) {
         auto* const object = static_cast<unsigned char*>(TolSlab::slabAlloc(size));
         auto const mark = static_cast<unsigned char>(random());
         std::memset(object, mark, size);
         objects.emplace_back(object, mark);
         ++expected;
      } else {
         std::swap(objects[random() % objects.size()], objects.back());
         auto const [object, mark] = objects.back();
         objects.pop_back();
         ASSERT_EQ(object[0], mark);
         ASSERT_EQ(object[size - 1], mark);
         TolSlab::slabFreeOrStdFree(object, size);
         --expected;
      }
      if (i % 500 == 0) {
         ASSERT_EQ(liveCount(size), expected);
      }
   }
   for (auto const& [object, mark] : objects) {
      EXPECT_EQ(object[size - 1], mark);
      TolSlab::slabFreeOrStdFree(object, size);
   }
   EXPECT_EQ(liveCount(size), 0u);
   EXPECT_LE(TolSlab::slabCounters(size).slabs, 2u);
}

TEST(Slab, sumsAllClassesAndTheStandardAllocator)
{
   auto const before = TolSlab::slabCountersTotal().live;

   void* const small = TolSlab::slabAlloc(16);
   void* const large = TolSlab::slabAlloc(5000);

   EXPECT_EQ(TolSlab::slabCountersTotal().live, before + 2);
   TolSlab::slabFreeOrStdFree(small, 16);
   TolSlab::slabFreeOrStdFree(large, 5000);
   EXPECT_EQ(TolSlab::slabCountersTotal().live, before);
}

#if defined(__SANITIZE_ADDRESS__)
#define IS_ADDRESS_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define IS_ADDRESS_SANITIZED 1
#endif
#endif

#ifdef IS_ADDRESS_SANITIZED
TEST(SlabDeathTest, showsAUseAfterFreeToTheAddressSanitizer)
{
   auto* const object = static_cast<char volatile*>(TolSlab::slabAlloc(832));
   TolSlab::slabFreeOrStdFree(const_cast<char*>(object), 832);

   EXPECT_DEATH(object[8] = 1, "use-after-poison");
}
#endif
