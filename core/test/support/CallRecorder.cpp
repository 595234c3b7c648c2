#include "support/CallRecorder.h"

#include "support/TypeName.h"

#include <Orvo/Node.h>
#include <Orvo/Publisher.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>

#include <cxxabi.h>
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <threads.h>

namespace Quorvel::Core::Test {
namespace {

struct Call {
   CallRecorder::Kind kind;
   char const* function;
   std::array<char, 64> argument;
   void const* from;
};

// Without a lock, an allocation or anything to construct: calls come while libraries are loaded, and from every thread.
constinit std::array<Call, 65536> recorded{};
constinit std::atomic<std::size_t> recordedCount = 0;

std::string_view libraryOf(void const* address)
{
   Dl_info info{};
   if (::dladdr(address, &info) == 0) {
      return {};
   }
   std::string_view const path = info.dli_fname;
   return path.substr(path.rfind('/') + 1);
}

} // namespace

void CallRecorder::start() noexcept
{
   recordedCount = 0;
}

std::vector<std::string> CallRecorder::calls(Kind kind, std::string_view library)
{
   std::vector<std::string> lines;
   for (std::size_t i = 0; i < recordedCount; ++i) {
      auto const& call = recorded[i];
      if (call.kind == kind && libraryOf(call.from).starts_with(library)) {
         std::string const argument = call.argument.data();
         lines.push_back(call.function + (argument.empty() ? "" : " " + argument));
      }
   }
   return lines;
}

void CallRecorder::record(Kind kind, char const* function, std::string_view argument, void const* from) noexcept
{
   auto const at = recordedCount++;
   if (at >= recorded.size()) {
      std::abort();
   }
   auto& call = recorded[at];
   call = {kind, function, {}, from};
   argument.copy(call.argument.data(), call.argument.size() - 1);
}

} // namespace Quorvel::Core::Test

// In the place of those of the system's libraries: the program's own definitions come first.

namespace {

using Quorvel::Core::Test::CallRecorder;
using Kind = CallRecorder::Kind;

using Initializer = void();

/// The function that would be called without the recorder.
template <class Function>
Function* real(Function* /*forItsType*/, char const* name) noexcept
{
   auto* const function = ::dlsym(RTLD_NEXT, name);
   if (function == nullptr) {
      std::abort();
   }
   return reinterpret_cast<Function*>(function);
}

} // namespace

