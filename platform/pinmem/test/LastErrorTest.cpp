#include "src/LastError.h"
#include <gtest/gtest.h>
#include <string>
#include <thread>

using namespace pinmem_lib;

TEST(LastError, isEmptyOnAThreadWithoutRefusals)
{
   std::string other = "unset";

   lastErrorIs("mine");
   std::thread([&] { other = lastError(); }).join();

   EXPECT_EQ(other, "");
   EXPECT_STREQ(lastError(), "mine");
}

TEST(LastError, keepsTheLastText)
{
   lastErrorIs("a long first text");
   lastErrorIs("short");

   EXPECT_STREQ(lastError(), "short");
}

TEST(LastError, keepsTheLongestTextWhole)
{
   std::string const text(2047, 'x');

   lastErrorIs(text);

   EXPECT_EQ(lastError(), text);
}

TEST(LastError, showsThatALongerTextWasCut)
{
   lastErrorIs(std::string(2048, 'x'));

   EXPECT_EQ(lastError(), std::string(2044, 'x') + "...");
}
