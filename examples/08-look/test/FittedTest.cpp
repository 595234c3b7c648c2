#include "look/Fitted.h"

#include "look/Wording.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace Look;

TEST(LookFitted, leavesWhatFits)
{
   EXPECT_EQ(fitted("controller/queues", 11, 280), "controller/queues");
   EXPECT_EQ(fitted("", 11, 0), "");
}

TEST(LookFitted, cutsWideLettersSoonerThanNarrowOnes)
{
   auto const wide = fitted(std::string(60, 'W'), 11, 280);
   auto const narrow = fitted(std::string(60, 'i'), 11, 280);

   EXPECT_LT(width(wide), 26U); // 280 / 11, and the ellipsis
   EXPECT_EQ(narrow, std::string(60, 'i'));
}

TEST(LookFitted, keepsBothEnds)
{
   EXPECT_EQ(fitted("aWWWWWWWWWWWWWWWWWWWWWWWWWWWWWWWz", 10, 40), "a\u2026Wz");
}

TEST(LookFitted, keepsThreeCharactersInNoRoom)
{
   EXPECT_EQ(fitted("abcdef", 11, 0), "a\u2026f");
   EXPECT_EQ(fitted("abc", 11, 0), "abc");
}

} // namespace