// What is the exception specification in the C library's header is `promise` here, where a difference would be an error.
#define STAND_IN(kind, argument, result, name, promise, parameters, arguments)                                         \
   extern "C" __attribute__((visibility("default"))) result name parameters promise                                    \
   {                                                                                                                   \
      CallRecorder::record(kind, #name, argument, __builtin_return_address(0));                                        \
      return real(&name, #name) arguments;                                                                             \
   }
#define STAND_IN_OF_LOCK(name, Type, promise) STAND_IN(Kind::lock, "", int, name, promise, (Type * lock), (lock))
#define STAND_IN_OF_WAIT(name, Type, Other, promise)                                                                   \
   STAND_IN(Kind::lock, "", int, name, promise, (Type * lock, Other other), (lock, other))

STAND_IN(
   Kind::thread, "", int, pthread_create, noexcept,
   (pthread_t * thread, pthread_attr_t const* attributes, void* (*body)(void*), void* argument),
   (thread, attributes, body, argument))
STAND_IN(
   Kind::thread, "", int, thrd_create, , (thrd_t * thread, thrd_start_t body, void* argument), (thread, body, argument))

STAND_IN_OF_LOCK(pthread_mutex_lock, pthread_mutex_t, noexcept)
STAND_IN_OF_LOCK(pthread_mutex_trylock, pthread_mutex_t, noexcept)
STAND_IN_OF_WAIT(pthread_mutex_timedlock, pthread_mutex_t, timespec const*, noexcept)
STAND_IN_OF_LOCK(pthread_rwlock_rdlock, pthread_rwlock_t, noexcept)
STAND_IN_OF_LOCK(pthread_rwlock_tryrdlock, pthread_rwlock_t, noexcept)
STAND_IN_OF_LOCK(pthread_rwlock_wrlock, pthread_rwlock_t, noexcept)
STAND_IN_OF_LOCK(pthread_rwlock_trywrlock, pthread_rwlock_t, noexcept)
STAND_IN_OF_LOCK(pthread_spin_lock, pthread_spinlock_t volatile, noexcept)
STAND_IN_OF_LOCK(pthread_spin_trylock, pthread_spinlock_t volatile, noexcept)
STAND_IN_OF_LOCK(pthread_barrier_wait, pthread_barrier_t, noexcept)
STAND_IN_OF_LOCK(sem_wait, sem_t, )
STAND_IN_OF_LOCK(sem_trywait, sem_t, noexcept)
STAND_IN_OF_LOCK(mtx_lock, mtx_t, )
STAND_IN_OF_LOCK(mtx_trylock, mtx_t, )
STAND_IN_OF_WAIT(pthread_cond_wait, pthread_cond_t, pthread_mutex_t*, )
STAND_IN_OF_WAIT(pthread_once, pthread_once_t, Initializer*, )
STAND_IN(Kind::lock, "", int, flock, noexcept, (int file, int operation), (file, operation))

STAND_IN(Kind::variable, name, char*, getenv, noexcept, (char const* name), (name))
STAND_IN(Kind::variable, name, char*, secure_getenv, noexcept, (char const* name), (name))

STAND_IN(Kind::file, path, FILE*, fopen, , (char const* path, char const* mode), (path, mode))
STAND_IN(Kind::file, path, FILE*, fopen64, , (char const* path, char const* mode), (path, mode))
STAND_IN(Kind::file, path, DIR*, opendir, , (char const* path), (path))
STAND_IN(Kind::file, "", int, socket, noexcept, (int domain, int type, int protocol), (domain, type, protocol))

#define STAND_IN_OF_OPEN(name, parameters, arguments)                                                                  \
   extern "C" __attribute__((visibility("default"))) int name parameters                                               \
   {                                                                                                                   \
      CallRecorder::record(Kind::file, #name, path, __builtin_return_address(0));                                      \
      std::va_list more;                                                                                               \
      va_start(more, flags);                                                                                           \
      auto const mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(more, mode_t) : mode_t{0};                       \
      va_end(more);                                                                                                    \
      return real(&name, #name) arguments;                                                                             \
   }

STAND_IN_OF_OPEN(open, (char const* path, int flags, ...), (path, flags, mode))
STAND_IN_OF_OPEN(open64, (char const* path, int flags, ...), (path, flags, mode))
STAND_IN_OF_OPEN(openat, (int directory, char const* path, int flags, ...), (directory, path, flags, mode))
STAND_IN_OF_OPEN(openat64, (int directory, char const* path, int flags, ...), (directory, path, flags, mode))

// A function's static object that nobody has used before.
STAND_IN(Kind::firstUse, "", int, __cxa_guard_acquire, , (__cxxabiv1::__guard * guard), (guard))

void Orvo::Publisher::publishChangeRecursive(
   std::int16_t attribute, std::string_view attributeName, ChangeKey const& key)
{
   auto const what = std::string(attributeName) + "(" + std::to_string(attribute) + ")";
   CallRecorder::record(Kind::publication, "publish", what, __builtin_return_address(0));
   constexpr auto name =
      "_ZN4Orvo9Publisher22publishChangeRecursiveEsSt17basic_string_viewIcSt11char_traitsIcEERKNS_9ChangeKeyE";
   using Function = void(Publisher*, std::int16_t, std::string_view, ChangeKey const&);
   real(static_cast<Function*>(nullptr), name)(this, attribute, attributeName, key);
}

void Orvo::Node::nodeFlagSet(std::uint32_t flag, bool value) noexcept
{
   if (flag == 0x20000000 && !value) {
      CallRecorder::record(
         Kind::destruction, "destroy", Quorvel::Core::Test::typeName(typeid(*this)), __builtin_return_address(0));
   }
   using Function = void(Node*, std::uint32_t, bool);
   real(static_cast<Function*>(nullptr), "_ZN4Orvo4Node11nodeFlagSetEjb")(this, flag, value);
}
