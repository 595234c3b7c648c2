#include "support/MessageOf.h"

#include <Quorvel/Core/Poller.h>

#include <Orvo/Node.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/timerfd.h>
#include <unistd.h>

// The poller over files of the system. What it asks of poll(2) is in PollerWaitTest.cpp.

namespace {

using Quorvel::Core::Poller;
using Quorvel::Core::Test::messageOf;
using Names = std::vector<std::string>;

bool isOpen(int descriptor)
{
   return ::fcntl(descriptor, F_GETFD) != -1;
}

// A descriptor that the test owns.
class Owned {
public:
   explicit Owned(int descriptor) : descriptor_(descriptor) {}

   Owned(Owned&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}

   ~Owned() { close(); }

   operator int() const { return descriptor_; }

   void close()
   {
      if (descriptor_ >= 0) {
         ::close(std::exchange(descriptor_, -1));
      }
   }

private:
   int descriptor_;
};

Owned event(unsigned count)
{
   return Owned(::eventfd(count, EFD_NONBLOCK | EFD_CLOEXEC));
}

class Pipe {
public:
   Pipe() : Pipe(ends()) {}

   Owned reader;
   Owned writer;

private:
   static std::array<int, 2> ends()
   {
      std::array<int, 2> both{};
      EXPECT_EQ(::pipe2(both.data(), O_NONBLOCK | O_CLOEXEC), 0);
      return both;
   }

   explicit Pipe(std::array<int, 2> both) : reader(both[0]), writer(both[1]) {}
};

class PollerOfFiles : public testing::Test {
protected:
   void add(char const* name, int descriptor, std::int16_t events, bool isDone = true)
   {
      sut.fileIs(
         {name,
          [this, isDone](Poller::File const& file) {
             handled.push_back(file.name);
             return isDone;
          },
          descriptor, events});
   }

