// Mounting and unmounting whose memory is refused, at each point in turn.

#include "support/ManagerTest.h"
#include "support/RefusedAllocation.h"
#include "support/TestMount.h"
#include "support/UtilityRecorder.h"

#include <Quorvel/Core/Memory/Entity/Manager.h>

#include <Kro/Exception.h>
#include <Quorvel/Utility/Affirm.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <stdexcept>

namespace {

using Quorvel::Core::Memory::Control::Collection;
using Quorvel::Core::Memory::Entity::Manager;
using Quorvel::Core::Memory::Entity::managerFactory;
using Quorvel::Core::Test::AllocationRecorder;
using Quorvel::Core::Test::BufferEntry;
using Quorvel::Core::Test::describeMount;
using Quorvel::Core::Test::describeOddMount;
using Quorvel::Core::Test::Refusal;
using Quorvel::Core::Test::refuseAllocation;
using Quorvel::Core::Test::RingEntry;
using Quorvel::Core::Test::TestMount;
using Quorvel::Core::Test::UtilityRecorder;
using Quorvel::Utility::AffirmException;
using testing::ElementsAre;
using testing::SizeIs;

namespace Info = Quorvel::Core::Memory::Info;

class EntityManagerFailure : public Quorvel::Core::Test::ManagerTest {
protected:
   EntityManagerFailure()
   {
      // What is made once for all stays.
      sut->mount(description);
      forget();
   }

   Orvo::Ptr<TestMount> mounted() const { return Orvo::dynamicCast<TestMount>(sut->directory()->entity2Impl("d/a")); }

   /// Takes away all that a mount makes, whether it succeeded or not.
   void forget()
   {
      sut->directory()->deleteEntity("d");
      sut->infoMountDel("d/a");
      store().chunkDelAll();
   }

   void expectComplete() const
   {
      auto const entity = mounted();
      ASSERT_NE(entity, nullptr);
      EXPECT_EQ(entity->ring->capacity(), 8U);
      EXPECT_EQ(entity->buffer->capacity(), 2U);
      EXPECT_EQ(entity->synchronized.size(), 10U);
      EXPECT_EQ(entity->ring->addressBus(RingEntry::tailNumber, 7), pinmem.addressBus("r.tail.1") + 36);
      EXPECT_EQ(entity->buffer->addressBus(BufferEntry::bytesNumber, 1), pinmem.addressBus("r.bytes.0") + 64);
   }

   /// Wherever it ended, no chunk is without its group: look-ups would stop the process there.
   static void expectGroupsOfAllChunks(Collection const& live)
   {
      for (auto const& attribute : live.attribute()) {
         for (auto at = attribute.chunk().begin(); at != attribute.chunk().end(); ++at) {
            EXPECT_NE(attribute.group(at.key()), nullptr) << attribute.id() << ' ' << at.key();
         }
      }
   }

