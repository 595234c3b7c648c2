#include "test/support/Program.h"
#include "test/support/TemporaryDirectory.h"
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <set>
#include <signal.h>
#include <sstream>

using namespace pinmem_test;

namespace {

using Commands = std::vector<std::string>;

class ProcessesTest : public testing::Test {
protected:
   TemporaryDirectory const temporary_;
   Program::Environment environment_ = {{"PINMEM_DIR", temporary_.path()}, {"PINMEM_BACKEND", "shm"}};

   std::unique_ptr<Program> start(Commands commands)
   {
      commands.insert(commands.begin(), PINMEM_CHILD);
      return std::make_unique<Program>(commands, environment_);
   }

   /// Runs a process from start to end; its output.
   std::string run(Commands const& commands)
   {
      auto const program = start(commands);
      EXPECT_EQ(program->wait(), 0);
      errors_ = program->errors();
      return program->restOfOutput();
   }

   std::string errors_;
};

std::vector<std::string> linesOf(std::string const& text)
{
   std::vector<std::string> lines;
   std::istringstream stream(text);
   for (std::string line; std::getline(stream, line);) {
      lines.push_back(line);
   }
   return lines;
}

constexpr char notice[] =
   "pinmem: domain 'default': DMA memory is simulated: blocks live in shared memory and no device can reach their bus "
   "addresses (bit 63 set); PINMEM_BACKEND=shm says that this is meant, 'pinmemctl doctor' why it is so\n";

} // namespace

TEST_F(ProcessesTest, blocksSurviveTheEndOfTheirProcess)
{
   std::string const first = run({"alloc", "a", "64", "", "0", "map", "a", "put", "a", "bytes"});
   std::string const second = run({"alloc", "a", "64", "", "0", "map", "a", "get", "a"});

   EXPECT_EQ(first.substr(0, 16), second.substr(0, 16));
   EXPECT_EQ(second.substr(17), "mapped\nbytes\n");
}

TEST_F(ProcessesTest, blocksSurviveSigkill)
{
   auto const first = start({"alloc", "a", "64", "", "4", "map", "a", "put", "a", "bytes", "wait"});
   std::string const address = first->line();
   while (first->line() != "waiting") {
   }
   first->kill(SIGKILL);
   EXPECT_EQ(first->wait(), 256 + SIGKILL);

   EXPECT_EQ(run({"alloc", "a", "64", "", "4", "map", "a", "get", "a"}), address + "\nmapped\nbytes\n");
}

TEST_F(ProcessesTest, aLockHeldByADeadProcessIsFree)
{
   for (int round = 0; round < 20; ++round) {
      auto const first = start({"many", "block" + std::to_string(round) + ".", "100000", "64"});
      EXPECT_NE(first->line(), "0");
      first->kill(SIGKILL);
      first->wait();
   }

   EXPECT_NE(run({"alloc", "a", "64", "", "0"}), "0\n");
}

TEST_F(ProcessesTest, aBlockIsSharedWhileBothLive)
{
   auto const first = start({"alloc", "a", "64", "", "0", "map", "a", "wait", "get", "a"});
   while (first->line() != "waiting") {
   }

   run({"map", "a", "put", "a", "from the other"});
   first->goOn();

   EXPECT_EQ(first->line(), "from the other");
}

TEST_F(ProcessesTest, domainsDoNotMeet)
{
   environment_["PINMEM_DOMAIN"] = "one";
   run({"alloc", "a", "64", "", "0", "map", "a", "put", "a", "one"});
   environment_["PINMEM_DOMAIN"] = "two";

   std::string const text = run({"map", "a", "error", "alloc", "a", "64", "", "0", "map", "a", "get", "a"});

   std::vector<std::string> const lines = linesOf(text);
   ASSERT_EQ(lines.size(), 5U) << text;
   EXPECT_EQ(
      lines[1], "pinmem: 'a': there is no block of this name in '" + temporary_.path() + "/two'; allocate it first");
   EXPECT_EQ(lines[3], "mapped");
   EXPECT_EQ(lines[4], "");
}

TEST_F(ProcessesTest, theEnvironmentIsReadOnce)
{
   run({"alloc", "a", "64", "", "0", "setenv", "PINMEM_DOMAIN", "later", "alloc", "b", "64", "", "0"});

   EXPECT_FALSE(std::filesystem::exists(temporary_ / "later"));
}

TEST_F(ProcessesTest, processesThatMakeTheSameNamesAgree)
{
   constexpr int count = 4;
   std::unique_ptr<Program> programs[count];
   for (auto& program : programs) {
      program = start({"many", "block", "200", "64"});
   }
   std::set<std::string> outputs;
   for (auto const& program : programs) {
      EXPECT_EQ(program->wait(), 0);
      outputs.insert(program->restOfOutput());
   }

   ASSERT_EQ(outputs.size(), 1U);
   std::vector<std::string> const lines = linesOf(*outputs.begin());
   EXPECT_EQ(lines.size(), 200U);
   EXPECT_EQ(std::set<std::string>(lines.begin(), lines.end()).size(), 200U);
   EXPECT_EQ(run({"many", "block", "200", "64"}), *outputs.begin());
}

