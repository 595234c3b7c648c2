#include "support/RefusedAllocation.h"
#include "support/UtilityRecorder.h"

#include <Quorvel/Core/Poller.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

// How the poller asks the system to wait, and what it makes of the answers: told by a stand-in for poll(2), which follows a
// script. What it asks of memory, and refuses by `raise`, too. A program of its own.

namespace {

struct Call {
   pollfd const* array;
   nfds_t size;
   int timeout;
};

// Where the calls go that a test awaits. Keeps them without allocating.
struct Script {
   std::function<int(pollfd* records, std::size_t number)> answer; // to which call, counted from 0
   std::array<Call, 2000> calls{};
   std::size_t count = 0;
};

Script script;

} // namespace

extern "C" __attribute__((visibility("default"))) int poll(pollfd* records, nfds_t size, int timeout)
{
   auto const number = script.count++;
   script.calls.at(number) = {records, size, timeout};
   return script.answer(records, number);
}

namespace {

using Quorvel::Core::Poller;
using Quorvel::Core::Test::AllocationRecorder;
using Quorvel::Core::Test::Refusal;
using Quorvel::Core::Test::refuseAllocations;
using Quorvel::Core::Test::UtilityRecorder;
using testing::ElementsAre;

/// Looks like the allocation and the release of one array for so many files, in AllocationRecorder's words.
auto isOneArray(std::size_t files)
{
   auto const size = std::to_string(files * sizeof(pollfd));
   return ElementsAre("new " + size, "delete " + size);
}

class PollerWait : public testing::Test {
protected:
   PollerWait() { script.count = 0; }

   ~PollerWait() override { script.answer = nullptr; }

   // A file whose handler notes the file's name and returns these one after the other, and then true.
   void add(char const* name, int descriptor, std::int16_t events, std::vector<bool> results = {})
   {
      sut.fileIs(
         {name,
          [this, results, next = std::size_t(0)](Poller::File const& file) mutable {
             handled.push_back(file.name);
             return next < results.size() ? static_cast<bool>(results[next++]) : true;
          },
          descriptor, events});
   }

