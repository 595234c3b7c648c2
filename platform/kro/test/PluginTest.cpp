// Types that cross the border of a shared library: one that is loaded at run time, keeps its symbols to itself and may
// be the work of another compiler.
#include "support/MessageOf.h"

#include <Kro/Dir.h>
#include <Kro/Exception.h>
#include <Kro/GenericIf.h>
#include <Kro/KroModule.h>

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <array>
#include <string>
#include <utility>

namespace Test {
namespace {

using Kro::GenericIf;

class Plugin : public testing::TestWithParam<std::pair<char const*, char const*>> {
protected:
   void SetUp() override
   {
      // Loaded once and never unloaded: what is registered stays.
      ASSERT_NE(dlopen(GetParam().second, RTLD_NOW | RTLD_LOCAL), nullptr) << dlerror();
      link = Kro::globalDir()->createEntity(typeName("Link"), typeName("link"));
   }

   void TearDown() override { Kro::globalDir()->deleteEntity(typeName("link")); }

   static Orvo::String typeName(char const* name) { return Orvo::join(GetParam().first, "::", name); }

   Orvo::Ptr<Kro::Entity> link;
};

TEST_P(Plugin, registersItsModuleWhenItIsLoaded)
{
   auto const* const sut = Kro::findModule(GetParam().first);

   ASSERT_NE(sut, nullptr);
   EXPECT_EQ(sut->types.size(), 2U);
   EXPECT_EQ(&link->fwkType(), &Kro::typeNode(typeName("Link")));
}

TEST_P(Plugin, hasTheSameLeafTypesAsEverybody)
{
   auto const& packet = Kro::typeNode(typeName("Packet"));

   EXPECT_EQ(packet.attr("text").type, Kro::typeRefOf<Orvo::String>());
   EXPECT_EQ(packet.attr("size").type, Kro::typeRefOf<std::uint32_t>());
   EXPECT_EQ(packet.attr("isLast").type, Kro::typeRefOf<bool>());
   EXPECT_NE(packet.attr("size").type, Kro::typeRefOf<std::int32_t>());
}

TEST_P(Plugin, inheritsTheFrameworksTypes)
{
   EXPECT_TRUE(link->fwkType().isA(Kro::Dir::kroType));
   EXPECT_NE(Orvo::dynamicCast<Kro::Dir>(link), nullptr);
   EXPECT_EQ(&link->fwkType().attr("nameString"), &Kro::Entity::kroType.attr("nameString"));
}

TEST_P(Plugin, isReadAndWrittenByNumber)
{
   auto const sut = GenericIf::ofNode(*link);
   std::uint32_t speed = 0;
   Orvo::String name;

   EXPECT_EQ(sut.get(300, GenericIf::of(speed)), Kro::success);
   EXPECT_EQ(speed, 100U);
   speed = 200;
   EXPECT_EQ(sut.set(300, GenericIf::of(speed)), Kro::success);
   speed = 0;
   EXPECT_EQ(sut.get(300, GenericIf::of(speed)), Kro::success);
   EXPECT_EQ(speed, 200U);
   EXPECT_EQ(sut.get(154, GenericIf::of(name)), Kro::success);
   EXPECT_EQ(name, typeName("link"));
}

TEST_P(Plugin, showsValuesOfItsOwnTypes)
{
   Orvo::String text;

   link->fwkType().attr("packet").show(
      static_cast<Orvo::Node*>(link.get()),
      [](void* context, void const*, void const* packet) {
         auto const& type = Kro::typeNode(typeName("Packet"));
         GenericIf const sut({&type, Kro::Form::plain}, const_cast<void*>(packet));
         EXPECT_EQ(sut.get(2, GenericIf::of(*static_cast<Orvo::String*>(context))), Kro::success);
         return true;
      },
      &text);

   EXPECT_EQ(text, Orvo::join("from ", GetParam().first));
}

TEST_P(Plugin, throwsExceptionsThatAreCaughtHere)
{
   Orvo::String text = "thrown over there";

   EXPECT_EQ(
      messageOf<Kro::RangeException>(
         [&] { static_cast<void>(GenericIf::ofNode(*link).call(302, std::array{GenericIf::of(text)})); }),
      "thrown over there");
}

TEST_P(Plugin, refusesASlotOfAnotherType)
{
   std::int32_t wrong = 0;

   EXPECT_EQ(
      messageOf<Kro::TypeException>(
         [&] { static_cast<void>(GenericIf::ofNode(*link).get(300, GenericIf::of(wrong))); }),
      "a slot of type 'int32' cannot be used as 'uint32'");
}

std::string nameOf(testing::TestParamInfo<Plugin::ParamType> const& info)
{
   return info.param.first;
}

INSTANTIATE_TEST_SUITE_P(Compilers, Plugin, testing::Values(PLUGINS), nameOf);

} // namespace
} // namespace Test
