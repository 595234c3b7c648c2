#include "PageMap.h"

#include <fstream>

#include <unistd.h>

std::uint64_t physicalAddress(void const* byte)
{
   // Eight bytes for each page: bits 0 to 54 are the number of its frame in memory.
   constexpr auto frame = (std::uint64_t{1} << 55) - 1;
   auto const pageSize = static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
   auto const address = reinterpret_cast<std::uintptr_t>(byte);
   [[maybe_unused]] char const touched = *static_cast<char const volatile*>(byte); // or the page may not be there yet
   std::ifstream map;
   map.rdbuf()->pubsetbuf(nullptr, 0); // it is read in whole entries only
   map.open("/proc/self/pagemap", std::ios::binary);
   std::uint64_t entry = 0;
   map.seekg(static_cast<std::streamoff>(address / pageSize * sizeof(entry)));
   map.read(reinterpret_cast<char*>(&entry), sizeof(entry));
   return (entry & frame) == 0 ? 0 : (entry & frame) * pageSize + address % pageSize;
}
