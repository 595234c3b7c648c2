#include <Quorvel/Core/Memory/Control/Collection.h>

#include "support/MemoryTest.h"
#include "support/MessageOf.h"
#include "support/TestMount.h"

#include <Kro/Exception.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using Quorvel::Core::Memory::Control::Collection;
using Quorvel::Core::Memory::Control::Offsetter;
using Quorvel::Core::Memory::Control::Detail::Attribute;
using Quorvel::Core::Memory::Control::Detail::Group;
using Quorvel::Core::Test::LongRingEntry;
using Quorvel::Core::Test::MemoryTest;
using Quorvel::Core::Test::messageOf;
using Quorvel::Core::Test::PinmemRecorder;
using Quorvel::Core::Test::RingEntry;
using testing::ElementsAre;
using testing::IsEmpty;

class ControlCollection : public MemoryTest {
protected:
   static Orvo::Ptr<Collection> make(Offsetter offsetter = nullptr) { return Orvo::make<Collection>(offsetter); }

   /// Puts a field of `size` bytes of a group's entries into the chunk of that name.
   static void join(
      Collection& sut, std::int32_t attribute, std::uint32_t size, Orvo::Ptr<Group> const& group,
      Orvo::String const& chunk, bool isIncapableDma = false)
   {
      auto const field = sut.attributeIs(attribute, size);
      field->groupIs(group);
      field->chunkIs(group->id(), store().chunkIs(chunk, 4096, isIncapableDma));
   }

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

   static std::function<void(std::uint32_t)> into(std::vector<std::uint32_t>& indexes)
   {
      return [&indexes](std::uint32_t index) { indexes.push_back(index); };
   }
};

TEST_F(ControlCollection, startsEmpty)
{
   auto const sut = make();

   EXPECT_EQ(sut->useCount(), 1U);
   EXPECT_TRUE(sut->attribute().empty());
   EXPECT_TRUE(sut->group().empty());
   EXPECT_EQ(sut->capacity(), 0U);
   EXPECT_EQ(sut->offsetter(), nullptr);
   EXPECT_EQ(&sut->fwkType(), &Collection::kroType);
   EXPECT_EQ(&sut->typeData(), &Collection::kroType);
   EXPECT_EQ(sut->publisher(), nullptr);
}

TEST_F(ControlCollection, keepsCapacityAndOffsetter)
{
   Offsetter const offsetter = [](std::uint32_t, std::uint32_t, std::uint32_t) { return 0U; };
   auto const sut = make(offsetter);

   sut->capacityIs(4294967295U);

   EXPECT_EQ(sut->capacity(), 4294967295U);
   EXPECT_EQ(sut->offsetter(), offsetter);
}

TEST_F(ControlCollection, attributeIsFindsOrMakesAnAttribute)
{
   auto const sut = make();

   auto const made = sut->attributeIs(5, 8);

   EXPECT_EQ(made->id(), 5);
   EXPECT_EQ(made->size(), 8U);
   EXPECT_EQ(sut->attributeIs(5, 8), made);
   EXPECT_EQ(sut->attribute(5), made.get());
   EXPECT_EQ(sut->attribute(6), nullptr);
   EXPECT_EQ(made->useCount(), 2U);
}

TEST_F(ControlCollection, attributeIsRefusesAnotherSize)
{
   auto const sut = make();
   auto const made = sut->attributeIs(5, 8);

   auto const text = messageOf<Kro::ReinstantiatingException>([&] { sut->attributeIs(5, 16); });

   EXPECT_EQ(text, "Memory/Control/Collection attribute 5: size=16 is asked for, but size=8 exists");
   EXPECT_EQ(sut->attribute().size(), 1U);
   EXPECT_EQ(made->size(), 8U);
}

