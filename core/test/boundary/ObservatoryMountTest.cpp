// The plugin's mount type, mounted: its live collections, reached by their numbers.

#include "boundary/Observatory.h"
#include "support/MemoryTest.h"
#include "support/MessageOf.h"

#include <Quorvel/Core/Memory/Control/Collection.h>
#include <Quorvel/Core/Memory/Entity/Manager.h>

#include <Kro/Exception.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>

namespace {

using Quorvel::Core::Memory::Control::Collection;
using Quorvel::Core::Memory::Entity::Manager;
using Quorvel::Core::Test::messageOf;
using Quorvel::Core::Test::Observatory::textOf;
using Quorvel::Core::Test::Observatory::type;

namespace Info = Quorvel::Core::Memory::Info;

class ObservatoryMount : public Quorvel::Core::Test::MemoryTest {
protected:
   static Info::Collection frames()
   {
      Info::Collection frame("frame");
      frame.addNameAttribute("exposure");
      frame.addNameAttribute("pixels");
      for (std::uint32_t group : {0U, 1U}) {
         frame.addGroup(group, 4);
         frame.createChunk(group, "exposure", Orvo::join("exposure", group), 4 * 8, false);
         frame.createChunk(group, "pixels", Orvo::join("pixels", group), 4 * 56, true);
      }
      return frame;
   }

   static Info::Collection statuses()
   {
      Info::Collection status("status");
      status.addNameAttribute("code");
      status.addGroup(0, 3);
      status.createChunk(0, "code", "code", 3 * 64, false);
      return status;
   }

   Orvo::Ptr<Kro::Entity> mounted()
   {
      Info::Mount mount("detector/readout", Orvo::String(type("Readout").name));
      mount.collectionIs(frames());
      mount.collectionIs(statuses());
      manager->mount(mount);
      return manager->entify("detector/readout");
   }

   static Orvo::Ptr<Collection> live(Kro::Entity& entity, int number)
   {
      Orvo::Ptr<Collection> collection;
      EXPECT_EQ(Kro::GenericIf::ofNode(entity).get(number, Kro::GenericIf::of(collection)), Kro::success);
      return collection;
   }

   std::uint64_t here(char const* chunk) const { return reinterpret_cast<std::uint64_t>(pinmem.bytes(chunk).data()); }

   void TearDown() override
   {
      manager.reset();
      MemoryTest::TearDown();
   }

   Orvo::Ptr<Manager> manager = Quorvel::Core::Memory::Entity::managerFactory("observatory");
};

TEST_F(ObservatoryMount, isAnEntityOfThePluginsType)
{
   auto const sut = mounted();

   EXPECT_EQ(&sut->fwkType(), &type("Readout"));
   EXPECT_EQ(sut->fullName(), "/observatory/zumem/detector/readout");
   EXPECT_EQ(live(*sut, 3)->capacity(), 8U);
   EXPECT_EQ(live(*sut, 4)->capacity(), 3U);
}

TEST_F(ObservatoryMount, givesTheAddressesOfEachFieldInItsGroupsChunk)
{
   auto const sut = mounted();
   auto const frame = live(*sut, 3);

   EXPECT_EQ(frame->addressBus(-1, 0), pinmem.addressBus("exposure0"));
   EXPECT_EQ(frame->addressBus(-1, 7), pinmem.addressBus("exposure1") + 3 * 8);
   EXPECT_EQ(frame->addressVirtual(-1, 4), here("exposure1"));
   EXPECT_EQ(frame->addressVirtual(2, 3), here("pixels0") + 3 * 56);
   EXPECT_EQ(frame->addressBus(2, 3), 0U); // not for the device
   EXPECT_THROW(static_cast<void>(frame->addressBus(-1, 8)), Kro::RangeException);
}

TEST_F(ObservatoryMount, laysItsEntriesOutByThePluginsRule)
{
   auto const status = live(*mounted(), 4);

   EXPECT_EQ(status->addressBus(2, 2), pinmem.addressBus("code") + 128);
   EXPECT_EQ(status->addressVirtual(2, 1), here("code") + 64);
}

TEST_F(ObservatoryMount, runsThePluginsSynchronizersOverItsEntries)
{
   auto const sut = mounted();

   EXPECT_EQ(textOf(Kro::GenericIf::ofNode(*sut), 5), "8");
   auto const status = live(*sut, 4);
   for (std::uint32_t index : {0U, 1U, 2U}) {
      EXPECT_EQ(*reinterpret_cast<std::uint32_t const*>(status->addressVirtual(2, index)), 0U) << index;
   }
   EXPECT_EQ(*reinterpret_cast<std::uint8_t const*>(status->addressVirtual(2, 0) + 4), 0xa5U); // no field's
}

TEST_F(ObservatoryMount, isPrintedWithItsLiveCollections)
{
   auto const sut = mounted();

   EXPECT_THAT(
      textOf(Kro::GenericIf::ofNode(*sut)),
      testing::StartsWith(
         "Observatory::Readout(frameControl=Quorvel::Core::Memory::Control::Collection(attribute={-1="));
}

TEST_F(ObservatoryMount, refusesWhatItsTypeDoesNotDeclare)
{
   Info::Mount mount("detector", Orvo::String(type("Readout").name));
   Info::Collection unknown("image");

   EXPECT_EQ(
      messageOf<Kro::AttrNotFoundException>([&] { mount.collectionIs(unknown); }),
      "type 'Observatory::Readout' has no attribute 'image'");
}

} // namespace
