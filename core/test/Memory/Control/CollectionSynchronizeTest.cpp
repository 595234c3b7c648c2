// Which entries a live collection has synchronized, and what may change meanwhile.

#include "CollectionFixture.h"
#include "support/MessageOf.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Quorvel::Core::Memory::Control::Detail::Group;
using Quorvel::Core::Test::CollectionFixture;
using Quorvel::Core::Test::messageOf;
using testing::ElementsAre;
using testing::IsEmpty;

class ControlCollectionSynchronize : public CollectionFixture {
protected:
   static std::function<void(std::uint32_t)> into(std::vector<std::uint32_t>& indexes)
   {
      return [&indexes](std::uint32_t index) { indexes.push_back(index); };
   }
};

TEST_F(ControlCollectionSynchronize, synchronizeAllCallsForEveryEntryByGroupThenIndex)
{
   auto const sut = make();
   sut->groupIs(2, 10, 2);
   sut->groupIs(1, 0, 3);
   std::vector<std::uint32_t> indexes;
   sut->synchronizerIs(into(indexes));

   sut->synchronizeAll();

   EXPECT_THAT(indexes, ElementsAre(0, 1, 2, 10, 11));
}

TEST_F(ControlCollectionSynchronize, synchronizeAllSkipsEmptyGroupsAndThoseWhoseEndWraps)
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

TEST_F(ControlCollectionSynchronize, synchronizeAllNeedsASynchronizerOnlyWhenThereIsAnEntry)
{
   auto const sut = make();
   sut->synchronizeAll();
   sut->groupIs(0, 5, 0);
   sut->groupIs(1, 4294967290U, 6);
   sut->groupIs(2, 4294967290U, 16);
   sut->synchronizeAll();

   sut->groupIs(3, 5, 1);
   EXPECT_THROW(sut->synchronizeAll(), std::bad_function_call);
}

TEST_F(ControlCollectionSynchronize, synchronizeAllEndsWithWhatTheSynchronizerThrows)
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

TEST_F(ControlCollectionSynchronize, synchronizeAllSurvivesThatGroupsComeAndGo)
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

TEST_F(ControlCollectionSynchronize, synchronizeAllSurvivesThatAllGroupsGo)
{
   auto const sut = make();
   sut->groupIs(5, 50, 2);
   sut->groupIs(6, 60, 1);
   std::vector<std::uint32_t> indexes;
   std::vector<std::uint64_t> living;
   auto const all = Group::memAllocationTracker_.liveCount();
   sut->synchronizerIs([&](std::uint32_t index) {
      indexes.push_back(index);
      sut->groupDelAll();
      living.push_back(Group::memAllocationTracker_.liveCount());
   });

   sut->synchronizeAll();

   EXPECT_THAT(indexes, ElementsAre(50, 51));
   EXPECT_THAT(living, ElementsAre(all - 1, all - 1)); // the one at hand
   EXPECT_EQ(Group::memAllocationTracker_.liveCount(), all - 2);
}

TEST_F(ControlCollectionSynchronize, nothingButSynchronizeAllCallsTheSynchronizer)
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

TEST_F(ControlCollectionSynchronize, synchronizerKeepsWhatItHoldsFromOneWalkToTheNext)
{
   auto const sut = make();
   sut->groupIs(0, 0, 2);
   std::vector<std::uint32_t> counts;
   sut->synchronizerIs([&counts, count = 0U](std::uint32_t) mutable { counts.push_back(++count); });

   sut->synchronizeAll();
   sut->synchronizeAll();

   EXPECT_THAT(counts, ElementsAre(1, 2, 3, 4));
}

TEST_F(ControlCollectionSynchronize, synchronizeAllNeedsASynchronizerThatIsNotEmpty)
{
   auto const sut = make();
   sut->groupIs(0, 0, 1);
   sut->synchronizerIs([](std::uint32_t) {});
   sut->synchronizerIs(nullptr);

   EXPECT_THROW(sut->synchronizeAll(), std::bad_function_call);
}

TEST_F(ControlCollectionSynchronize, synchronizerMaySetAnotherOneForTheNextWalk)
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

TEST_F(ControlCollectionSynchronize, synchronizerMayLetGoOfTheCollection)
{
   auto const before = Collection::memAllocationTracker_.liveCount();
   auto sut = make();
   sut->groupIs(0, 0, 2);
   std::vector<std::uint32_t> called;
   std::vector<std::uint64_t> living;
   sut->synchronizerIs([&](std::uint32_t index) {
      sut.reset();
      called.push_back(index);
      living.push_back(Collection::memAllocationTracker_.liveCount());
   });

   sut->synchronizeAll();

   EXPECT_EQ(sut, nullptr);
   EXPECT_THAT(called, ElementsAre(0, 1));
   EXPECT_THAT(living, ElementsAre(before + 1, before + 1));
   EXPECT_EQ(Collection::memAllocationTracker_.liveCount(), before);
}

} // namespace