TEST_F(ControlCollection, attributesAscendBySignedNumber)
{
   auto const sut = make();
   for (std::int32_t const id : {5, -1, 0}) {
      sut->attributeIs(id, 8);
   }

   std::vector<std::int32_t> ids;
   for (auto const& attribute : sut->attribute()) {
      ids.push_back(attribute.id());
   }

   EXPECT_THAT(ids, ElementsAre(-1, 0, 5));
}

TEST_F(ControlCollection, attributesIsMakesOneForEachFieldOfTheEntries)
{
   auto const sut = make();

   sut->attributesIs(RingEntry::kroType);
   sut->attributesIs(RingEntry::kroType);

   EXPECT_EQ(sut->attribute().size(), 3U);
   EXPECT_EQ(sut->attribute(RingEntry::commandNumber)->size(), 16U);
   EXPECT_EQ(sut->attribute(RingEntry::statusNumber)->size(), 4U);
   EXPECT_EQ(sut->attribute(RingEntry::tailNumber)->size(), 12U);
}

TEST_F(ControlCollection, attributesIsRefusesAFieldOfAnotherSize)
{
   auto const sut = make();
   sut->attributeIs(RingEntry::statusNumber, 5);

   EXPECT_EQ(
      messageOf<Kro::ReinstantiatingException>([&] { sut->attributesIs(RingEntry::kroType); }),
      "Memory/Control/Collection attribute 3: size=4 is asked for, but size=5 exists");
}

TEST_F(ControlCollection, attributeDelHandsTheAttributeOver)
{
   auto const sut = make();
   sut->attributeIs(5, 8);
   sut->attributeIs(6, 8);
   sut->attributeIs(7, 8);

   auto const taken = sut->attributeDel(5);
   EXPECT_EQ(taken->useCount(), 1U);
   EXPECT_EQ(sut->attributeDel(5), nullptr);
   EXPECT_EQ(sut->attributeDel(sut->attribute().begin())->id(), 7);
   sut->attributeDelAll();

   EXPECT_TRUE(sut->attribute().empty());
}

TEST_F(ControlCollection, groupIsFindsOrMakesAGroup)
{
   auto const sut = make();

   auto const made = sut->groupIs(2, 10, 4);

   EXPECT_EQ(made->id(), 2U);
   EXPECT_EQ(made->head(), 10U);
   EXPECT_EQ(made->size(), 4U);
   EXPECT_EQ(sut->groupIs(2, 10, 4), made);
   EXPECT_EQ(sut->group(2), made.get());
   EXPECT_EQ(sut->group(3), nullptr);
   EXPECT_EQ(made->useCount(), 2U);
}

TEST_F(ControlCollection, groupIsRefusesAnotherHeadAndThenAnotherSize)
{
   auto const sut = make();
   sut->groupIs(2, 10, 4);

   auto const head = messageOf<Kro::ReinstantiatingException>([&] { sut->groupIs(2, 11, 4); });
   auto const both = messageOf<Kro::ReinstantiatingException>([&] { sut->groupIs(2, 9, 5); });
   auto const size = messageOf<Kro::ReinstantiatingException>([&] { sut->groupIs(2, 10, 5); });

   EXPECT_EQ(head, "Memory/Control/Collection group 2: head=11 is asked for, but head=10 exists");
   EXPECT_EQ(both, "Memory/Control/Collection group 2: head=9 is asked for, but head=10 exists");
   EXPECT_EQ(size, "Memory/Control/Collection group 2: size=5 is asked for, but size=4 exists");
   EXPECT_EQ(sut->group().size(), 1U);
   EXPECT_EQ(sut->group(2)->size(), 4U);
}

TEST_F(ControlCollection, groupDelHandsTheGroupOverAndLeavesTheFieldsTheirStorage)
{
   auto const sut = make();
   join(*sut, 1, 4, sut->groupIs(0, 0, 8), "a");

   auto const taken = sut->groupDel(0);

   EXPECT_EQ(taken->useCount(), 2U);
   EXPECT_EQ(sut->groupDel(0), nullptr);
   EXPECT_EQ(sut->addressBus(1, 7), pinmem.addressBus("a") + 28);
}

