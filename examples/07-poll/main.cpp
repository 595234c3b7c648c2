// An agent that waits on four kinds of files at once: an event, a pipe, a timer and a signal. Each handler sets the next one
// going, so that the order is the same in each run.

#include <Quorvel/Core/Poller.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

using Quorvel::Core::Poller;

namespace {

// The system's answer, when it is no error.
int checked(int answer)
{
   return answer >= 0 ? answer : throw std::system_error(errno, std::system_category());
}

// Takes what has arrived; until then the file stays ready.
template <class Value>
Value take(Poller::File const& file)
{
   Value value{};
   checked(static_cast<int>(::read(file.descriptor, &value, sizeof value)));
   return value;
}

void run()
{
   std::array<int, 2> ends{};
   checked(::pipe2(ends.data(), O_CLOEXEC));
   int const reader = ends[0];
   int const writer = ends[1];
   int const event = checked(::eventfd(3, EFD_CLOEXEC)); // three times signalled
   int const timer = checked(::timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC));
   sigset_t signals;
   ::sigemptyset(&signals);
   ::sigaddset(&signals, SIGTERM);
   ::sigprocmask(SIG_BLOCK, &signals, nullptr); // it comes as a file instead
   int const signal = checked(::signalfd(-1, &signals, SFD_CLOEXEC));

   Poller poller;
   poller.fileIs(
      {"event",
       [writer](Poller::File const& file) {
          std::printf("%s: %lu times\n", file.name.c_str(), take<std::uint64_t>(file));
          checked(static_cast<int>(::write(writer, "go", 3)));
          return false; // wait on
       },
       event, POLLIN});
   poller.fileIs(
      {"pipe",
       [timer](Poller::File const& file) {
          std::printf("%s: %s\n", file.name.c_str(), take<std::array<char, 3>>(file).data());
          itimerspec const soon{{}, {0, 1'000'000}}; // a millisecond
          checked(::timerfd_settime(timer, 0, &soon, nullptr));
          return false;
       },
       reader, POLLIN});
   poller.fileIs(
      {"timer",
       [](Poller::File const& file) {
          std::printf("%s: %lu times\n", file.name.c_str(), take<std::uint64_t>(file));
          ::raise(SIGTERM);
          return false;
       },
       timer, POLLIN});
   poller.fileIs(
      {"signal",
       [](Poller::File const& file) {
          std::printf("%s: %u\n", file.name.c_str(), take<signalfd_siginfo>(file).ssi_signo);
          return true; // the wait is over
       },
       signal, POLLIN});

   // What the poller opens itself it also closes.
   poller.open("/dev/null", O_WRONLY | O_CLOEXEC, POLLERR, [](Poller::File const&) { return true; });
   try {
      poller.open("/dev/uio-that-is-not-there", O_RDWR | O_CLOEXEC, POLLIN, nullptr);
   } catch (std::system_error const& error) {
      std::printf("%s\n", error.what());
   }

   std::printf("%zu files\n", poller.files.size());
   int const result = poller.poll(-1);
   std::printf("over, %d file was ready\n", result);

   for (int const descriptor : {reader, writer, event, timer, signal}) {
      ::close(descriptor);
   }
}

} // namespace

int main()
{
   try {
      run();
      return 0;
   } catch (std::exception const& error) {
      std::fprintf(stderr, "%s\n", error.what());
   }
   return 1;
}
