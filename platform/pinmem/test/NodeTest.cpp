#include "src/Node.h"
#include "src/SystemCalls.h"
#include "test/support/RefusalOf.h"
#include "test/support/TemporaryDirectory.h"
#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

using namespace pinmem_lib;
using namespace pinmem_test;

namespace {

class NodeTest : public testing::Test {
protected:
   ~NodeTest() override { systemCalls = calls_; }

   SystemCalls const calls_ = systemCalls;
   TemporaryDirectory const temporary_;
   FileDescriptor const file_ = FileDescriptor(::open((temporary_ / "a").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));

   /// Where the next page is said to be.
   static inline int nodeSaid = 0;
};

} // namespace

TEST_F(NodeTest, aWishIsANumberAndPerhapsAnExclamationMark)
{
   EXPECT_EQ(NodeWish::parse("0"), (NodeWish{0, false}));
   EXPECT_EQ(NodeWish::parse("12!"), (NodeWish{12, true}));
   for (char const* const text : {"", "!", "-1", "a", "0!!", "0 ", " 0", "99999999999", "1,2"}) {
      EXPECT_EQ(NodeWish::parse(text), std::nullopt) << text;
   }
}

TEST_F(NodeTest, withoutAWishNothingIsDone)
{
   systemCalls.bindToNode = [](void*, std::size_t, int, bool) { return -1; };
   systemCalls.nodeOf = [](void*) { return -1; };

   bindFile(file_, 4096, {});
   checkNode(nullptr, 4096, 4096, {});

   EXPECT_EQ(::lseek(file_.number(), 0, SEEK_END), 0);
}

TEST_F(NodeTest, aFileIsBoundAsLongAsItWillBe)
{
   if (::access("/sys/devices/system/node/node0", F_OK) != 0) {
      GTEST_SKIP() << "this kernel knows no NUMA nodes";
   }
   bindFile(file_, 8192, {0, true});

   EXPECT_EQ(::lseek(file_.number(), 0, SEEK_END), 8192);
}

TEST_F(NodeTest, aNodeThatIsNotThereIsRefused)
{
   EXPECT_EQ(
      refusalOf([&] {
         bindFile(file_, 4096, {1000, false});
      }),
      "memory cannot be bound to node 1000: Invalid argument; set PINMEM_NODE to a node that "
      "/sys/devices/system/node/has_memory names, or unset it");
}

TEST_F(NodeTest, aStrictWishThatWasNotHeldIsRefused)
{
   systemCalls.nodeOf = [](void*) { return nodeSaid--; };
   char memory[3 * 4096] = {};
   nodeSaid = 1;

   EXPECT_EQ(
      refusalOf([&] {
         checkNode(memory, sizeof(memory), 4096, {1, true});
      }),
      "PINMEM_NODE=1! is set, but memory came from node 0; free memory there, or leave out the '!'");
   nodeSaid = 0;
   EXPECT_EQ(refusalOf([&] { checkNode(memory, 4096, 4096, {0, true}); }), "");
   EXPECT_EQ(refusalOf([&] { checkNode(memory, sizeof(memory), 4096, {5, false}); }), "");
}