   Poller sut;
   Names handled;
};

TEST(Poller, isNoEntityAndItsFilesArePlainRecords)
{
   using File = Poller::File;
   static_assert(!std::is_base_of_v<Orvo::Node, Poller>);
   static_assert(std::is_aggregate_v<File>);
   static_assert(std::is_same_v<decltype(File::name), std::string>);
   static_assert(std::is_same_v<decltype(File::descriptor), std::int32_t>);
   static_assert(std::is_same_v<decltype(File::events), std::int16_t>);
   static_assert(std::is_invocable_r_v<bool, decltype(File::handler), File const&>);
   File const sut;

   EXPECT_EQ(static_cast<void const*>(&sut.name), &sut);
   EXPECT_LT(static_cast<void const*>(&sut.name), &sut.handler);
   EXPECT_LT(static_cast<void const*>(&sut.handler), &sut.descriptor);
   EXPECT_LT(static_cast<void const*>(&sut.descriptor), &sut.events);
   EXPECT_EQ(sut.descriptor, -1);
   EXPECT_EQ(sut.events, 0);
}

TEST(PollerFile, checkDescriptorRefusesAFileThatWasNotOpened)
{
   Poller::File const sut{"/dev/x", nullptr, -1, POLLIN};

   try {
      sut.checkDescriptor();
      FAIL() << "no exception";
   } catch (std::system_error const& error) {
      EXPECT_EQ(error.code(), std::error_code(9, std::system_category()));
   }
   EXPECT_EQ(
      messageOf<std::system_error>([&] { sut.checkDescriptor(); }),
      "Unable to open file '/dev/x': Bad file descriptor");
}

TEST(PollerFile, checkDescriptorTakesAnyOtherNumber)
{
   for (int const descriptor : {0, 3, -2, 2147483647, -2147483647 - 1}) {
      EXPECT_NO_THROW((Poller::File{"x", nullptr, descriptor, 0}.checkDescriptor())) << descriptor;
   }
}

TEST_F(PollerOfFiles, handsAReadyFileToItsHandlerOnTheCallersThread)
{
   auto const signalled = event(1);
   std::thread::id thread;
   sut.fileIs(
      {"event",
       [&](Poller::File const& file) {
          thread = std::this_thread::get_id();
          EXPECT_EQ(&file, &sut.files.front());
          EXPECT_EQ(file.name, "event");
          EXPECT_EQ(file.descriptor, signalled);
          return true;
       },
       signalled, POLLIN});

   EXPECT_EQ(sut.poll(-1), 1);

   EXPECT_EQ(thread, std::this_thread::get_id());
}

TEST_F(PollerOfFiles, handlesOnlyWhatIsReadyInTheOrderOfTheFiles)
{
   auto const ready = event(1);
   auto const idle = event(0);
   Pipe pipe;
   add("writer", pipe.writer, POLLOUT, false);
   add("idle", idle, POLLIN);
   add("reader", pipe.reader, POLLIN);
   add("ready", ready, POLLIN);
   add("ready too", ready, POLLIN | POLLOUT, false);

   EXPECT_EQ(sut.poll(-1), 3);

   EXPECT_EQ(handled, (Names{"writer", "ready", "ready too"}));
}

TEST_F(PollerOfFiles, waitsUntilWhatHandlersDoMakesAnotherFileReady)
{
   Pipe pipe;
   auto const first = event(1);
   sut.fileIs(
      {"first",
       [&](Poller::File const& file) {
          handled.push_back(file.name);
          std::uint64_t count = 0;
          EXPECT_EQ(::read(file.descriptor, &count, sizeof count), 8);
          EXPECT_EQ(::write(pipe.writer, "x", 1), 1);
          return false;
       },
       first, POLLIN});
   add("pipe", pipe.reader, POLLIN);

   EXPECT_EQ(sut.poll(-1), 1);

   EXPECT_EQ(handled, (Names{"first", "pipe"}));
}

TEST_F(PollerOfFiles, servesBothEndsOfASocket)
{
   std::array<int, 2> ends{};
   ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
   Owned const left(ends[0]);
   Owned right(ends[1]);
   add("left", left, POLLIN | POLLOUT);
   add("right", right, POLLIN);
   ASSERT_EQ(sut.poll(-1), 1);
   ASSERT_EQ(::write(left, "x", 1), 1);
   ASSERT_EQ(sut.poll(-1), 2);
   right.close();

   EXPECT_EQ(sut.poll(-1), 2) << "one hung up, one is no open file any more";

   EXPECT_EQ(handled, (Names{"left", "left", "right", "left"}));
}

TEST_F(PollerOfFiles, doesNotHandleAHangUpThatNobodyAskedFor)
{
   Pipe pipe;
   pipe.writer.close();
   int rounds = 0;
   auto const signalled = event(1);
   add("pipe", pipe.reader, POLLIN);
   sut.fileIs({"event", [&](Poller::File const&) { return ++rounds == 3; }, signalled, POLLIN});

   EXPECT_EQ(sut.poll(-1), 2) << "the pipe counts";

   EXPECT_TRUE(handled.empty());
}

TEST_F(PollerOfFiles, handlesAHangUpForWhoAsksForIt)
{
   Pipe pipe;
   pipe.writer.close();
   add("pipe", pipe.reader, POLLIN | POLLHUP);

   EXPECT_EQ(sut.poll(-1), 1);

   EXPECT_EQ(handled, Names{"pipe"});
}

TEST_F(PollerOfFiles, doesNotHandleADescriptorThatIsNotOpen)
{
   auto const signalled = event(1);
   constexpr int notOpen = 2'147'483'647; // no limit lets a process open so many
   add("closed", notOpen, POLLIN);
   add("never opened", -1, POLLIN);
   add("negative", -2, POLLIN);
   add("event", signalled, POLLIN);

   EXPECT_EQ(sut.poll(-1), 2) << "the closed one counts, the negative ones do not";

   EXPECT_EQ(handled, Names{"event"});
}

TEST_F(PollerOfFiles, repeatsAWaitThatTimesOut)
{
   auto const alarm = Owned(::timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC));
   itimerspec const soon{{}, {0, 1'000'000}};
   ASSERT_EQ(::timerfd_settime(alarm, 0, &soon, nullptr), 0);
   add("alarm", alarm, POLLIN);