TEST_F(ProcessesTest, ofProcessesThatMakeTheSameNamesInDifferentSizesTheFirstDecides)
{
   constexpr std::size_t count = 300;
   auto const small = start({"many", "block", std::to_string(count), "64"});
   auto const large = start({"many", "block", std::to_string(count), "4096"});
   EXPECT_EQ(large->wait(), 0);
   EXPECT_EQ(small->wait(), 0);
   std::vector<std::string> const small64 = linesOf(small->restOfOutput());
   std::vector<std::string> const large4096 = linesOf(large->restOfOutput());

   ASSERT_EQ(small64.size(), count);
   ASSERT_EQ(large4096.size(), count);
   std::set<std::string> addresses;
   for (std::size_t index = 0; index < count; ++index) {
      EXPECT_NE(small64[index], "0");
      EXPECT_TRUE(large4096[index] == "0" || large4096[index] == small64[index]) << index;
      addresses.insert(small64[index]);
   }
   EXPECT_EQ(addresses.size(), count);
   EXPECT_EQ(run({"many", "block", std::to_string(count), "0"}), small->restOfOutput());
}

TEST_F(ProcessesTest, processesThatMakeDifferentNamesNeverShareAnAddress)
{
   constexpr int count = 4;
   std::unique_ptr<Program> programs[count];
   for (int index = 0; index < count; ++index) {
      programs[index] = start({"many", "block" + std::to_string(index) + ".", "200", "64"});
   }
   std::set<std::string> addresses;
   for (auto const& program : programs) {
      EXPECT_EQ(program->wait(), 0);
      std::vector<std::string> const lines = linesOf(program->restOfOutput());
      addresses.insert(lines.begin(), lines.end());
   }

   EXPECT_EQ(addresses.size(), 200U * count);
   EXPECT_EQ(addresses.count("0"), 0U);
}

TEST_F(ProcessesTest, aForkedChildGoesOn)
{
   std::vector<std::string> const lines =
      linesOf(run({"alloc", "a", "64",    "",  "0",  "map", "a", "put", "a", "bytes", "fork",
                   "get",   "a", "alloc", "b", "64", "",    "0", "map", "b", "unmap", "a"}));

   ASSERT_EQ(lines.size(), 8U);
   EXPECT_EQ(lines[4], "bytes");
   EXPECT_NE(lines[5], lines[0]);
   EXPECT_NE(lines[5], "0");
   EXPECT_EQ(lines[6], "mapped");
   EXPECT_EQ(run({"alloc", "b", "64", "", "0"}), lines[5] + "\n");
}

TEST_F(ProcessesTest, theLibraryAnswersWhileStaticObjectsAreDestroyed)
{
   environment_["CHILD_CALLS_AT_THE_END"] = "1";

   EXPECT_EQ(
      run({"alloc", "a", "64", "", "0"}).substr(17),
      "at the end 110pinmem: '': the name is empty; a block's name has 1 to 255 bytes\n");
}

TEST_F(ProcessesTest, simulatedAddressesAreAnnouncedOnceWhenNobodyChoseThem)
{
   environment_["PINMEM_BACKEND"] = "auto";
   std::string const address =
      run({"alloc", "a", "64", "", "0", "alloc", "b", "64", "", "4", "alloc", "a", "64", "", "0"});
   if (address.at(0) != '8') {
      GTEST_SKIP() << "this machine has huge pages, so that addresses are not simulated";
   }
   EXPECT_EQ(errors_, notice);

   environment_.erase("PINMEM_BACKEND");
   run({"alloc", "a", "64", "", "0"});
   EXPECT_EQ(errors_, notice);
}

TEST_F(ProcessesTest, ordinaryMemoryAndAnExplicitChoiceAreSilent)
{
   run({"alloc", "a", "64", "", "0"});
   EXPECT_EQ(errors_, "");

   environment_["PINMEM_BACKEND"] = "auto";
   run({"alloc", "b", "64", "", "1", "map", "a"});
   EXPECT_EQ(errors_, "");
}

TEST_F(ProcessesTest, aBackendThatIsNotThereIsRefusedByItsName)
{
   environment_["PINMEM_BACKEND"] = "iommu";

   EXPECT_EQ(
      run({"alloc", "a", "64", "", "0", "error"}), "0\npinmem: 'a': backend 'iommu' is not part of this build; use "
                                                   "PINMEM_BACKEND=hugetlb, or shm (simulated bus addresses)\n");
   EXPECT_TRUE(std::filesystem::is_empty(temporary_.path()));
}

TEST_F(ProcessesTest, aDomainNameThatIsAPathIsRefused)
{
   environment_["PINMEM_DOMAIN"] = "../escape";

   EXPECT_EQ(
      run({"alloc", "a", "64", "", "0", "error"}),
      "0\npinmem: 'a': domain '../escape' cannot be a folder's name; choose one without '/', not '.' or '..'\n");
}

TEST_F(ProcessesTest, aDomainFolderThatIsALinkIsRefused)
{
   std::filesystem::create_directory(temporary_ / "real");
   std::filesystem::create_directory_symlink(temporary_ / "real", temporary_ / "default");

   EXPECT_EQ(
      run({"alloc", "a", "64", "", "0", "error"}),
      "0\npinmem: 'a': '" + temporary_.path() +
         "/default' cannot be used as a directory: Not a directory; it must be a directory of this user and no link\n");
   EXPECT_TRUE(std::filesystem::is_empty(temporary_ / "real"));
}

TEST_F(ProcessesTest, aCallAfterTheCauseIsGoneSucceeds)
{
   environment_["PINMEM_DIR"] = temporary_ / "later";
   auto const program = start({"alloc", "a", "64", "", "0", "wait", "alloc", "a", "64", "", "0"});
   EXPECT_EQ(program->line(), "0");
   EXPECT_EQ(program->line(), "waiting");

   std::filesystem::create_directory(temporary_ / "later");
   program->goOn();

   EXPECT_NE(program->line(), "0");
}
