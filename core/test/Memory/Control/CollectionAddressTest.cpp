// Where the entries of a live collection lie, and what is cleared of them.

#include "CollectionFixture.h"
#include "support/MessageOf.h"

#include <Kro/Exception.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace {

using Quorvel::Core::Test::CollectionFixture;
using Quorvel::Core::Test::messageOf;
using Quorvel::Core::Test::PinmemRecorder;

class ControlCollectionAddress : public CollectionFixture {
protected:
   /// Which bytes of a fresh block are zero: "4-7 12-15".
   std::string zeroedIn(std::string const& chunk) const
   {
      auto const bytes = pinmem.bytes(chunk);
      std::string text;
      for (std::size_t i = 0; i < bytes.size(); ++i) {
         EXPECT_TRUE(bytes[i] == std::byte{0} || bytes[i] == PinmemRecorder::fresh) << chunk << ' ' << i;
         bool const isZero = bytes[i] == std::byte{0};
         if (isZero && (i == 0 || bytes[i - 1] != std::byte{0})) {
            text += (text.empty() ? "" : " ") + std::to_string(i);
         }
         if (isZero && (i + 1 == bytes.size() || bytes[i + 1] != std::byte{0})) {
            text += "-" + std::to_string(i);
         }
      }
      return text;
   }
};

TEST_F(ControlCollectionAddress, addressesAreThoseOfTheChunkPlusTheOffset)
{
   auto const sut = make();
   auto const group = sut->groupIs(1, 100, 50);
   join(*sut, 2, 16, group, "command");
   join(*sut, 3, 4, group, "status");
   auto const command = reinterpret_cast<std::uint64_t>(pinmem.bytes("command").data());
   auto const status = reinterpret_cast<std::uint64_t>(pinmem.bytes("status").data());

   EXPECT_EQ(sut->addressVirtual(2, 100), command);
   EXPECT_EQ(sut->addressVirtual(2, 149), command + 784);
   EXPECT_EQ(sut->addressVirtual(3, 149), status + 196);
   EXPECT_EQ(sut->addressBus(2, 100), pinmem.addressBus("command"));
   EXPECT_EQ(sut->addressBus(3, 149), pinmem.addressBus("status") + 196);
}

TEST_F(ControlCollectionAddress, addressesRefuseAnIndexOutsideEveryGroup)
{
   auto const sut = make();
   auto const group = sut->groupIs(1, 100, 50);
   join(*sut, 2, 16, group, "dma");
   join(*sut, 3, 16, group, "ordinary", true);

   EXPECT_EQ(messageOf<Kro::RangeException>([&] { sut->addressBus(2, 150); }), "index 150 is out of range.");
   EXPECT_EQ(messageOf<Kro::RangeException>([&] { sut->addressVirtual(2, 99); }), "index 99 is out of range.");
   EXPECT_EQ(messageOf<Kro::RangeException>([&] { sut->addressBus(3, 150); }), "index 150 is out of range.");
}

TEST_F(ControlCollectionAddress, busAddressOfMemoryWithoutDmaIsZero)
{
   auto const sut = make();
   join(*sut, 3, 16, sut->groupIs(0, 0, 50), "ordinary", true);

   EXPECT_EQ(sut->addressBus(3, 0), 0U);
   EXPECT_EQ(sut->addressBus(3, 49), 0U);
   EXPECT_EQ(sut->addressVirtual(3, 1), reinterpret_cast<std::uint64_t>(pinmem.bytes("ordinary").data()) + 16);
}

TEST_F(ControlCollectionAddress, offsetsAreAddedWithoutSign)
{
   auto const sut = make([](std::uint32_t, std::uint32_t, std::uint32_t) { return 4294967295U; });
   join(*sut, 2, 16, sut->groupIs(0, 0, 50), "a");

   EXPECT_EQ(sut->addressBus(2, 0), pinmem.addressBus("a") + 0xffffffffU);
   EXPECT_EQ(sut->addressVirtual(2, 0), store().chunk("a")->addressVirtual() + 0xffffffffU);
}