TEST_F(ControlCollection, groupsAreDeletedAtAnIteratorOrAllTogether)
{
   auto const sut = make();
   for (std::uint32_t const id : {4294967295U, 1U, 0U}) {
      sut->groupIs(id, 0, 1);
   }

   EXPECT_EQ(sut->groupDel(sut->group().begin()).key(), 1U);
   EXPECT_EQ(sut->group().size(), 2U);
   sut->groupDelAll();

   EXPECT_TRUE(sut->group().empty());
}

TEST_F(ControlCollection, addressesAreThoseOfTheChunkPlusTheOffset)
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

TEST_F(ControlCollection, addressesRefuseAnIndexOutsideEveryGroup)
{
   auto const sut = make();
   auto const group = sut->groupIs(1, 100, 50);
   join(*sut, 2, 16, group, "dma");
   join(*sut, 3, 16, group, "ordinary", true);

   EXPECT_EQ(messageOf<Kro::RangeException>([&] { sut->addressBus(2, 150); }), "index 150 is out of range.");
   EXPECT_EQ(messageOf<Kro::RangeException>([&] { sut->addressVirtual(2, 99); }), "index 99 is out of range.");
   EXPECT_EQ(messageOf<Kro::RangeException>([&] { sut->addressBus(3, 150); }), "index 150 is out of range.");
}

TEST_F(ControlCollection, busAddressOfMemoryWithoutDmaIsZero)
{
   auto const sut = make();
   join(*sut, 3, 16, sut->groupIs(0, 0, 50), "ordinary", true);

   EXPECT_EQ(sut->addressBus(3, 0), 0U);
   EXPECT_EQ(sut->addressBus(3, 49), 0U);
   EXPECT_EQ(sut->addressVirtual(3, 1), reinterpret_cast<std::uint64_t>(pinmem.bytes("ordinary").data()) + 16);
}

TEST_F(ControlCollection, offsetsAreAddedWithoutSign)
{
   auto const sut = make([](std::uint32_t, std::uint32_t, std::uint32_t) { return 4294967295U; });
   join(*sut, 2, 16, sut->groupIs(0, 0, 50), "a");

   EXPECT_EQ(sut->addressBus(2, 0), pinmem.addressBus("a") + 0xffffffffU);
   EXPECT_EQ(sut->addressVirtual(2, 0), store().chunk("a")->addressVirtual() + 0xffffffffU);
}

TEST_F(ControlCollection, addressesAddNoReference)
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

TEST_F(ControlCollection, unknownAttributeStopsTheProcess)
{
   auto const sut = make();
   join(*sut, 2, 16, sut->groupIs(0, 0, 50), "a");

   EXPECT_DEATH(sut->addressBus(3, 0), "the attribute id is known");
   EXPECT_DEATH(sut->addressVirtual(3, 0), "the attribute id is known");
}

TEST_F(ControlCollection, resetClearsTheFieldsOfOneEntryAndNothingElse)
{
   auto const sut = make();
   auto const group = sut->groupIs(0, 10, 8);
   join(*sut, 1, 4, group, "four");
   join(*sut, 2, 12, group, "twelve");

   sut->reset(13);

   EXPECT_EQ(zeroedIn("four"), "12-15");
   EXPECT_EQ(zeroedIn("twelve"), "36-47");
}

TEST_F(ControlCollection, resetClearsFirstAndLastEntry)
{
   auto const sut = make();
   join(*sut, 1, 512, sut->groupIs(0, 0, 8), "a");

   sut->reset(0);
   sut->reset(7);

   EXPECT_EQ(zeroedIn("a"), "0-511 3584-4095");
}

TEST_F(ControlCollection, resetFollowsTheOffsetter)
{
   auto const sut = make([](std::uint32_t head, std::uint32_t index, std::uint32_t) { return (index - head) * 64; });
   join(*sut, 1, 4, sut->groupIs(0, 10, 8), "a");

   sut->reset(12);

   EXPECT_EQ(zeroedIn("a"), "128-131");
}

