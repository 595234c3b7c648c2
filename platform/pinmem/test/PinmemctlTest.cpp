#include "test/support/PinmemctlFixture.h"
#include <filesystem>
#include <unistd.h>

using namespace pinmem_test;

namespace {

class PinmemctlTest : public PinmemctlFixture {};

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
   spoilIndex(2500);

   EXPECT_EQ(ctl({"list"}), 1);

   EXPECT_EQ(
      errors_, "pinmemctl: domain 'default': record 1 is damaged and left out of the list; run: pinmemctl check\n");
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
   for (Arguments const& arguments :
        {Arguments{}, Arguments{"frob\x1b[31m\n"}, Arguments{"list", "--xml"}, Arguments{"show"},
         Arguments{"free", "-x"}}) {
      EXPECT_EQ(ctl(arguments), 2);
      EXPECT_EQ(errors_.rfind("pinmemctl: ", 0), 0U);
      EXPECT_EQ(errors_.find('\n'), errors_.size() - 1) << errors_;
      EXPECT_EQ(errors_.find('\x1b'), std::string::npos);
      EXPECT_NE(errors_.find("; run: pinmemctl --help\n"), std::string::npos);
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
   EXPECT_EQ(errors_, "pinmemctl: domain 'default': there is no block 'none'; see: pinmemctl list\n");
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
   spoilIndex(3500);

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

TEST_F(PinmemctlTest, preallocSaysHowManyBlocksAreNew)
{
   std::ofstream(temporary_ / "blocks") << "ring.rx 5000 4\nother 1K 1\n";
   makeBlocks();

   EXPECT_EQ(ctl({"prealloc", temporary_ / "blocks"}), 0);
   EXPECT_EQ(output_, "2 of 2 blocks are there, 1 of them new\n");
   EXPECT_EQ(ctl({"prealloc", temporary_ / "blocks"}), 0);
   EXPECT_EQ(output_, "2 of 2 blocks are there, 0 of them new\n");
   EXPECT_EQ(errors_, "");
}

TEST_F(PinmemctlTest, preallocThatFailsHalfWaySaysWhereAndWhatIsDone)
{
   std::ofstream(temporary_ / "blocks") << "a 64 0\nb 64 0\n\na 128 0\nc 64 0\n";

   EXPECT_EQ(ctl({"prealloc", temporary_ / "blocks"}), 1);

   EXPECT_EQ(output_, "2 of 4 blocks are there, 2 of them new\n");
   EXPECT_EQ(
      errors_,
      "pinmemctl: domain 'default': line 4 of '" + (temporary_ / "blocks") +
         "', block 'a': 128 bytes are asked for, but the block was made with 64 bytes and has room for 64; ask "
         "for no more, or use another name\n");
   ctl({"list"});
   EXPECT_EQ(std::count(output_.begin(), output_.end(), '\n'), 3);
}

TEST_F(PinmemctlTest, preallocMakesNothingFromAFileThatIsWrongNorForABackendThatIsNotThere)
{
   std::ofstream(temporary_ / "blocks") << "good 64 0\na 64 2\n";
   EXPECT_EQ(ctl({"prealloc", temporary_ / "blocks"}), 1);
   EXPECT_EQ(
      errors_,
      "pinmemctl: domain 'default': line 2 of '" + (temporary_ / "blocks") +
         "': the flags '2' are not known; write 0 or 4 (DMA memory) or 1 (ordinary memory); nothing was made\n");
   EXPECT_EQ(output_, "");

   std::ofstream(temporary_ / "blocks") << "good 64 0\n";
   for (char const* const backend : {"iommu", "floppy"}) {
      environment_["PINMEM_BACKEND"] = backend;
      EXPECT_EQ(ctl({"prealloc", temporary_ / "blocks"}), 1);
   }
   EXPECT_FALSE(std::filesystem::exists(temporary_ / "default"));
}

TEST_F(PinmemctlTest, preallocSaysWhenNoDeviceCanReachTheBlocks)
{
   environment_["PINMEM_BACKEND"] = "auto";
   ctl({"doctor"});
   if (output_.find("PINMEM_BACKEND=auto: new DMA memory is had from shm") == std::string::npos) {
      GTEST_SKIP() << "there are huge pages here";
   }
   std::ofstream(temporary_ / "blocks") << "a 64 0\nb 64 4\nordinary 64 1\n";

   EXPECT_EQ(ctl({"prealloc", temporary_ / "blocks"}), 0);

   EXPECT_EQ(
      errors_, "pinmemctl: domain 'default': 2 of the blocks have simulated bus addresses, which no device can reach; "
               "PINMEM_BACKEND=shm says that this is meant, 'pinmemctl doctor' why it is so\n");
}

TEST_F(PinmemctlTest, aVeryLongNameMovesNoOtherLine)
{
   std::string const name(255, 'n');
   run(PINMEM_CHILD, {"alloc", name, "64", "o", "0", "alloc", "short", "64", "o", "0"});

   EXPECT_EQ(ctl({"list"}), 0);

   std::string const gap(32 - 4, ' ');
   EXPECT_EQ(
      output_, "NAME" + gap + "  OWNER  SIZE  BUS ADDRESS         MEMORY  BACKEND  NODE  USERS\n" + name +
                  "  o        64  0x8000000100000000  dma     shm         -      0\n" + "short" + gap.substr(1) +
                  "  o        64  0x8000000100000040  dma     shm         -      0\n");
}

TEST_F(PinmemctlTest, namesThatLookLikeOptionsOrCommandsAreNames)
{
   for (std::string const name : {"list", "-x", "--", "--help", "\"'\\"}) {
      run(PINMEM_CHILD, {"alloc", name, "64", "", "0"});

      EXPECT_EQ(ctl({"show", "--json", "--", name}), 0);
      EXPECT_EQ(ctl({"free", "--", name}), 0) << name;
   }
}

TEST_F(PinmemctlTest, doctorTellsEachBackendAndTheOneThatIsTaken)
{
   for (int round = 0; round < 2; ++round) {
      EXPECT_EQ(ctl({"doctor"}), 0);
      EXPECT_EQ(output_.rfind("iommu: it is not part of this build\nhugetlb: ", 0), 0U) << output_;
      EXPECT_NE(output_.find("\nshm: can be used\n"), std::string::npos);
      EXPECT_NE(
         output_.find(
            "\nPINMEM_BACKEND=shm: new DMA memory is had from shm, with simulated bus addresses that no device "
            "can reach\n"),
         std::string::npos);
      EXPECT_EQ(ctl({"doctor", "--json"}), 0);
      EXPECT_NE(output_.find("\"wanted\": \"shm\",\n  \"taken\": \"shm\"\n"), std::string::npos) << output_;
      makeBlocks();
   }
}

TEST_F(PinmemctlTest, doctorSaysWhenNoDomainCanBeMade)
{
   if (::geteuid() == 0) {
      GTEST_SKIP() << "nothing is closed to root";
   }
   std::filesystem::permissions(temporary_.path(), std::filesystem::perms(0500));

   EXPECT_EQ(ctl({"doctor"}), 1);

   EXPECT_EQ(
      output_.substr(0, output_.find('\n')),
      "domain: no domain can be made in '" + temporary_.path() +
         "': Permission denied; make it writable for this user, or name another place with PINMEM_DIR");
}

TEST_F(PinmemctlTest, doctorEndsWithARefusalWhenTheBackendThatIsWantedCannotBeUsed)
{
   environment_["PINMEM_BACKEND"] = "iommu";
   EXPECT_EQ(ctl({"doctor"}), 1);
   EXPECT_NE(output_.find("\nPINMEM_BACKEND=iommu: new DMA memory is refused\n"), std::string::npos);
   EXPECT_EQ(errors_, "");

   environment_["PINMEM_BACKEND"] = "floppy";
   EXPECT_EQ(ctl({"doctor"}), 1);
   EXPECT_EQ(
      errors_, "pinmemctl: domain 'default': PINMEM_BACKEND='floppy' is not known; use auto, shm, hugetlb or iommu\n");

   environment_["PINMEM_BACKEND"] = "shm";
   environment_["PINMEM_DIR"] = "/nowhere";
   EXPECT_EQ(ctl({"doctor"}), 1);
   EXPECT_EQ(output_.rfind("domain: directory '/nowhere' cannot be opened: No such file or directory", 0), 0U)
      << output_;
   EXPECT_NE(output_.find("\nPINMEM_BACKEND=shm: new DMA memory is refused\n"), std::string::npos);
}
