#include <TolSlab/Slab.h>

#include <cstring>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace {

constexpr int threadCount = 4;

template <class Function>
void runThreads(Function function)
{
   std::vector<std::thread> threads;
   for (int i = 0; i < threadCount; ++i) {
      threads.emplace_back(function, i);
   }
   for (auto& thread : threads) {
      thread.join();
   }
}

// By a static initialiser, when the process has one thread.
std::vector<void*> const madeBeforeMain = [] {
   std::vector<void*> made;
   for (int i = 0; i < 1000; ++i) {
      made.push_back(TolSlab::slabAlloc(160));
   }
   return made;
}();

} // namespace

TEST(SlabThreads, keepCountsAndContentsApart)
{
   constexpr std::size_t size = 96;

   runThreads([](int number) {
      std::vector<unsigned char*> objects;
      for (int round = 0; round < 20; ++round) {
         for (int i = 0; i < 1000; ++i) {
            objects.push_back(static_cast<unsigned char*>(TolSlab::slabAlloc(size)));
            std::memset(objects.back(), number, size);
         }
         for (auto* const object : objects) {
            ASSERT_EQ(object[0], number);
            ASSERT_EQ(object[size - 1], number);
            TolSlab::slabFreeOrStdFree(object, size);
         }
         objects.clear();
      }
   });

   EXPECT_EQ(TolSlab::slabCounters(size).live, 0u);
   EXPECT_LE(TolSlab::slabCounters(size).slabs, 2u);
}

TEST(SlabThreads, mayFreeWhatOthersAllocated)
{
   constexpr std::size_t size = 128;
   constexpr int perThread = 5000;
   std::mutex mutex;
   std::vector<int*> passedOn;

   runThreads([&](int number) {
      for (int i = 0; i < perThread; ++i) {
         auto* const object = static_cast<int*>(TolSlab::slabAlloc(size));
         *object = number;
         int* other = nullptr;
         {
            std::lock_guard const guard(mutex);
            passedOn.push_back(object);
            if (passedOn.size() > 100) {
               other = std::exchange(passedOn.front(), passedOn.back());
               passedOn.pop_back();
            }
         }
         if (other) {
            EXPECT_LT(*other, threadCount);
            TolSlab::slabFreeOrStdFree(other, size);
         }
      }
   });

   EXPECT_EQ(TolSlab::slabCounters(size).live, passedOn.size());
   for (auto* const object : passedOn) {
      TolSlab::slabFreeOrStdFree(object, size);
   }
   EXPECT_EQ(TolSlab::slabCounters(size).live, 0u);
}

TEST(SlabThreads, mayFreeWhatWasAllocatedBeforeTheFirstThread)
{
   runThreads([](int number) {
      for (auto i = static_cast<std::size_t>(number); i < madeBeforeMain.size(); i += threadCount) {
         TolSlab::slabFreeOrStdFree(madeBeforeMain[i], 160);
      }
   });

   EXPECT_EQ(TolSlab::slabCounters(160).live, 0u);
}

TEST(SlabThreads, countLargeObjectsExactly)
{
   auto const before = TolSlab::slabCounters(4096).live;

   runThreads([](int) {
      for (int i = 0; i < 1000; ++i) {
         TolSlab::slabFreeOrStdFree(TolSlab::slabAllocOrStdMalloc(4096), 4096);
      }
   });

   EXPECT_EQ(TolSlab::slabCounters(4096).live, before);
}
