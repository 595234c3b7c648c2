// In which order the core's initialisers register their modules and capture the agent's name: both functions of the platform
// are written down on their way.

#include "support/ChildProcess.h"

#include <Kro/KroModule.h>
#include <pinmem/Manager.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

#include <dlfcn.h>

namespace {

using Quorvel::Core::Test::inChild;

/// "register <module>" and "capture", in order. Made by the first call, which may come from an initialiser.
std::vector<std::string>& calls()
{
   static std::vector<std::string> made;
   return made;
}

template <class Function>
Function* replaced(char const* name)
{
   auto* const function = ::dlsym(RTLD_NEXT, name);
   if (function == nullptr) {
      throw std::runtime_error(::dlerror());
   }
   return reinterpret_cast<Function*>(function);
}

} // namespace

void Kro::kroModuleIs(KroModule& module)
{
   calls().push_back("register " + std::string(module.name));
   replaced<void(KroModule&)>("_ZN3Kro11kroModuleIsERNS_9KroModuleE")(module);
}

void pinmem_lib::Manager::captureAgentName()
{
   calls().emplace_back("capture");
   replaced<void()>("_ZN10pinmem_lib7Manager16captureAgentNameEv")();
}

namespace {

TEST(LoadOrder, chunkAndCollectionCaptureTheNameFirstAndManagerAfterwardsAndTheOthersDoNotAtAll)
{
   auto const result = inChild({}, [] {
      calls().clear(); // of the platform itself
      ASSERT_NE(::dlopen(QUORVEL_CORE_LIBRARY, RTLD_NOW | RTLD_LOCAL), nullptr);
      for (auto const& call : calls()) {
         std::printf("%s\n", call.c_str());
      }
   });

   // The order among the sources is the linker's. Each source's calls stand together.
   std::vector<std::string> sources{
      "capture\nregister Chunk\n", "capture\nregister Collection\n", "register Manager\ncapture\n", "register Mount\n",
      "register Loader\n"};
   std::sort(sources.begin(), sources.end());
   bool isOneOfThem = false;
   do {
      std::string all;
      for (auto const& source : sources) {
         all += source;
      }
      isOneOfThem = isOneOfThem || all == result.output;
   } while (std::next_permutation(sources.begin(), sources.end()));
   EXPECT_TRUE(isOneOfThem) << result.output << result.errors;
}

} // namespace
