#include "test/support/Program.h"
#include "test/support/TemporaryDirectory.h"
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

using namespace pinmem_test;

namespace {

using Arguments = std::vector<std::string>;

class PinmemctlTest : public testing::Test {
protected:
   TemporaryDirectory const temporary_;
   Program::Environment environment_ = {{"PINMEM_DIR", temporary_.path()}, {"PINMEM_BACKEND", "shm"}};
   std::string output_;
   std::string errors_;

   int run(char const* path, Arguments arguments)
   {
      arguments.insert(arguments.begin(), path);
      Program program(arguments, environment_);
      int const status = program.wait();
      output_ = program.restOfOutput();
      errors_ = program.errors();
      return status;
   }

   int ctl(Arguments const& arguments) { return run(PINMEMCTL, arguments); }

   void makeBlocks()
   {
      ASSERT_EQ(run(PINMEM_CHILD, {"alloc", "ring.rx", "5000", "slice-a", "4", "alloc", "b\n\xff", "0", "", "1"}), 0);
   }
};

} // namespace

TEST_F(PinmemctlTest, listsBlocksAsATable)
{
   makeBlocks();

   EXPECT_EQ(ctl({"list"}), 0);

   EXPECT_EQ(
      output_, "NAME       OWNER    SIZE  BUS ADDRESS         MEMORY    BACKEND\n"
               "ring.rx    slice-a  5000  0x8000000100000000  dma       shm\n"
               "b\\x0a\\xff              0  0x80000001000013c0  ordinary  shm\n");
   EXPECT_EQ(errors_, "");
}

TEST_F(PinmemctlTest, listsBlocksAsJson)
{
   makeBlocks();

   EXPECT_EQ(ctl({"list", "--json"}), 0);

   std::string const created = "\"timeCreated\": ";
   for (auto at = output_.find(created); at != std::string::npos; at = output_.find(created, at + 1)) {
      auto const first = output_.begin() + static_cast<std::ptrdiff_t>(at + created.size());
      output_.erase(first, std::find(first, output_.end(), '\n')); // differs each time
   }
   std::string const uid = std::to_string(::geteuid());
   EXPECT_EQ(
      output_, "{\n"
               "  \"directory\": \"" +
                  temporary_.path() +
                  "/default\",\n"
                  "  \"blocks\": [\n"
                  "    {\n"
                  "      \"name\": \"ring.rx\",\n"
                  "      \"owner\": \"slice-a\",\n"
                  "      \"uid\": " +
                  uid +
                  ",\n"
                  "      \"size\": 5000,\n"
                  "      \"capacity\": 5056,\n"
                  "      \"addressBus\": \"0x8000000100000000\",\n"
                  "      \"memory\": \"dma\",\n"
                  "      \"backend\": \"shm\",\n"
                  "      \"generation\": 1,\n"
                  "      \"timeCreated\": \n"
                  "    },\n"
                  "    {\n"
                  "      \"name\": \"b\\\\x0a\\\\xff\",\n"
                  "      \"owner\": \"\",\n"
                  "      \"uid\": " +
                  uid +
                  ",\n"
                  "      \"size\": 0,\n"
                  "      \"capacity\": 64,\n"
                  "      \"addressBus\": \"0x80000001000013c0\",\n"
                  "      \"memory\": \"ordinary\",\n"
                  "      \"backend\": \"shm\",\n"
                  "      \"generation\": 1,\n"
                  "      \"timeCreated\": \n"
                  "    }\n"
                  "  ]\n"
                  "}\n");
}

TEST_F(PinmemctlTest, anEmptyDomainIsATableWithoutRows)
{
   makeBlocks();
   ctl({"remove-domain"});
   run(PINMEM_CHILD, {"map", "nothing"});

   EXPECT_EQ(ctl({"list"}), 0);
   EXPECT_EQ(output_, "NAME  OWNER  SIZE  BUS ADDRESS  MEMORY  BACKEND\n");
   EXPECT_EQ(ctl({"list", "--json"}), 0);
   EXPECT_NE(output_.find("\"blocks\": []"), std::string::npos);
}

TEST_F(PinmemctlTest, saysWhenThereIsNoSuchDomain)
{
   for (char const* const command : {"list", "remove-domain"}) {
      EXPECT_EQ(ctl({command, "--domain", "no\tne"}), 3);
      EXPECT_EQ(
         errors_,
         "pinmemctl: domain 'no\\x09ne': there is no such domain; it is made by the first process that allocates a "
         "block\n");
   }
   EXPECT_TRUE(std::filesystem::is_empty(temporary_.path()));
}

