#include <Cell/CellId.h>

#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

// The identifier is read once for each process, so each test asks in a child of its own. Stand-ins for two of the system's
// functions show what a test cannot make: the machine's own file, and a program with more rights than its user.

namespace {

char const* machinesFile = nullptr; // is opened instead of the machine's; null: that itself
bool hasMoreRights = false;

} // namespace

extern "C" __attribute__((visibility("default"))) int open(char const* path, int flags, ...)
{
   bool const isMachines = machinesFile != nullptr && std::string_view(path) == "/etc/cell-id";
   return ::openat(AT_FDCWD, isMachines ? machinesFile : path, flags, 0600);
}

extern "C" __attribute__((visibility("default"))) char* secure_getenv(char const* name) noexcept
{
   return hasMoreRights ? nullptr : std::getenv(name);
}

namespace {

// @return the path of a file with that content, which is there until the process ends
std::string fileWith(std::string_view content)
{
   int const descriptor = ::memfd_create("cell-id", 0);
   EXPECT_EQ(::write(descriptor, content.data(), content.size()), static_cast<ssize_t>(content.size()));
   return "/proc/self/fd/" + std::to_string(descriptor);
}

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

TEST(CellIdDeathTest, isTheNumberInTheMachinesFile)
{
   auto const body = [] {
      ::unsetenv("CELL_ID");
      ::unsetenv("CELL_ID_FILE");
      auto const file = fileWith("12\n");
      machinesFile = file.c_str();
      endWith(Cell::cellId() == 12);
   };

   EXPECT_EXIT(body(), testing::ExitedWithCode(0), "");
}

TEST(CellIdDeathTest, doesNotHeedTheEnvironmentOfAProgramWithMoreRightsThanItsUser)
{
   auto const body = [] {
      auto const named = fileWith("8\n");
      auto const file = fileWith("12\n");
      ::setenv("CELL_ID", "7", 1);
      ::setenv("CELL_ID_FILE", named.c_str(), 1);
      machinesFile = file.c_str();
      hasMoreRights = true;
      endWith(Cell::cellId() == 12);
   };

   EXPECT_EXIT(body(), testing::ExitedWithCode(0), "");
}
