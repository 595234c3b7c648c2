// Where a mount goes in the tree, and how its path is read.

#include "support/ManagerTest.h"
#include "support/MessageOf.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

namespace {

using Quorvel::Core::Memory::Entity::managerFactory;
using Quorvel::Core::Memory::Info::Mount;
using Quorvel::Core::Test::describeMount;
using Quorvel::Core::Test::describeOddMount;
using Quorvel::Core::Test::DirectoryMount;
using Quorvel::Core::Test::messageOf;
using Quorvel::Core::Test::TestMount;
using testing::ElementsAre;
using testing::UnorderedElementsAre;

class EntityManagerPath : public Quorvel::Core::Test::ManagerTest {};

TEST_F(EntityManagerPath, mountCreatesOrFindsTheDirectoriesOfThePath)
{
   sut->mount(describeMount("d1/d2/x", "x"));
   auto const directory = sut->entify("d1/d2");
   sut->mount(describeMount("d1/d2/y", "y"));

   EXPECT_EQ(sut->entify("d1/d2"), directory);
   EXPECT_EQ(&directory->fwkType(), &Kro::Dir::kroType);
   EXPECT_THAT(namesIn(*Orvo::dynamicCast<Kro::Dir>(directory)), UnorderedElementsAre("x", "y"));
   EXPECT_EQ(sut->entify("d1/d2/y")->fullName(), "/m/zumem/d1/d2/y");
}

TEST_F(EntityManagerPath, piecesOfAPathAreTakenLiterally)
{
   for (auto const* path : {"/x", "d//x", "e/", "../x", "."}) {
      sut->mount(Mount(path, "TestMount"));
      EXPECT_EQ(&sut->entify(path)->fwkType(), &TestMount::kroType) << path;
      sut->mount(Mount(path, "TestMount"));
   }

   EXPECT_THAT(namesIn(*sut->directory()), UnorderedElementsAre("", "d", "e", "..", "."));
}

TEST_F(EntityManagerPath, emptyPathIsTheEntityWithTheEmptyName)
{
   sut->mount(Mount("", "TestMount"));

   EXPECT_EQ(sut->entify("")->fullName(), "/m/zumem/");
   EXPECT_THAT(namesIn(*sut->directory()), ElementsAre(""));
}

TEST_F(EntityManagerPath, emptyPieceThatIsAMountCannotHoldMore)
{
   sut->mount(Mount("", "TestMount"));

   EXPECT_EQ(
      messageOf<std::invalid_argument>([&] { sut->mount(Mount("/x", "TestMount")); }),
      "path='/x' leads through '', which is no directory.");
}

TEST_F(EntityManagerPath, mountBelowAnEntityThatIsNoDirectoryFails)
{
   sut->mount(describeMount("x", "r"));

   auto const below = messageOf<std::invalid_argument>([&] { sut->mount(describeMount("x/y", "s")); });
   auto const deeper = messageOf<std::invalid_argument>([&] { sut->mount(describeMount("x/y/z", "s")); });

   EXPECT_EQ(below, "path='x/y' leads through 'x', which is no directory.");
   EXPECT_EQ(deeper, "path='x/y/z' leads through 'x', which is no directory.");
   EXPECT_EQ(mounted("x")->ring->capacity(), 8U);
   EXPECT_EQ(store().chunk("s.command.0"), nullptr);
   EXPECT_EQ(sut->infoMount("x/y"), describeMount("x/y", "s"));
}

TEST_F(EntityManagerPath, mountBelowAMountThatIsADirectoryWorks)
{
   sut->mount(describeOddMount("d", "DirectoryMount"));
   sut->mount(describeMount("d/x", "r"));

   EXPECT_EQ(sut->entify("d/x")->parent(), sut->entify("d").get());
   EXPECT_EQ(Orvo::dynamicCast<DirectoryMount>(sut->entify("d"))->ring->capacity(), 4U);
}

TEST_F(EntityManagerPath, managersOfDifferentNamesMountTheSamePathApart)
{
   auto const other = managerFactory("other");

   sut->mount(describeMount("a", "r"));
   other->mount(describeMount("a", "s"));

   EXPECT_NE(sut->entify("a"), other->entify("a"));
   EXPECT_EQ(other->entify("a")->fullName(), "/other/zumem/a");
}

} // namespace
