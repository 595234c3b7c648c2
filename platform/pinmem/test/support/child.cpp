// A small agent: does what its arguments say, one after the other, and prints one line for each.
//
//    alloc NAME SIZE OWNER FLAGS   the bus address in hexadecimal, or 0
//    map NAME                      "mapped" or "0"
//    put NAME TEXT                 writes text and NUL into the mapped block
//    get NAME                      the text in the mapped block
//    unmap NAME                    "unmapped"
//    error                         pinmem_last_error()
//    capture                       Manager::captureAgentName()
//    agent                         Manager::agentName, or "(null)"
//    setenv NAME VALUE             changes its own environment
//    many PREFIX COUNT SIZE        allocates PREFIX0, PREFIX1 ..., one bus address a line
//    fork                          goes on in a child; the parent ends with the child's exit status
//    wait                          prints "waiting" and reads one line
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <map>
#include <pinmem/Manager.h>
#include <pinmem/pinmem.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace {

std::map<std::string, std::uint64_t> mapped;

char* memoryOf(std::string const& name)
{
   return reinterpret_cast<char*>(static_cast<std::uintptr_t>(mapped.at(name)));
}

std::uint32_t number(char const* text)
{
   return static_cast<std::uint32_t>(std::stoul(text));
}

/// Runs the command at `arguments`; returns how many arguments it took.
int run(char** arguments)
{
   std::string const command = arguments[0];
   if (command == "alloc") {
      std::cout << std::hex << pinmem_alloc_func(arguments[1], number(arguments[2]), arguments[3], number(arguments[4]))
                << '\n';
      return 5;
   }
   if (command == "map") {
      mapped[arguments[1]] = pinmem_map(arguments[1], 1, 0, 0);
      std::cout << (mapped[arguments[1]] == 0 ? "0" : "mapped") << '\n';
      return 2;
   }
   if (command == "put") {
      std::strcpy(memoryOf(arguments[1]), arguments[2]);
      std::cout << "put\n";
      return 3;
   }
   if (command == "get") {
      std::cout << memoryOf(arguments[1]) << '\n';
      return 2;
   }
   if (command == "unmap") {
      pinmem_unmap(arguments[1], mapped[arguments[1]], 0);
      std::cout << "unmapped\n";
      return 2;
   }
   if (command == "error") {
      std::cout << pinmem_last_error() << '\n';
      return 1;
   }
   if (command == "capture") {
      pinmem_lib::Manager::captureAgentName();
      std::cout << "captured\n";
      return 1;
   }
   if (command == "agent") {
      char const* const name = pinmem_lib::Manager::agentName;
      std::cout << (name == nullptr ? "(null)" : name) << '\n';
      return 1;
   }
   if (command == "setenv") {
      ::setenv(arguments[1], arguments[2], 1);
      std::cout << "set\n";
      return 3;
   }
   if (command == "many") {
      for (std::uint32_t index = 0; index < number(arguments[2]); ++index) {
         std::string const name = arguments[1] + std::to_string(index);
         std::cout << std::hex << pinmem_alloc_func(name.c_str(), number(arguments[3]), "many", 0) << '\n';
      }
      return 4;
   }
   if (command == "fork") {
      if (pid_t const child = ::fork(); child != 0) {
         int status = 0;
         ::waitpid(child, &status, 0);
         ::_exit(WIFEXITED(status) ? WEXITSTATUS(status) : 99);
      }
      std::cout << "forked\n";
      return 1;
   }
   if (command == "wait") {
      std::cout << "waiting" << std::endl;
      std::string line;
      std::getline(std::cin, line);
      return 1;
   }
   std::cerr << "unknown command " << command << '\n';
   std::exit(98);
}

/// Uses the library when nearly everything else of the process is gone.
struct AtTheEnd {
   ~AtTheEnd()
   {
      if (isWanted) {
         std::cout << "at the end " << (pinmem_alloc_func("at.the.end", 64, "", 1) != 0)
                   << (pinmem_map("at.the.end", 1, 0, 0) != 0) << (pinmem_map("", 1, 0, 0) != 0) << pinmem_last_error()
                   << std::endl;
      }
   }

   bool isWanted = std::getenv("CHILD_CALLS_AT_THE_END") != nullptr;
};

AtTheEnd const atTheEnd;

} // namespace

int main(int argumentCount, char** arguments)
{
   for (int index = 1; index < argumentCount;) {
      index += run(arguments + index);
      std::cout << std::flush;
   }
}