   AllocationRecorder& recorder = AllocationRecorder::instance();
   Poller sut;
   std::vector<std::string> handled;
};

using Names = std::vector<std::string>;

TEST_F(PollerWait, asksForEachFileInOrderWithAnEmptyAnswer)
{
   add("a", 30, POLLIN);
   add("b", 10, POLLOUT | POLLPRI);
   add("c", -1, 0);
   std::vector<pollfd> asked;
   script.answer = [&](pollfd* records, std::size_t) {
      asked.assign(records, records + 3);
      return -1;
   };

   sut.poll(250);

   ASSERT_EQ(script.count, 1u);
   EXPECT_EQ(script.calls[0].size, 3u);
   EXPECT_EQ(script.calls[0].timeout, 250);
   int const descriptors[] = {30, 10, -1};
   short const events[] = {POLLIN, POLLOUT | POLLPRI, 0};
   for (std::size_t i = 0; i < 3; ++i) {
      EXPECT_EQ(asked[i].fd, descriptors[i]);
      EXPECT_EQ(asked[i].events, events[i]);
      EXPECT_EQ(asked[i].revents, 0);
   }
}

TEST_F(PollerWait, passesANegativeTimeoutOn)
{
   script.answer = [](pollfd*, std::size_t) { return -1; };

   sut.poll(-1);
   sut.poll(-7);

   EXPECT_EQ(script.calls[0].timeout, -1);
   EXPECT_EQ(script.calls[1].timeout, -7);
}

TEST_F(PollerWait, returnsAFailureAtOnceAndHandlesNothing)
{
   add("a", 3, POLLIN);
   script.answer = [](pollfd* records, std::size_t) {
      records[0].revents = POLLIN; // means nothing after a failure
      errno = EINTR;
      return -1;
   };

   EXPECT_EQ(sut.poll(10), -1);

   EXPECT_EQ(errno, EINTR);
   EXPECT_EQ(script.count, 1u);
   EXPECT_TRUE(handled.empty());
}

TEST_F(PollerWait, returnsAnyNegativeAnswer)
{
   script.answer = [](pollfd*, std::size_t) { return -3; };

   EXPECT_EQ(sut.poll(10), -3);
}

TEST_F(PollerWait, keepsTheReasonOfAFailureWhenTheReleaseOfMemoryHasOneOfItsOwn)
{
   add("a", 3, POLLIN);
   script.answer = [](pollfd*, std::size_t) {
      errno = EINTR;
      return -1;
   };
   recorder.errnoOnFreeIs(ENOMEM);
   recorder.startCalls();

   sut.poll(0);
   int const reason = errno;

   recorder.errnoOnFreeIs(0);
   EXPECT_EQ(reason, EINTR);
   EXPECT_THAT(recorder.takeCalls(), isOneArray(1));
}

TEST_F(PollerWait, returnsAFailureAfterHandlersThatWaitedOn)
{
   add("a", 3, POLLIN, {false, false, false});
   script.answer = [](pollfd* records, std::size_t number) {
      records[0].revents = POLLIN;
      return number < 2 ? 1 : -1;
   };

   EXPECT_EQ(sut.poll(10), -1);

   EXPECT_EQ(handled, (Names{"a", "a"}));
}

TEST_F(PollerWait, handlesEveryReadyFileOfAPassInOrderAlsoAfterOneThatIsDone)
{
   add("a", 3, POLLIN, {true});
   add("b", 4, POLLIN, {false});
   add("c", 5, POLLIN, {true});
   script.answer = [](pollfd* records, std::size_t) {
      records[0].revents = records[1].revents = records[2].revents = POLLIN;
      return 3;
   };

   EXPECT_EQ(sut.poll(10), 3);

   EXPECT_EQ(handled, (Names{"a", "b", "c"}));
   EXPECT_EQ(script.count, 1u);
}

TEST_F(PollerWait, isOverWhenTheFirstFileAloneIsDone)
{
   add("a", 3, POLLIN, {true});
   add("b", 4, POLLIN, {false});
   script.answer = [](pollfd* records, std::size_t) {
      records[0].revents = records[1].revents = POLLIN;
      return 2;
   };

   EXPECT_EQ(sut.poll(10), 2);

   EXPECT_EQ(handled, (Names{"a", "b"}));
   EXPECT_EQ(script.count, 1u);
}

TEST_F(PollerWait, isOverWhenTheLastFileAloneIsDone)
{
   add("a", 3, POLLIN, {false});
   add("b", 4, POLLIN, {true});
   script.answer = [](pollfd* records, std::size_t) {
      records[0].revents = records[1].revents = POLLIN;
      return 2;
   };

   EXPECT_EQ(sut.poll(10), 2);

   EXPECT_EQ(handled, (Names{"a", "b"}));
}

TEST_F(PollerWait, handlesAFileOnlyForAnEventThatItAsksFor)
{
   constexpr auto highest = std::numeric_limits<std::int16_t>::min();
   add("unasked", 3, POLLIN);
   add("one of two", 4, POLLIN | POLLOUT);
   add("nothing", 5, POLLIN);
   add("asked for a hang-up", 6, POLLHUP);
   add("asks for nothing", 7, 0);
   add("asks for the highest bit", 8, highest);
   script.answer = [](pollfd* records, std::size_t) {
      records[0].revents = POLLERR | POLLHUP | POLLNVAL | POLLOUT;
      records[1].revents = POLLOUT | POLLHUP;
      records[3].revents = POLLHUP;
      records[4].revents = POLLNVAL;
      records[5].revents = highest;
      return 5;
   };

   EXPECT_EQ(sut.poll(10), 5) << "what the system says, not how many were handled";

   EXPECT_EQ(handled, (Names{"one of two", "asked for a hang-up", "asks for the highest bit"}));
}

TEST_F(PollerWait, waitsAgainWithTheSameArrayAndTheFullTimeoutUntilAHandlerIsDone)
{
   add("a", 3, POLLIN, {false, true});
   add("b", 4, POLLIN);
   script.answer = [](pollfd* records, std::size_t number) {
      EXPECT_EQ(records[0].fd, 3);
      EXPECT_EQ(records[0].events, POLLIN);
      EXPECT_EQ(records[1].fd, 4);
      records[0].revents = POLLIN;
      records[1].revents = number == 0 ? 0 : POLLHUP;
      return number == 0 ? 1 : 2;
   };

   EXPECT_EQ(sut.poll(77), 2) << "of the last wait";

   ASSERT_EQ(script.count, 2u);
   EXPECT_EQ(script.calls[1].array, script.calls[0].array);
   EXPECT_EQ(script.calls[1].size, 2u);
   EXPECT_EQ(script.calls[1].timeout, 77);
   EXPECT_EQ(handled, (Names{"a", "a"}));
}

TEST_F(PollerWait, waitsAgainWhenAWaitTimesOutAndHandlesNothing)
{
   for (int const timeout : {0, 5, 1'000'000}) {
      sut.files.clear();
      handled.clear();
      script.count = 0;
      add("a", 3, POLLIN);
      script.answer = [&](pollfd* records, std::size_t number) {
         EXPECT_TRUE(handled.empty());
         records[0].revents = POLLIN; // counts only when the wait has not timed out
         return number == 3 ? 1 : 0;
      };

      EXPECT_EQ(sut.poll(timeout), 1);

      ASSERT_EQ(script.count, 4u);
      for (std::size_t i = 0; i < 4; ++i) {
         EXPECT_EQ(script.calls[i].timeout, timeout);
      }
      EXPECT_EQ(handled, Names{"a"});
   }
}

TEST_F(PollerWait, waitsWithoutFilesUntilTheSystemRefuses)
{
   script.answer = [](pollfd*, std::size_t number) { return number < 100 ? 0 : -1; };

   EXPECT_EQ(sut.poll(0), -1);

   EXPECT_EQ(script.count, 101u);
   EXPECT_EQ(script.calls[100].size, 0u);
}

TEST_F(PollerWait, allocatesOneArrayAndNothingWhileItWaits)
{
   int rounds = 0;
   for (int i = 0; i < 100; ++i) {
      sut.fileIs({"", [&](Poller::File const&) { return ++rounds > 100'000; }, i, POLLIN});
   }
   script.answer = [](pollfd* records, std::size_t) {
      for (std::size_t i = 0; i < 100; ++i) {
         records[i].revents = POLLIN;
      }
      return 100;
   };
   recorder.startCalls();

   sut.poll(0);

   EXPECT_THAT(recorder.takeCalls(), isOneArray(100));
   EXPECT_EQ(script.count, 1001u);
}

TEST_F(PollerWait, releasesTheArrayWhenAHandlerThrowsAndHandlesNothingAfterIt)
{
   add("a", 3, POLLIN, {true});
   sut.fileIs({"thrower", [](Poller::File const&) -> bool { throw 7; }, 4, POLLIN});
   add("c", 5, POLLIN, {true});
   handled.reserve(3);
   script.answer = [](pollfd* records, std::size_t) {
      records[0].revents = records[1].revents = records[2].revents = POLLIN;
      return 3;
   };
   recorder.startCalls();

   EXPECT_THROW(sut.poll(0), int);

   EXPECT_THAT(recorder.takeCalls(), isOneArray(3));
   EXPECT_EQ(handled, Names{"a"});
}

TEST_F(PollerWait, releasesTheArrayWhenAReadyFileHasNoHandler)
{
   sut.fileIs({"no handler", nullptr, 3, POLLIN});
   script.answer = [](pollfd* records, std::size_t) {
      records[0].revents = POLLIN;
      return 1;
   };
   recorder.startCalls();

   EXPECT_THROW(sut.poll(0), std::bad_function_call);

   EXPECT_THAT(recorder.takeCalls(), isOneArray(1));
}

TEST_F(PollerWait, needsNoHandlerForAFileThatIsNotReady)
{
   sut.fileIs({"no handler", nullptr, 3, POLLIN});
   add("b", 4, POLLIN);
   script.answer = [](pollfd* records, std::size_t) {
      records[0].revents = POLLHUP;
      records[1].revents = POLLIN;
      return 2;
   };

   EXPECT_EQ(sut.poll(0), 2);
}

TEST_F(PollerWait, startsAfreshAtEachCall)
{
   add("a", 3, POLLIN);
   script.answer = [](pollfd* records, std::size_t) {
      EXPECT_EQ(records[0].revents, 0);
      records[0].revents = POLLIN;
      return 1;
   };
   sut.poll(1);
   add("b", 4, POLLOUT);

   sut.poll(2);

   EXPECT_EQ(script.calls[1].size, 2u);
   EXPECT_EQ(script.calls[1].timeout, 2);
}

TEST_F(PollerWait, throwsWithoutMemoryForTheArrayBeforeItWaits)
{
   add("a", 3, POLLIN);

   auto const refusal = refuseAllocations({.first = 1}, [this] { sut.poll(0); });

   EXPECT_EQ(refusal, Refusal::passed);
   EXPECT_EQ(script.count, 0u);
}

TEST_F(PollerWait, openLeavesNoTraceWhenMemoryIsExhausted)
{
   auto const lowestFree = [] {
      int const descriptor = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
      ::close(descriptor);
      return descriptor;
   };
   int const before = lowestFree();
   unsigned passed = 0;
   auto refusal = Refusal::passed;
   while (refusal == Refusal::passed) {
      EXPECT_TRUE(sut.files.empty());
      EXPECT_EQ(lowestFree(), before);

      refusal = refuseAllocations({.first = passed + 1, .count = AllocationRecorder::allThatFollow}, [this] {
         sut.open("/dev/null", O_RDONLY | O_CLOEXEC, POLLIN, [](Poller::File const&) { return true; });
      });

      passed += refusal == Refusal::passed ? 1U : 0U;
   }

   EXPECT_EQ(refusal, Refusal::none);
   EXPECT_EQ(passed, 2u) << "for the owner of the descriptor and for the record";
   EXPECT_EQ(sut.files.size(), 1u);
}

TEST_F(PollerWait, raisesTheRefusalOfAFileThatWasNotOpened)
{
   UtilityRecorder::instance().takeCalls();
   Poller::File const file{"/dev/x", nullptr, -1, POLLIN};

   EXPECT_THROW(file.checkDescriptor(), std::system_error);
   EXPECT_THROW(sut.open("/dev/not there", O_RDONLY, POLLIN, nullptr), std::system_error);

   EXPECT_THAT(
      UtilityRecorder::instance().takeCalls(), ElementsAre("raise std::system_error", "raise std::system_error"));
}

} // namespace
