#include <Kro/Model.h>

#include <Kro/Dir.h>
#include <Kro/GenericIf.h>

#include <gtest/gtest.h>

#include <array>

namespace Kro {
namespace {

TEST(Model, theFrameworksOwnTypesAreRegistered)
{
   EXPECT_EQ(findModule("Kro"), &kroModule);
   EXPECT_EQ(kroModule.source, "Kro/Model");
   EXPECT_EQ(kroModule.types.size(), 2U);
   EXPECT_EQ(&typeNode("Kro::Entity"), &Entity::kroType);
   EXPECT_EQ(&typeNode("Kro::Dir"), &Dir::kroType);
   EXPECT_EQ(Dir::kroType.index(), Entity::kroType.index() + 1);
}

TEST(Model, everyEntityTypeInheritsItsName)
{
   EXPECT_EQ(Dir::kroType.attr("nameString").number, 154);
   EXPECT_EQ(Dir::kroType.attr("nameString").kind, Kind::computed);
}

TEST(Model, aDirectoryIsReachedByReflection)
{
   auto const dir = Orvo::make<Dir>("d");
   auto const sut = GenericIf::ofNode(*dir);
   Orvo::String type = "Kro::Dir";
   Orvo::String name = "child";
   Orvo::String own;

   EXPECT_EQ(sut.get(154, GenericIf::of(own)), success);
   EXPECT_EQ(own, "d");
   EXPECT_EQ(sut.collectionIs(258, std::array{GenericIf::of(type), GenericIf::of(name)}), success);
   EXPECT_EQ(Dir::kroType.attr("entity").collection->size(static_cast<Orvo::Node*>(dir.get())), 1U);
   EXPECT_EQ(sut.collectionDel(258, std::array{GenericIf::of(name)}, GenericIf(TypeRef{})), success);
   EXPECT_TRUE(dir->entity().empty());
}

} // namespace
} // namespace Kro