   EXPECT_EQ(sut.poll(0), 1);

   EXPECT_EQ(handled, Names{"alarm"});
}

TEST_F(PollerOfFiles, passesAHandlersExceptionOnAndCanPollAgain)
{
   auto const signalled = event(1);
   bool isThrown = false;
   sut.fileIs(
      {"thrower",
       [&](Poller::File const&) -> bool {
          return std::exchange(isThrown, true) ? true : throw std::runtime_error("broken device");
       },
       signalled, POLLIN});
   add("after", signalled, POLLIN);

   EXPECT_EQ(messageOf<std::runtime_error>([&] { sut.poll(-1); }), "broken device");
   EXPECT_TRUE(handled.empty());

   EXPECT_EQ(sut.poll(-1), 2);
   EXPECT_EQ(handled, Names{"after"});
}

TEST_F(PollerOfFiles, throwsForAReadyFileWithoutHandler)
{
   auto const signalled = event(1);
   add("before", signalled, POLLIN);
   sut.fileIs({"no handler", nullptr, signalled, POLLIN});

   EXPECT_THROW(sut.poll(-1), std::bad_function_call);

   EXPECT_EQ(handled, Names{"before"});
}

TEST_F(PollerOfFiles, letsAHandlerPollAgain)
{
   auto const signalled = event(1);
   int depth = 0;
   sut.fileIs(
      {"event",
       [&](Poller::File const&) {
          if (++depth < 3) {
             EXPECT_EQ(sut.poll(-1), 1);
          }
          return true;
       },
       signalled, POLLIN});

   EXPECT_EQ(sut.poll(-1), 1);

   EXPECT_EQ(depth, 3);
}

// Sends the process a signal again and again while it lives, so that one of them meets the wait.
class Signals {
public:
   Signals()
   {
      struct sigaction action {};

      action.sa_handler = [](int) {};
      action.sa_flags = SA_RESTART; // which poll(2) does not heed
      ::sigaction(SIGALRM, &action, &before_);
      every(1000);
   }

   Signals(Signals const&) = delete;
   Signals& operator=(Signals const&) = delete;

   ~Signals()
   {
      every(0);
      ::sigaction(SIGALRM, &before_, nullptr);
   }

private:
   static void every(suseconds_t microseconds)
   {
      itimerval const timer{{0, microseconds}, {0, microseconds}};
      ::setitimer(ITIMER_REAL, &timer, nullptr);
   }

   struct sigaction before_ {};
};

TEST_F(PollerOfFiles, returnsWhenASignalComes)
{
   Pipe pipe;
   add("reader", pipe.reader, POLLIN);
   Signals const signals;

   int const result = sut.poll(-1);
   int const reason = errno;

   EXPECT_EQ(result, -1);
   EXPECT_EQ(reason, EINTR);
   EXPECT_TRUE(handled.empty());
}

TEST_F(PollerOfFiles, waitsWithoutFilesUntilASignalComes)
{
   Signals const signals;

   int const result = sut.poll(-1);
   int const reason = errno;

   EXPECT_EQ(result, -1);
   EXPECT_EQ(reason, EINTR);
}

// Changes how many files the process may open while it lives.
class FileLimit {
public:
   explicit FileLimit(rlim_t limit)
   {
      ::getrlimit(RLIMIT_NOFILE, &before_);
      auto now = before_;
      now.rlim_cur = std::min(limit, before_.rlim_max);
      ::setrlimit(RLIMIT_NOFILE, &now);
      isGranted_ = now.rlim_cur == limit;
   }

   FileLimit(FileLimit const&) = delete;
   FileLimit& operator=(FileLimit const&) = delete;

   ~FileLimit() { ::setrlimit(RLIMIT_NOFILE, &before_); }

   bool isGranted() const { return isGranted_; }

private:
   rlimit before_{};
   bool isGranted_ = false;
};

