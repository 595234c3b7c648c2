#include "scenario/life/RandomLife.h"

#include "Memory/Info/Random.h"
#include "scenario/life/AllocationGate.h"
#include "scenario/life/Balance.h"
#include "scenario/life/Cast.h"
#include "scenario/life/Ledger.h"
#include "scenario/life/PinmemGate.h"

#include <Quorvel/Core/Memory/Control/Detail/StoreChunk.h>
#include <Quorvel/Core/Memory/Entity/Destructor.h>

#include <Quorvel/Utility/Affirm.h>

#include <gtest/gtest.h>

#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <malloc.h>

namespace Quorvel::Core::Test {

using Memory::Control::Detail::StoreChunk;
using Memory::Entity::Destructor;
using Memory::Entity::Manager;

namespace {

/// Where something may be mounted, and what is there.
struct Spot {
   enum class State { nothing, mounted, orphan };

   Orvo::Ptr<Manager> manager;
   unsigned family; ///< whose blocks it mounts; spots of one family share all memory
   Memory::Info::Mount description;
   State state = State::nothing;
   Kro::Entity* entity = nullptr;

   Orvo::String const& path() const { return description.path(); }

   Orvo::Ptr<TestMount> mount() const { return Orvo::dynamicCast<TestMount>(manager->entify(path())); }
};

class Life {
public:
   Life()
   {
      for (auto const* name : {"one", "two", "three"}) {
         auto const manager = Manager::instantiate(name);
         for (auto const* path :
              {"a", "d/a", "d/e/a", "d/e/b", "a path/that is/longer than/what is kept/in place", ""}) {
            auto const family = static_cast<unsigned>(spots_.size()) % Ledger::families;
            spots_.push_back({manager, family, describeMount(path, Orvo::join("family ", family))});
         }
      }
      Manager::orphanage();
      StoreChunk::instance()->chunkIs("family 0.bytes.0", 128, false); // from the first block on, files stay open
      StoreChunk::instance()->chunkDelAll();
   }

   /// Looks at all that an earlier life has left, and finishes what that died at.
   void takeOver()
   {
      EXPECT_TRUE(Manager::orphanage()->info().empty());
      for (unsigned family = 0; family < Ledger::families; ++family) {
         auto& spot = spots_[family];
         mount(spot);
         expectWords(spot);
         for (unsigned entry = 0; entry < Ledger::entries; ++entry) {
            write(spot, entry, ledger_.word(family, entry).after);
         }
      }
   }

   void step()
   {
      auto& spot = spots_[random_.below(static_cast<unsigned>(spots_.size()))];
      auto const choice = random_.below(100);
      if (choice < 25) {
         mount(spot);
      } else if (choice < 40) {
         unmount(spot);
      } else if (choice < 50) {
         cleanUp(spot);
      } else if (choice < 55) {
         beRefused(spot);
      } else if (choice < 60) {
         mountWithARefusal(spot);
      } else if (choice < 80) {
         writeSome(spot);
      } else if (choice < 86) {
         reset(spot);
      } else if (choice < 92) {
         expectWords(spot);
      } else if (choice < 97) {
         forgetABlock(spot);
      } else if (spot.state == Spot::State::nothing) {
         spot.manager->infoMountDel(spot.path());
      }
      expectState(spot);
   }

   unsigned choose(unsigned bound) { return random_.below(bound); }

   /// Whatever it does at the time.
   void prepareToDie()
   {
      auto const nth = static_cast<int>(random_.below(20)) + 1;
      switch (random_.below(4)) {
      case 0:
         PinmemGate::instance().killAt(nth);
         break;
      case 1:
         PinmemGate::instance().killBehind(nth);
         break;
      case 2:
         diesWriting_ = true;
         break;
      default:
         std::raise(SIGKILL);
      }
   }

