// The whole system by attribute numbers alone: this file includes no header of the library. It describes memory, mounts it as
// the plugin's mount type, looks addresses up, clears an entry, unmounts, adopts, and cleans up.

#include "boundary/Observatory.h"
#include "support/PinmemRecorder.h"

#include <Kro/Dir.h>
#include <Kro/Exception.h>
#include <Kro/KroModule.h>
#include <Kro/Slot.h>
#include <Orvo/Subscriber.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace {

using Kro::GenericIf;
using Kro::Slot;
using Quorvel::Core::Test::PinmemRecorder;
using Quorvel::Core::Test::Observatory::elementsOf;
using Quorvel::Core::Test::Observatory::textOf;
using Quorvel::Core::Test::Observatory::type;
using testing::ElementsAre;
using testing::IsEmpty;

Kro::KroType const& memoryType(std::string_view name)
{
   return Kro::typeNode(Orvo::join("Quorvel::Core::Memory::", name));
}

/// Reads an attribute into a slot of its own type.
Slot read(GenericIf const& object, int number)
{
   Slot slot(object.fwkType().findAttr(number)->type);
   EXPECT_EQ(object.get(number, slot.genericIf()), Kro::success) << number;
   return slot;
}

template <class... Arguments>
void call(GenericIf const& object, int number, Arguments const&... arguments)
{
   std::array<GenericIf, sizeof...(Arguments)> const bound{GenericIf::of(arguments)...};
   EXPECT_EQ(object.call(number, bound), Kro::success) << number;
}

/// A collection `status` of one group of 3 entries; its block is "code", 64 bytes an entry.
Slot describeStatus()
{
   Orvo::String const name = "status";
   auto collection = Slot::make(memoryType("Info::Collection"), std::array{GenericIf::of(name)});
   auto const sut = collection.genericIf();
   Orvo::String const field = "code";
   Orvo::String const block = "code";
   call(sut, 6, field);                                                        // addNameAttribute
   call(sut, 5, std::uint32_t{0}, std::uint32_t{3});                           // addGroup
   call(sut, 7, std::uint32_t{0}, field, block, std::uint32_t{3 * 64}, false); // createChunk
   return collection;
}

Slot describeMount(Orvo::String const& path, Slot const& collection)
{
   Orvo::String const typeName(type("Readout").name);
   auto mount = Slot::make(memoryType("Info::Mount"), std::array{GenericIf::of(path), GenericIf::of(typeName)});
   EXPECT_EQ(mount.genericIf().collectionIs(2, std::array{collection.genericIf()}), Kro::success);
   return mount;
}

class ObservatoryByNumber : public testing::Test {
protected:
   ObservatoryByNumber() { pinmem.reset(); }

   void TearDown() override
   {
      // What a test left behind, by numbers as well.
      auto const orphanage = read(manager.object(), 135);
      EXPECT_EQ(orphanage.object().collectionDelAll(258), Kro::success);
      EXPECT_EQ(manager.object().collectionDelAll(131), Kro::success);
      EXPECT_EQ(manager.object().collectionDelAll(130), Kro::success);
      read(manager.object(), 132).object().as<Kro::Dir>().deleteEntity("readout");
      EXPECT_EQ(
         read(memoryType("Control::Detail::StoreChunk").genericIf(), 259).object().collectionDelAll(258), Kro::success);
      EXPECT_THAT(pinmem.stillMapped(), IsEmpty());
      EXPECT_THAT(pinmem.mistakes(), IsEmpty());
   }

   /// The registry's manager "by number", with its directory in the tree.
   static Slot instantiate()
   {
      auto const& managerType = memoryType("Entity::Manager");
      auto found = Slot::pointerTo(managerType, nullptr);
      Orvo::String const name = "by number";
      EXPECT_EQ(managerType.genericIf().call(138, std::array{GenericIf::of(name)}, found.genericIf()), Kro::success);
      EXPECT_EQ(found.object().call(136), Kro::success); // initialize
      return found;
   }

   /// The mounted entity, found through the manager's directory by reflection.
   Slot entityAt(Orvo::String const& name) const
   {
      auto found = Slot::pointerTo(Kro::Entity::kroType, nullptr);
      auto const directory = read(manager.object(), 132);
      EXPECT_EQ(
         directory.object().find(
            258, GenericIf::of(name),
            [&](GenericIf const& entity) { found = Slot::pointerTo(Kro::Entity::kroType, &entity.as<Kro::Entity>()); }),
         Kro::success);
      return found;
   }

   static std::uint64_t address(GenericIf const& live, int number, std::int32_t field, std::uint32_t entry)
   {
      std::uint64_t result = 0;
      EXPECT_EQ(
         live.call(number, std::array{GenericIf::of(field), GenericIf::of(entry)}, GenericIf::of(result)),
         Kro::success);
      return result;
   }

   PinmemRecorder& pinmem = PinmemRecorder::instance();
   Slot manager = instantiate();
};

