#include "support/TestMount.h"

#include <Quorvel/Core/Memory/Info/Mount.h>

#include <Kro/Exception.h>
#include <Kro/KroModule.h>

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

// When a mount looks its type up, told by a stand-in for the framework's look-up. A program of its own.

namespace {

std::vector<std::string> lookedUp;

} // namespace

Kro::KroType const& Kro::typeNode(std::string_view name)
{
   lookedUp.emplace_back(name);
   auto const* found = findType(name);
   return found != nullptr ? *found : throw TypeNotFoundException("not found by the stand-in");
}

namespace {

using Quorvel::Core::Memory::Info::Collection;
using Quorvel::Core::Memory::Info::Mount;
using testing::Test;

class InfoMountType : public Test {
protected:
   InfoMountType() { lookedUp.clear(); }

   static std::vector<std::string> once() { return {"TestMount"}; }

   Mount sut{"a", "TestMount"};
};

TEST_F(InfoMountType, isLookedUpAtFirstUseAndNeverAgain)
{
   EXPECT_TRUE(lookedUp.empty());

   sut.collectionIs(Collection("ring"));
   EXPECT_EQ(lookedUp, once());

   sut.collectionIs(Collection("buffer"));
   sut.collectionDel("ring");
   sut.handleCollection("ring");
   sut.collectionDelAll();
   EXPECT_EQ(lookedUp, once());
}

TEST_F(InfoMountType, isNotLookedUpWhereNothingIsDerived)
{
   sut.collectionDel("ring");
   sut.collectionDelAll();
   sut.collectionInternalIs(1, Collection("ring"));
   sut.collectionInternalDelAll();
   auto const copy = sut;

   EXPECT_EQ(copy, sut);
   EXPECT_TRUE(lookedUp.empty());
}

TEST_F(InfoMountType, isCopiedAndAssignedWithTheMount)
{
   sut.collectionIs(Collection("ring"));

   auto copy = sut;
   Mount assigned("b", "NoSuchType");
   assigned = sut;
   copy.collectionDelAll();
   assigned.collectionDelAll();

   EXPECT_EQ(lookedUp, once());
}

TEST_F(InfoMountType, isReplacedByTheOneOfAnAssignedMountThatHasNotLookedYet)
{
   sut.collectionIs(Collection("ring"));
   sut = Mount("a", "NoSuchType");

   EXPECT_THROW(sut.collectionIs(Collection("ring")), Kro::TypeNotFoundException);

   EXPECT_EQ(lookedUp, (std::vector<std::string>{"TestMount", "NoSuchType"}));
}

TEST_F(InfoMountType, isLookedUpAgainAfterItWasNotFound)
{
   Mount unknown("a", "NoSuchType");

   EXPECT_THROW(unknown.collectionIs(Collection("ring")), Kro::TypeNotFoundException);
   EXPECT_THROW(unknown.handleCollection("ring"), Kro::TypeNotFoundException);

   EXPECT_EQ(lookedUp, (std::vector<std::string>{"NoSuchType", "NoSuchType"}));
}

TEST_F(InfoMountType, takesNoPartInEquality)
{
   Mount const untouched = sut;

   sut.collectionIs(Collection("ring"));
   sut.collectionDel("ring");

   EXPECT_EQ(lookedUp, once());
   EXPECT_EQ(sut, untouched);
   EXPECT_FALSE(static_cast<bool>(Mount("", "")));
}

} // namespace
