#include "support/MessageOf.h"
#include "support/ReflectedType.h"
#include "support/TestMount.h"

#include <Quorvel/Core/Memory/Info/Mount.h>
#include <Quorvel/Core/Model/Modules.h>

#include <Kro/Exception.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <stdexcept>

namespace {

using Kro::GenericIf;
using Quorvel::Core::Memory::Info::Collection;
using Quorvel::Core::Memory::Info::Mount;
using Quorvel::Core::Memory::Info::Detail::Chunk;
using Quorvel::Core::Memory::Info::Detail::Group;
using Quorvel::Core::Test::attributesOf;
using Quorvel::Core::Test::describeRing;
using Quorvel::Core::Test::messageOf;
using Quorvel::Core::Test::numbersNotRefused;
using Quorvel::Core::Test::typesOf;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(ModelMount, holdsItsFourTypesInOrder)
{
   EXPECT_EQ(_Mount_9f87669e06341142_kroModule.name, "Mount");
   EXPECT_EQ(_Mount_9f87669e06341142_kroModule.source, "Memory/Info/Mount");
   EXPECT_EQ(Kro::findModule("Mount"), &_Mount_9f87669e06341142_kroModule);
   EXPECT_TRUE(_Mount_9f87669e06341142_kroModule.refersTo.empty());
   EXPECT_THAT(
      typesOf(_Mount_9f87669e06341142_kroModule),
      ElementsAre(
         "Quorvel::Core::Memory::Info::Detail::Chunk", "Quorvel::Core::Memory::Info::Detail::Group",
         "Quorvel::Core::Memory::Info::Collection", "Quorvel::Core::Memory::Info::Mount"));
}

TEST(ModelMount, itsTypesAreFoundByNameAndAreValues)
{
   for (auto const* type : {&Chunk::kroType, &Group::kroType, &Collection::kroType, &Mount::kroType}) {
      EXPECT_EQ(Kro::findType(type->name), type);
      EXPECT_EQ(type->kind, Kro::TypeKind::value);
      EXPECT_EQ(type->base, nullptr);
   }
   EXPECT_EQ(&Chunk().typeData(), &Chunk::kroType);
   EXPECT_EQ(&Group(0, 0, 0).typeData(), &Group::kroType);
   EXPECT_EQ(&Collection("").typeData(), &Collection::kroType);
   EXPECT_EQ(&Mount("", "").typeData(), &Mount::kroType);
}

TEST(ModelMount, listsTheAttributesOfChunk)
{
   Chunk chunk;
   auto const sut = GenericIf::of(chunk);

   EXPECT_THAT(
      attributesOf(sut), ElementsAre(
                            "2 nameAttribute: value text [get set]", "3 name: value text [get set]",
                            "4 size: value uint32 [get set]", "5 isIncapableDma: value bool [get set]"));
   EXPECT_THAT(numbersNotRefused(sut), IsEmpty());
}

TEST(ModelMount, listsTheAttributesOfGroup)
{
   Group group(0, 0, 0);
   auto const sut = GenericIf::of(group);

   EXPECT_THAT(
      attributesOf(sut),
      ElementsAre(
         "2 chunk: collection text -> Memory::Info::Detail::Chunk, hash; is(Memory::Info::Detail::Chunk) del(text) -> "
         "Memory::Info::Detail::Chunk delAll() []",
         "3 chunkInternal: collection int32 -> Memory::Info::Detail::Chunk, ordered; "
         "is(int32, Memory::Info::Detail::Chunk) del(int32) -> Memory::Info::Detail::Chunk delAll() []",
         "4 id: value uint32, given to the constructor [get]", "5 head: value uint32, given to the constructor [get]",
         "6 size: value uint32, given to the constructor [get]"));
   EXPECT_THAT(numbersNotRefused(sut), IsEmpty());
}

TEST(ModelMount, listsTheAttributesOfCollection)
{
   Collection collection("");
   auto const sut = GenericIf::of(collection);

   EXPECT_THAT(
      attributesOf(sut),
      ElementsAre(
         "2 group: collection uint32 -> Memory::Info::Detail::Group, ordered; is(Memory::Info::Detail::Group) "
         "del(uint32) -> Memory::Info::Detail::Group delAll() []",
         "3 nameAttribute: collection of text, hash; is(text) del(text) -> bool delAll() []",
         "4 name: value text, given to the constructor [get]",
         "5 addGroup: operation(uint32, uint32, uint32)(uint32, uint32) []", "6 addNameAttribute: operation(text) []",
         "7 createChunk: operation(uint32, text, text, uint32, bool) []"));
   EXPECT_THAT(numbersNotRefused(sut), IsEmpty());
}

TEST(ModelMount, listsTheAttributesOfMount)
{
   Mount mount("", "");
   auto const sut = GenericIf::of(mount);

   EXPECT_THAT(
      attributesOf(sut),
      ElementsAre(
         "2 collection: collection text -> Memory::Info::Collection, hash; is(Memory::Info::Collection) del(text) -> "
         "Memory::Info::Collection delAll() []",
         "3 collectionInternal: collection int32 -> Memory::Info::Collection, ordered; "
         "is(int32, Memory::Info::Collection) del(int32) -> Memory::Info::Collection delAll() []",
         "5 path: value text, given to the constructor [get]", "6 type: value text, given to the constructor [get]",
         "7 isZeroedMemoryOnMounting: value bool, not compared [get set]", "8 handleCollection: reactor(text) []"));
   EXPECT_THAT(numbersNotRefused(sut), IsEmpty());
}

TEST(ModelMount, readsAndWritesAChunkByNumber)
{
   Chunk chunk;
   auto const sut = GenericIf::of(chunk);
   Orvo::String nameAttribute = "a";
   Orvo::String name = "b";
   std::uint32_t size = 4294967295U;
   bool isIncapableDma = true;

   EXPECT_EQ(sut.set(2, GenericIf::of(nameAttribute)), Kro::success);
   EXPECT_EQ(sut.set(3, GenericIf::of(name)), Kro::success);
   EXPECT_EQ(sut.set(4, GenericIf::of(size)), Kro::success);
   EXPECT_EQ(sut.set(5, GenericIf::of(isIncapableDma)), Kro::success);

   EXPECT_EQ(chunk.nameAttribute(), "a");
   EXPECT_EQ(chunk.name(), "b");
   EXPECT_EQ(chunk.size(), 4294967295U);
   EXPECT_TRUE(chunk.isIncapableDma());

   chunk.sizeIs(7);
   EXPECT_EQ(sut.get(4, GenericIf::of(size)), Kro::success);
   EXPECT_EQ(size, 7U);
}

TEST(ModelMount, refusesASlotOfAnotherType)
{
   Chunk chunk;
   auto const sut = GenericIf::of(chunk);
   std::int32_t size = 1;

   EXPECT_EQ(
      messageOf<Kro::TypeException>([&] { sut.set(4, GenericIf::of(size)); }),
      "a slot of type 'int32' cannot be used as 'uint32'");
   EXPECT_EQ(
      messageOf<Kro::TypeException>([&] { sut.get(4, GenericIf::of(size)); }),
      "a slot of type 'int32' cannot be used as 'uint32'");
}

TEST(ModelMount, changesTheCollectionsOfAGroupByNumber)
{
   Group group(0, 0, 0);
   auto const sut = GenericIf::of(group);
   Chunk chunk;
   chunk.nameAttributeIs("a");
   std::int32_t number = -7;
   std::array const one{GenericIf::of(chunk)};
   std::array const two{GenericIf::of(number), GenericIf::of(chunk)};

   EXPECT_EQ(sut.collectionIs(2, one), Kro::success);
   EXPECT_EQ(sut.collectionIs(3, two), Kro::success);
   EXPECT_EQ(sut.collectionIs(3, one), Kro::notAllowed);
   EXPECT_EQ(sut.collectionIs(4, one), Kro::notAllowed);
   EXPECT_EQ(group.chunk("a"), chunk);
   EXPECT_EQ(group.chunkInternal(-7), chunk);

   Chunk removed;
   std::array const key{GenericIf::of(number)};
   EXPECT_EQ(sut.collectionDel(3, key, GenericIf::of(removed)), Kro::success);
   EXPECT_EQ(removed, chunk);
   EXPECT_EQ(sut.collectionDelAll(2), Kro::success);
   EXPECT_FALSE(static_cast<bool>(group));
}

TEST(ModelMount, emptiesEachCollectionByNumberAndLeavesTheOther)
{
   Group group(0, 0, 4);
   group.chunkIs(Chunk());
   group.chunkInternalIs(1, Chunk());
   Collection collection("ring");
   collection.addGroup(0, 4);
   collection.addNameAttribute("a");
   Mount mount("a", "TestMount");
   mount.collectionInternalIs(1, collection);
   mount.collectionIs(describeRing("r"));

   EXPECT_EQ(GenericIf::of(group).collectionDelAll(3), Kro::success);
   EXPECT_TRUE(group.chunkInternal().empty());
   EXPECT_EQ(group.chunk().size(), 1U);

   EXPECT_EQ(GenericIf::of(collection).collectionDelAll(2), Kro::success);
   EXPECT_TRUE(collection.group().empty());
   EXPECT_EQ(collection.nameAttribute().size(), 1U);
   collection.addGroup(0, 4);
   EXPECT_EQ(GenericIf::of(collection).collectionDelAll(3), Kro::success);
   EXPECT_TRUE(collection.nameAttribute().empty());
   EXPECT_EQ(collection.group().size(), 1U);

   EXPECT_EQ(GenericIf::of(mount).collectionDelAll(2), Kro::success);
   EXPECT_TRUE(mount.collection().empty());
   EXPECT_EQ(mount.collectionInternal().size(), 1U); // what the reactor did not derive
   mount.collectionIs(describeRing("r"));
   EXPECT_EQ(GenericIf::of(mount).collectionDelAll(3), Kro::success);
   EXPECT_TRUE(mount.collectionInternal().empty());
   EXPECT_EQ(mount.collection().size(), 1U);
}

TEST(ModelMount, callsTheOperationsOfACollectionByNumber)
{
   Collection collection("ring");
   auto const sut = GenericIf::of(collection);
   std::uint32_t zero = 0;
   std::uint32_t one = 1;
   std::uint32_t ten = 10;
   Orvo::String field = "a";
   Orvo::String block = "b";
   bool isIncapableDma = true;

   EXPECT_EQ(sut.call(5, std::array{GenericIf::of(zero), GenericIf::of(ten), GenericIf::of(one)}), Kro::success);
   EXPECT_EQ(sut.call(5, std::array{GenericIf::of(one), GenericIf::of(ten)}), Kro::success);
   EXPECT_EQ(sut.call(6, std::array{GenericIf::of(field)}), Kro::success);
   EXPECT_EQ(
      sut.call(
         7,
         std::array{
            GenericIf::of(one), GenericIf::of(field), GenericIf::of(block), GenericIf::of(ten),
            GenericIf::of(isIncapableDma)}),
      Kro::success);

   EXPECT_EQ(collection.group(0), Group(0, 1, 10));
   EXPECT_EQ(collection.group(1).head(), 11U);
   EXPECT_EQ(collection.group(1).chunk("a").name(), "b");
}

TEST(ModelMount, refusesACallWithOtherArgumentsButPassesTheOperationsOwnRefusal)
{
   Collection collection("ring");
   auto const sut = GenericIf::of(collection);
   std::uint32_t one = 1;
   Orvo::String text = "1";

   EXPECT_EQ(sut.call(5, std::array{GenericIf::of(one)}), Kro::notAllowed);
   EXPECT_EQ(sut.call(5, std::array{GenericIf::of(one), GenericIf::of(text)}), Kro::notAllowed);
   EXPECT_EQ(sut.call(4), Kro::notAllowed);
   EXPECT_EQ(
      messageOf<std::invalid_argument>([&] {
         sut.call(5, std::array{GenericIf::of(one), GenericIf::of(one)});
      }),
      "group with id=0 does not exist.");

   EXPECT_EQ(sut.call(6, std::array{GenericIf::of(text)}), Kro::success);
   EXPECT_EQ(
      messageOf<std::invalid_argument>([&] { sut.call(6, std::array{GenericIf::of(text)}); }),
      "nameAttribute='1' already exists.");
}

TEST(ModelMount, takesTheSameRoadThroughAMountAsACaller)
{
   Mount mount("a", "TestMount");
   auto const sut = GenericIf::of(mount);
   auto collection = Quorvel::Core::Test::describeRing("r");
   bool isZeroed = true;

   EXPECT_EQ(sut.collectionIs(2, std::array{GenericIf::of(collection)}), Kro::success);
   EXPECT_EQ(sut.set(7, GenericIf::of(isZeroed)), Kro::success);

   EXPECT_EQ(mount.collectionInternal().size(), 1U);
   EXPECT_TRUE(mount.isZeroedMemoryOnMounting());

   Orvo::String name = "ring";
   mount.collectionInternalDelAll();
   EXPECT_EQ(sut.call(8, std::array{GenericIf::of(name)}), Kro::success);
   EXPECT_EQ(mount.collectionInternal().size(), 1U);
}

TEST(ModelMount, chunksAloneHaveAHash)
{
   EXPECT_NE(Chunk::kroType.ops.hash, nullptr);
   EXPECT_EQ(Group::kroType.ops.hash, nullptr);
   EXPECT_EQ(Collection::kroType.ops.hash, nullptr);
   EXPECT_EQ(Mount::kroType.ops.hash, nullptr);

   Chunk chunk;
   chunk.nameIs("a");
   EXPECT_EQ(Chunk::kroType.ops.hash(&chunk), chunk.hash());
}

TEST(ModelMount, recordsCompareAndAssignLikeTheTypes)
{
   Chunk chunk;
   chunk.nameIs("a");
   Chunk other;
   EXPECT_FALSE(Chunk::kroType.ops.equal(&chunk, &other));
   Chunk::kroType.ops.assign(&other, &chunk);
   EXPECT_TRUE(Chunk::kroType.ops.equal(&chunk, &other));

   Mount mount("a", "T");
   Mount zeroed("a", "T");
   zeroed.isZeroedMemoryOnMountingIs(true);
   EXPECT_TRUE(Mount::kroType.ops.equal(&mount, &zeroed));
}

} // namespace