TEST_F(ControlCollection, resetOutsideAFieldsGroupsKeepsTheFieldsBeforeItCleared)
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

TEST_F(ControlCollection, resetOfACollectionWithoutAttributesDoesNothing)
{
   make()->reset(4294967295U);
}

TEST_F(ControlCollection, synchronizeAllCallsForEveryEntryByGroupThenIndex)
{
   auto const sut = make();
   sut->groupIs(2, 10, 2);
   sut->groupIs(1, 0, 3);
   std::vector<std::uint32_t> indexes;
   sut->synchronizerIs(into(indexes));

   sut->synchronizeAll();

   EXPECT_THAT(indexes, ElementsAre(0, 1, 2, 10, 11));
}

TEST_F(ControlCollection, synchronizeAllSkipsEmptyGroupsAndThoseWhoseEndWraps)
{
   auto const sut = make();
   sut->groupIs(0, 5, 0);
   sut->groupIs(1, 4294967290U, 6);
   sut->groupIs(2, 4294967290U, 16);
   sut->groupIs(3, 4294967293U, 2);
   std::vector<std::uint32_t> indexes;
   sut->synchronizerIs(into(indexes));

   sut->synchronizeAll();

   EXPECT_THAT(indexes, ElementsAre(4294967293U, 4294967294U));
}

TEST_F(ControlCollection, synchronizeAllNeedsASynchronizerOnlyWhenThereIsAnEntry)
{
   auto const sut = make();
   sut->synchronizeAll();
   sut->groupIs(0, 5, 0);
   sut->synchronizeAll();

   sut->groupIs(1, 5, 1);
   EXPECT_THROW(sut->synchronizeAll(), std::bad_function_call);
}

TEST_F(ControlCollection, synchronizeAllEndsWithWhatTheSynchronizerThrows)
{
   auto const sut = make();
   sut->groupIs(0, 0, 20);
   std::vector<std::uint32_t> indexes;
   sut->synchronizerIs([&](std::uint32_t index) {
      indexes.push_back(index);
      if (index == 2) {
         throw std::runtime_error("device");
      }
   });

   EXPECT_EQ(messageOf<std::runtime_error>([&] { sut->synchronizeAll(); }), "device");
   EXPECT_THAT(indexes, ElementsAre(0, 1, 2));
}

TEST_F(ControlCollection, synchronizeAllSurvivesThatGroupsComeAndGo)
{
   auto const sut = make();
   sut->groupIs(5, 50, 2);
   sut->groupIs(6, 60, 1);
   sut->groupIs(7, 70, 1);
   std::vector<std::uint32_t> indexes;
   sut->synchronizerIs([&](std::uint32_t index) {
      indexes.push_back(index);
      if (index == 50) {
         sut->groupIs(1, 10, 1); // before: not visited
         sut->groupIs(8, 80, 1); // behind: visited
         sut->groupDel(5);       // at hand: finished
         sut->groupDel(6);       // ahead: not visited
      }
   });

   sut->synchronizeAll();

   EXPECT_THAT(indexes, ElementsAre(50, 51, 70, 80));
}

TEST_F(ControlCollection, synchronizeAllSurvivesThatAllGroupsGo)
{
   auto const sut = make();
   sut->groupIs(5, 50, 2);
   sut->groupIs(6, 60, 1);
   std::vector<std::uint32_t> indexes;
   sut->synchronizerIs([&](std::uint32_t index) {
      indexes.push_back(index);
      sut->groupDelAll();
   });

   sut->synchronizeAll();

   EXPECT_THAT(indexes, ElementsAre(50, 51));
}

TEST_F(ControlCollection, nothingButSynchronizeAllCallsTheSynchronizer)
{
   std::vector<std::uint32_t> indexes;
   auto const sut = make();
   sut->synchronizerIs(into(indexes));
   join(*sut, 1, 4, sut->groupIs(0, 0, 8), "a");

   sut->reset(1);
   sut->addressBus(1, 1);
   sut->capacityIs(8);

   EXPECT_THAT(indexes, IsEmpty());
}

