#include "src/SystemCalls.h"
#include "test/support/DomainFixture.h"
#include "test/support/FailingCalls.h"
#include "test/support/RefusalOf.h"
#include <cstring>
#include <filesystem>
#include <functional>
#include <iterator>
#include <regex>
#include <sstream>
#include <sys/wait.h>

using namespace pinmem_lib;
using namespace pinmem_test;

namespace {

std::string contentOf(std::filesystem::path const& path)
{
   std::ifstream file(path);
   std::ostringstream text;
   text << file.rdbuf();
   return text.str();
}

/// Makes the n-th system call fail, for every n, and looks at what is left each time.
class SystemCallsTest : public DomainFixture {
protected:
   static std::ptrdiff_t descriptorCount()
   {
      auto const descriptors = std::filesystem::directory_iterator("/proc/self/fd");
      return std::distance(begin(descriptors), end(descriptors));
   }

   std::size_t mappingCount() const
   {
      std::string const maps = contentOf("/proc/self/maps");
      std::size_t count = 0;
      for (auto at = maps.find(temporary_.path()); at != std::string::npos; at = maps.find(temporary_.path(), at + 1)) {
         ++count;
      }
      return count;
   }

   std::ptrdiff_t fileCount() const
   {
      auto const files = std::filesystem::directory_iterator(control_ + "/data");
      return std::distance(begin(files), end(files));
   }

   /// @param prepare  makes the domain what it is before `action`, without failures
   void failEachCall(std::function<void()> const& prepare, std::function<void()> const& action) const
   {
      for (int const error : {EIO, ENOSPC, ENOMEM}) {
         failEachCall(error, prepare, action);
      }
   }

   void failEachCall(int error, std::function<void()> const& prepare, std::function<void()> const& action) const
   {
      SCOPED_TRACE(::strerror(error));
      bool hasFailed = true;
      int refusals = 0;
      for (int number = 0; hasFailed; ++number) {
         std::filesystem::remove_all(control_);
         prepare();
         std::ptrdiff_t const descriptorsBefore = descriptorCount();
         {
            FailingCalls const calls(number, error);
            refusals += refusalOf(action).empty() ? 0 : 1;
            hasFailed = FailingCalls::hasFailed();
         }
         ASSERT_EQ(descriptorCount(), descriptorsBefore) << "call " << number;
         ASSERT_EQ(mappingCount(), 0U) << "call " << number;
         std::string const later = refusalOf([&] {
            auto const domain = open();
            EXPECT_TRUE(domain->damaged().empty());
            EXPECT_STREQ(memoryOf(*domain, allocated(*domain, "known")), kept_);
            EXPECT_STREQ(memoryOf(*domain, allocated(*domain, "new")), "");
            EXPECT_EQ(domain->records().size(), 2U);
         });
         ASSERT_EQ(later, "") << "call " << number;
         ASSERT_LE(fileCount(), 3) << "call " << number; // one that could not be removed may be left
         ASSERT_FALSE(HasFailure()) << "call " << number;
      }
      EXPECT_GT(refusals, 5);
   }

   static std::string_view allocated(Domain& domain, std::string_view name)
   {
      domain.allocate(name, 100, "", 0);
      return name;
   }

   char const* kept_ = "kept"; ///< what is in the known block

   void makeKnown() const
   {
      auto const domain = open();
      std::strcpy(memoryOf(*domain, allocated(*domain, "known")), "kept");
   }
};

} // namespace

TEST_F(SystemCallsTest, aNewBlockIsMadeWholeOrNotAtAllWhicheverCallFails)
{
   failEachCall(
      [this] { makeKnown(); },
      [this] {
         auto const domain = open();
         domain->allocate("new", 100, "", 0);
         domain->unmap("new", domain->map("new"));
      });
}

TEST_F(SystemCallsTest, aKnownBlockIsFoundOrRefusedWhicheverCallFails)
{
   failEachCall(
      [this] { makeKnown(); },
      [this] {
         auto const domain = open();
         domain->allocate("known", 100, "", 0);
         domain->unmap("known", domain->map("known"));
         domain->records();
      });
}

TEST_F(SystemCallsTest, memoryThatIsGoneIsMadeAnewOrNotWhicheverCallFails)
{
   failEachCall(
      [this] {
         open()->allocate("new", 100, "", 0);
         Index::open(Directory::open(control_, Directory::Trust::guarded)).bootIdIs("another boot");
         makeKnown();
      },
      [this] { open()->allocate("new", 100, "", 0); });
}

TEST_F(SystemCallsTest, aDomainIsMadeOrNotWhicheverCallFails)
{
   kept_ = "";

   failEachCall([] {}, [this] { open()->allocate("new", 100, "", 0); });
}

TEST_F(SystemCallsTest, aSharedDomainIsMadeOrNotWhicheverCallFails)
{
   kept_ = "";
   group_ = std::to_string(::getegid());

   failEachCall([] {}, [this] { open()->allocate("new", 100, "", 0); });
}

TEST_F(SystemCallsTest, noFileTakesTheNumberOfAStandardStreamThatIsClosed)
{
   pid_t const child = ::fork();
   if (child == 0) {
      auto const domain = open();
      for (int number = 0; number <= STDERR_FILENO; ++number) {
         ::close(number);
      }
      domain->allocate("packed", 100, "", 0);
      open()->allocate("large", 1 << 20, "", 4);
      int count = 0;
      for (int number = 0; number <= STDERR_FILENO; ++number) {
         count += ::fcntl(number, F_GETFD) < 0 ? 0 : 1;
      }
      ::_exit(count);
   }
   int status = 0;
   ::waitpid(child, &status, 0);

   EXPECT_EQ(status, 0);
}

TEST(SystemCallsOfSources, noSourceCallsTheSystemPastTheTable)
{
   std::regex const past("(^|[^A-Za-z_:])::(open|close|stat|lstat|fstat|mkdir|rmdir|unlink|rename|link|symlink|ch|fch|"
                         "read|write|pread|pwrite|lseek|fallocate|ftruncate|flock|fcntl|mmap|munmap|madvise|mremap|"
                         "opendir|fdopendir|syscall|ioctl)[a-z0-9]*\\(");
   std::size_t lookedAt = 0;
   for (auto const& file : std::filesystem::directory_iterator(PINMEM_SOURCES)) {
      if (file.path().stem() != "SystemCalls") {
         EXPECT_FALSE(std::regex_search(contentOf(file.path()), past)) << file.path();
         ++lookedAt;
      }
   }
   EXPECT_GT(lookedAt, 20U);
}
