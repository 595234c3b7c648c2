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
      output_, "NAME       OWNER    SIZE  BUS ADDRESS         MEMORY    BACKEND  NODE  USERS\n"
               "ring.rx    slice-a  5000  0x8000000100000000  dma       shm         -      0\n"
               "b\\x0a\\xff              0  0x80000001000013c0  ordinary  shm         -      0\n");
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
                  "      \"node\": -1,\n"
                  "      \"users\": 0,\n"
                  "      \"generation\": 1,\n"
                  "      \"addressChanges\": 0,\n"
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
                  "      \"node\": -1,\n"
                  "      \"users\": 0,\n"
                  "      \"generation\": 1,\n"
                  "      \"addressChanges\": 0,\n"
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
   EXPECT_EQ(output_, "NAME  OWNER  SIZE  BUS ADDRESS  MEMORY  BACKEND  NODE  USERS\n");
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
   EXPECT_NE(output_.find("4 the domain or block is in use"), std::string::npos);
}

TEST_F(PinmemctlTest, showsOneBlock)
{
   makeBlocks();
   Program user({PINMEM_CHILD, "map", "ring.rx", "wait"}, environment_);
   while (user.line() != "waiting") {
   }

   EXPECT_EQ(ctl({"show", "ring.rx"}), 0);

   EXPECT_EQ(
      output_.substr(0, output_.find("made ")), "name             ring.rx\n"
                                                "owner            slice-a\n"
                                                "size             5000\n"
                                                "capacity         5056\n"
                                                "bus address      0x8000000100000000\n"
                                                "memory           dma, in arena 0 at 0\n"
                                                "backend          shm\n"
                                                "node             -\n"
                                                "user id          " +
                                                   std::to_string(::geteuid()) +
                                                   "\n"
                                                   "users            1\n"
                                                   "generation       1\n"
                                                   "address changes  0\n");
   EXPECT_EQ(ctl({"show", "ring.rx", "--json"}), 0);
   EXPECT_NE(output_.find("\"users\": 1"), std::string::npos);
   EXPECT_EQ(ctl({"show", "none"}), 3);
   EXPECT_EQ(errors_, "pinmemctl: domain 'default': there is no block 'none'\n");
   EXPECT_EQ(ctl({"show"}), 2);
}

TEST_F(PinmemctlTest, freesABlockThatNobodyUses)
{
   makeBlocks();
   {
      Program user({PINMEM_CHILD, "map", "ring.rx", "wait"}, environment_);
      while (user.line() != "waiting") {
      }
      EXPECT_EQ(ctl({"free", "ring.rx"}), 4);
      EXPECT_EQ(errors_, "pinmemctl: domain 'default': a process is using the block 'ring.rx'; end it first\n");
   }

   EXPECT_EQ(ctl({"free", "ring.rx"}), 0);

   EXPECT_EQ(output_ + errors_, "");
   EXPECT_EQ(ctl({"free", "ring.rx"}), 3);
   ctl({"list"});
   EXPECT_EQ(output_.find("ring.rx"), std::string::npos);
}

TEST_F(PinmemctlTest, collectsWhatDeadProcessesLeft)
{
   makeBlocks();
   std::ofstream(temporary_ / "default/data/00000009-00000001") << std::string(4096, 'x');

   EXPECT_EQ(ctl({"gc"}), 0);
   EXPECT_EQ(output_, "removed 1 files without a record, 4096 bytes, and 0 empty arenas\n");
   EXPECT_EQ(ctl({"gc"}), 0);
   EXPECT_EQ(output_, "removed 0 files without a record, 0 bytes, and 0 empty arenas\n");
}

TEST_F(PinmemctlTest, checksADomain)
{
   makeBlocks();
   EXPECT_EQ(ctl({"check"}), 0);
   EXPECT_EQ(output_, "2 blocks and 1 arenas looked at, 0 faults\n");

   std::filesystem::remove(temporary_ / "default/data/00000000-00000001");
   std::fstream(temporary_ / "default/index", std::ios::in | std::ios::out | std::ios::binary).seekp(3500).put('x');

   EXPECT_EQ(ctl({"check"}), 1);
   EXPECT_EQ(
      errors_, "pinmemctl: domain 'default': record 2 is damaged\n"
               "pinmemctl: domain 'default': arena 0: its memory is gone\n");
}

TEST_F(PinmemctlTest, preallocatesBlocksThatAgentsThenFind)
{
   std::ofstream(temporary_ / "blocks") << "# for the lab\n\nring.rx 5000 4 slice-a\nring.tx 64 0 # no owner\n";

   EXPECT_EQ(ctl({"prealloc", temporary_ / "blocks"}), 0) << errors_;
   EXPECT_EQ(ctl({"prealloc", temporary_ / "blocks"}), 0) << errors_;

   ctl({"list"});
   EXPECT_EQ(
      output_, "NAME     OWNER    SIZE  BUS ADDRESS         MEMORY  BACKEND  NODE  USERS\n"
               "ring.rx  slice-a  5000  0x8000000100000000  dma     shm         -      0\n"
               "ring.tx             64  0x80000001000013c0  dma     shm         -      0\n");
}

TEST_F(PinmemctlTest, preallocatesNothingFromAFileThatIsWrong)
{
   for (std::string const line : {"a", "a x 4", "a 64 2", "a 64 4 b c", "a 4294967296 4", "a 64"}) {
      std::ofstream(temporary_ / "blocks") << "good 64 0\n" << line << '\n';

      EXPECT_EQ(ctl({"prealloc", temporary_ / "blocks"}), 1);
      EXPECT_EQ(
         errors_, "pinmemctl: domain 'default': line 2 of '" + (temporary_ / "blocks") +
                     "' is not '<name> <size> <flags> [<owner>]', with flags 0, 1 or 4; nothing was made\n");
   }
   EXPECT_EQ(ctl({"prealloc", temporary_ / "none"}), 1);
   EXPECT_EQ(ctl({"list"}), 3);
}

TEST_F(PinmemctlTest, tellsWhichBackendIsTakenAndWhy)
{
   for (int round = 0; round < 2; ++round) {
      EXPECT_EQ(ctl({"doctor"}), 0);
      EXPECT_EQ(output_.rfind("iommu: it is not part of this build\nhugetlb: ", 0), 0U) << output_;
      EXPECT_NE(output_.find("\nshm: can be used"), std::string::npos);
      EXPECT_NE(output_.find(", and is what auto takes\n"), std::string::npos);
      EXPECT_EQ(ctl({"doctor", "--json"}), 0);
      EXPECT_NE(output_.find("\"backend\": \"shm\",\n      \"isUsable\": true"), std::string::npos) << output_;
      makeBlocks();
   }
}