TEST_F(ControlCollection, destructorLetsAttributesAndGroupsGoBeforeTheSynchronizer)
{
   auto const attributes = Attribute::memAllocationTracker_.liveCount();
   auto const groups = Group::memAllocationTracker_.liveCount();
   std::vector<std::uint64_t> left;
   auto sut = make();
   join(*sut, 1, 4, sut->groupIs(0, 0, 8), "a");
   std::shared_ptr<int> witness(new int(0), [&](int* value) {
      left = {Attribute::memAllocationTracker_.liveCount(), Group::memAllocationTracker_.liveCount()};
      delete value;
   });
   sut->synchronizerIs([held = std::move(witness)](std::uint32_t) {});
   ASSERT_THAT(left, IsEmpty());

   sut.reset();

   EXPECT_THAT(left, ElementsAre(attributes, groups));
   EXPECT_EQ(store().chunk("a")->useCount(), 2U);
}

TEST_F(ControlCollection, comesFromTheSlabAndIsTrackedWithItsNodes)
{
   auto const collections = Collection::memAllocationTracker_.liveCount();
   auto const nodes = Collection::KroGroup::memAllocationTracker_.liveCount();
   {
      auto const sut = make();
      sut->groupIs(0, 0, 1);
      sut->groupIs(0, 0, 1);
      EXPECT_EQ(Collection::memAllocationTracker_.liveCount(), collections + 1);
      EXPECT_EQ(Collection::KroGroup::memAllocationTracker_.liveCount(), nodes + 1);
   }
   EXPECT_EQ(Collection::memAllocationTracker_.liveCount(), collections);
   EXPECT_EQ(Collection::KroGroup::memAllocationTracker_.liveCount(), nodes);
}

TEST_F(ControlCollection, composeNameAppendsControl)
{
   EXPECT_EQ(Collection::composeName("ring"), "ringControl");
   EXPECT_EQ(Collection::composeName(""), "Control");
}

TEST_F(ControlCollection, synchronizerMaySetAnotherOneForTheNextWalk)
{
   auto const sut = make();
   sut->groupIs(0, 0, 2);
   std::vector<std::uint32_t> first;
   std::vector<std::uint32_t> second;
   sut->synchronizerIs([&, held = std::string(100, 'x')](std::uint32_t index) {
      sut->synchronizerIs([&](std::uint32_t later) { second.push_back(later); });
      first.push_back(index + static_cast<std::uint32_t>(held.size()));
   });

   sut->synchronizeAll();
   sut->synchronizeAll();

   EXPECT_THAT(first, ElementsAre(100, 101));
   EXPECT_THAT(second, ElementsAre(0, 1));
}

TEST_F(ControlCollection, synchronizerMayLetGoOfTheCollection)
{
   auto sut = make();
   sut->groupIs(0, 0, 2);
   std::vector<std::uint32_t> called;
   sut->synchronizerIs([&](std::uint32_t index) {
      sut.reset();
      called.push_back(index);
   });

   sut->synchronizeAll();

   EXPECT_EQ(sut, nullptr);
   EXPECT_THAT(called, ElementsAre(0, 1));
}

TEST_F(ControlCollection, attributesIsTakesInheritedFields)
{
   auto const sut = make();

   sut->attributesIs(LongRingEntry::kroType);

   EXPECT_EQ(sut->attribute().size(), 4U);
   ASSERT_NE(sut->attribute(RingEntry::statusNumber), nullptr);
   ASSERT_NE(sut->attribute(LongRingEntry::extraNumber), nullptr);
   EXPECT_EQ(sut->attribute(RingEntry::statusNumber)->size(), 4U);
   EXPECT_EQ(sut->attribute(LongRingEntry::extraNumber)->size(), 8U);
}

} // namespace
