#include <Quorvel/Utility/Affirm.h>

#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

namespace Utility = Quorvel::Utility;

namespace {

template <class Function>
Utility::AffirmException failureOf(Function function)
{
   try {
      function();
   } catch (Utility::AffirmException const& exception) {
      return exception;
   }
   throw std::runtime_error("nothing was thrown");
}

struct FailsInDestructor {
   ~FailsInDestructor() { Utility::affirm(false); }
};

} // namespace

TEST(Affirm, doesNothingWhenTheConditionHolds)
{
   EXPECT_NO_THROW(Utility::affirm(true));
}

TEST(Affirm, throwsWithTheCallersFileAndLine)
{
   auto const line = __LINE__ + 1;
   auto const exception = failureOf([] { Utility::affirm(false); });

   EXPECT_EQ(exception.line(), line);
   EXPECT_STREQ(exception.file(), __FILE__);
   EXPECT_EQ(exception.what(), std::string(__FILE__) + ":" + std::to_string(line) + ": affirmation failed");
}

TEST(Affirm, takesAnExplicitLocation)
{
   EXPECT_STREQ(failureOf([] { Utility::affirm(false, "Chunk.cpp", 12); }).what(), "Chunk.cpp:12: affirmation failed");
}

TEST(Affirm, failureIsALogicError)
{
   EXPECT_THROW(Utility::affirm(false), std::logic_error);
}

TEST(AffirmDeathTest, endsTheProcessInADestructor)
{
   EXPECT_DEATH(FailsInDestructor(), "");
}