TEST_F(PollerOfFiles, returnsTheSystemsRefusalOfTooManyFiles)
{
   auto const signalled = event(1);
   constexpr int limit = 50;
   FileLimit const fileLimit(limit);
   for (int i = 0; i < limit; ++i) {
      add("event", signalled, POLLIN);
   }
   EXPECT_EQ(sut.poll(-1), limit);
   handled.clear();
   add("one too many", signalled, POLLIN);

   int const result = sut.poll(-1);
   int const reason = errno;

   EXPECT_EQ(result, -1);
   EXPECT_EQ(reason, EINVAL);
   EXPECT_TRUE(handled.empty());
}

TEST_F(PollerOfFiles, servesAThousandFiles)
{
   constexpr std::size_t count = 1000;
   FileLimit const limit(count + 100);
   if (!limit.isGranted()) {
      GTEST_SKIP() << "the process may not open that many files";
   }
   std::vector<Owned> events;
   Names expected;
   for (std::size_t i = 0; i < count; ++i) {
      bool const isReady = i % 100 == 99;
      events.push_back(event(isReady ? 1 : 0));
      add(std::to_string(i).c_str(), events.back(), POLLIN);
      if (isReady) {
         expected.push_back(std::to_string(i));
      }
   }

   EXPECT_EQ(sut.poll(-1), 10);

   EXPECT_EQ(handled, expected);
}

TEST(Poller, openAddsTheFileAsTheLastOneAndWaitsOnIt)
{
   Poller sut;
   auto const idle = event(0);
   std::string name;
   sut.fileIs({"idle", nullptr, idle, POLLIN});

   auto const descriptor = sut.open("/dev/zero", O_RDONLY | O_CLOEXEC, POLLIN, [&](Poller::File const& file) {
      name = file.name;
      return true;
   });

   ASSERT_EQ(sut.files.size(), 2u);
   EXPECT_EQ(sut.files[1].descriptor, descriptor);
   EXPECT_EQ(sut.files[1].events, POLLIN);
   EXPECT_EQ(::fcntl(descriptor, F_GETFD), FD_CLOEXEC);
   EXPECT_EQ(::fcntl(descriptor, F_GETFL) & O_ACCMODE, O_RDONLY);
   EXPECT_EQ(sut.poll(-1), 1);
   EXPECT_EQ(name, "/dev/zero");
}

TEST(Poller, openPassesTheFlagsOnAsTheyAre)
{
   Poller sut;

   auto const descriptor = sut.open("/dev/null", O_WRONLY | O_APPEND | O_NONBLOCK, POLLOUT, nullptr);

   EXPECT_EQ(::fcntl(descriptor, F_GETFD), 0);
   EXPECT_EQ(::fcntl(descriptor, F_GETFL) & (O_ACCMODE | O_APPEND | O_NONBLOCK), O_WRONLY | O_APPEND | O_NONBLOCK);
}

TEST(Poller, openLetsEverybodyReadAndWriteWhatItMakesLessTheUmask)
{
   std::string const name = testing::TempDir() + "poller-made-" + std::to_string(::getpid());

   struct stat status {};

   auto const before = ::umask(0026);
   {
      Poller sut;
      auto const descriptor = sut.open(name, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, POLLIN, nullptr);
      EXPECT_EQ(::fstat(descriptor, &status), 0);
   }
   ::umask(before);
   ::unlink(name.c_str());

   EXPECT_EQ(status.st_mode & 07777, 0640u);
}

TEST(Poller, openRefusesAFileThatIsNotThereAndAddsNothing)
{
   Poller sut;

   auto const text = messageOf<std::system_error>([&] { sut.open("/dev/not there", O_RDONLY, POLLIN, nullptr); });

   EXPECT_EQ(text, "Unable to open file '/dev/not there': Bad file descriptor");
   EXPECT_TRUE(sut.files.empty());
   EXPECT_NO_THROW(sut.open("/dev/null", O_RDONLY | O_CLOEXEC, POLLIN, nullptr));
}

