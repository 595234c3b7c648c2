#include <Kro/KroModule.h>

#include "support/Card.h"
#include "support/MessageOf.h"

#include <Kro/Exception.h>
#include <Kro/TypeOf.h>

#include <gtest/gtest.h>

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Test {
namespace {

using Kro::KroModule;
using Kro::KroType;

/// A module with types of the given names, all of them its own, made at run time. Modules that are registered stay for
/// good: those are static.
class Made {
public:
   Made(std::string_view name, std::initializer_list<std::string_view> typeNames)
      : Made(name, std::span(typeNames.begin(), typeNames.size()))
   {}

   Made(std::string_view name, std::span<std::string_view const> typeNames)
   {
      types_.reserve(typeNames.size());
      for (auto const typeName : typeNames) {
         Kro::TypeData data;
         data.name = typeName;
         data.module = &module_;
         types_.emplace_back(data);
      }
      for (auto const& type : types_) {
         pointers_.push_back(&type);
      }
      module_.name = name;
      module_.types = pointers_;
   }

   Made(Made const&) = delete;
   Made& operator=(Made const&) = delete;

   KroModule& module() { return module_; }

   KroType& type(std::size_t position) { return types_[position]; }

   std::string refusal()
   {
      return messageOf<Kro::ModuleException>([&] { Kro::kroModuleIs(module_); });
   }

private:
   KroModule module_;
   std::vector<KroType> types_;
   std::vector<KroType const*> pointers_;
};

std::size_t moduleCount()
{
   std::size_t count = 0;
   for (auto const* at = Kro::firstModule(); at != nullptr; at = at->next) {
      ++count;
   }
   return count;
}

TEST(KroModule, aRegisteredModuleIsFoundWithItsTypes)
{
   static Made sut("found", {"Found::A", "Found::B"});
   ASSERT_EQ(Kro::findModule("found"), nullptr);

   Kro::kroModuleIs(sut.module());

   EXPECT_EQ(Kro::findModule("found"), &sut.module());
   EXPECT_EQ(Kro::firstModule(), &sut.module());
   EXPECT_EQ(Kro::findType("Found::A"), &sut.type(0));
   EXPECT_EQ(&Kro::typeNode("Found::B"), &sut.type(1));
   EXPECT_EQ(sut.type(1).index(), sut.type(0).index() + 1);
}

TEST(KroModule, registeringItAgainDoesNothing)
{
   static Made sut("again", {"Again::A"});
   Kro::kroModuleIs(sut.module());
   auto const count = moduleCount();
   auto const index = sut.type(0).index();

   Kro::kroModuleIs(sut.module());

   EXPECT_EQ(moduleCount(), count);
   EXPECT_EQ(sut.type(0).index(), index);
}

TEST(KroModule, indicesOfModulesDoNotOverlap)
{
   static Made first("first", {"First::A", "First::B"});
   static Made none("none", {});
   static Made second("second", {"Second::A"});

   Kro::kroModuleIs(first.module());
   Kro::kroModuleIs(none.module());
   Kro::kroModuleIs(second.module());

   EXPECT_EQ(second.type(0).index(), first.type(1).index() + 1);
}

TEST(KroModule, theModuleKeepsTheOrderOfItsTypesAndWhatItRefersTo)
{
   auto const* sut = Kro::findModule("Test");

   ASSERT_EQ(sut, &testModule);
   EXPECT_EQ(sut->source, "Test/Card");
   EXPECT_EQ(sut->types.front(), &Port::kroType);
   EXPECT_EQ(sut->types.back(), &Picky::kroType);
   EXPECT_EQ(sut->refersTo.front(), &Kro::Entity::kroType);
}

TEST(KroModule, findComparesWholeNames)
{
   EXPECT_EQ(Kro::findModule("Tes"), nullptr);
   EXPECT_EQ(Kro::findModule(""), nullptr);
   EXPECT_EQ(Kro::findType("Test::Car"), nullptr);
   EXPECT_EQ(Kro::findType("Test::Cards"), nullptr);
   EXPECT_EQ(Kro::findType(""), nullptr);
   EXPECT_EQ(Kro::findType("uint32"), nullptr) << "leaf types are in no module";
}

TEST(KroModule, typeNodeNamesTheUnknownType)
{
   EXPECT_EQ(
      messageOf<Kro::TypeNotFoundException>([] { Kro::typeNode("Test::Unknown"); }),
      "no registered type is named 'Test::Unknown'");
}

TEST(KroModule, aTypeNameTwiceInOneModuleIsRefused)
{
   Made sut("twice", {"Twice::A", "Twice::B", "Twice::A"});

   EXPECT_EQ(sut.refusal(), "module 'twice' cannot be registered: it holds two types named 'Twice::A'");
}

TEST(KroModule, aTypeNameOfAnotherModuleIsRefused)
{
   Made sut("copy", {"Copy::A", "Test::Card"});

   EXPECT_EQ(
      sut.refusal(), "module 'copy' cannot be registered: type 'Test::Card' is registered already by module 'Test'");
}

TEST(KroModule, aBaseThatNoModuleHoldsIsRefused)
{
   Made base("unknown base", {"Unknown::Base"});
   Made sut("derived", {"Derived::A"});
   sut.type(0).base = &base.type(0);

   EXPECT_EQ(
      sut.refusal(), "module 'derived' cannot be registered: the base 'Unknown::Base' of its type 'Derived::A' is "
                     "neither registered nor earlier in this module");
}

TEST(KroModule, aBaseLaterInTheModuleIsRefusedAndOneEarlierIsNot)
{
   Made later("later", {"Later::A", "Later::B"});
   later.type(0).base = &later.type(1);
   static Made earlier("earlier", {"Earlier::A", "Earlier::B"});
   earlier.type(1).base = &earlier.type(0);

   EXPECT_EQ(
      later.refusal(), "module 'later' cannot be registered: the base 'Later::B' of its type 'Later::A' is neither "
                       "registered nor earlier in this module");
   EXPECT_EQ(earlier.refusal(), "nothing was thrown");
}

TEST(KroModule, aBaseInNoModuleIsRefused)
{
   Made sut("leaf base", {"LeafBase::A"});
   sut.type(0).base = &Kro::Leaf::uint32;

   EXPECT_EQ(
      sut.refusal(), "module 'leaf base' cannot be registered: the base 'uint32' of its type 'LeafBase::A' is neither "
                     "registered nor earlier in this module");
}

TEST(KroModule, aSecondModuleOfANameIsRefused)
{
   Made sut("Test", {"Second::Type"});

   EXPECT_EQ(sut.refusal(), "module 'Test' cannot be registered: another module of that name is registered already");
}

TEST(KroModule, aTypeThatNamesAnotherModuleIsRefused)
{
   Made sut("stranger", {"Stranger::A"});
   sut.type(0).module = &testModule;

   EXPECT_EQ(
      sut.refusal(),
      "module 'stranger' cannot be registered: the record of its type 'Stranger::A' names another module");
}

TEST(KroModule, aRefusedModuleLeavesNoTrace)
{
   auto const count = moduleCount();
   auto const* const newest = Kro::firstModule();
   {
      Made refused("refused", {"Refused::A", "Refused::B", "Refused::A"});
      refused.refusal();
      EXPECT_FALSE(refused.module().isRegistered);
      EXPECT_THROW(static_cast<void>(refused.type(0).index()), Kro::TypeNotFoundException);
   }
   EXPECT_EQ(Kro::findModule("refused"), nullptr);
   EXPECT_EQ(Kro::findType("Refused::A"), nullptr);
   EXPECT_EQ(moduleCount(), count);
   EXPECT_EQ(Kro::firstModule(), newest);

   static Made repaired("refused", {"Refused::A", "Refused::B"});
   auto const next = newest->firstIndex + newest->types.size();
   Kro::kroModuleIs(repaired.module());
   EXPECT_EQ(repaired.type(0).index(), next) << "no index was used up";
}

TEST(KroModule, everyOneOfManyTypesIsFoundAlsoAfterAsManyWereRefused)
{
   constexpr int count = 1500;
   static std::vector<std::string> names;
   std::vector<std::string_view> kept;
   std::vector<std::string_view> refused;
   names.reserve(2 * count);
   for (int i = 0; i < count; ++i) {
      kept.emplace_back(names.emplace_back("Many::Kept" + std::to_string(i)));
      refused.emplace_back(names.emplace_back("Many::Refused" + std::to_string(i)));
   }
   static Made sut("many kept", kept);
   Kro::kroModuleIs(sut.module());
   refused.push_back(kept.back());
   Made twice("many refused", refused);

   EXPECT_EQ(
      twice.refusal(), "module 'many refused' cannot be registered: type 'Many::Kept1499' is registered already "
                       "by module 'many kept'");

   for (std::size_t i = 0; i < count; ++i) {
      ASSERT_EQ(Kro::findType(kept[i]), &sut.type(i));
      ASSERT_EQ(Kro::findType(refused[i]), nullptr);
   }
}

TEST(KroModule, aRefusedTypeCanBeRegisteredByAnotherModule)
{
   Made first("first try", {"Tried::A", "Tried::B", "Tried::B"});
   first.refusal();
   static Made second("second try", {"Tried::A", "Tried::B"});

   EXPECT_EQ(second.refusal(), "nothing was thrown");

   EXPECT_EQ(Kro::findType("Tried::A"), &second.type(0));
   EXPECT_EQ(Kro::findType("Tried::B"), &second.type(1));
}

TEST(KroModule, oneRecordTwiceInAModuleIsRefused)
{
   Made sut("same", {"Same::A"});
   std::vector<KroType const*> const twice{&sut.type(0), &sut.type(0)};
   sut.module().types = twice;

   EXPECT_EQ(sut.refusal(), "module 'same' cannot be registered: it holds two types named 'Same::A'");
   EXPECT_EQ(Kro::findType("Same::A"), nullptr);
}

TEST(KroModule, moreTypesThanIndicesAreLeftAreRefused)
{
   std::vector<KroType const*> const all(65536, &Port::kroType);
   KroModule sut{"many", "", all, {}};

   EXPECT_EQ(
      messageOf<Kro::ModuleException>([&] { Kro::kroModuleIs(sut); }),
      "module 'many' cannot be registered: the process has no type index left");
}

} // namespace
} // namespace Test
