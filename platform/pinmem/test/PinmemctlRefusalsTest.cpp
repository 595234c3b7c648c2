// What pinmemctl says of a domain that is not as it should be: each command ends with its status, changes nothing, and every
// complaint is one line that names a cause and a cure.
#include "test/support/PinmemctlFixture.h"
#include <filesystem>
#include <unistd.h>

using namespace pinmem_test;

namespace {

namespace fs = std::filesystem;

class PinmemctlRefusalsTest : public PinmemctlFixture {
protected:
   std::string const domain_ = temporary_ / "default";

   void SetUp() override
   {
      makeBlocks();
      std::ofstream(temporary_ / "blocks") << "new 64 0\n";
   }

   /// Runs each command that opens the domain; all are to end with that status and to complain with that text.
   void expectOfEach(std::vector<Arguments> const& commands, int status, std::string const& text)
   {
      for (Arguments const& command : commands) {
         EXPECT_EQ(ctl(command), status) << command[0];
         EXPECT_EQ(errors_, "pinmemctl: domain 'default': " + text + "\n") << command[0];
         EXPECT_EQ(output_, "") << command[0];
      }
   }

   std::vector<Arguments> const looking_ = {{"list"},  {"list", "--json"},  {"show", "ring.rx"},
                                            {"check"}, {"free", "ring.rx"}, {"gc"}};
   std::vector<Arguments> const making_ = {{"prealloc", temporary_ / "blocks"}};
   std::vector<Arguments> const removing_ = {{"remove-domain"}};

   void expectDoctorStillAnswers(std::string const& text)
   {
      EXPECT_EQ(ctl({"doctor"}), 1);
      EXPECT_EQ(errors_, "");
      EXPECT_EQ(output_.rfind("domain: " + text + "\niommu: ", 0), 0U) << output_;
      EXPECT_NE(output_.find("\nshm: can be used\nPINMEM_BACKEND=shm: new DMA memory is refused\n"), std::string::npos);
   }
};

} // namespace

TEST_F(PinmemctlRefusalsTest, aDamagedIndex)
{
   spoilIndex(20);

   std::string const text = "index '" + domain_ +
                            "/index' is damaged: the checksum of its header does not fit; nothing was changed; end the "
                            "domain's processes and run: pinmemctl remove-domain";
   expectOfEach(looking_, 1, text);
   expectOfEach(making_, 1, text);
   expectDoctorStillAnswers(text);
   EXPECT_EQ(ctl({"remove-domain"}), 0);
}

TEST_F(PinmemctlRefusalsTest, anIndexOfAnotherRelease)
{
   // A whole header of version 0: one that a release before this one would have written.
   struct {
      char magic[8];
      std::uint64_t checksum;
      std::uint32_t rest[252];
   } header = {};

   std::fstream file(domain_ + "/index", std::ios::in | std::ios::out | std::ios::binary);
   file.read(reinterpret_cast<char*>(&header), sizeof(header));
   header.rest[0] = 7;
   std::uint64_t sum = 0x9e3779b97f4a7c15U;
   for (std::size_t word = 0; word < std::size(header.rest); word += 2) {
      sum = (sum ^ (header.rest[word] | std::uint64_t{header.rest[word + 1]} << 32)) * 0xff51afd7ed558ccdU;
      sum ^= sum >> 32;
   }
   header.checksum = sum;
   file.seekp(0).write(reinterpret_cast<char const*>(&header), sizeof(header));
   file.close();

   std::string const text = "index '" + domain_ +
                            "/index' has version 7, this library reads version 2; use the libpinmem that made it, or "
                            "another domain";
   expectOfEach(looking_, 1, text);
   expectOfEach(making_, 1, text);
   expectDoctorStillAnswers(text);
}

TEST_F(PinmemctlRefusalsTest, aDamagedRecordMayBeTheBlockThatIsAskedFor)
{
   spoilIndex(2500); // that of ring.rx; record 0 is the arena's

   for (char const* const command : {"show", "free"}) {
      EXPECT_EQ(ctl({command, "ring.rx"}), 3);
      EXPECT_EQ(
         errors_, "pinmemctl: domain 'default': there is no block 'ring.rx'; see: pinmemctl list\n"
                  "pinmemctl: domain 'default': record 1 is damaged and may be this block's; run: pinmemctl check\n");
   }
   EXPECT_EQ(ctl({"gc"}), 1);
   EXPECT_EQ(
      errors_, "pinmemctl: domain 'default': record 1 is damaged, so that what may be its memory stays; run: pinmemctl "
               "check\n");
}

