#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Quorvel::Core::Test {

/// Writes down, in the program that links it, who calls the functions of the system's libraries that start threads, wait for
/// locks, read the environment, open files or guard first uses, who publishes, and whose destructor clears a node's flag; each
/// call goes on to the real function.
///
/// Sees what comes through the dynamic linker: calls between shared libraries, not those that a library makes inside itself.
/// Threads: calls may come from any; the rest is one thread's.
class CallRecorder {
public:
   enum class Kind { thread, lock, variable, file, firstUse, publication, destruction };

   /// Forgets the calls so far.
   static void start() noexcept;

   /// @param library  beginning of the file name of the shared library that calls; empty: whoever does
   /// @return the calls of that kind since `start`, in order: "pthread_create", "getenv HOME", "open /dev/null",
   ///         "publish chunk(258)", "destroy Quorvel::Core::Loader::Singleton"
   static std::vector<std::string> calls(Kind kind, std::string_view library);

   /// For the stand-ins.
   /// @param from  address that the call returns to
   static void record(Kind kind, char const* function, std::string_view argument, void const* from) noexcept;
};

} // namespace Quorvel::Core::Test
