// Mounts, unmounts, adoptions and clean-ups round after round, in ever other orders: at the end nothing is left of them, and
// after ten times the rounds no more than after the first. Over the recording pinned-memory library.

#include "Memory/Info/Random.h"
#include "support/PinmemRecorder.h"
#include "support/TestMount.h"

#include <Quorvel/Core/Loader.h>
#include <Quorvel/Core/Memory/Control/Detail/StoreChunk.h>
#include <Quorvel/Core/Memory/Entity/Destructor.h>
#include <Quorvel/Core/Memory/Entity/Manager.h>

#include <TolSlab/Slab.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <malloc.h>

namespace {

using Quorvel::Core::Memory::Control::Detail::StoreChunk;
using Quorvel::Core::Memory::Entity::Destructor;
using Quorvel::Core::Memory::Entity::Manager;
using Quorvel::Core::Test::describeMount;
using Quorvel::Core::Test::describeOddMount;
using Quorvel::Core::Test::PinmemRecorder;
using Quorvel::Core::Test::Random;
using Quorvel::Core::Test::RingEntry;
using Quorvel::Core::Test::TestMount;
using testing::IsEmpty;

namespace Control = Quorvel::Core::Memory::Control;
namespace Entity = Quorvel::Core::Memory::Entity;
namespace Info = Quorvel::Core::Memory::Info;

/// As often as QUORVEL_SOAK_ROUNDS says.
int roundsToRun()
{
   char const* const setting = std::getenv("QUORVEL_SOAK_ROUNDS");
   return setting != nullptr ? std::stoi(setting) : 1000;
}

/// One mount on its way through a round: built, unmounted, adopted back, unmounted, cleaned up.
class Traveller {
public:
   Traveller(Orvo::Ptr<Manager> manager, Orvo::String const& path, Orvo::String const& chunks)
      : manager_(std::move(manager)), description_(describeMount(path, chunks)), block_(Orvo::join(chunks, ".tail.1"))
   {}

   bool isAtTheEnd() const { return step_ == 5; }

   void startAgain() { step_ = 0; }

   void step()
   {
      switch (step_++) {
      case 0:
         manager_->mount(description_);
         entity_ = manager_->entify(description_.path()).get();
         break;
      case 2:
         manager_->mount(description_);
         break;
      case 4:
         Destructor::cleanup(entity_);
         return;
      default:
         manager_->unmount(description_.path());
      }
      check();
   }

   /// Another description is refused wherever this one stands; an orphan is adopted by that.
   void refuse()
   {
      EXPECT_THROW(manager_->mount(describeOddMount(description_.path(), "DirectoryMount")), std::invalid_argument);
      manager_->unmount(description_.path());
      step_ = 4;
   }

   bool isOnItsWay() const { return step_ != 0 && !isAtTheEnd(); }

private:
   void check() const
   {
      auto const mount = Orvo::dynamicCast<TestMount>(manager_->entify(description_.path()));
      auto const bus = PinmemRecorder::instance().addressBus(std::string(block_)) + 2 * sizeof(RingEntry::tail);
      bool const isOrphan = step_ % 2 == 0;
      ASSERT_EQ(mount.get(), entity_);
      ASSERT_EQ(mount->ring->addressBus(RingEntry::tailNumber, 6), bus);
      ASSERT_EQ(manager_->orphan(mount->fullName()), isOrphan ? entity_ : nullptr);
      ASSERT_EQ(static_cast<bool>(Manager::orphanage()->info(entity_)), isOrphan);
   }

