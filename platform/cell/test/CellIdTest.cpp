#include <Cell/CellId.h>

#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>

// The identifier is read once for each process, so each test asks in a child of its own.

namespace {

[[noreturn]] void endWith(bool isAsExpected)
{
   std::_Exit(isAsExpected ? 0 : 1);
}

bool isRefused()
{
   try {
      Cell::cellId();
      return false;
   } catch (std::runtime_error const&) {
      return true;
   }
}

} // namespace

TEST(CellIdDeathTest, isTheNumberInTheEnvironment)
{
   auto const body = [] {
      ::setenv("CELL_ID", "4294967295", 1);
      endWith(Cell::cellId() == 4294967295u);
   };

   EXPECT_EXIT(body(), testing::ExitedWithCode(0), "");
}

TEST(CellIdDeathTest, isReadOnce)
{
   auto const body = [] {
      ::setenv("CELL_ID", "7", 1);
      auto const first = Cell::cellId();
      ::setenv("CELL_ID", "8", 1);
      std::uint32_t inThread = 0;
      std::thread([&] { inThread = Cell::cellId(); }).join();
      endWith(first == 7 && Cell::cellId() == 7 && inThread == 7);
   };

   EXPECT_EXIT(body(), testing::ExitedWithCode(0), "");
}

TEST(CellIdDeathTest, isLookedUpAgainAfterARefusal)
{
   auto const body = [] {
      ::setenv("CELL_ID", "seven", 1);
      bool const isRefusedTwice = isRefused() && isRefused();
      ::setenv("CELL_ID", "7", 1);
      endWith(isRefusedTwice && Cell::cellId() == 7);
   };

   EXPECT_EXIT(body(), testing::ExitedWithCode(0), "");
}
