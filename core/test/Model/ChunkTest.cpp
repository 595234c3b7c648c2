#include "support/ChangeRecorder.h"
#include "support/MemoryTest.h"
#include "support/MessageOf.h"
#include "support/ReflectedType.h"

#include <Quorvel/Core/Memory/Control/Detail/Group.h>
#include <Quorvel/Core/Memory/Control/Detail/StoreChunk.h>
#include <Quorvel/Core/Model/Modules.h>

#include <Kro/Exception.h>
#include <pinmem/pinmem.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>

namespace {

using Kro::GenericIf;
using Quorvel::Core::Memory::Control::Detail::Chunk;
using Quorvel::Core::Memory::Control::Detail::Group;
using Quorvel::Core::Memory::Control::Detail::StoreChunk;
using Quorvel::Core::Test::attributesOf;
using Quorvel::Core::Test::ChangeRecorder;
using Quorvel::Core::Test::messageOf;
using Quorvel::Core::Test::numbersNotRefused;
using Quorvel::Core::Test::typesOf;
using testing::ElementsAre;
using testing::IsEmpty;

class ModelChunk : public Quorvel::Core::Test::MemoryTest {
protected:
   /// @return where a stored value lies in its object, in bytes from its Orvo::Node
   static std::ptrdiff_t placeOf(Orvo::Node const& object, int number)
   {
      std::byte const* place = nullptr;
      Kro::fwkType(object).findAttr(number)->show(
         &object,
         [](void* context, void const* /*key*/, void const* element) {
            *static_cast<std::byte const**>(context) = static_cast<std::byte const*>(element);
            return false;
         },
         &place);
      return place - reinterpret_cast<std::byte const*>(&object);
   }
};

TEST_F(ModelChunk, holdsItsThreeTypesInOrder)
{
   EXPECT_EQ(_Chunk_334569107d2ca953_kroModule.name, "Chunk");
   EXPECT_EQ(_Chunk_334569107d2ca953_kroModule.source, "Memory/Control/Chunk");
   EXPECT_EQ(Kro::findModule("Chunk"), &_Chunk_334569107d2ca953_kroModule);
   EXPECT_THAT(
      typesOf(_Chunk_334569107d2ca953_kroModule),
      ElementsAre(
         "Quorvel::Core::Memory::Control::Detail::Chunk", "Quorvel::Core::Memory::Control::Detail::StoreChunk",
         "Quorvel::Core::Memory::Control::Detail::Group"));
}

TEST_F(ModelChunk, itsTypesAreFoundByNameAndAreEntities)
{
   for (auto const* type : {&Chunk::kroType, &StoreChunk::kroType, &Group::kroType}) {
      EXPECT_EQ(Kro::findType(type->name), type);
      EXPECT_EQ(type->kind, Kro::TypeKind::entity);
   }
   EXPECT_EQ(Chunk::kroType.base, nullptr);
   EXPECT_EQ(Group::kroType.base, nullptr);
   EXPECT_EQ(StoreChunk::kroType.base, &Kro::Entity::kroType);
}

TEST_F(ModelChunk, listsTheAttributesOfChunk)
{
   auto const chunk = Orvo::make<Chunk>("ring", 64U, false);
   auto const sut = GenericIf::ofNode(*chunk);

   EXPECT_THAT(
      attributesOf(sut),
      ElementsAre(
         "130 name: value text, given to the constructor [get]", "132 addressBus: value uint64 [get]",
         "133 size: value uint32, given to the constructor [get]",
         "134 isIncapableDma: value bool, given to the constructor [get]", "135 initialize: operation() []",
         "136 terminate: operation() []", "137 isTerminated: value bool [get]",
         "154 nameString: computed() -> text [get]"));
   EXPECT_THAT(numbersNotRefused(sut), IsEmpty());
}

TEST_F(ModelChunk, listsTheAttributesOfStoreChunk)
{
   auto const sut = GenericIf::ofNode(store());

   EXPECT_THAT(
      attributesOf(sut),
      ElementsAre(
         "154 nameString: computed() -> text [get]",
         "258 chunk: collection text -> Ptr<Memory::Control::Detail::Chunk>, hash; is(text, uint32, bool) -> "
         "Ptr<Memory::Control::Detail::Chunk> del(text) -> Ptr<Memory::Control::Detail::Chunk> delAll() []",
         "259 instance: static() -> Ptr<Memory::Control::Detail::StoreChunk> [get]",
         "260 handleChunk: reactor(text) []"));
   EXPECT_THAT(numbersNotRefused(sut), IsEmpty());
}

TEST_F(ModelChunk, listsTheAttributesOfGroup)
{
   auto const group = Orvo::make<Group>(1U, 2U, 3U);
   auto const sut = GenericIf::ofNode(*group);

   EXPECT_THAT(
      attributesOf(sut), ElementsAre(
                            "130 id: value uint32, given to the constructor [get]",
                            "131 head: value uint32, given to the constructor [get]",
                            "132 size: value uint32, given to the constructor [get]"));
   EXPECT_THAT(numbersNotRefused(sut), IsEmpty());
}

TEST_F(ModelChunk, readsAChunkByNumber)
{
   auto const chunk = Orvo::make<Chunk>("ring", 64U, true);
   auto const sut = GenericIf::ofNode(*chunk);
   Orvo::String name;
   Orvo::String nameString;
   std::uint64_t addressBus = 0;
   std::uint32_t size = 0;
   bool isIncapableDma = false;
   bool isTerminated = true;

   EXPECT_EQ(sut.get(130, GenericIf::of(name)), Kro::success);
   EXPECT_EQ(sut.get(132, GenericIf::of(addressBus)), Kro::success);
   EXPECT_EQ(sut.get(133, GenericIf::of(size)), Kro::success);
   EXPECT_EQ(sut.get(134, GenericIf::of(isIncapableDma)), Kro::success);
   EXPECT_EQ(sut.get(137, GenericIf::of(isTerminated)), Kro::success);
   EXPECT_EQ(sut.get(154, GenericIf::of(nameString)), Kro::success);

   EXPECT_EQ(name, "ring");
   EXPECT_EQ(nameString, "ring");
   EXPECT_EQ(addressBus, chunk->addressBus());
   EXPECT_EQ(size, 64U);
   EXPECT_TRUE(isIncapableDma);
   EXPECT_FALSE(isTerminated);
}

TEST_F(ModelChunk, fieldsOfAChunkStandInTheirOrder)
{
   auto const chunk = Orvo::make<Chunk>("ring", 64U, false);

   auto const size = placeOf(*chunk, 133);
   auto const name = placeOf(*chunk, 130);
   auto const addressBus = placeOf(*chunk, 132);

   EXPECT_LT(size, name);
   // Between them the virtual address, which reflection does not show.
   EXPECT_EQ(addressBus, name + static_cast<std::ptrdiff_t>(sizeof(Orvo::String) + sizeof(std::uint64_t)));
   EXPECT_LT(addressBus, placeOf(*chunk, 134));
}

TEST_F(ModelChunk, fieldsOfAGroupStandInTheirOrder)
{
   auto const group = Orvo::make<Group>(1U, 2U, 3U);

   EXPECT_LT(placeOf(*group, 130), placeOf(*group, 131));
   EXPECT_LT(placeOf(*group, 131), placeOf(*group, 132));
}

TEST_F(ModelChunk, initializeAllocatesAndMapsAgain)
{
   auto const chunk = Orvo::make<Chunk>("ring", 64U, false);
   pinmem.takeCalls();

   EXPECT_EQ(GenericIf::ofNode(*chunk).call(135), Kro::success);

   EXPECT_THAT(pinmem.takeCalls(), ElementsAre(testing::StartsWith("alloc 'ring' 64 "), "map 'ring'"));
   // The chunk itself unmaps once; the second mapping is the caller's.
   pinmem_unmap("ring", chunk->addressVirtual(), 0);
}

TEST_F(ModelChunk, terminateChangesNothing)
{
   auto const chunk = Orvo::make<Chunk>("ring", 64U, false);
   auto const sut = GenericIf::ofNode(*chunk);
   pinmem.takeCalls();
   bool isTerminated = true;

   EXPECT_EQ(sut.call(136), Kro::success);

   EXPECT_EQ(sut.get(137, GenericIf::of(isTerminated)), Kro::success);
   EXPECT_FALSE(isTerminated);
   EXPECT_THAT(pinmem.takeCalls(), IsEmpty());
}

TEST_F(ModelChunk, readsAGroupByNumber)
{
   auto const group = Orvo::make<Group>(1U, 2U, 3U);
   auto const sut = GenericIf::ofNode(*group);
   std::uint32_t id = 0;
   std::uint32_t head = 0;
   std::uint32_t size = 0;

   EXPECT_EQ(sut.get(130, GenericIf::of(id)), Kro::success);
   EXPECT_EQ(sut.get(131, GenericIf::of(head)), Kro::success);
   EXPECT_EQ(sut.get(132, GenericIf::of(size)), Kro::success);

   EXPECT_EQ(id, 1U);
   EXPECT_EQ(head, 2U);
   EXPECT_EQ(size, 3U);
}

TEST_F(ModelChunk, readsTheNameOfAStoreByNumberWithoutItsDirectory)
{
   auto const directory = Orvo::make<Kro::Dir>("d");
   auto const own = directory->createEntity(StoreChunk::kroType.name, "own");
   Orvo::String name;

   EXPECT_EQ(GenericIf::ofNode(*own).get(154, GenericIf::of(name)), Kro::success);

   EXPECT_EQ(name, "own");
}

TEST_F(ModelChunk, callsTheStoreByNumber)
{
   auto const sut = GenericIf::ofNode(store());
   Orvo::String name = "ring";
   std::uint32_t size = 64;
   bool isIncapableDma = false;
   std::array const arguments{GenericIf::of(name), GenericIf::of(size), GenericIf::of(isIncapableDma)};

   EXPECT_EQ(sut.collectionIs(258, arguments), Kro::success);
   EXPECT_EQ(store().chunk("ring")->useCount(), 2U); // the store's and the look-up's
   EXPECT_EQ(sut.call(260, std::array{GenericIf::of(name)}), Kro::success);

   size = 65;
   EXPECT_EQ(
      messageOf<Kro::ReinstantiatingException>([&] { sut.collectionIs(258, arguments); }),
      "Memory/Control/Chunk 'ring': size=65 is asked for, but size=64 exists");

   Orvo::Ptr<Chunk> removed;
   EXPECT_EQ(sut.collectionDel(258, std::array{GenericIf::of(name)}, GenericIf::of(removed)), Kro::success);
   EXPECT_EQ(removed->useCount(), 1U);
   EXPECT_EQ(sut.collectionDelAll(258), Kro::success);
}

TEST_F(ModelChunk, handleChunkPublishesNothing)
{
   store().chunkIs("ring", 64, false);
   ChangeRecorder const changes(*store().publisher());
   Orvo::String name = "ring";

   EXPECT_EQ(GenericIf::ofNode(store()).call(260, std::array{GenericIf::of(name)}), Kro::success);

   EXPECT_THAT(changes.changes(), IsEmpty());
   EXPECT_EQ(store().chunk().size(), 1U);
}

TEST_F(ModelChunk, instanceNeedsNoObject)
{
   Orvo::Ptr<StoreChunk> found;

   EXPECT_EQ(StoreChunk::kroType.genericIf().call(259, {}, GenericIf::of(found)), Kro::success);
   EXPECT_EQ(found, StoreChunk::instance());

   found.reset();
   EXPECT_EQ(GenericIf::ofNode(store()).call(259, {}, GenericIf::of(found)), Kro::success);
   EXPECT_EQ(found, StoreChunk::instance());

   EXPECT_EQ(StoreChunk::kroType.genericIf().call(260), Kro::notAllowed);
}

TEST_F(ModelChunk, chunksAndGroupsAreNotMadeFromANameAlone)
{
   EXPECT_EQ(Chunk::kroType.make, nullptr);
   EXPECT_EQ(Group::kroType.make, nullptr);
   EXPECT_NE(StoreChunk::kroType.make, nullptr);
}

} // namespace
