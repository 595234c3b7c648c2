#include <Kro/Exception.h>

#include "support/Card.h"
#include "support/MessageOf.h"

#include <Kro/KroModule.h>

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <type_traits>

namespace Kro {
namespace {

using Test::messageOf;

template <class... E>
constexpr bool areTold =
   ((std::is_base_of_v<Exception, E> && !std::is_base_of_v<std::invalid_argument, E> &&
     std::is_nothrow_copy_constructible_v<E>)&&...);
static_assert(std::is_base_of_v<std::exception, Exception>);
static_assert(areTold<
              RangeException, EntityNotFoundException, TypeNotFoundException, AttrNotFoundException, TypeException,
              UnhashableException, ModuleException, NewEntityArgsException>);
static_assert(std::is_base_of_v<Exception, ReinstantiatingException>);
static_assert(std::is_base_of_v<Exception, ArgNullPointerException>);

TEST(Exception, whatIsExactlyTheText)
{
   EXPECT_STREQ(RangeException("index=4 is out of range").what(), "index=4 is out of range");
   EXPECT_STREQ(EntityNotFoundException("").what(), "");
}

TEST(Exception, aCopyKeepsTheTextAfterTheOriginalIsGone)
{
   auto original = std::make_unique<RangeException>("a text that is too long to lie in place");
   RangeException const copy(*original);

   original.reset();

   EXPECT_STREQ(copy.what(), "a text that is too long to lie in place");
}

TEST(Exception, throwMutatorReinstantiatingTellsBothValues)
{
   try {
      throwMutatorReinstantiating(::Test::testModule, "name", Orvo::String("a"), Orvo::String("b"));
      FAIL();
   } catch (ReinstantiatingException const& exception) {
      EXPECT_STREQ(exception.what(), "Test/Card: name=b is asked for, but name=a exists");
      EXPECT_EQ(exception.attribute(), "name");
      EXPECT_EQ(exception.existing(), "a");
      EXPECT_EQ(exception.asked(), "b");
   }
}

TEST(Exception, throwMutatorReinstantiatingTakesNumbersAndFlags)
{
   EXPECT_EQ(
      messageOf<ReinstantiatingException>(
         [] { throwMutatorReinstantiating(::Test::testModule, "size", std::uint32_t{4294967295}, std::uint32_t{0}); }),
      "Test/Card: size=0 is asked for, but size=4294967295 exists");
   EXPECT_EQ(
      messageOf<ReinstantiatingException>([] { throwMutatorReinstantiating(::Test::testModule, "id", -1, -32768); }),
      "Test/Card: id=-32768 is asked for, but id=-1 exists");
   EXPECT_EQ(
      messageOf<ReinstantiatingException>(
         [] { throwMutatorReinstantiating(::Test::testModule, "isOpen", false, true); }),
      "Test/Card: isOpen=true is asked for, but isOpen=false exists");
}

TEST(Exception, throwMutatorArgNullPointerNamesTheAttribute)
{
   try {
      throwMutatorArgNullPointerException(::Test::testModule, "group");
      FAIL();
   } catch (ArgNullPointerException const& exception) {
      EXPECT_STREQ(exception.what(), "Test/Card: group cannot be null");
      EXPECT_EQ(exception.attribute(), "group");
   }
}

TEST(Exception, throwNewEntityArgsNamesTypeAndEntityAndReason)
{
   EXPECT_EQ(
      messageOf<NewEntityArgsException>([] { throwNewEntityArgsException("Test::Card", "a/b", "it is broken"); }),
      "an entity of type 'Test::Card' named 'a/b' cannot be made: it is broken");
}

TEST(Exception, throwNewEntityArgsForAnObjectWithoutNameNamesTypeAndReason)
{
   EXPECT_EQ(
      messageOf<NewEntityArgsException>([] { throwNewEntityArgsException("Test::Card", "it is broken"); }),
      "an object of type 'Test::Card' cannot be made: it is broken");
}

TEST(Exception, throwMutatorReinstantiatingNamesTheMember)
{
   EXPECT_EQ(
      messageOf<ReinstantiatingException>(
         [] { throwMutatorReinstantiating(::Test::testModule, "size", 1, 2, "chunk 'a'"); }),
      "Test/Card chunk 'a': size=2 is asked for, but size=1 exists");
}

} // namespace
} // namespace Kro
