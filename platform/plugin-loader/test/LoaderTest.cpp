#include <Plugin/Loader.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <type_traits>

namespace {

using Sut = Plugin::Loader<void>;

TEST(Loader, holdsAWordAndTwoTextsInThisOrder)
{
   EXPECT_EQ(offsetof(Sut, state), 0U);
   EXPECT_EQ(offsetof(Sut, searchPath), sizeof(std::uintptr_t));
   EXPECT_EQ(offsetof(Sut, message), sizeof(std::uintptr_t) + sizeof(Orvo::String));
   EXPECT_EQ(sizeof(Sut), sizeof(std::uintptr_t) + 2 * sizeof(Orvo::String));
}

TEST(Loader, isEmptyWhenItIsMade)
{
   Sut const sut;

   EXPECT_EQ(sut.state, 0U);
   EXPECT_EQ(sut.searchPath, "");
   EXPECT_EQ(sut.message, "");
}

} // namespace
