#include "support/ChangeRecorder.h"
#include "support/MemoryTest.h"
#include "support/MessageOf.h"
#include "support/ReflectedType.h"
#include "support/TestMount.h"

#include <Quorvel/Core/Memory/Entity/Manager.h>
#include <Quorvel/Core/Model/Modules.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <stdexcept>

namespace {

using Kro::GenericIf;
using Quorvel::Core::Memory::Entity::Manager;
using Quorvel::Core::Memory::Entity::Detail::Info;
using Quorvel::Core::Memory::Entity::Detail::Orphanage;
using Quorvel::Core::Memory::Info::Mount;
using Quorvel::Core::Test::attributesOf;
using Quorvel::Core::Test::ChangeRecorder;
using Quorvel::Core::Test::describeMount;
using Quorvel::Core::Test::numbersNotRefused;
using Quorvel::Core::Test::typesOf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

class ModelManager : public Quorvel::Core::Test::MemoryTest {};

TEST_F(ModelManager, isRegisteredWithItsTypesAndWhatTheyReferTo)
{
   EXPECT_EQ(_Manager_3f1d6af35e273bc_kroModule.name, "Manager");
   EXPECT_EQ(_Manager_3f1d6af35e273bc_kroModule.source, "Memory/Entity/Manager");
   EXPECT_EQ(Kro::findModule("Manager"), &_Manager_3f1d6af35e273bc_kroModule);
   EXPECT_THAT(
      typesOf(_Manager_3f1d6af35e273bc_kroModule),
      ElementsAre(
         "Quorvel::Core::Memory::Entity::Detail::Info", "Quorvel::Core::Memory::Entity::Detail::Orphanage",
         "Quorvel::Core::Memory::Entity::Manager"));
   EXPECT_THAT(_Manager_3f1d6af35e273bc_kroModule.refersTo, Contains(&Mount::kroType));
   EXPECT_EQ(Manager::kroType.kind, Kro::TypeKind::entity);
   EXPECT_EQ(Kro::findType("Quorvel::Core::Memory::Entity::Manager"), &Manager::kroType);
}

TEST_F(ModelManager, listsTheAttributesOfManager)
{
   auto const manager = Orvo::make<Manager>("model");
   auto const sut = GenericIf::ofNode(*manager);

   EXPECT_THAT(
      attributesOf(sut),
      ElementsAre(
         "130 infoMount: collection text -> Memory::Info::Mount, hash; is(Memory::Info::Mount) del(text) -> "
         "Memory::Info::Mount delAll() []",
         "131 orphan: collection text -> Kro::Entity*, hash; is(text, Kro::Entity*) del(text) -> Kro::Entity* delAll() "
         "[]",
         "132 directory: value Ptr<Kro::Dir> [get]", "133 sysname: value text, given to the constructor [get]",
         "134 nameDirectory: value text [get]", "135 orphanage: value Ptr<Memory::Entity::Detail::Orphanage> [get]",
         "136 initialize: operation() []", "137 mountInternal: operation(Memory::Info::Mount) []",
         "138 instantiate: static(text) -> Ptr<Memory::Entity::Manager> []",
         "139 mount: operation(Memory::Info::Mount) []", "140 unmount: operation(text) []"));
   EXPECT_THAT(numbersNotRefused(sut), IsEmpty());
}

TEST_F(ModelManager, readsAManagerByNumber)
{
   auto const manager = Orvo::make<Manager>("model");
   auto const sut = GenericIf::ofNode(*manager);
   Orvo::Ptr<Kro::Dir> directory;
   Orvo::String sysname;
   Orvo::String nameDirectory;
   Orvo::Ptr<Orphanage> orphanage;

   EXPECT_EQ(sut.get(132, GenericIf::of(directory)), Kro::success);
   EXPECT_EQ(sut.get(133, GenericIf::of(sysname)), Kro::success);
   EXPECT_EQ(sut.get(134, GenericIf::of(nameDirectory)), Kro::success);

   EXPECT_EQ(sut.get(135, GenericIf::of(orphanage)), Kro::success);

   EXPECT_EQ(directory, manager->directory());
   EXPECT_EQ(sysname, "model");
   EXPECT_EQ(nameDirectory, "zumem");
   EXPECT_EQ(orphanage, Manager::orphanage());
}

TEST_F(ModelManager, mountsByNumberAndPassesTheRefusal)
{
   auto const manager = Orvo::make<Manager>("model");
   auto const sut = GenericIf::ofNode(*manager);
   auto mount = describeMount("a", "r");

   EXPECT_EQ(sut.call(139, std::array{GenericIf::of(mount)}), Kro::success);
   EXPECT_NE(manager->entify("a"), nullptr);

   mount.collectionDel("buffer");
   EXPECT_THROW(sut.call(139, std::array{GenericIf::of(mount)}), std::invalid_argument);
   EXPECT_EQ(sut.call(137, std::array{GenericIf::of(mount)}), Kro::success);
   EXPECT_EQ(manager->infoMount("a"), mount);
}

TEST_F(ModelManager, listsTheAttributesOfInfoAndOrphanage)
{
   Info info;
   EXPECT_THAT(
      attributesOf(GenericIf::of(info)),
      ElementsAre("2 sysname: value text [get set]", "3 path: value text [get set]"));
   EXPECT_THAT(numbersNotRefused(GenericIf::of(info)), IsEmpty());
   auto const orphanage = Orvo::make<Orphanage>("model");
   EXPECT_THAT(
      attributesOf(GenericIf::ofNode(*orphanage)),
      ElementsAre(
         "154 nameString: computed() -> text [get]",
         "258 info: collection Kro::Entity* -> Memory::Entity::Detail::Info, hash; is(Kro::Entity*, "
         "Memory::Entity::Detail::Info) del(Kro::Entity*) -> Memory::Entity::Detail::Info delAll() []"));
   EXPECT_THAT(numbersNotRefused(GenericIf::ofNode(*orphanage)), IsEmpty());
}

TEST_F(ModelManager, readsTheNameOfAnOrphanageByNumberWithoutItsDirectory)
{
   auto const directory = Orvo::make<Kro::Dir>("d");
   auto const orphanage = directory->createEntity(Orphanage::kroType.name, "own");
   Orvo::String name;

   EXPECT_EQ(GenericIf::ofNode(*orphanage).get(154, GenericIf::of(name)), Kro::success);

   EXPECT_EQ(name, "own");
}

TEST_F(ModelManager, hashesARecordLikeTheRecordItself)
{
   Info info;
   info.sysnameIs("a");

   ASSERT_NE(Info::kroType.ops.hash, nullptr);
   EXPECT_EQ(Info::kroType.ops.hash(&info), info.hash());
}

TEST_F(ModelManager, unmountsByNumberAndListsTheOrphan)
{
   auto const manager = Orvo::make<Manager>("model");
   manager->mount(describeMount("a", "r"));
   auto const sut = GenericIf::ofNode(*manager);
   Orvo::String const path = "a";

   EXPECT_EQ(sut.call(140, std::array{GenericIf::of(path)}), Kro::success);

   EXPECT_EQ(manager->orphan("/model/zumem/a"), manager->entify("a").get());
   Manager::orphanage()->infoDelAll();
}

TEST_F(ModelManager, findsItsDirectoryAgainByNumber)
{
   auto const manager = Orvo::make<Manager>("model");
   auto const before = manager->directory();
   Kro::globalDir()->deleteEntity("model");

   EXPECT_EQ(GenericIf::ofNode(*manager).call(136), Kro::success);

   EXPECT_NE(manager->directory(), before);
   EXPECT_EQ(manager->directory()->fullName(), "/model/zumem");
}

TEST_F(ModelManager, changesTheDescriptionsByNumber)
{
   auto const manager = Orvo::make<Manager>("model");
   auto const sut = GenericIf::ofNode(*manager);
   manager->orphanIs("orphan", manager->directory().get());
   Mount const a("a", "T");
   Mount const b("b", "T");
   Mount taken("", "");
   Orvo::String const path = "a";

   EXPECT_EQ(sut.collectionIs(130, std::array{GenericIf::of(a)}), Kro::success);
   EXPECT_EQ(sut.collectionIs(130, std::array{GenericIf::of(b)}), Kro::success);
   EXPECT_EQ(manager->infoMount("a"), a);
   EXPECT_EQ(sut.collectionDel(130, std::array{GenericIf::of(path)}, GenericIf::of(taken)), Kro::success);
   EXPECT_EQ(taken, a);
   EXPECT_EQ(manager->infoMount().size(), 1U);
   EXPECT_EQ(sut.collectionDelAll(130), Kro::success);

   EXPECT_TRUE(manager->infoMount().empty());
   EXPECT_EQ(manager->orphan().size(), 1U);
}

TEST_F(ModelManager, changesTheOrphansByNumber)
{
   auto const manager = Orvo::make<Manager>("model");
   auto const sut = GenericIf::ofNode(*manager);
   manager->infoMountIs(Mount("a", "T"));
   Kro::Entity* entity = manager->directory().get();
   Kro::Entity* taken = nullptr;
   Orvo::String const name = "orphan";
   Orvo::String const other = "other";

   EXPECT_EQ(sut.collectionIs(131, std::array{GenericIf::of(name), GenericIf::of(entity)}), Kro::success);
   EXPECT_EQ(sut.collectionIs(131, std::array{GenericIf::of(other), GenericIf::of(entity)}), Kro::success);
   EXPECT_EQ(manager->orphan("orphan"), entity);
   EXPECT_EQ(sut.collectionDel(131, std::array{GenericIf::of(name)}, GenericIf::of(taken)), Kro::success);
   EXPECT_EQ(taken, entity);
   EXPECT_EQ(manager->orphan().size(), 1U);
   EXPECT_EQ(sut.collectionDelAll(131), Kro::success);

   EXPECT_TRUE(manager->orphan().empty());
   EXPECT_EQ(manager->infoMount().size(), 1U);
}

TEST_F(ModelManager, changesTheRecordsByNumberAndPublishesThat)
{
   auto const orphanage = Orvo::make<Orphanage>("model");
   auto const sut = GenericIf::ofNode(*orphanage);
   ChangeRecorder const recorder(*orphanage->publisher());
   auto const directory = Orvo::make<Kro::Dir>("x");
   Kro::Entity* entity = directory.get();
   Info info;
   info.sysnameIs("a");
   Info taken;

   EXPECT_EQ(sut.collectionIs(258, std::array{GenericIf::of(entity), GenericIf::of(info)}), Kro::success);
   EXPECT_EQ(orphanage->info(entity), info);
   EXPECT_EQ(sut.collectionDel(258, std::array{GenericIf::of(entity)}, GenericIf::of(taken)), Kro::success);
   EXPECT_EQ(taken, info);
   orphanage->infoIs(entity, info);
   EXPECT_EQ(sut.collectionDelAll(258), Kro::success);

   EXPECT_TRUE(orphanage->info().empty());
   EXPECT_THAT(recorder.changes(), ElementsAre("info(258) x", "info(258) x", "info(258) x", "info(258) x"));
}

TEST_F(ModelManager, instantiateNeedsNoObject)
{
   Orvo::Ptr<Manager> found;
   Orvo::String name = "model by number";

   EXPECT_EQ(
      Manager::kroType.genericIf().call(138, std::array{GenericIf::of(name)}, GenericIf::of(found)), Kro::success);

   EXPECT_EQ(found, Manager::instantiate("model by number"));
}

} // namespace
