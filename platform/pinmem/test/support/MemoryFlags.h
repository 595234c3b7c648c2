#pragma once

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string>

namespace pinmem_test {

/// The flags of the mapping that starts at `memory`, as the kernel abbreviates them: `rd wr sh ...`.
inline std::string memoryFlagsOf(void const* memory)
{
   char start[32];
   std::snprintf(start, sizeof(start), "%lx-", static_cast<unsigned long>(reinterpret_cast<std::uintptr_t>(memory)));
   std::ifstream maps("/proc/self/smaps");
   std::string line;
   while (std::getline(maps, line) && line.rfind(start, 0) != 0) {
   }
   while (std::getline(maps, line) && line.rfind("VmFlags:", 0) != 0) {
   }
   return line;
}

} // namespace pinmem_test