TEST(Poller, closesWhatItHasOpenedAndNothingElse)
{
   auto const borrowed = event(0);
   std::array<int, 2> opened{};
   {
      Poller sut;
      sut.fileIs({"borrowed", nullptr, borrowed, POLLIN});
      for (auto& descriptor : opened) {
         descriptor = sut.open("/dev/null", O_RDONLY | O_CLOEXEC, POLLIN, nullptr);
      }
      sut.files.clear();
      EXPECT_TRUE(isOpen(opened[0]));
      EXPECT_TRUE(isOpen(opened[1]));
   }

   EXPECT_FALSE(isOpen(opened[0]));
   EXPECT_FALSE(isOpen(opened[1]));
   EXPECT_TRUE(isOpen(borrowed));
}

TEST(PollerDeathTest, closesAFileThatGotTheNumberZero)
{
   auto const body = [] {
      ::close(0); // as in an agent that runs without standard input
      int descriptor = -1;
      {
         Poller sut;
         descriptor = sut.open("/dev/null", O_RDONLY | O_CLOEXEC, POLLIN, nullptr);
      }
      ::_exit(descriptor == 0 && !isOpen(0) ? 0 : 1);
   };

   EXPECT_EXIT(body(), testing::ExitedWithCode(0), "");
}

TEST(Poller, keepsItsFilesOpenUntilTheHandlersAreGone)
{
   bool isOpenAtTheEnd = false;
   int descriptor = -1;
   {
      Poller sut;
      std::shared_ptr<int> const witness(&descriptor, [&](int* number) { isOpenAtTheEnd = isOpen(*number); });
      descriptor = sut.open(
         "/dev/null", O_RDONLY | O_CLOEXEC, POLLIN, [witness](Poller::File const&) { return witness != nullptr; });
   }

   EXPECT_TRUE(isOpenAtTheEnd);
   EXPECT_FALSE(isOpen(descriptor));
}

TEST(Poller, movesAndIsNotCopied)
{
   static_assert(!std::is_copy_constructible_v<Poller>);
   static_assert(!std::is_copy_assignable_v<Poller>);
   static_assert(std::is_nothrow_move_constructible_v<Poller>);
   static_assert(std::is_nothrow_move_assignable_v<Poller>);
   int descriptor = -1;
   {
      Poller sut;
      {
         Poller from;
         descriptor = from.open("/dev/null", O_RDONLY | O_CLOEXEC, POLLIN, [](Poller::File const&) { return true; });

         sut = Poller(std::move(from));

         EXPECT_TRUE(from.files.empty());
      }
      EXPECT_TRUE(isOpen(descriptor));
      EXPECT_EQ(sut.poll(-1), 1);
   }
   EXPECT_FALSE(isOpen(descriptor));
}

TEST(Poller, closesWhatItHadOpenedWhenAnotherOneIsMovedToIt)
{
   Poller sut;
   auto const before = sut.open("/dev/null", O_RDONLY | O_CLOEXEC, POLLIN, nullptr);
   Poller from;
   auto const after = from.open("/dev/null", O_RDONLY | O_CLOEXEC, POLLIN, nullptr);

   sut = std::move(from);

   EXPECT_FALSE(isOpen(before));
   EXPECT_TRUE(isOpen(after));
   ASSERT_EQ(sut.files.size(), 1u);
   EXPECT_EQ(sut.files[0].descriptor, after);
}

TEST(Poller, keepsItsFilesOpenUntilTheHandlersAreGoneAlsoWhenAnotherOneIsMovedToIt)
{
   bool isOpenAtTheEnd = false;
   int descriptor = -1;
   Poller sut;
   {
      std::shared_ptr<int> const witness(&descriptor, [&](int* number) { isOpenAtTheEnd = isOpen(*number); });
      descriptor = sut.open(
         "/dev/null", O_RDONLY | O_CLOEXEC, POLLIN, [witness](Poller::File const&) { return witness != nullptr; });
   }

   sut = Poller();

   EXPECT_TRUE(isOpenAtTheEnd);
   EXPECT_FALSE(isOpen(descriptor));
}

} // namespace