TEST_F(ControlCollectionAddress, addressesAddNoReference)
{
   auto const sut = make();
   join(*sut, 2, 16, sut->groupIs(0, 0, 50), "a");
   auto const chunk = store().chunk("a");
   auto const before = chunk->useCount();

   sut->addressBus(2, 0);
   sut->addressVirtual(2, 0);

   EXPECT_EQ(chunk->useCount(), before);
   EXPECT_EQ(sut->attribute(2)->useCount(), 1U);
}

TEST_F(ControlCollectionAddress, unknownAttributeStopsTheProcess)
{
   auto const sut = make();
   join(*sut, 2, 16, sut->groupIs(0, 0, 50), "a");

   EXPECT_DEATH(sut->addressBus(3, 0), "the attribute id is known");
   EXPECT_DEATH(sut->addressVirtual(3, 0), "the attribute id is known");
}

TEST_F(ControlCollectionAddress, resetClearsTheFieldsOfOneEntryAndNothingElse)
{
   auto const sut = make();
   auto const group = sut->groupIs(0, 10, 8);
   join(*sut, 1, 4, group, "four");
   join(*sut, 2, 12, group, "twelve");

   sut->reset(13);

   EXPECT_EQ(zeroedIn("four"), "12-15");
   EXPECT_EQ(zeroedIn("twelve"), "36-47");
}

TEST_F(ControlCollectionAddress, resetClearsMemoryThatIsNotDmaCapableToo)
{
   auto const sut = make();
   auto const group = sut->groupIs(0, 0, 8);
   join(*sut, 1, 4, group, "ordinary", true);
   join(*sut, 2, 4, group, "dma");

   sut->reset(3);

   EXPECT_EQ(zeroedIn("ordinary"), "12-15");
   EXPECT_EQ(zeroedIn("dma"), "12-15");
}

TEST_F(ControlCollectionAddress, resetClearsFirstAndLastEntry)
{
   auto const sut = make();
   join(*sut, 1, 512, sut->groupIs(0, 0, 8), "a");

   sut->reset(0);
   sut->reset(7);

   EXPECT_EQ(zeroedIn("a"), "0-511 3584-4095");
}

TEST_F(ControlCollectionAddress, resetFollowsTheOffsetter)
{
   auto const sut = make([](std::uint32_t head, std::uint32_t index, std::uint32_t) { return (index - head) * 64; });
   join(*sut, 1, 4, sut->groupIs(0, 10, 8), "a");

   sut->reset(12);

   EXPECT_EQ(zeroedIn("a"), "128-131");
}

TEST_F(ControlCollectionAddress, resetOutsideAFieldsGroupsKeepsTheFieldsBeforeItCleared)
{
   auto const sut = make();
   auto const both = sut->groupIs(0, 0, 8);
   auto const half = sut->groupIs(1, 0, 4);
   join(*sut, 1, 4, both, "first");
   join(*sut, 2, 4, half, "second");
   join(*sut, 3, 4, both, "third");

   auto const text = messageOf<Kro::RangeException>([&] { sut->reset(5); });

   EXPECT_EQ(text, "index 5 is out of range.");
   EXPECT_EQ(zeroedIn("first"), "20-23");
   EXPECT_EQ(zeroedIn("second"), "");
   EXPECT_EQ(zeroedIn("third"), "");
}

TEST_F(ControlCollectionAddress, resetLooksForTheEntryOfAFieldOfNoBytesToo)
{
   auto const sut = make();
   join(*sut, 1, 0, sut->groupIs(0, 0, 8), "none");

   sut->reset(7);

   EXPECT_EQ(zeroedIn("none"), "");
   EXPECT_EQ(messageOf<Kro::RangeException>([&] { sut->reset(8); }), "index 8 is out of range.");
}

TEST_F(ControlCollectionAddress, resetOfACollectionWithoutAttributesDoesNothing)
{
   make()->reset(4294967295U);
}

} // namespace
