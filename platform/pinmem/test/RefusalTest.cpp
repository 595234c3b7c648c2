#include "src/Refusal.h"
#include "test/support/RefusalOf.h"
#include <cerrno>
#include <gtest/gtest.h>

using namespace pinmem_lib;
using pinmem_test::refusalOf;

TEST(Refusal, printableLeavesPrintableTextAlone)
{
   EXPECT_EQ(printable(" ring.rx~"), " ring.rx~");
   EXPECT_EQ(printable(""), "");
}

TEST(Refusal, printableEscapesControlBytesHighBytesAndTheBackslash)
{
   EXPECT_EQ(printable(std::string_view("\0\n\x1b\x7f\xff\\", 6)), "\\x00\\x0a\\x1b\\x7f\\xff\\x5c");
}

TEST(Refusal, printableKeepsDifferentTextsDifferent)
{
   EXPECT_NE(printable("\n"), printable("\\x0a"));
}

TEST(Refusal, refuseJoinsItsParts)
{
   EXPECT_EQ(refusalOf([] { refuse("a", 1, 'b', std::string("c")); }), "a1bc");
}

TEST(Refusal, systemTextIsWhatTheSystemSays)
{
   EXPECT_EQ(systemText(ENOSPC), "No space left on device");
}
