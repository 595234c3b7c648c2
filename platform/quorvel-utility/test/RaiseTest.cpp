#include <Quorvel/Utility/Raise.h>

#include <Quorvel/Utility/Affirm.h>

#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

namespace Utility = Quorvel::Utility;

namespace {

struct Refusal : std::invalid_argument {
   explicit Refusal(int code_) : std::invalid_argument("refused"), code(code_) {}

   int code;
};

} // namespace

TEST(Raise, throwsTheObjectWithItsOwnType)
{
   try {
      Utility::raise(Refusal(7));
   } catch (std::invalid_argument const& exception) {
      auto const* const refusal = dynamic_cast<Refusal const*>(&exception);
      ASSERT_NE(refusal, nullptr);
      EXPECT_EQ(refusal->code, 7);
      EXPECT_STREQ(refusal->what(), "refused");
   }
}

TEST(Raise, throwsWhatIsNoStandardExceptionToo)
{
   EXPECT_THROW(Utility::raise(42), int);
   EXPECT_THROW(Utility::raise(std::string("text")), std::string);
}

TEST(Raise, throwsACopyOfAConstantObject)
{
   std::out_of_range const exception("far");

   EXPECT_THROW(Utility::raise(exception), std::out_of_range);
}

TEST(Raise, takesAnObjectNamedByAReferenceToItsOwnType)
{
   std::out_of_range const exception("far");
   std::out_of_range const& reference = exception;

   EXPECT_THROW(Utility::raise(reference), std::out_of_range);
}

TEST(Raise, refusesAnObjectNamedByABaseClassBecauseACopyWouldLoseItsType)
{
   Refusal const refusal(7);
   std::invalid_argument const& base = refusal;
   int line = 0;

   try {
      line = __LINE__ + 1;
      Utility::raise(base);
   } catch (Utility::AffirmException const& exception) {
      EXPECT_STREQ(exception.file(), __FILE__);
      EXPECT_EQ(exception.line(), line);
      return;
   } catch (...) {
      FAIL() << "threw a part of the object";
   }
}
