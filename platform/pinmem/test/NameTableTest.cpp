#include "src/Catalog.h"
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

using namespace pinmem_lib;

TEST(NameTable, findsNothingWhenEmpty)
{
   EXPECT_EQ(NameTable().find("a"), nullptr);
   EXPECT_EQ(NameTable().find(""), nullptr);
}

TEST(NameTable, tellsNamesApart)
{
   Entry one{.name = "ring.rx"};
   Entry other{.name = "ring.tx"};
   NameTable sut;
   sut.insert(one);

   EXPECT_EQ(sut.find("ring.rx"), &one);
   EXPECT_EQ(sut.find("ring.tx"), nullptr);
   EXPECT_EQ(sut.find("ring.r"), nullptr);

   sut.insert(other);
   EXPECT_EQ(sut.find("ring.rx"), &one);
   EXPECT_EQ(sut.find("ring.tx"), &other);
}

TEST(NameTable, findsNothingAfterClear)
{
   Entry entry{.name = "a"};
   NameTable sut;
   sut.insert(entry);

   sut.clear();
   EXPECT_EQ(sut.find("a"), nullptr);

   sut.insert(entry);
   EXPECT_EQ(sut.find("a"), &entry);
}

TEST(NameTable, findsWhatIsInItAfterEveryChange)
{
   std::vector<Entry> entries(200);
   for (std::size_t number = 0; number < entries.size(); ++number) {
      entries[number].name = "queue." + std::to_string(number);
   }
   std::vector<bool> isIn(entries.size());
   std::mt19937 random(1);
   NameTable sut;

   // First among few, so that the table is small and a gap wraps around its end.
   for (std::size_t const most : {8U, 16U, 200U, 8U}) {
      for (int round = 0; round < 1000; ++round) {
         std::size_t const number = random() % most;
         if (isIn[number]) {
            sut.erase(entries[number]);
         } else {
            sut.insert(entries[number]);
         }
         isIn[number] = !isIn[number];
         for (std::size_t index = 0; index < entries.size(); ++index) {
            ASSERT_EQ(sut.find(entries[index].name), isIn[index] ? &entries[index] : nullptr) << index;
         }
      }
   }
}
