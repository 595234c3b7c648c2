// For tools/check-name-cost, which counts the instructions of Probe::knownName:
//
//    pinmem-name-probe <number of names> <rounds>
#include "test/support/TemporaryDirectory.h"
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <pinmem/pinmem.h>
#include <string>
#include <vector>

namespace Probe {

/// Asks again for names that the process knows, one after the other.
/// @return the sum of the bus addresses
[[gnu::noinline]] std::uint64_t knownName(std::vector<std::string> const& names, std::uint32_t rounds)
{
   std::uint64_t sum = 0;
   for (std::uint32_t round = 0; round < rounds; ++round) {
      sum += pinmem_alloc_func(names[round % names.size()].c_str(), 64, "probe", 0);
   }
   return sum;
}

} // namespace Probe

int main(int count, char** arguments)
{
   if (count != 3) {
      return 2;
   }
   pinmem_test::TemporaryDirectory const place;
   ::setenv("PINMEM_DIR", place.path().c_str(), 1);
   ::setenv("PINMEM_BACKEND", "shm", 1);
   std::vector<std::string> names(std::stoul(arguments[1]));
   for (std::size_t number = 0; number < names.size(); ++number) {
      char name[48];
      std::snprintf(name, sizeof(name), "queue.%08zu.submission", number); // all of one length
      names[number] = name;
      // Twice: the first question for a block that this process knows looks at its flags, once.
      if (pinmem_alloc_func(name, 64, "probe", 0) == 0 || pinmem_alloc_func(name, 64, "probe", 0) == 0) {
         std::fprintf(stderr, "%s\n", pinmem_last_error());
         return 1;
      }
   }
   std::printf(
      "%llx\n",
      static_cast<unsigned long long>(Probe::knownName(names, static_cast<std::uint32_t>(std::stoul(arguments[2])))));
}
