// Lives of an agent, one after the other in the same memory, each with other steps, most of them ended by SIGKILL wherever they
// are: each finds what the one before has left, and whoever ends by himself leaves nothing. Over the real platform.

#include "scenario/HugePages.h"
#include "scenario/life/Stage.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

using Quorvel::Core::Test::HugePages;
using Quorvel::Core::Test::Stage;

unsigned setting(char const* name, unsigned otherwise)
{
   char const* const text = std::getenv(name);
   return text != nullptr ? static_cast<unsigned>(std::stoul(text)) : otherwise;
}

class Soak : public testing::Test {
protected:
   Soak() { std::printf("QUORVEL_SOAK_SEED=%u QUORVEL_SOAK_ROUNDS=%u\n", seed, rounds); }

   void live(Stage const& stage, bool isKilled, unsigned steps)
   {
      SCOPED_TRACE("seed " + std::to_string(seed));
      auto const status = stage.live(
         {"random"}, {{"LIFE_SEED", std::to_string(seed++)},
                      {"LIFE_STEPS", std::to_string(steps)},
                      {"LIFE_IS_KILLED", isKilled ? "1" : "0"}});
      EXPECT_EQ(status, isKilled ? 256 + SIGKILL : 0);
   }

   void liveOften(Stage const& stage)
   {
      for (unsigned round = 0; round < rounds && !HasFailure(); ++round) {
         live(stage, true, 400);
         if (round % 5 == 4) {
            live(stage, false, 2000);
         }
      }
   }

   unsigned const rounds = setting("QUORVEL_SOAK_ROUNDS", 20);
   unsigned seed = setting("QUORVEL_SOAK_SEED", 1);
};

TEST_F(Soak, livesThatAreKilledLeaveWhatTheyHaveWrittenAndOneThatEndsLeavesNothing)
{
   Stage const stage("shm");

   liveOften(stage);

   stage.expectSoundAndRemove();
}

TEST_F(Soak, livesThatAreKilledLoseNoHugePage)
{
   Stage const stage("hugetlb");
   HugePages const pages(stage.folder() + "/huge");
   if (!pages.obstacle().empty()) {
      GTEST_SKIP() << pages.obstacle() << "; the same is tested with shared memory";
   }
   auto const before = HugePages::read("free_hugepages");

   liveOften(stage);

   stage.expectSoundAndRemove();
   EXPECT_EQ(HugePages::read("free_hugepages"), before);
}

TEST_F(Soak, oneLongLifeHoldsNoMoreAtItsEndThanAtItsBeginning)
{
   Stage const stage("shm");

   live(stage, false, rounds * 1000);

   stage.expectSoundAndRemove();
}

} // namespace
