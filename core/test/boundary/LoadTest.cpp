// What happens when the core is loaded. The program is linked with the platform alone, and opens the core itself.

#include "support/ChildProcess.h"
#include "support/PinmemRecorder.h"
#include "support/TemporaryDirectory.h"

#include <Kro/AllocTrackTypeInfo.h>
#include <Kro/Dir.h>
#include <Kro/KroModule.h>
#include <pinmem/Manager.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include <dlfcn.h>

namespace {

using Quorvel::Core::Test::ChildResult;
using Quorvel::Core::Test::Environment;
using Quorvel::Core::Test::inChild;
using Quorvel::Core::Test::PinmemRecorder;
using Quorvel::Core::Test::TemporaryDirectory;

void* openCore()
{
   auto* const library = ::dlopen(QUORVEL_CORE_LIBRARY, RTLD_NOW | RTLD_LOCAL);
   if (library == nullptr) {
      throw std::runtime_error(::dlerror());
   }
   return library;
}

struct Module {
   char const* name;
   char const* descriptor;
   std::vector<char const*> types;
};

std::vector<Module> const modules{
   {"Mount",
    "_Mount_9f87669e06341142_kroModule",
    {"Quorvel::Core::Memory::Info::Detail::Chunk", "Quorvel::Core::Memory::Info::Detail::Group",
     "Quorvel::Core::Memory::Info::Collection", "Quorvel::Core::Memory::Info::Mount"}},
   {"Chunk",
    "_Chunk_334569107d2ca953_kroModule",
    {"Quorvel::Core::Memory::Control::Detail::Chunk", "Quorvel::Core::Memory::Control::Detail::StoreChunk",
     "Quorvel::Core::Memory::Control::Detail::Group"}},
   {"Collection",
    "_Collection_d95037a923a29d5_kroModule",
    {"Quorvel::Core::Memory::Control::Detail::Attribute", "Quorvel::Core::Memory::Control::Collection"}},
   {"Manager",
    "_Manager_3f1d6af35e273bc_kroModule",
    {"Quorvel::Core::Memory::Entity::Detail::Info", "Quorvel::Core::Memory::Entity::Detail::Orphanage",
     "Quorvel::Core::Memory::Entity::Manager"}},
   {"Loader",
    "_Loader_65b35f617e5fa89d_kroModule",
    {"Quorvel::Core::Loader::Pimpl", "Quorvel::Core::Loader::Singleton"}}};

/// The allocation trackers, under the names by which the linker knows them.
std::vector<char const*> const trackers{
   "_ZN7Quorvel4Core6Loader9Singleton21memAllocationTracker_E",
   "_ZN7Quorvel4Core6Memory7Control10Collection21memAllocationTracker_E",
   "_ZN7Quorvel4Core6Memory7Control10Collection8KroGroup21memAllocationTracker_E",
   "_ZN7Quorvel4Core6Memory7Control6Detail9Attribute21memAllocationTracker_E",
   "_ZN7Quorvel4Core6Memory7Control6Detail9Attribute8KroGroup21memAllocationTracker_E",
   "_ZN7Quorvel4Core6Memory7Control6Detail9Attribute8KroChunk21memAllocationTracker_E",
   "_ZN7Quorvel4Core6Memory7Control6Detail5Chunk21memAllocationTracker_E",
   "_ZN7Quorvel4Core6Memory7Control6Detail5Group21memAllocationTracker_E",
   "_ZN7Quorvel4Core6Memory7Control6Detail10StoreChunk21memAllocationTracker_E",
   "_ZN7Quorvel4Core6Memory6Entity7Manager21memAllocationTracker_E",
   "_ZN7Quorvel4Core6Memory6Entity6Detail9Orphanage21memAllocationTracker_E",
   "_ZN7Quorvel4Core6Memory4Info10Collection8KroGroup21memAllocationTracker_E",
   "_ZN7Quorvel4Core6Memory4Info6Detail5Group16KroChunkInternal21memAllocationTracker_E",
   "_ZN7Quorvel4Core6Memory4Info5Mount21KroCollectionInternal21memAllocationTracker_E"};

/// Runs the check in a child, so that the core is not loaded before; the child's expectations are its output.
ChildResult onFreshProcess(Environment const& environment, std::function<void()> const& check)
{
   return inChild(environment, [&] {
      check();
      std::printf("%s", testing::Test::HasFailure() ? "failed" : "held");
   });
}

TEST(Load, registersTheFiveModulesWithTheirTypes)
{
   auto const result = onFreshProcess({}, [] {
      for (auto const& [name, descriptor, types] : modules) {
         EXPECT_EQ(Kro::findModule(name), nullptr);
         EXPECT_EQ(Kro::findType(types.front()), nullptr);
      }
      auto* const library = openCore();
      for (auto const& [name, descriptor, types] : modules) {
         auto const* const module = Kro::findModule(name);
         ASSERT_NE(module, nullptr) << name;
         EXPECT_EQ(module, ::dlsym(library, descriptor));
         for (auto const* type : types) {
            ASSERT_NE(Kro::findType(type), nullptr) << type;
            EXPECT_EQ(Kro::findType(type)->module, module);
         }
      }
   });

   EXPECT_EQ(result.output, "held");
}

TEST(Load, registersNothingElse)
{
   auto const result = onFreshProcess({}, [] {
      auto const count = [] {
         int found = 0;
         for (auto const* module = Kro::firstModule(); module != nullptr; module = module->next) {
            ++found;
         }
         return found;
      };
      auto const before = count();
      openCore();
      EXPECT_EQ(count(), before + 5);
      openCore();
      EXPECT_EQ(count(), before + 5);
   });

   EXPECT_EQ(result.output, "held");
}

TEST(Load, makesNoObjectNoBlockAndNoFile)
{
   TemporaryDirectory const directory;

   auto const result = onFreshProcess({{"PINMEM_DIR", directory.path()}}, [] {
      auto* const library = openCore();
      EXPECT_TRUE(Kro::globalDir()->entity().empty());
      EXPECT_EQ(Kro::Entity::singletonExists("Quorvel::Core::Memory::Control::Detail::StoreChunk"), nullptr);
      EXPECT_THAT(PinmemRecorder::instance().takeCalls(), testing::IsEmpty());
      for (auto const* name : trackers) {
         auto const* const tracker = static_cast<Kro::AllocTrackTypeInfo const*>(::dlsym(library, name));
         ASSERT_NE(tracker, nullptr) << name;
         EXPECT_EQ(tracker->allocations(), 0U) << name;
      }
   });

   EXPECT_EQ(result.output, "held");
   EXPECT_TRUE(std::filesystem::is_empty(directory.path()));
}

TEST(Load, capturesTheAgentNameOnce)
{
   auto const result = onFreshProcess({{"AGENT_PROCESS_NAME", "strata"}}, [] {
      EXPECT_EQ(pinmem_lib::Manager::agentName, nullptr);
      openCore();
      EXPECT_STREQ(pinmem_lib::Manager::agentName, "strata");
      ::setenv("AGENT_PROCESS_NAME", "other", 1);
      openCore();
      EXPECT_STREQ(pinmem_lib::Manager::agentName, "strata");
   });

   EXPECT_EQ(result.output, "held");
}

TEST(Load, leavesAProcessWithoutNameWithoutName)
{
   auto const result = onFreshProcess({}, [] {
      ::unsetenv("AGENT_PROCESS_NAME");
      openCore();
      EXPECT_EQ(pinmem_lib::Manager::agentName, nullptr);
      ::setenv("AGENT_PROCESS_NAME", "late", 1);
      openCore();
      EXPECT_EQ(pinmem_lib::Manager::agentName, nullptr);
   });

   EXPECT_EQ(result.output, "held");
}

} // namespace
