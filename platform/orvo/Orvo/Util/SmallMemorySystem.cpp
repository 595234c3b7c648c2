#include <Orvo/Util/SmallMemorySystem.h>

#include <cstdint>
#include <cstdlib>
#include <string_view>

#include <unistd.h>

namespace Orvo::Util {

namespace {

constexpr std::uint64_t smallMemoryLimit = std::uint64_t{1} << 30;

bool isPhysicalMemorySmall() noexcept
{
   auto const pages = sysconf(_SC_PHYS_PAGES);
   auto const pageSize = sysconf(_SC_PAGESIZE);
   // A system that does not tell is taken for an ordinary one.
   return pages > 0 && pageSize > 0 &&
          static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(pageSize) < smallMemoryLimit;
}

} // namespace

bool isSmallMemorySystem() noexcept
{
   if (char const* const setting = std::getenv("ORVO_SMALL_MEMORY")) {
      std::string_view const text = setting;
      if (text == "0" || text == "1") {
         return text == "1";
      }
   }
   static bool const isSmall = isPhysicalMemorySmall();
   return isSmall;
}

} // namespace Orvo::Util
