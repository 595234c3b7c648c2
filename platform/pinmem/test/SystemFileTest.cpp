#include "src/SystemFile.h"
#include "test/support/TemporaryDirectory.h"
#include <fstream>
#include <gtest/gtest.h>

using namespace pinmem_lib;
using namespace pinmem_test;

TEST(SystemFile, textIsWholeWhateverItsLength)
{
   TemporaryDirectory const place;
   for (std::size_t const size : {0U, 1U, 4096U, 10000U}) {
      std::ofstream(place / "a") << std::string(size, 'x');

      EXPECT_EQ(textOfFile(place / "a"), std::string(size, 'x'));
   }
   EXPECT_EQ(textOfFile(place / "none"), std::nullopt);
   EXPECT_EQ(textOfFile(place.path()), std::nullopt);
}

TEST(SystemFile, aNumberIsWhatTheTextStartsWith)
{
   TemporaryDirectory const place;
   std::ofstream(place / "a") << "512\n";
   std::ofstream(place / "b") << "many\n";

   EXPECT_EQ(numberInFile(place / "a"), 512U);
   EXPECT_EQ(numberInFile(place / "b"), std::nullopt);
   EXPECT_EQ(numberInFile(place / "none"), std::nullopt);
}

TEST(SystemFile, namesAreSortedAndWithoutHiddenOnes)
{
   TemporaryDirectory const place;
   for (char const* const name : {"b", "a", ".hidden"}) {
      std::ofstream(place / name) << "";
   }

   EXPECT_EQ(namesIn(place.path()), (std::vector<std::string>{"a", "b"}));
   EXPECT_TRUE(namesIn(place / "none").empty());
}
