// Does not link the library: takes its place for `noteRaise`, as a library does that counts refusals.

#include <Quorvel/Utility/Raise.h>

#include <Quorvel/Utility/Affirm.h>

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

class RaiseHook : public testing::Test {
protected:
   RaiseHook() { noted.clear(); }
};

TEST_F(RaiseHook, isToldOfEachExceptionBeforeItIsThrown)
{
   EXPECT_THROW(Quorvel::Utility::raise(std::out_of_range("a")), std::out_of_range);
   EXPECT_THROW(Quorvel::Utility::raise(std::invalid_argument("b")), std::invalid_argument);

   EXPECT_EQ(noted, (std::vector<std::type_index>{typeid(std::out_of_range), typeid(std::invalid_argument)}));
}

TEST_F(RaiseHook, isNotToldOfAnObjectThatIsRefused)
{
   std::out_of_range const exception("far");
   std::logic_error const& base = exception;

   EXPECT_THROW(Quorvel::Utility::raise(base), Quorvel::Utility::AffirmException);

   EXPECT_TRUE(noted.empty());
}
