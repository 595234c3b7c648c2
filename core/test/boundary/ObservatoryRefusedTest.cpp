// Plugins whose module cannot be registered. Each is opened in a process of its own.

#include "boundary/Observatory.h"
#include "support/ChildProcess.h"
#include "support/MessageOf.h"

#include <Kro/Exception.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>

#include <dlfcn.h>

namespace {

using Quorvel::Core::Test::ChildResult;
using Quorvel::Core::Test::inChild;
using Quorvel::Core::Test::messageOf;
using Quorvel::Core::Test::observatoryPaths;
using Quorvel::Core::Test::openPlugin;
using Quorvel::Core::Test::runProgram;
using Quorvel::Core::Test::Observatory::module;
using Quorvel::Core::Test::Observatory::type;
using testing::EndsWith;

/// Opens one plugin, then the other, in a program that has opened none yet.
ChildResult opened(char const* first, char const* second)
{
   return runProgram({observatoryPaths.opener, first, second}, {});
}

TEST(RefusedPlugin, thatHasTheModuleNameOfAnotherEndsTheProcessWithTheReason)
{
   auto const result = opened(observatoryPaths.observatory, observatoryPaths.sameModule);

   EXPECT_EQ(result.status, 256 + SIGABRT);
   EXPECT_THAT(
      result.errors,
      EndsWith("module 'Observatory' cannot be registered: another module of that name is registered already\n"));
}

TEST(RefusedPlugin, thatHasTheTypeNameOfAnotherEndsTheProcessWithTheReason)
{
   auto const result = opened(observatoryPaths.observatory, observatoryPaths.sameType);

   EXPECT_EQ(result.status, 256 + SIGABRT);
   EXPECT_THAT(
      result.errors, EndsWith("module 'Impostor' cannot be registered: type 'Observatory::Angle' is registered already "
                              "by module 'Observatory'\n"));
}

TEST(RefusedPlugin, isTheOneThatComesSecond)
{
   auto const result = opened(observatoryPaths.sameType, observatoryPaths.observatory);

   EXPECT_EQ(result.status, 256 + SIGABRT);
   EXPECT_THAT(
      result.errors, EndsWith("module 'Observatory' cannot be registered: type 'Observatory::Angle' is registered "
                              "already by module 'Impostor'\n"));
}

TEST(AcceptedPlugin, thatIsOpenedTwiceIsRegisteredOnce)
{
   auto const result = opened(observatoryPaths.observatory, observatoryPaths.observatory);

   EXPECT_EQ(result.output, "Observatory\n");
   EXPECT_EQ(result.status, 0);
}

TEST(AcceptedPlugin, doesNotMindOneWhoseNamesAreItsOwn)
{
   auto const result = opened(observatoryPaths.sameTypeLate, observatoryPaths.observatory);

   EXPECT_EQ(result.output, "Observatory\n");
   EXPECT_EQ(result.status, 0);
}

TEST(RefusedPlugin, thatRegistersWhenItIsAskedThrowsAndLeavesNothing)
{
   auto const result = inChild({}, [] {
      auto const* const angle = &type("Angle");
      auto* const plugin = openPlugin(observatoryPaths.sameTypeLate);
      auto* const registerImpostor = reinterpret_cast<void (*)()>(::dlsym(plugin, "registerImpostor"));

      for (int i = 0; i < 2; ++i) {
         std::printf("%s\n", messageOf<Kro::ModuleException>([&] { registerImpostor(); }).c_str());
      }

      std::printf("%s\n", Kro::findModule("Impostor") == nullptr ? "no module" : "a module");
      std::printf("%s\n", &type("Angle") == angle && angle->module == &module() ? "the same type" : "another type");
   });

   EXPECT_EQ(
      result.output,
      "module 'Impostor' cannot be registered: type 'Observatory::Angle' is registered already by module "
      "'Observatory'\n"
      "module 'Impostor' cannot be registered: type 'Observatory::Angle' is registered already by module "
      "'Observatory'\n"
      "no module\n"
      "the same type\n");
   EXPECT_EQ(result.status, 0);
}

} // namespace