TEST_F(ObservatoryByNumber, describesMountsAndLooksUp)
{
   auto const mount = describeMount("readout", describeStatus());

   EXPECT_EQ(manager.object().call(139, std::array{mount.genericIf()}), Kro::success);

   auto const entity = entityAt("readout");
   ASSERT_NE(entity.object().voidPtr(), nullptr);
   EXPECT_EQ(&entity.object().fwkType(), &type("Readout"));
   auto const status = read(entity.object(), 4); // "statusControl"
   EXPECT_EQ(textOf(status.object(), 134), "3");
   EXPECT_EQ(address(status.object(), 137, 2, 0), pinmem.addressBus("code"));
   EXPECT_EQ(address(status.object(), 136, 2, 2), reinterpret_cast<std::uint64_t>(pinmem.bytes("code").data()) + 128);
}

TEST_F(ObservatoryByNumber, clearsAnEntryAndSynchronizesAgain)
{
   auto const mount = describeMount("readout", describeStatus());
   EXPECT_EQ(manager.object().call(139, std::array{mount.genericIf()}), Kro::success);
   auto const status = read(entityAt("readout").object(), 4);
   auto const bytes = pinmem.bytes("code");
   bytes[64] = std::byte{7};
   bytes[128] = std::byte{8};

   call(status.object(), 138, std::uint32_t{1}); // reset

   EXPECT_EQ(bytes[64], std::byte{0});
   EXPECT_EQ(bytes[128], std::byte{8});
   call(status.object(), 139); // synchronizeAll: the plugin's clears the codes
   EXPECT_EQ(bytes[128], std::byte{0});
   std::uint32_t const outside = 3;
   EXPECT_THROW(status.object().call(138, std::array{GenericIf::of(outside)}), Kro::RangeException);
}

TEST_F(ObservatoryByNumber, refusesLikeTheLibraryItself)
{
   auto const collection = describeStatus();
   auto const mount = describeMount("readout", collection);
   EXPECT_EQ(manager.object().call(139, std::array{mount.genericIf()}), Kro::success);

   EXPECT_THROW(call(collection.genericIf(), 5, std::uint32_t{0}, std::uint32_t{3}), std::invalid_argument);
   call(collection.genericIf(), 5, std::uint32_t{1}, std::uint32_t{1});
   Orvo::String const field = "code";
   call(collection.genericIf(), 7, std::uint32_t{1}, field, field, std::uint32_t{3 * 64}, false);
   auto const other = describeMount("readout", collection);
   EXPECT_THROW(manager.object().call(139, std::array{other.genericIf()}), std::invalid_argument);
}

TEST_F(ObservatoryByNumber, unmountsAdoptsAndCleansUp)
{
   auto const mount = describeMount("readout", describeStatus());
   EXPECT_EQ(manager.object().call(139, std::array{mount.genericIf()}), Kro::success);
   auto const orphanage = read(manager.object(), 135);
   int heard = 0;
   Orvo::CallbackSubscriber const watcher(
      *orphanage.object().as<Kro::Entity>().publisher(), [&](Orvo::Change const& change) {
         EXPECT_EQ(change.attribute, 258);
         ++heard;
      });
   Orvo::String const path = "readout";

   call(manager.object(), 140, path); // unmount
   EXPECT_EQ(heard, 1);
   EXPECT_THAT(elementsOf(manager.object(), 131), ElementsAre(testing::HasSubstr("\"/by number/zumem/readout\"=")));
   EXPECT_EQ(manager.object().call(139, std::array{mount.genericIf()}), Kro::success);
   EXPECT_EQ(heard, 2);
   EXPECT_THAT(elementsOf(manager.object(), 131), IsEmpty());
   call(manager.object(), 140, path);

   // What cleaning up does, step by step.
   std::string recorded;
   orphanage.object().visit(258, [&](GenericIf const&, GenericIf const& info) {
      recorded = textOf(info);
      return true;
   });
   EXPECT_EQ(
      recorded, R"(Quorvel::Core::Memory::Entity::Detail::Info(sysname="by number", path="/by number/zumem/readout"))");
   auto const entity = entityAt("readout");
   Kro::Entity* const key = &entity.object().as<Kro::Entity>();
   Orvo::String const fullName = "/by number/zumem/readout";
   EXPECT_EQ(orphanage.object().collectionDel(258, std::array{GenericIf::of(key)}), Kro::success);
   EXPECT_EQ(manager.object().collectionDel(131, std::array{GenericIf::of(fullName)}), Kro::success);
   EXPECT_EQ(manager.object().collectionDel(130, std::array{GenericIf::of(path)}), Kro::success);
   read(manager.object(), 132).object().as<Kro::Dir>().deleteEntity("readout");

   EXPECT_EQ(heard, 4);
   EXPECT_THAT(elementsOf(manager.object(), 130), IsEmpty());
   EXPECT_EQ(entityAt("readout").object().voidPtr(), nullptr);
}

} // namespace
