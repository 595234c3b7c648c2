#include "src/IdSource.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/uio.h>
#include <unistd.h>

namespace {

std::size_t mostAtOnce = SIZE_MAX; // that one call gives
int descriptorFlags = -1;          // of what was read last

} // namespace

// Stands in for the system's.
extern "C" __attribute__((visibility("default"))) ssize_t read(int descriptor, void* bytes, std::size_t size)
{
   descriptorFlags = ::fcntl(descriptor, F_GETFD);
   return ::readv(descriptor, std::array{iovec{bytes, std::min(size, mostAtOnce)}}.data(), 1);
}

namespace {

using Cell::Detail::findCellId;

class IdSource : public testing::Test {
protected:
   IdSource()
   {
      ::unsetenv("CELL_ID");
      ::unsetenv("CELL_ID_FILE");
      mostAtOnce = SIZE_MAX;
      descriptorFlags = -1;
      std::string pattern = (std::filesystem::temp_directory_path() / "cell-test-XXXXXX").string();
      folder_ = ::mkdtemp(pattern.data());
   }

   ~IdSource() override
   {
      ::unsetenv("CELL_ID");
      ::unsetenv("CELL_ID_FILE");
      std::filesystem::remove_all(folder_);
   }

   std::string path(char const* name) const { return folder_ + "/" + name; }

   std::string write(char const* name, std::string_view content) const
   {
      std::ofstream(path(name), std::ios::binary) << content;
      return path(name);
   }

   std::uint32_t find() const { return findCellId(path("usual").c_str()); }

   std::string refusal() const
   {
      try {
         return "no exception, but " + std::to_string(find());
      } catch (std::system_error const& error) {
         return std::string("another exception: ") + error.what();
      } catch (std::runtime_error const& error) {
         return error.what();
      }
   }

   int systemsAnswer() const
   {
      try {
         find();
      } catch (std::system_error const& error) {
         EXPECT_EQ(error.code().category(), std::system_category());
         return error.code().value();
      }
      return 0;
   }

private:
   std::string folder_;
};

TEST_F(IdSource, isZeroWhereNoCellWasNamed)
{
   EXPECT_EQ(find(), 0u);
}

TEST_F(IdSource, readsTheVariable)
{
   ::setenv("CELL_ID", "7", 1);

   EXPECT_EQ(find(), 7u);
}

TEST_F(IdSource, readsTheSmallestAndTheLargestNumber)
{
   ::setenv("CELL_ID", "0", 1);
   EXPECT_EQ(find(), 0u);

   ::setenv("CELL_ID", "4294967295", 1);
   EXPECT_EQ(find(), 4294967295u);
}

TEST_F(IdSource, readsTheUsualFileWithAndWithoutALineFeed)
{
   write("usual", "12\n");
   EXPECT_EQ(find(), 12u);

   write("usual", "4294967295\n");
   EXPECT_EQ(find(), 4294967295u);

   write("usual", "0");
   EXPECT_EQ(find(), 0u);
}

TEST_F(IdSource, prefersTheNamedFileToTheUsualOneAndTheVariableToBoth)
{
   write("usual", "1\n");
   ::setenv("CELL_ID_FILE", write("named", "2\n").c_str(), 1);
   EXPECT_EQ(find(), 2u);

   ::setenv("CELL_ID", "3", 1);
   EXPECT_EQ(find(), 3u);
}

TEST_F(IdSource, looksAtNoFileWhenTheVariableIsThere)
{
   ::setenv("CELL_ID_FILE", path("missing").c_str(), 1);
   ::setenv("CELL_ID", "5", 1);

   EXPECT_EQ(find(), 5u);
}

TEST_F(IdSource, refusesAVariableThatIsNoNumber)
{
   for (std::string const text :
        {"", " 7", "7 ", "+7", "-1", "0x7", "07", "00", "7\n", "7.0", "seven", "4294967296", "99999999999999999999"}) {
      ::setenv("CELL_ID", text.c_str(), 1);
      EXPECT_EQ(
         refusal(), "CELL_ID='" + text + "' is no cell identifier, which is a decimal number from 0 to 4294967295.");
   }
}

TEST_F(IdSource, refusesAFileThatHoldsNoNumber)
{
   for (std::string_view const content :
        {std::string_view(""), std::string_view("\n"), std::string_view("7\n\n"), std::string_view("7\r\n"),
         std::string_view("7 8\n"), std::string_view("4294967296\n"), std::string_view("4294967295\n\n"),
         std::string_view("7\0", 2), std::string_view("42949672950")}) {
      auto const file = write("usual", content);
      EXPECT_EQ(
         refusal(), "file='" + file + "' holds no cell identifier, which is a decimal number from 0 to 4294967295.")
         << content;
   }
}

TEST_F(IdSource, answersAgainWhenWhatWasRefusedIsMended)
{
   ::setenv("CELL_ID", "x", 1);
   EXPECT_THROW(find(), std::runtime_error);
   ::setenv("CELL_ID", "8", 1);

   EXPECT_EQ(find(), 8u);
}

TEST_F(IdSource, insistsOnAFileThatIsNamed)
{
   write("usual", "1\n");
   ::setenv("CELL_ID_FILE", path("missing").c_str(), 1);
   EXPECT_EQ(systemsAnswer(), ENOENT);

   ::setenv("CELL_ID_FILE", "", 1);
   EXPECT_EQ(systemsAnswer(), ENOENT);
}

TEST_F(IdSource, tellsWhichFileCannotBeReadAndWhy)
{
   std::filesystem::create_directory(path("usual")); // can be opened, but not read

   try {
      find();
      FAIL() << "no exception";
   } catch (std::system_error const& error) {
      EXPECT_EQ(error.code().value(), EISDIR);
      EXPECT_EQ(error.what(), "file='" + path("usual") + "' with the cell identifier cannot be read: Is a directory");
   }
}

TEST_F(IdSource, doesNotTakeAFileThatCannotBeOpenedForAMissingOne)
{
   std::filesystem::create_symlink(path("usual"), path("usual")); // leads to itself

   EXPECT_EQ(systemsAnswer(), ELOOP);
}

TEST_F(IdSource, readsAFileThatComesInPieces)
{
   write("usual", "4294967295\n");
   mostAtOnce = 1;
   EXPECT_EQ(find(), 4294967295u);

   mostAtOnce = 3;
   EXPECT_EQ(find(), 4294967295u);
}

TEST_F(IdSource, readsAFileThatNoProgramInherits)
{
   write("usual", "1\n");

   find();

   EXPECT_EQ(descriptorFlags, FD_CLOEXEC);
}

TEST_F(IdSource, leavesNoDescriptorOpen)
{
   write("usual", "1\n");
   auto const lowestFree = [] {
      int const descriptor = ::dup(0);
      ::close(descriptor);
      return descriptor;
   };
   int const before = lowestFree();

   find();
   write("usual", "x");
   EXPECT_THROW(find(), std::runtime_error);

   EXPECT_EQ(lowestFree(), before);
}

} // namespace