   Orvo::Ptr<Manager> manager_;
   Info::Mount description_;
   Orvo::String block_;
   Kro::Entity* entity_ = nullptr;
   int step_ = 0;
};

/// What is alive of everything that a mount is made of.
std::vector<std::pair<std::string, std::uint64_t>> alive()
{
   Kro::AllocTrackTypeInfo const* const trackers[] = {
      &Info::Detail::Group::KroChunkInternal::memAllocationTracker_,
      &Info::Collection::KroGroup::memAllocationTracker_,
      &Info::Mount::KroCollectionInternal::memAllocationTracker_,
      &Control::Detail::Chunk::memAllocationTracker_,
      &StoreChunk::memAllocationTracker_,
      &Control::Detail::Group::memAllocationTracker_,
      &Control::Detail::Attribute::memAllocationTracker_,
      &Control::Detail::Attribute::KroGroup::memAllocationTracker_,
      &Control::Detail::Attribute::KroChunk::memAllocationTracker_,
      &Control::Collection::memAllocationTracker_,
      &Control::Collection::KroGroup::memAllocationTracker_,
      &Manager::memAllocationTracker_,
      &Entity::Detail::Orphanage::memAllocationTracker_,
      &Quorvel::Core::Loader::Singleton::memAllocationTracker_,
      &Kro::Dir::memAllocationTracker_,
      &Kro::HashMapGeneric::memAllocationTracker_};
   std::vector<std::pair<std::string, std::uint64_t>> counts;
   for (auto const* tracker : trackers) {
      counts.emplace_back(tracker->name, tracker->liveCount());
      counts.emplace_back(std::string("arrays of ") + tracker->name, tracker->liveArrayElements());
   }
   return counts;
}

class Soak : public testing::Test {
protected:
   Soak()
   {
      for (auto const* name : {"soak 0", "soak 1", "soak 2"}) {
         managers.push_back(Manager::instantiate(name));
         for (auto const* path :
              {"a", "d/a", "d/e/a", "d/e/b", "a path/that is/longer than/what is kept/in place", ""}) {
            // The two last chunk names are those of the other managers, too.
            auto const chunks = travellers.size() % 6 < 4 ? Orvo::join(name, "/", path) : Orvo::String(path);
            travellers.emplace_back(managers.back(), path, chunks);
         }
      }
      StoreChunk::instance();
      Manager::orphanage();
   }

   /// Brings all travellers to the end, each step that of one taken at random.
   void round()
   {
      std::vector<Traveller*> under;
      for (auto& traveller : travellers) {
         traveller.startAgain();
         under.push_back(&traveller);
      }
      while (!under.empty()) {
         auto const at = random.below(static_cast<unsigned>(under.size()));
         if (under[at]->isOnItsWay() && random.once(50)) {
            under[at]->refuse();
         }
         under[at]->step();
         if (under[at]->isAtTheEnd()) {
            under.erase(under.begin() + at);
         }
      }
      for (auto const& manager : managers) {
         ASSERT_TRUE(manager->directory()->entity().empty());
         ASSERT_TRUE(manager->orphan().empty());
      }
      ASSERT_TRUE(Manager::orphanage()->info().empty());
      if (random.once(10)) {
         forget();
      }
      pinmem.takeCalls();
   }

   /// Nothing of the rounds is needed any more.
   void forget() const
   {
      for (auto const& manager : managers) {
         manager->infoMountDelAll();
      }
      StoreChunk::instance()->chunkDelAll();
   }

   void run(int rounds)
   {
      for (int i = 0; i < rounds && !HasFatalFailure(); ++i) {
         SCOPED_TRACE(i);
         round();
      }
      forget();
   }

   PinmemRecorder& pinmem = PinmemRecorder::instance();
   Random random{1};
   std::vector<Orvo::Ptr<Manager>> managers;
   std::vector<Traveller> travellers;
};

TEST_F(Soak, roundsLeaveNothingBehindAndTenTimesTheRoundsNoMore)
{
   auto const before = alive();
   auto const liveBefore = TolSlab::slabCountersTotal().live;
   int const rounds = roundsToRun();

   run(rounds / 10);
   auto const slabsBetween = TolSlab::slabCountersTotal().slabs;
   auto const heapBetween = ::mallinfo2().uordblks;
   run(rounds - rounds / 10);

   EXPECT_EQ(alive(), before);
   EXPECT_EQ(TolSlab::slabCountersTotal().live, liveBefore);
   EXPECT_LE(TolSlab::slabCountersTotal().slabs, slabsBetween);
   // Less than half a smallest block a round.
   EXPECT_LE(::mallinfo2().uordblks, heapBetween + static_cast<std::size_t>(rounds) * 16);
   EXPECT_THAT(pinmem.stillMapped(), IsEmpty());
   EXPECT_THAT(pinmem.mistakes(), IsEmpty());
}

} // namespace
