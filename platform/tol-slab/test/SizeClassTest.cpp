#include "../src/SizeClass.h"

#include <cstdint>
#include <cstring>
#include <set>
#include <vector>

#include <gtest/gtest.h>

using TolSlab::Detail::SizeClass;
using TolSlab::Detail::slabOf;
using TolSlab::Detail::slabSize;

namespace {

constexpr std::size_t size = 1008; // does not divide the slab
constexpr std::size_t perSlab = (slabSize - sizeof(TolSlab::Detail::Slab)) / size;

class SizeClassTest : public testing::Test {
protected:
   ~SizeClassTest() override { EXPECT_EQ(live(), 0u) << "the test frees what it allocates"; }

   void* allocate() { return sut.allocate(size); }

   std::vector<void*> allocateMany(std::size_t count)
   {
      std::vector<void*> objects;
      for (std::size_t i = 0; i < count; ++i) {
         objects.push_back(allocate());
      }
      return objects;
   }

   void free(void* object) { sut.free(object, size); }

   void freeAll(std::vector<void*> const& objects)
   {
      for (auto* const object : objects) {
         free(object);
      }
   }

   std::size_t live() const { return sut.counters(size).live; }

   std::size_t slabs() const { return sut.counters(size).slabs; }

   SizeClass sut;
};

} // namespace

TEST_F(SizeClassTest, hasNoSlabBeforeTheFirstObject)
{
   EXPECT_EQ(live(), 0u);
   EXPECT_EQ(slabs(), 0u);
}

TEST_F(SizeClassTest, keepsTheSlabOfItsOnlyObject)
{
   void* const object = allocate();
   EXPECT_EQ(live(), 1u);
   EXPECT_EQ(slabs(), 1u);

   free(object);

   EXPECT_EQ(live(), 0u);
   EXPECT_EQ(slabs(), 1u);
}

TEST_F(SizeClassTest, givesTheObjectThatWasFreedLastOnceAndThenAnother)
{
   void* const freed = allocate();
   free(freed);

   void* const first = allocate();
   void* const second = allocate();

   EXPECT_EQ(first, freed);
   EXPECT_NE(second, freed);
   freeAll({first, second});
}

TEST_F(SizeClassTest, putsObjectsBesideEachOtherBehindTheHeaderAndInsideTheSlab)
{
   auto const objects = allocateMany(perSlab);

   auto* const slab = slabOf(objects.front());
   EXPECT_EQ(objects.front(), slab + sizeof(TolSlab::Detail::Slab));
   for (std::size_t i = 0; i < perSlab; ++i) {
      ASSERT_EQ(objects[i], static_cast<std::byte*>(objects.front()) + i * size);
      std::memset(objects[i], 0xff, size);
   }
   EXPECT_LE(static_cast<std::byte*>(objects.back()) + size, slab + slabSize);
   EXPECT_EQ(live(), perSlab) << "the header is untouched";
   EXPECT_EQ(slabs(), 1u);
   freeAll(objects);
}

TEST_F(SizeClassTest, takesASecondSlabForOneMoreThanFits)
{
   auto const objects = allocateMany(perSlab + 1);

   EXPECT_EQ(live(), perSlab + 1);
   EXPECT_EQ(slabs(), 2u);
   EXPECT_NE(slabOf(objects.back()), slabOf(objects.front()));
   freeAll(objects);
}

TEST_F(SizeClassTest, fillsAGapInAFullSlabBeforeItTakesANewOne)
{
   auto objects = allocateMany(2 * perSlab); // both slabs are full
   std::set<void*> const gaps{objects[0], objects[1], objects[2]};
   for (auto* const object : gaps) {
      free(object);
   }
   EXPECT_EQ(live(), 2 * perSlab - 3);

   std::set<void*> const filled{allocate(), allocate(), allocate()};

   EXPECT_EQ(filled, gaps);
   EXPECT_EQ(slabs(), 2u);
   freeAll(objects);
}

TEST_F(SizeClassTest, givesBackASlabWhenItsLastObjectGoes)
{
   auto const first = allocateMany(perSlab);
   auto const second = allocateMany(perSlab);
   auto const third = allocateMany(1);
   EXPECT_EQ(slabs(), 3u);

   freeAll(first); // one of its objects is kept at hand, and with it the slab
   EXPECT_EQ(slabs(), 3u);
   freeAll(second);

   EXPECT_EQ(slabs(), 2u);
   EXPECT_EQ(live(), 1u);
   freeAll(third);
}

TEST_F(SizeClassTest, givesBackSlabsFromTheMiddleAndTheEndsOfItsList)
{
   std::vector<std::vector<void*>> full;
   for (int i = 0; i < 5; ++i) {
      full.push_back(allocateMany(perSlab));
   }
   auto const current = allocateMany(1);
   free(full[4].back()); // the one that is kept at hand
   full[4].pop_back();
   for (auto& objects : full) { // now all five have a gap and stand in the list, the last one first
      free(objects.back());
      objects.pop_back();
   }

   freeAll(full[2]);
   EXPECT_EQ(slabs(), 5u);
   freeAll(full[0]);
   EXPECT_EQ(slabs(), 4u);
   freeAll(full[3]);
   EXPECT_EQ(slabs(), 3u);
   freeAll(full[1]);
   EXPECT_EQ(slabs(), 2u);

   EXPECT_EQ(live(), perSlab - 2 + 1);
   freeAll(full[4]);
   freeAll(current);
}