   AllocationRecorder& recorder = AllocationRecorder::instance();
   Info::Mount description = describeMount("d/a", "r");
};

TEST_F(EntityManagerFailure, mountWhoseAllocationsAreRefusedOneAfterTheOtherLeaksNothing)
{
   unsigned passed = 0;
   auto refusal = Refusal::passed;
   for (std::uint64_t nth = 1; refusal != Refusal::none; ++nth) {
      SCOPED_TRACE(nth);
      auto const before = recorder.live();

      refusal = refuseAllocation(nth, [this] { sut->mount(description); });

      if (refusal == Refusal::passed) {
         ++passed;
         EXPECT_THAT(pinmem.stillMapped(), SizeIs(store().chunk().size()));
         bool const isEntityThere = mounted() != nullptr;
         EXPECT_TRUE(!isEntityThere || sut->infoMount("d/a") == description);
         if (isEntityThere) {
            expectGroupsOfAllChunks(*mounted()->buffer);
            expectGroupsOfAllChunks(*mounted()->ring);
         }
         // Where the entity is there and its description stored, a mount has nothing to do; else it does all.
         sut->mount(description);
         if (!isEntityThere) {
            expectComplete();
         }
      } else {
         expectComplete();
      }
      forget();
      EXPECT_EQ(recorder.live(), before);
   }
   EXPECT_GT(passed, 40U);
}

TEST_F(EntityManagerFailure, mountWhoseMemoryIsRefusedAtEachChunkKeepsTheChunksBeforeItAndLeaksNothing)
{
   for (int nth = 1; nth <= 7; ++nth) {
      for (bool const isMapped : {false, true}) {
         SCOPED_TRACE(nth);
         auto const before = recorder.live();
         isMapped ? pinmem.failMap(nth) : pinmem.failAlloc(nth);

         EXPECT_THROW(sut->mount(description), AffirmException);

         EXPECT_THAT(pinmem.stillMapped(), SizeIs(static_cast<std::size_t>(nth - 1)));
         EXPECT_EQ(store().chunk().size(), static_cast<std::size_t>(nth - 1));
         EXPECT_EQ(sut->infoMount("d/a"), description);
         ASSERT_NE(mounted(), nullptr);
         EXPECT_EQ(mounted()->buffer->capacity(), nth == 1 ? 0U : 2U);
         EXPECT_EQ(mounted()->ring->capacity(), 0U);
         forget();
         EXPECT_EQ(recorder.live(), before);
      }
   }
   sut->mount(description);
   expectComplete();
}

TEST_F(EntityManagerFailure, unmountThatIsRefusedChangesNothingAndGoesWellLater)
{
   sut->mount(description);
   auto const orphanage = Manager::orphanage();
   unsigned passed = 0;
   auto refusal = Refusal::passed;
   for (std::uint64_t nth = 1; refusal != Refusal::none; ++nth) {
      SCOPED_TRACE(nth);

      refusal = refuseAllocation(nth, [this] { sut->unmount("d/a"); });

      bool const isPassed = refusal == Refusal::passed;
      passed += isPassed ? 1U : 0U;
      EXPECT_EQ(sut->orphan().size(), isPassed ? 0U : 1U);
      EXPECT_EQ(orphanage->info().size(), isPassed ? 0U : 1U);
   }
   EXPECT_GE(passed, 2U); // for the orphan and for its record
}

TEST_F(EntityManagerFailure, refusalsAreRaisedOnceEach)
{
   sut->mount(description);
   sut->unmount("d/a");
   sut->orphanIs("/m/zumem/d/a", sut->directory().get());
   auto& utility = UtilityRecorder::instance();
   utility.takeCalls();

   EXPECT_THROW(sut->entify("b"), Kro::EntityNotFoundException);
   EXPECT_THROW(sut->mount(description), AffirmException);
   EXPECT_THROW(sut->mount(describeMount("d/a", "s")), std::invalid_argument);
   EXPECT_THROW(sut->mount(describeMount("d/a/b", "s")), std::invalid_argument);
   EXPECT_THROW(sut->mount(describeOddMount("text", "MountWithTextAsControl")), Kro::TypeException);
   EXPECT_THROW(sut->mount(describeOddMount("null", "MountWithNullControl")), Kro::AttrNotFoundException);
   EXPECT_THROW(sut->mount(describeOddMount("field", "MountWithoutStatus")), Kro::AttrNotFoundException);
   EXPECT_THROW(sut->mount(describeOddMount("call", "MountWithoutSynchronizer")), std::bad_function_call);

   EXPECT_THAT(
      utility.takeCalls(),
      ElementsAre(
         "raise Kro::EntityNotFoundException", "affirm Memory/Entity/Manager.cpp", "raise std::invalid_argument",
         "raise std::invalid_argument", "raise Kro::TypeException", "raise Kro::AttrNotFoundException",
         "raise Kro::AttrNotFoundException", "raise std::bad_function_call"));
}

TEST_F(EntityManagerFailure, managerWhoseAllocationsAreRefusedOneAfterTheOtherLeaksNothing)
{
   unsigned passed = 0;
   auto refusal = Refusal::passed;
   static_cast<void>(managerFactory("other"));
   Kro::globalDir()->deleteEntity("other");
   for (std::uint64_t nth = 1; refusal != Refusal::none; ++nth) {
      SCOPED_TRACE(nth);
      auto const before = recorder.live();

      refusal = refuseAllocation(nth, [] { static_cast<void>(managerFactory("other")); });

      passed += refusal == Refusal::passed ? 1U : 0U;
      Kro::globalDir()->deleteEntity("other");
      EXPECT_EQ(recorder.live(), before);
   }
   EXPECT_GE(passed, 3U);
}

} // namespace
