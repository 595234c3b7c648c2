#include "src/Refusal.h"
#include <cerrno>
#include <system_error>

namespace pinmem_lib {

bool isShortage(int error)
{
   return error == EMFILE || error == ENFILE || error == ENOMEM;
}

void refuseMapping(std::uint64_t size, int error)
{
   if (error == EAGAIN) {
      refuse(
         size,
         " bytes cannot be mapped: this process locks all its memory (mlockall), and the limit of locked memory is "
         "reached; raise it, see 'ulimit -l'");
   }
   refuse(size, " bytes cannot be mapped: ", systemText(error), "; see 'ulimit -v' and /proc/sys/vm/max_map_count");
}

std::string printable(std::string_view text)
{
   static constexpr char digits[] = "0123456789abcdef";
   std::string result;
   result.reserve(text.size());
   for (char const character : text) {
      auto const byte = static_cast<unsigned char>(character);
      if (byte >= 0x20 && byte < 0x7f && character != '\\') {
         result += character;
      } else {
         result += "\\x";
         result += digits[byte >> 4];
         result += digits[byte & 0xf];
      }
   }
   return result;
}

std::string systemText(int error)
{
   return std::generic_category().message(error);
}

} // namespace pinmem_lib
