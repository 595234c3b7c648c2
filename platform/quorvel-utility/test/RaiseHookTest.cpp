// Does not link the library: takes its place for `noteRaise`, as a program does that counts refusals.

#include <Quorvel/Utility/Raise.h>

#include <stdexcept>
#include <typeindex>
#include <vector>

#include <gtest/gtest.h>

namespace {

std::vector<std::type_index> noted;

} // namespace

void Quorvel::Utility::noteRaise(std::type_info const& exceptionType) noexcept
{
   noted.emplace_back(exceptionType);
}

TEST(RaiseHook, isToldOfEachExceptionBeforeItIsThrown)
{
   EXPECT_THROW(Quorvel::Utility::raise(std::out_of_range("a")), std::out_of_range);
   EXPECT_THROW(Quorvel::Utility::raise(std::invalid_argument("b")), std::invalid_argument);

   EXPECT_EQ(noted, (std::vector<std::type_index>{typeid(std::out_of_range), typeid(std::invalid_argument)}));
}
