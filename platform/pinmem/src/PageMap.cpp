#include "src/PageMap.h"
#include "src/FileDescriptor.h"
#include "src/SystemCalls.h"
#include <unistd.h>

namespace pinmem_lib {

namespace {

constexpr std::uint64_t presentBit = std::uint64_t{1} << 63;
constexpr std::uint64_t frameBits = (std::uint64_t{1} << 55) - 1;

} // namespace

PageMap::Answer PageMap::read(void const* address, std::size_t count, std::uint64_t pageSize) const
{
   FileDescriptor const file(systemCalls.openat(AT_FDCWD, path_.c_str(), O_RDONLY | O_CLOEXEC, 0));
   if (!file.isOpen()) {
      return {Sight::closed, {}};
   }
   static auto const smallPage = static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
   Answer answer{Sight::seen, {}};
   auto const* page = static_cast<char const*>(address);
   for (std::size_t index = 0; index < count; ++index, page += pageSize) {
      [[maybe_unused]] char const touched = *static_cast<char const volatile*>(page);
      auto const virtualAddress = reinterpret_cast<std::uintptr_t>(page);
      std::uint64_t entry = 0;
      auto const offset = static_cast<off_t>(virtualAddress / smallPage * sizeof(entry));
      if (systemCalls.pread(file.number(), &entry, sizeof(entry), offset) != static_cast<ssize_t>(sizeof(entry))) {
         return {Sight::closed, {}};
      }
      if ((entry & presentBit) == 0) {
         return {Sight::notPresent, {}};
      }
      if ((entry & frameBits) == 0) {
         return {Sight::hidden, {}};
      }
      answer.physical.push_back((entry & frameBits) * smallPage + virtualAddress % smallPage);
   }
   return answer;
}

PageMap::Sight PageMap::sight() const
{
   char const here = 0;
   return read(&here, 1, 1).sight;
}

char const* PageMap::describe(Sight sight)
{
   switch (sight) {
   case Sight::closed:
      return "the page map of this process is closed to it, as after dropping privilege; let 'pinmemctl prealloc' make "
             "the block, run by this user with the capability CAP_SYS_ADMIN";
   case Sight::hidden:
      return "the kernel hides physical addresses from this process; let 'pinmemctl prealloc' make the block, run by "
             "this user with the capability CAP_SYS_ADMIN";
   case Sight::notPresent:
      return "the kernel does not hold the pages that it has just given; see the kernel's log";
   case Sight::seen:
      break;
   }
   return "physical addresses can be seen";
}

} // namespace pinmem_lib