   void dropAll()
   {
      for (auto& spot : spots_) {
         unmount(spot);
         cleanUp(spot);
         spot.manager->infoMountDelAll();
      }
      for (auto const& spot : spots_) {
         EXPECT_TRUE(spot.manager->directory()->entity().empty());
      }
      StoreChunk::instance()->chunkDelAll();
   }

private:
   using State = Spot::State;

   void mount(Spot& spot)
   {
      bool const isZeroed = spot.state == State::nothing && random_.once(8);
      spot.description.isZeroedMemoryOnMountingIs(isZeroed);
      if (isZeroed) {
         familyIs(spot.family, 0);
      }
      spot.manager->mount(spot.description);
      if (isZeroed) {
         settle(spot.family);
      }
      auto const entity = spot.manager->entify(spot.path());
      if (spot.state == State::nothing) {
         spot.entity = entity.get();
         EXPECT_EQ(spot.mount()->synchronized.size(), isZeroed ? 0U : 10U);
         expectAddresses(*spot.manager, spot.description);
      }
      EXPECT_EQ(entity.get(), spot.entity);
      spot.state = State::mounted;
   }

   void unmount(Spot& spot)
   {
      spot.manager->unmount(spot.path());
      if (spot.state == State::mounted) {
         spot.state = State::orphan;
      }
   }

   void cleanUp(Spot& spot)
   {
      if (spot.state == State::orphan) {
         Destructor::cleanup(spot.entity);
         spot.state = State::nothing;
      }
   }

   /// Another description.
   void beRefused(Spot& spot)
   {
      if (spot.state == State::nothing) {
         return;
      }
      EXPECT_THROW(spot.manager->mount(describeOddMount(spot.path(), "DirectoryMount")), std::invalid_argument);
      spot.state = State::mounted; // an orphan is adopted by that
   }

   /// Fails at some call of the pinned-memory library, or some allocation, and recovers.
   void mountWithARefusal(Spot& spot)
   {
      if (spot.state != State::nothing) {
         return;
      }
      spot.description.isZeroedMemoryOnMountingIs(false);
      auto& gate = PinmemGate::instance();
      bool const isOfMemory = random_.once(2);
      gate.refuse(isOfMemory ? static_cast<int>(random_.below(14)) + 1 : 0);
      AllocationGate::refuse(isOfMemory ? 0 : random_.below(300) + 1);
      try {
         spot.manager->mount(spot.description);
      } catch (std::bad_alloc const&) {
      } catch (Utility::AffirmException const&) {
      }
      gate.refuse(0);
      AllocationGate::refuse(0);
      spot.manager->mount(spot.description); // whatever is there, it is a mount now, perhaps half of one
      spot.entity = spot.manager->entify(spot.path()).get();
      spot.state = State::mounted;
      unmount(spot);
      cleanUp(spot);
      mount(spot);
   }

   void write(Spot const& spot, unsigned entry, std::uint32_t value)
   {
      auto& word = ledger_.word(spot.family, entry);
      word.after = value;
      auto const& ring = spot.mount()->ring;
      for (auto const field : {RingEntry::commandNumber, RingEntry::tailNumber, RingEntry::statusNumber}) {
         *reinterpret_cast<std::uint32_t volatile*>(ring->addressVirtual(field, entry)) = value;
         if (diesWriting_ && random_.once(3)) {
            std::raise(SIGKILL);
         }
      }
      word.before = value;
   }

   void writeSome(Spot const& spot)
   {
      if (spot.state != State::nothing) {
         write(spot, random_.below(Ledger::entries), ++lastValue_);
      }
   }

   void reset(Spot const& spot)
   {
      if (spot.state == State::nothing) {
         return;
      }
      auto const entry = random_.below(Ledger::entries);
      auto& word = ledger_.word(spot.family, entry);
      word.after = 0;
      spot.mount()->ring->reset(entry);
      word.before = 0;
   }

   void familyIs(unsigned family, std::uint32_t value)
   {
      for (unsigned entry = 0; entry < Ledger::entries; ++entry) {
         ledger_.word(family, entry).after = value;
      }
   }

