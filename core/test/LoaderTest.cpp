#include <Quorvel/Core/Loader.h>

#include "support/MessageOf.h"

#include <Kro/Exception.h>
#include <Kro/GenericIf.h>
#include <Kro/KroModule.h>
#include <Kro/Table.h>

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <sstream>
#include <type_traits>

namespace {

using Quorvel::Core::Loader::Pimpl;
using Quorvel::Core::Loader::Singleton;
using Quorvel::Core::Test::messageOf;

extern Kro::KroModule familyModule;

/// A family of plugins with a word, and with the sub-directory that the base gives.
class Family final : public Singleton {
public:
   using Singleton::Singleton;

   ~Family() override { nodeFlagSet(flagDeleteOnLastUser, false); }

   Orvo::String prefixPath() const override { return "family"; }

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   static Kro::KroType const kroType;
   struct Declaration;
};

struct Family::Declaration {
   static constexpr auto table = Kro::table<Family, Singleton>(Kro::computed<300, &Family::prefixPath>("word"));
};

constinit Kro::KroType const Family::kroType = Kro::entityType<Family, Family::Declaration>("Family", &familyModule);

constexpr Kro::KroType const* types[] = {&Family::kroType};
constinit Kro::KroModule familyModule{"Family", "core/test/LoaderTest", types, {}};
[[maybe_unused]] bool const isRegistered = [] {
   Kro::kroModuleIs(familyModule);
   return true;
}();

TEST(LoaderSingleton, hasANameAFamilyWordAndNoSubDirectory)
{
   auto const sut = Orvo::make<Family>("Drivers");

   EXPECT_EQ(sut->name(), "Drivers");
   EXPECT_EQ(sut->nameString(), "Drivers");
   EXPECT_EQ(sut->prefixPath(), "family");
   EXPECT_EQ(sut->suffixPath(), "");
}

TEST(LoaderSingleton, answersReflectionThroughTheDerivedClass)
{
   auto const sut = Orvo::make<Family>("Drivers");
   auto const generic = Kro::GenericIf::ofNode(*sut);
   Orvo::String prefix;
   Orvo::String suffix = "unchanged";
   Orvo::String name;

   EXPECT_EQ(generic.get(258, Kro::GenericIf::of(prefix)), Kro::success);
   EXPECT_EQ(generic.get(259, Kro::GenericIf::of(suffix)), Kro::success);
   EXPECT_EQ(generic.get(154, Kro::GenericIf::of(name)), Kro::success);

   EXPECT_EQ(prefix, "family");
   EXPECT_EQ(suffix, "");
   EXPECT_EQ(name, "Drivers");
}

TEST(LoaderSingleton, isTrackedAsLongAsItLives)
{
   auto const before = Singleton::memAllocationTracker_.liveCount();
   {
      auto const sut = Orvo::make<Family>("Drivers");
      EXPECT_EQ(Singleton::memAllocationTracker_.liveCount(), before + 1);
   }
   EXPECT_EQ(Singleton::memAllocationTracker_.liveCount(), before);
}

/// A family that lies in a sub-directory of another.
class SubFamily final : public Singleton {
public:
   using Singleton::Singleton;

   ~SubFamily() override { nodeFlagSet(flagDeleteOnLastUser, false); }

   Orvo::String prefixPath() const override { return "family"; }

   Orvo::String suffixPath() const override { return "below"; }
};

TEST(LoaderSingleton, givesTheSubDirectoryOfADerivedClassByReflection)
{
   auto const sut = Orvo::make<SubFamily>("Drivers");
   Orvo::String suffix;

   EXPECT_EQ(Kro::GenericIf::ofNode(*sut).get(259, Kro::GenericIf::of(suffix)), Kro::success);

   EXPECT_EQ(suffix, "below");
}

TEST(LoaderSingleton, isAnEntityThatOnlyADerivedClassCompletes)
{
   EXPECT_TRUE((std::is_base_of_v<Kro::Entity, Singleton>));
   EXPECT_TRUE(std::is_abstract_v<Singleton>);
}

/// @return the number of the virtual function's slot, as the common C++ ABI encodes it in a pointer to member
template <class Member>
std::size_t slotOf(Member member)
{
   std::uintptr_t offsetPlusOne;
   static_assert(sizeof member == 2 * sizeof offsetPlusOne);
   std::memcpy(&offsetPlusOne, &member, sizeof offsetPlusOne);
   EXPECT_EQ(offsetPlusOne % 2, 1U) << "not virtual";
   return (offsetPlusOne - 1) / sizeof(void*);
}

TEST(LoaderSingleton, virtualFunctionsKeepTheirSlots)
{
   EXPECT_EQ(slotOf(&Singleton::lastUserGone), 2U);
   EXPECT_EQ(slotOf(&Singleton::publisher), 3U);
   EXPECT_EQ(slotOf(&Singleton::typeData), 4U);
   EXPECT_EQ(slotOf(&Singleton::handleParent), 5U);
   EXPECT_EQ(slotOf(&Singleton::prefixPath), 6U);
   EXPECT_EQ(slotOf(&Singleton::suffixPath), 7U);
}

TEST(LoaderPimpl, anyTwoAreEqualAndEachIsFalse)
{
   Pimpl const sut;
   Pimpl const other;

   EXPECT_EQ(sut, other);
   EXPECT_TRUE(Pimpl::isEq(&sut, &other));
   EXPECT_TRUE(Pimpl::isEq(nullptr, &other));
   EXPECT_TRUE(Pimpl::isEq(nullptr, nullptr));
   EXPECT_FALSE(static_cast<bool>(sut));
   EXPECT_TRUE(std::is_empty_v<Pimpl>);
   EXPECT_EQ(&sut.typeData(), &Pimpl::kroType);
}

TEST(LoaderPimpl, writesTheEmptyText)
{
   std::ostringstream stream;

   stream << Pimpl();

   EXPECT_EQ(stream.str(), "");
}

TEST(LoaderPimpl, hasNoHash)
{
   Pimpl value;

   EXPECT_EQ(
      messageOf<Kro::UnhashableException>([&] { static_cast<void>(Kro::GenericIf::of(value).hash()); }),
      "a value of type 'Quorvel::Core::Loader::Pimpl' has no hash");
}

TEST(LoaderPimpl, instantiateGivesTheLivingSingleton)
{
   auto const family = Kro::Entity::singletonIs(familyModule, 1, "Family");
   ASSERT_NE(family, nullptr);

   EXPECT_EQ(Pimpl::instantiate("Family"), family);

   Orvo::Ptr<Kro::Entity> found;
   Orvo::String const name = "Family";
   std::array const arguments{Kro::GenericIf::of(name)};
   EXPECT_EQ(Pimpl::kroType.genericIf().call(2, arguments, Kro::GenericIf::of(found)), Kro::success);
   EXPECT_EQ(found, family);
}

TEST(LoaderPimpl, instantiateReportsAnUnknownSingleton)
{
   EXPECT_EQ(
      messageOf<Kro::EntityNotFoundException>([] { Pimpl::instantiate("Nobody"); }), "no singleton is named 'Nobody'");
}

} // namespace
