#include <Quorvel/Core/Memory/Control/Detail/Attribute.h>
#include <Quorvel/Core/Memory/Control/Detail/ExtentIndex.h>

#include "support/FailingNew.h"
#include "support/MemoryTest.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <new>
#include <random>
#include <vector>

namespace {

using Quorvel::Core::Memory::Control::Detail::Attribute;
using Quorvel::Core::Memory::Control::Detail::Chunk;
using Quorvel::Core::Memory::Control::Detail::Extent;
using Quorvel::Core::Memory::Control::Detail::ExtentIndex;
using Quorvel::Core::Memory::Control::Detail::Group;
using Quorvel::Core::Test::FailingNew;
using Quorvel::Core::Test::MemoryTest;

/// Extents that come in any order, of one size or not, of which some go again.
struct Changes {
   explicit Changes(unsigned seed) : random(seed), isRegular(seed % 2 == 0), isAscending(seed % 3 == 0) {}

   Extent next()
   {
      auto const id = isAscending ? step++ : static_cast<std::uint32_t>(random() % 400);
      return {id * 10, id * 10 + (isRegular ? 10 : 1 + id * 7 % 10), nullptr};
   }

   std::mt19937 random;
   bool isRegular;
   bool isAscending;
   std::uint32_t step = 0;
};

TEST(ExtentIndexWithoutMemory, insertThatThrowsChangesNothing)
{
   std::size_t failures = 0;
   for (unsigned seed = 0; seed < 60; ++seed) {
      Changes changes(seed);
      ExtentIndex sut;
      std::map<std::uint32_t, Extent> model;
      for (unsigned step = 0; step < 300; ++step) {
         auto const extent = changes.next();
         if (changes.random() % 4 == 0 && !model.empty()) {
            FailingNew const failing(changes.random() % 2, 2);
            auto const gone = model.begin()->first;
            sut.erase(gone);
            model.erase(gone);
         } else if (!model.contains(extent.begin)) {
            bool isAdded = false;
            try {
               FailingNew const failing(changes.random() % 3, changes.random() % 3);
               isAdded = sut.insert(extent);
               ASSERT_TRUE(isAdded);
            } catch (std::bad_alloc const&) {
               ++failures;
            }
            if (isAdded) {
               model.emplace(extent.begin, extent);
            }
         }
         for (std::uint32_t entry = 0; entry < 4010; entry += 10) {
            auto const* found = sut.find(entry);
            ASSERT_EQ(found != nullptr, model.contains(entry)) << "seed " << seed << ", step " << step << ", " << entry;
            ASSERT_TRUE(found == nullptr || found->begin == entry);
         }
      }
   }
   EXPECT_GT(failures, 200U);
}

class ControlAttributeWithoutMemory : public MemoryTest {
protected:
   void TearDown() override
   {
      chunk = nullptr;
      MemoryTest::TearDown();
   }

   /// Changes the attribute while every allocation of its index may fail.
   /// @return how many did
   std::size_t change(Attribute& sut, Changes& changes)
   {
      auto const extent = changes.next();
      auto const id = extent.begin / 10;
      auto const group = Orvo::make<Group>(id, extent.begin, extent.end - extent.begin);
      FailingNew const failing(changes.random() % 3, changes.random() % 20);
      if (changes.random() % 4 == 0) {
         sut.chunkDel(id);
      } else {
         sut.groupIs(group);
         sut.chunkIs(id, chunk);
      }
      return FailingNew::failures();
   }

   Orvo::Ptr<Chunk> chunk = store().chunkIs("chunk", 64, false);
};

TEST_F(ControlAttributeWithoutMemory, looksUpWhatTheRuleSays)
{
   std::size_t failures = 0;
   for (unsigned seed = 0; seed < 60; ++seed) {
      Changes changes(seed);
      Attribute sut(1, 4);
      for (unsigned step = 0; step < 300; ++step) {
         failures += change(sut, changes);

         for (unsigned lookup = 0; lookup < 8; ++lookup) {
            auto const* group = sut.group(static_cast<std::uint32_t>(changes.random() % 400));
            if (group != nullptr && sut.chunk(group->id()) != nullptr) {
               auto const last = group->head() + group->size() - 1;
               ASSERT_EQ(sut.obtainChunkAndOffset(last, nullptr).second, (group->size() - 1) * 4) << "seed " << seed;
               ASSERT_EQ(sut.nextStretch(last)->count, 1U) << "seed " << seed;
            }
         }
      }
   }
   EXPECT_GT(failures, 500U);
}

/// Sets the chunk of a key while there is no memory for an index.
/// @return whether the index asked for some
bool asksForMemory(Attribute& sut, std::uint32_t key, Orvo::Ptr<Chunk> const& chunk)
{
   FailingNew const failing(0, 1);
   sut.chunkIs(key, chunk);
   return FailingNew::failures() > 0;
}

TEST_F(ControlAttributeWithoutMemory, triesAgainAtTheNextChangeAndThenMoreAndMoreSeldom)
{
   Attribute sut(1, 4);
   Orvo::Ptr<Chunk> const chunks[] = {chunk, store().chunkIs("other chunk", 64, false)};
   std::uint32_t id = 0;
   for (bool isRefused = false; !isRefused; ++id) {
      sut.groupIs(Orvo::make<Group>(id, id * 10, 10U));
      if (id < 100) {
         sut.chunkIs(id, chunk);
      } else {
         isRefused = asksForMemory(sut, id, chunk);
      }
   }

   std::vector<bool> asks;
   for (unsigned change = 1; change <= 15; ++change) {
      asks.push_back(asksForMemory(sut, 0, chunks[change % 2]));
   }

   EXPECT_THAT(asks, testing::ElementsAre(1, 0, 1, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 1));
}

} // namespace
