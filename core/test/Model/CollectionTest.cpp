#include "support/MemoryTest.h"
#include "support/MessageOf.h"
#include "support/ReflectedType.h"

#include <Quorvel/Core/Memory/Control/Collection.h>
#include <Quorvel/Core/Model/Modules.h>

#include <Kro/Exception.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

namespace {

using Kro::GenericIf;
using Quorvel::Core::Memory::Control::Collection;
using Quorvel::Core::Memory::Control::Detail::Attribute;
using Quorvel::Core::Memory::Control::Detail::Chunk;
using Quorvel::Core::Memory::Control::Detail::Group;
using Quorvel::Core::Test::attributesOf;
using Quorvel::Core::Test::messageOf;
using Quorvel::Core::Test::numbersNotRefused;
using Quorvel::Core::Test::typesOf;
using testing::ElementsAre;
using testing::IsEmpty;

class ModelCollection : public Quorvel::Core::Test::MemoryTest {};

TEST_F(ModelCollection, holdsItsTwoTypesInOrder)
{
   EXPECT_EQ(_Collection_d95037a923a29d5_kroModule.name, "Collection");
   EXPECT_EQ(_Collection_d95037a923a29d5_kroModule.source, "Memory/Control/Collection");
   EXPECT_EQ(Kro::findModule("Collection"), &_Collection_d95037a923a29d5_kroModule);
   EXPECT_THAT(
      typesOf(_Collection_d95037a923a29d5_kroModule),
      ElementsAre("Quorvel::Core::Memory::Control::Detail::Attribute", "Quorvel::Core::Memory::Control::Collection"));
}

TEST_F(ModelCollection, refersToTheOffsetterAndToWhatAttributesHold)
{
   std::vector<std::string_view> names;
   for (auto const* type : _Collection_d95037a923a29d5_kroModule.refersTo) {
      names.push_back(type->name);
   }

   EXPECT_THAT(
      names, ElementsAre(
                "Quorvel::Core::Memory::Control::Offsetter", "Quorvel::Core::Memory::Control::Detail::Group",
                "Quorvel::Core::Memory::Control::Detail::Chunk"));
}

TEST_F(ModelCollection, itsTypesAreFoundByNameAndAreEntities)
{
   for (auto const* type : {&Attribute::kroType, &Collection::kroType}) {
      EXPECT_EQ(Kro::findType(type->name), type);
      EXPECT_EQ(type->kind, Kro::TypeKind::entity);
      EXPECT_EQ(type->base, nullptr);
      EXPECT_EQ(type->make, nullptr);
   }
}

TEST_F(ModelCollection, listsTheAttributesOfAttribute)
{
   auto const attribute = Orvo::make<Attribute>(-5, 16U);
   auto const sut = GenericIf::ofNode(*attribute);

   EXPECT_THAT(
      attributesOf(sut),
      ElementsAre(
         "130 group: collection uint32 -> Ptr<Memory::Control::Detail::Group>, ordered; "
         "is(Ptr<Memory::Control::Detail::Group>) del(uint32) -> Ptr<Memory::Control::Detail::Group> delAll() []",
         "131 chunk: collection uint32 -> Ptr<Memory::Control::Detail::Chunk>, ordered; "
         "is(uint32, Ptr<Memory::Control::Detail::Chunk>) del(uint32) -> Ptr<Memory::Control::Detail::Chunk> delAll() "
         "[]",
         "132 id: value int32, given to the constructor [get]",
         "133 size: value uint32, given to the constructor [get]"));
   EXPECT_THAT(numbersNotRefused(sut), IsEmpty());
}

TEST_F(ModelCollection, listsTheAttributesOfCollection)
{
   auto const collection = Orvo::make<Collection>(nullptr);
   auto const sut = GenericIf::ofNode(*collection);

   EXPECT_THAT(
      attributesOf(sut),
      ElementsAre(
         "130 attribute: collection int32 -> Memory::Control::Detail::Attribute*, ordered; is(int32, uint32) -> "
         "Ptr<Memory::Control::Detail::Attribute> del(int32) -> Ptr<Memory::Control::Detail::Attribute> delAll() []",
         "131 group: collection uint32 -> Ptr<Memory::Control::Detail::Group>, ordered; is(uint32, uint32, uint32) -> "
         "Ptr<Memory::Control::Detail::Group> del(uint32) -> Ptr<Memory::Control::Detail::Group> delAll() []",
         "134 capacity: value uint32 [get set]", "135 composeName: computed(text) -> text []",
         "136 addressVirtual: computed(int32, uint32) -> uint64 []",
         "137 addressBus: computed(int32, uint32) -> uint64 []", "138 reset: operation(uint32) []",
         "139 synchronizeAll: operation() []"));
   EXPECT_THAT(numbersNotRefused(sut), IsEmpty());
}

TEST_F(ModelCollection, changesAnAttributeByNumber)
{
   auto const attribute = Orvo::make<Attribute>(-5, 16U);
   auto const sut = GenericIf::ofNode(*attribute);
   auto group = Orvo::make<Group>(1U, 0U, 10U);
   auto chunk = store().chunkIs("ring", 4096, false);
   std::uint32_t key = 1;
   std::int32_t id = 0;
   std::uint32_t size = 0;

   EXPECT_EQ(sut.get(132, GenericIf::of(id)), Kro::success);
   EXPECT_EQ(sut.get(133, GenericIf::of(size)), Kro::success);
   EXPECT_EQ(sut.collectionIs(130, std::array{GenericIf::of(group)}), Kro::success);
   EXPECT_EQ(sut.collectionIs(131, std::array{GenericIf::of(key), GenericIf::of(chunk)}), Kro::success);

   EXPECT_EQ(id, -5);
   EXPECT_EQ(size, 16U);
   EXPECT_EQ(attribute->group(1), group.get());
   EXPECT_EQ(attribute->chunk(1), chunk.get());

   Orvo::Ptr<Group> const none;
   EXPECT_EQ(
      messageOf<Kro::ArgNullPointerException>([&] { sut.collectionIs(130, std::array{GenericIf::of(none)}); }),
      "Memory/Control/Collection: group cannot be null");
   EXPECT_EQ(sut.collectionDelAll(131), Kro::success);
   EXPECT_TRUE(attribute->chunk().empty());
}

TEST_F(ModelCollection, emptiesEachCollectionByNumberAndLeavesTheOther)
{
   auto const attribute = Orvo::make<Attribute>(-5, 16U);
   attribute->groupIs(Orvo::make<Group>(1U, 0U, 10U));
   attribute->chunkIs(1, store().chunkIs("ring", 4096, false));
   auto const collection = Orvo::make<Collection>(nullptr);
   collection->attributeIs(3, 4);
   collection->groupIs(0, 0, 8);
   auto const sut = GenericIf::ofNode(*collection);

   EXPECT_EQ(GenericIf::ofNode(*attribute).collectionDelAll(130), Kro::success);
   EXPECT_TRUE(attribute->group().empty());
   EXPECT_NE(attribute->chunk(1), nullptr);

   EXPECT_EQ(sut.collectionDelAll(130), Kro::success);
   EXPECT_TRUE(collection->attribute().empty());
   EXPECT_NE(collection->group(0), nullptr);

   collection->attributeIs(3, 4);
   EXPECT_EQ(sut.collectionDelAll(131), Kro::success);
   EXPECT_TRUE(collection->group().empty());
   EXPECT_NE(collection->attribute(3), nullptr);
}

TEST_F(ModelCollection, usesALiveCollectionByNumber)
{
   auto const collection = Orvo::make<Collection>(nullptr);
   auto const sut = GenericIf::ofNode(*collection);
   std::int32_t number = 3;
   std::uint32_t zero = 0;
   std::uint32_t size = 4;
   std::uint32_t entries = 8;
   std::uint32_t index = 5;
   std::uint64_t addressBus = 0;
   std::uint64_t addressVirtual = 0;
   std::vector<std::uint32_t> synchronized;
   collection->synchronizerIs([&](std::uint32_t at) { synchronized.push_back(at); });

   EXPECT_EQ(sut.collectionIs(130, std::array{GenericIf::of(number), GenericIf::of(size)}), Kro::success);
   EXPECT_EQ(
      sut.collectionIs(131, std::array{GenericIf::of(zero), GenericIf::of(zero), GenericIf::of(entries)}),
      Kro::success);
   collection->attribute(3)->groupIs(collection->group(0));
   collection->attribute(3)->chunkIs(0, store().chunkIs("ring", 4096, false));

   std::array const arguments{GenericIf::of(number), GenericIf::of(index)};
   EXPECT_EQ(sut.call(136, arguments, GenericIf::of(addressVirtual)), Kro::success);
   EXPECT_EQ(sut.call(137, arguments, GenericIf::of(addressBus)), Kro::success);
   EXPECT_EQ(addressVirtual, collection->addressVirtual(3, 5));
   EXPECT_EQ(addressBus, collection->addressBus(3, 5));

   EXPECT_EQ(sut.call(138, std::array{GenericIf::of(index)}), Kro::success);
   EXPECT_EQ(pinmem.bytes("ring")[20], std::byte{0});
   EXPECT_EQ(sut.call(139), Kro::success);
   EXPECT_EQ(synchronized.size(), 8U);

   index = 8;
   EXPECT_EQ(
      messageOf<Kro::RangeException>([&] { sut.call(137, arguments, GenericIf::of(addressBus)); }),
      "index 8 is out of range.");
}

TEST_F(ModelCollection, readsAndWritesTheCapacity)
{
   auto const collection = Orvo::make<Collection>(nullptr);
   auto const sut = GenericIf::ofNode(*collection);
   std::uint32_t capacity = 12;

   EXPECT_EQ(sut.set(134, GenericIf::of(capacity)), Kro::success);
   EXPECT_EQ(collection->capacity(), 12U);

   Orvo::String text;
   EXPECT_EQ(
      messageOf<Kro::TypeException>([&] { sut.get(134, GenericIf::of(text)); }),
      "a slot of type 'text' cannot be used as 'uint32'");
}

TEST_F(ModelCollection, composesNamesByNumber)
{
   auto const collection = Orvo::make<Collection>(nullptr);
   Orvo::String name = "ring";
   Orvo::String composed;

   EXPECT_EQ(
      GenericIf::ofNode(*collection).call(135, std::array{GenericIf::of(name)}, GenericIf::of(composed)), Kro::success);

   EXPECT_EQ(composed, "ringControl");
}

TEST_F(ModelCollection, walksTheAttributesInOrder)
{
   auto const collection = Orvo::make<Collection>(nullptr);
   collection->attributeIs(5, 8);
   collection->attributeIs(-1, 8);
   std::vector<std::int32_t> keys;

   auto const& ops = *Collection::kroType.findAttr(130)->collection;
   ops.visit(
      static_cast<Orvo::Node const*>(collection.get()),
      [](void* context, void const* key, void const* element) {
         auto const number = *static_cast<std::int32_t const*>(key);
         static_cast<std::vector<std::int32_t>*>(context)->push_back(number);
         auto const* node = *static_cast<Orvo::Node const* const*>(element);
         EXPECT_EQ(dynamic_cast<Attribute const*>(node)->id(), number);
         return true;
      },
      &keys);

   EXPECT_THAT(keys, ElementsAre(-1, 5));
   EXPECT_EQ(ops.size(static_cast<Orvo::Node const*>(collection.get())), 2U);
}

} // namespace