   void settle(unsigned family)
   {
      for (unsigned entry = 0; entry < Ledger::entries; ++entry) {
         ledger_.word(family, entry).before = ledger_.word(family, entry).after;
      }
   }

   void expectWords(Spot const& spot)
   {
      if (spot.state == State::nothing) {
         return;
      }
      auto const& ring = spot.mount()->ring;
      for (unsigned entry = 0; entry < Ledger::entries; ++entry) {
         auto const& word = ledger_.word(spot.family, entry);
         for (auto const field : {RingEntry::commandNumber, RingEntry::tailNumber, RingEntry::statusNumber}) {
            auto const found = *reinterpret_cast<std::uint32_t const*>(ring->addressVirtual(field, entry));
            EXPECT_TRUE(found == word.before || found == word.after)
               << "family " << spot.family << ", entry " << entry << ", field " << field << ": " << found
               << " is neither " << word.before << " nor " << word.after;
         }
      }
   }

   /// The store drops a block, in use or not.
   void forgetABlock(Spot const& spot)
   {
      auto const* const field = random_.among(std::vector<char const*>{"command.0", "status.1", "tail.0", "bytes.0"});
      StoreChunk::instance()->chunkDel(Orvo::join("family ", spot.family, ".", field));
   }

   void expectState(Spot const& spot)
   {
      std::size_t orphans = 0;
      for (auto const& each : spots_) {
         orphans += each.state == State::orphan ? 1U : 0U;
      }
      EXPECT_EQ(Manager::orphanage()->info().size(), orphans);
      auto const entity = spot.manager->directory()->entity2Impl(spot.path());
      if (spot.state == State::nothing) {
         EXPECT_EQ(entity, nullptr);
         return;
      }
      EXPECT_EQ(entity.get(), spot.entity);
      auto const isOrphan = spot.state == State::orphan;
      EXPECT_EQ(spot.manager->orphan(entity->fullName()), isOrphan ? spot.entity : nullptr);
      EXPECT_EQ(Manager::orphanage()->info(spot.entity).path(), isOrphan ? entity->fullName() : Orvo::String());
      EXPECT_EQ(spot.manager->infoMount(spot.path()), spot.description);
   }

   static unsigned seed() { return static_cast<unsigned>(std::stoul(std::getenv("LIFE_SEED"))); }

   Random random_{seed()};
   Ledger ledger_{std::getenv("LIFE_FOLDER") + std::string("/ledger")};
   std::vector<Spot> spots_;
   std::uint32_t lastValue_ = seed() << 16U;
   bool diesWriting_ = false;
};

void liveToTheEnd(Life& life, unsigned steps)
{
   auto const before = balanceNow();
   std::size_t memory = 0;
   std::size_t heap = 0;
   life.takeOver();
   for (unsigned i = 0; i < steps && !testing::Test::HasFailure(); ++i) {
      if (i == steps / 10) {
         memory = ownMemory();
         heap = ::mallinfo2().uordblks;
      }
      life.step();
   }
   EXPECT_LE(::mallinfo2().uordblks, heap + (64U << 10U));
   if (heap != 0) { // but for sanitizers, whose allocators keep what is freed, and do not count
      EXPECT_LE(ownMemory(), memory + (1U << 20U));
   }
   life.dropAll();
   expectBalance(before);
}

void liveUntilKilled(Life& life, unsigned steps)
{
   auto const last = life.choose(steps);
   life.takeOver();
   for (unsigned i = 0; i < steps && !testing::Test::HasFailure(); ++i) {
      if (i == last) {
         life.prepareToDie();
      }
      life.step();
   }
   if (!testing::Test::HasFailure()) {
      std::raise(SIGKILL);
   }
}

} // namespace

void randomLife()
{
   Life life;
   auto const steps = static_cast<unsigned>(std::stoul(std::getenv("LIFE_STEPS")));
   std::getenv("LIFE_IS_KILLED") == std::string("1") ? liveUntilKilled(life, steps) : liveToTheEnd(life, steps);
}

} // namespace Quorvel::Core::Test
