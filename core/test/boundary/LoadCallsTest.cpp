// What the core does of its own accord when it is loaded: the calls of the system's libraries are written down on their way.

#include "support/CallRecorder.h"
#include "support/ChildProcess.h"

#include <Kro/Dir.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <dlfcn.h>

namespace {

using Quorvel::Core::Test::CallRecorder;
using Quorvel::Core::Test::inChild;
using testing::ElementsAre;
using testing::IsEmpty;

using Kind = CallRecorder::Kind;

constexpr char const* core = "libQuorvelCore.so";

TEST(LoadCalls, readTheAgentNameAndNothingElseAndLetTheProcessEnd)
{
   auto const result = inChild({}, [] {
      ASSERT_TRUE(Kro::globalDir()->entity().empty()); // the platform is loaded before
      CallRecorder::start();

      ASSERT_NE(::dlopen(QUORVEL_CORE_LIBRARY, RTLD_NOW | RTLD_LOCAL), nullptr);

      EXPECT_THAT(CallRecorder::calls(Kind::variable, ""), ElementsAre("getenv AGENT_PROCESS_NAME"));
      EXPECT_THAT(CallRecorder::calls(Kind::file, ""), IsEmpty());
      EXPECT_THAT(CallRecorder::calls(Kind::thread, ""), IsEmpty());
      EXPECT_THAT(CallRecorder::calls(Kind::publication, ""), IsEmpty());
      EXPECT_THAT(CallRecorder::calls(Kind::lock, core), IsEmpty());
      EXPECT_THAT(CallRecorder::calls(Kind::firstUse, core), IsEmpty());
   });

   EXPECT_EQ(result.output, "");
   EXPECT_EQ(result.errors, "");
   EXPECT_EQ(result.status, 0);
}

} // namespace
