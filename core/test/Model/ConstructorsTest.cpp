#include "support/MemoryDomain.h"
#include "support/MessageOf.h"
#include "support/ReflectedType.h"

#include <Quorvel/Core/Loader.h>
#include <Quorvel/Core/Memory/Control/Collection.h>
#include <Quorvel/Core/Memory/Control/Detail/StoreChunk.h>
#include <Quorvel/Core/Memory/Entity/Manager.h>
#include <Quorvel/Core/Memory/Info/Mount.h>

#include <Kro/Exception.h>
#include <Kro/Slot.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>

namespace {

namespace Control = Quorvel::Core::Memory::Control;
namespace Info = Quorvel::Core::Memory::Info;
namespace Loader = Quorvel::Core::Loader;

using Kro::GenericIf;
using Kro::Slot;
using Quorvel::Core::Memory::Entity::Manager;
using Quorvel::Core::Test::constructorsOf;
using Quorvel::Core::Test::messageOf;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(ModelConstructors, areListedForEveryType)
{
   EXPECT_THAT(constructorsOf(Info::Detail::Chunk::kroType), ElementsAre("() -> Memory::Info::Detail::Chunk"));
   EXPECT_THAT(
      constructorsOf(Info::Detail::Group::kroType),
      ElementsAre("(uint32, uint32, uint32) -> Memory::Info::Detail::Group"));
   EXPECT_THAT(constructorsOf(Info::Collection::kroType), ElementsAre("(text) -> Memory::Info::Collection"));
   EXPECT_THAT(constructorsOf(Info::Mount::kroType), ElementsAre("(text, text) -> Memory::Info::Mount"));
   EXPECT_THAT(
      constructorsOf(Control::Detail::Chunk::kroType),
      ElementsAre("(text, uint32, bool) -> Ptr<Memory::Control::Detail::Chunk>"));
   EXPECT_THAT(
      constructorsOf(Control::Detail::StoreChunk::kroType),
      ElementsAre("(text) -> Ptr<Memory::Control::Detail::StoreChunk>"));
   EXPECT_THAT(
      constructorsOf(Control::Detail::Group::kroType),
      ElementsAre("(uint32, uint32, uint32) -> Ptr<Memory::Control::Detail::Group>"));
   EXPECT_THAT(
      constructorsOf(Control::Detail::Attribute::kroType),
      ElementsAre("(int32, uint32) -> Ptr<Memory::Control::Detail::Attribute>"));
   EXPECT_THAT(
      constructorsOf(Control::Collection::kroType),
      ElementsAre("(Memory::Control::Offsetter) -> Ptr<Memory::Control::Collection>"));
   EXPECT_THAT(constructorsOf(Manager::kroType), ElementsAre("(text) -> Ptr<Memory::Entity::Manager>"));
   EXPECT_THAT(constructorsOf(Loader::Pimpl::kroType), ElementsAre("() -> Loader::Pimpl"));
   EXPECT_THAT(constructorsOf(Loader::Singleton::kroType), IsEmpty());
}

TEST(ModelConstructors, makeDescriptionsFromTheirArguments)
{
   Orvo::String path = "a/b";
   Orvo::String type = "T";
   std::uint32_t id = 1;
   std::uint32_t head = 2;
   std::uint32_t size = 3;

   auto const mount = Slot::make(Info::Mount::kroType, std::array{GenericIf::of(path), GenericIf::of(type)});
   auto const collection = Slot::make(Info::Collection::kroType, std::array{GenericIf::of(path)});
   auto const group =
      Slot::make(Info::Detail::Group::kroType, std::array{GenericIf::of(id), GenericIf::of(head), GenericIf::of(size)});
   auto const chunk = Slot::make(Info::Detail::Chunk::kroType);

   EXPECT_EQ(mount.genericIf().as<Info::Mount>(), Info::Mount("a/b", "T"));
   EXPECT_EQ(collection.genericIf().as<Info::Collection>(), Info::Collection("a/b"));
   EXPECT_EQ(group.genericIf().as<Info::Detail::Group>(), Info::Detail::Group(1, 2, 3));
   EXPECT_EQ(chunk.genericIf().as<Info::Detail::Chunk>(), Info::Detail::Chunk());
}

TEST(ModelConstructors, makeLiveObjectsThatTheirSlotKeeps)
{
   Control::Offsetter dense = nullptr;
   std::int32_t id = -7;
   std::uint32_t size = 16;
   auto const attributes = Control::Detail::Attribute::memAllocationTracker_.liveCount();
   {
      auto const collection = Slot::make(Control::Collection::kroType, std::array{GenericIf::of(dense)});
      auto const attribute =
         Slot::make(Control::Detail::Attribute::kroType, std::array{GenericIf::of(id), GenericIf::of(size)});

      EXPECT_EQ(collection.object().as<Control::Collection>().useCount(), 1U);
      EXPECT_EQ(attribute.object().as<Control::Detail::Attribute>().id(), -7);
      EXPECT_EQ(attribute.object().as<Control::Detail::Attribute>().size(), 16U);
   }
   EXPECT_EQ(Control::Detail::Attribute::memAllocationTracker_.liveCount(), attributes);
}

TEST(ModelConstructors, makeAManagerOfItsOwnFromItsName)
{
   Orvo::String name = "constructed";

   auto const first = Slot::make(Manager::kroType, std::array{GenericIf::of(name)});
   auto const second = Slot::make(Manager::kroType, std::array{GenericIf::of(name)});

   EXPECT_EQ(first.object().as<Manager>().sysname(), "constructed");
   EXPECT_FALSE(first.object().isEqual(second.object()));
   EXPECT_NE(Manager::instantiate(name).get(), &first.object().as<Manager>());
}

TEST(ModelConstructors, refuseOtherArguments)
{
   std::uint32_t number = 5;
   Orvo::String text;

   EXPECT_EQ(
      messageOf<Kro::NewEntityArgsException>([] { Slot::make(Manager::kroType); }),
      "an object of type 'Quorvel::Core::Memory::Entity::Manager' cannot be made: it has no constructor that takes (), "
      "but "
      "one that takes (text)");
   EXPECT_EQ(
      messageOf<Kro::NewEntityArgsException>([&] { Slot::make(Manager::kroType, std::array{GenericIf::of(number)}); }),
      "an object of type 'Quorvel::Core::Memory::Entity::Manager' cannot be made: it has no constructor that takes "
      "(uint32), "
      "but one that takes (text)");
   EXPECT_EQ(
      messageOf<Kro::NewEntityArgsException>(
         [&] { Slot::make(Loader::Singleton::kroType, std::array{GenericIf::of(text)}); }),
      "an object of type 'Quorvel::Core::Loader::Singleton' cannot be made: it has no constructor that takes (text)");
}

} // namespace
