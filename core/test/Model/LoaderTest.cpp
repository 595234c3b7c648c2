#include "support/ReflectedType.h"

#include <Quorvel/Core/Loader.h>
#include <Quorvel/Core/Model/Modules.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using Kro::GenericIf;
using Quorvel::Core::Loader::Pimpl;
using Quorvel::Core::Loader::Singleton;
using Quorvel::Core::Test::attributesOf;
using Quorvel::Core::Test::numbersNotRefused;
using Quorvel::Core::Test::typesOf;
using testing::ElementsAre;
using testing::IsEmpty;

/// A family of plugins whose type is that of its base.
class Family final : public Singleton {
public:
   using Singleton::Singleton;

   ~Family() override { nodeFlagSet(flagDeleteOnLastUser, false); }

   Orvo::String prefixPath() const override { return "family"; }
};

TEST(ModelLoader, holdsItsTwoTypesInOrder)
{
   EXPECT_EQ(_Loader_65b35f617e5fa89d_kroModule.name, "Loader");
   EXPECT_EQ(_Loader_65b35f617e5fa89d_kroModule.source, "Loader");
   EXPECT_EQ(Kro::findModule("Loader"), &_Loader_65b35f617e5fa89d_kroModule);
   EXPECT_THAT(
      typesOf(_Loader_65b35f617e5fa89d_kroModule),
      ElementsAre("Quorvel::Core::Loader::Pimpl", "Quorvel::Core::Loader::Singleton"));
   EXPECT_EQ(Kro::findType("Quorvel::Core::Loader::Pimpl"), &Pimpl::kroType);
   EXPECT_EQ(Kro::findType("Quorvel::Core::Loader::Singleton"), &Singleton::kroType);
}

TEST(ModelLoader, listsTheAttributesOfPimpl)
{
   Pimpl pimpl;
   auto const sut = GenericIf::of(pimpl);

   EXPECT_EQ(Pimpl::kroType.kind, Kro::TypeKind::value);
   EXPECT_THAT(attributesOf(sut), ElementsAre("2 instantiate: static(text) -> Ptr<Kro::Entity> []"));
   EXPECT_THAT(numbersNotRefused(sut), IsEmpty());
}

TEST(ModelLoader, listsTheAttributesOfSingleton)
{
   auto const family = Orvo::make<Family>("family");
   auto const sut = GenericIf::ofNode(*family);

   EXPECT_EQ(Singleton::kroType.kind, Kro::TypeKind::entity);
   EXPECT_EQ(Singleton::kroType.base, &Kro::Entity::kroType);
   EXPECT_EQ(Singleton::kroType.make, nullptr);
   EXPECT_THAT(
      attributesOf(sut), ElementsAre(
                            "154 nameString: computed() -> text [get]", "258 prefixPath: computed() -> text [get]",
                            "259 suffixPath: computed() -> text [get]"));
   EXPECT_THAT(numbersNotRefused(sut), IsEmpty());
}

TEST(ModelLoader, pimplHasNoHash)
{
   EXPECT_EQ(Pimpl::kroType.ops.hash, nullptr);
}

} // namespace
