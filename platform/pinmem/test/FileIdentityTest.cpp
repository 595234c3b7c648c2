#include "src/FileIdentity.h"
#include "src/Directory.h"
#include "test/support/RefusalOf.h"
#include "test/support/TemporaryDirectory.h"
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>

using namespace pinmem_lib;
using namespace pinmem_test;

namespace {

constexpr char closed[] = "the descriptor of it was closed by another part of this process; close only your own";
constexpr char removed[] = "it was removed while this process used it; end all processes of the domain, then restart";

class FileIdentityTest : public testing::Test {
protected:
   TemporaryDirectory const temporary_;
   Directory const place_ = Directory::open(temporary_.path(), Directory::Trust::guarded);
   FileDescriptor file_ = place_.file("file", O_RDWR | O_CREAT);
   FileIdentity const sut_{file_.number()};

   std::string refusal() const
   {
      return refusalOf([&] { sut_.check(file_.number(), "it"); });
   }
};

} // namespace

TEST_F(FileIdentityTest, theFileItselfIsFine)
{
   EXPECT_EQ(refusal(), "");
   EXPECT_EQ(refusal(), "");
}

TEST_F(FileIdentityTest, aRemovedFileIsNoticed)
{
   std::filesystem::remove(temporary_ / "file");

   EXPECT_EQ(refusal(), removed);
}

TEST_F(FileIdentityTest, aReplacedFileIsNoticed)
{
   std::filesystem::rename(temporary_ / "file", temporary_ / "other");
   place_.file("file", O_RDWR | O_CREAT);
   std::filesystem::rename(temporary_ / "file", temporary_ / "other");

   EXPECT_EQ(refusal(), removed);
}

TEST_F(FileIdentityTest, aClosedDescriptorIsNoticed)
{
   ::close(file_.release());

   EXPECT_EQ(refusal(), closed);
}

TEST_F(FileIdentityTest, aDescriptorUsedAgainForAnotherFileIsNoticed)
{
   FileDescriptor const another = place_.file("another", O_RDWR | O_CREAT);

   ASSERT_EQ(::dup2(another.number(), file_.number()), file_.number());

   EXPECT_EQ(refusal(), closed);
}

TEST_F(FileIdentityTest, nothingIsTheFileOfADescriptorThatWasNeverOpen)
{
   EXPECT_EQ(refusalOf([&] { FileIdentity(-1).check(-1, "it"); }), closed);
}