TEST_F(PinmemctlTest, theOptionsGoBeforeTheEnvironment)
{
   environment_["PINMEM_DOMAIN"] = "lab";
   makeBlocks();
   environment_ = {{"PINMEM_DIR", "/nowhere"}, {"PINMEM_DOMAIN", "elsewhere"}};

   EXPECT_EQ(ctl({"--dir", temporary_.path(), "--domain", "lab", "list"}), 0);
   EXPECT_NE(output_.find("ring.rx"), std::string::npos);
   EXPECT_EQ(ctl({"list", "--dir", temporary_.path(), "--domain", "lab"}), 0);
   EXPECT_NE(output_.find("ring.rx"), std::string::npos);
}

TEST_F(PinmemctlTest, removesADomain)
{
   makeBlocks();

   EXPECT_EQ(ctl({"remove-domain"}), 0);

   EXPECT_EQ(output_ + errors_, "");
   EXPECT_TRUE(std::filesystem::is_empty(temporary_.path()));
   EXPECT_EQ(ctl({"remove-domain"}), 3);
}

TEST_F(PinmemctlTest, refusesToRemoveADomainInUse)
{
   makeBlocks();
   Program user({PINMEM_CHILD, "map", "ring.rx", "wait"}, environment_);
   while (user.line() != "waiting") {
   }

   EXPECT_EQ(ctl({"remove-domain"}), 4);

   EXPECT_EQ(errors_, "pinmemctl: domain 'default': a process is using it; end its processes first\n");
   EXPECT_EQ(ctl({"list"}), 0);
   user.goOn();
   EXPECT_EQ(user.wait(), 0);
   EXPECT_EQ(ctl({"remove-domain"}), 0);
}

TEST_F(PinmemctlTest, reportsDamagedRecordsAndListsTheOthers)
{
   makeBlocks();
   std::fstream(temporary_ / "default/index", std::ios::in | std::ios::out | std::ios::binary).seekp(2500).put('x');

   EXPECT_EQ(ctl({"list"}), 1);

   EXPECT_EQ(errors_, "pinmemctl: domain 'default': record 1 is damaged and left out of the list\n");
   EXPECT_NE(output_.find("b\\x0a\\xff"), std::string::npos);
}

TEST_F(PinmemctlTest, reportsARefusal)
{
   environment_["PINMEM_DOMAIN"] = "..";

   EXPECT_EQ(ctl({"list"}), 1);
   EXPECT_EQ(
      errors_,
      "pinmemctl: domain '..': domain '..' cannot be a folder's name; choose one without '/', not '.' or '..'\n");
}

TEST_F(PinmemctlTest, wrongUsageIsTold)
{
   for (Arguments const& arguments : {Arguments{}, Arguments{"frobnicate"}, Arguments{"list", "--xml"}}) {
      EXPECT_EQ(ctl(arguments), 2);
      EXPECT_NE(errors_.find("--help"), std::string::npos);
   }
}

TEST_F(PinmemctlTest, listingADomainThatIsNotWholeMakesNothing)
{
   std::filesystem::create_directory(temporary_ / "default");
   std::filesystem::permissions(temporary_ / "default", std::filesystem::perms::owner_all);

   EXPECT_EQ(ctl({"list"}), 3);
   EXPECT_TRUE(std::filesystem::is_empty(temporary_ / "default"));

   std::filesystem::create_directory(temporary_ / "default/data");
   std::filesystem::permissions(temporary_ / "default/data", std::filesystem::perms::owner_all);
   EXPECT_EQ(ctl({"list"}), 3);
   EXPECT_TRUE(std::filesystem::is_empty(temporary_ / "default/data"));
   EXPECT_FALSE(std::filesystem::exists(temporary_ / "default/lock"));
}

TEST_F(PinmemctlTest, tellsItsVersion)
{
   EXPECT_EQ(ctl({"--version"}), 0);
   EXPECT_EQ(output_.rfind("pinmemctl ", 0), 0U);
   EXPECT_NE(output_.find_first_of("0123456789"), std::string::npos);
}

TEST_F(PinmemctlTest, helpNamesTheExitStatuses)
{
   EXPECT_EQ(ctl({"--help"}), 0);
   EXPECT_NE(output_.find("4 the domain is in use"), std::string::npos);
}