TEST_F(PinmemctlRefusalsTest, aDomainThatHasLostItsIndexOrItsLock)
{
   for (char const* const file : {"/lock", "/index"}) { // without an index the library makes no lock again
      fs::remove(domain_ + file);
      expectOfEach(
         looking_, 3,
         "'" + domain_ + "/data' holds blocks, but '" + domain_ +
            "' lacks the file 'lock' or 'index'; put it back, or run: pinmemctl remove-domain");
   }
   expectOfEach(
      making_, 1,
      "'" + domain_ + "/data' holds blocks, but their index is missing in '" + domain_ +
         "'; nothing was changed; put it back, or run: pinmemctl remove-domain");
   EXPECT_EQ(ctl({"remove-domain"}), 0);
}

TEST_F(PinmemctlRefusalsTest, aFolderThatOthersMayChange)
{
   fs::permissions(domain_, fs::perms::all);

   std::string const text = "directory '" + domain_ + "' is open to other users; run: chmod 0700 '" + domain_ + "'";
   for (auto const& commands : {looking_, making_, removing_}) {
      expectOfEach(commands, 1, text);
   }
   expectDoctorStillAnswers(text);
}

TEST_F(PinmemctlRefusalsTest, aDomainOfAnotherUser)
{
   if (::geteuid() != 0) {
      GTEST_SKIP() << "only root can give files to another user";
   }
   constexpr uid_t other = 12345;
   ASSERT_EQ(::chown(domain_.c_str(), other, other), 0);
   for (auto const& entry : fs::recursive_directory_iterator(domain_)) {
      ASSERT_EQ(::chown(entry.path().c_str(), other, other), 0);
   }

   for (Arguments const& command : {Arguments{"list"}, {"show", "ring.rx"}, {"check"}}) {
      EXPECT_EQ(ctl(command), 0) << command[0];
      EXPECT_EQ(errors_, "") << command[0];
   }
   expectOfEach(
      {{"free", "ring.rx"}, {"gc"}}, 1,
      "the domain belongs to user 12345, and user 0 may only look at it; run this as that user");
   std::string const text = "directory '" + domain_ +
                            "' belongs to user 12345, not to user 0; run this as user 12345, or use another place with "
                            "PINMEM_DIR";
   expectOfEach(making_, 1, text);
   expectOfEach(removing_, 1, text);
   EXPECT_EQ(ctl({"show", "ring.rx"}), 0);
   EXPECT_NE(output_.find("slice-a"), std::string::npos) << output_;
   expectDoctorStillAnswers("the domain belongs to another user, and may only be looked at; run this as that user");
}

TEST_F(PinmemctlRefusalsTest, memoryThatIsGone)
{
   fs::remove(domain_ + "/data/00000000-00000001");

   EXPECT_EQ(ctl({"check"}), 1);
   EXPECT_EQ(errors_, "pinmemctl: domain 'default': arena 0: its memory is gone\n");
   EXPECT_EQ(ctl({"show", "ring.rx"}), 0);
   EXPECT_EQ(ctl({"free", "ring.rx"}), 0);
   EXPECT_EQ(ctl({"remove-domain"}), 0);
}

TEST_F(PinmemctlRefusalsTest, anAnswerThatCannotBeWritten)
{
   for (char const* const command : {"list", "check", "gc", "doctor"}) {
      std::string const line = std::string("exec ") + PINMEMCTL + " " + command + " >/dev/full";
      EXPECT_EQ(run("/bin/sh", {"-c", line}), 1);
      EXPECT_EQ(
         errors_,
         "pinmemctl: domain 'default': the answer cannot be written: No space left on device; see where standard "
         "output goes\n");
   }
}

TEST_F(PinmemctlRefusalsTest, anIndexTooLargeForTheProcess)
{
   std::string const limited = std::string("ulimit -v 120000; exec ") + PINMEMCTL;
   if (run("/bin/sh", {"-c", limited + " --version"}) != 0) {
      GTEST_SKIP() << "a sanitizer needs more addresses than this lets a process have";
   }
   fs::resize_file(domain_ + "/index", std::uint64_t{4} << 40);

   EXPECT_EQ(run("/bin/sh", {"-c", limited + " list"}), 1);
   EXPECT_EQ(errors_, "pinmemctl: domain 'default': this process cannot go on: std::bad_alloc; give it more memory\n");
}
