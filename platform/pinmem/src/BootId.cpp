#include "src/BootId.h"
#include "src/FileDescriptor.h"
#include "src/Refusal.h"
#include "src/SystemCalls.h"
#include <cerrno>
#include <fcntl.h>

namespace pinmem_lib {

std::string bootId(char const* path)
{
   constexpr std::size_t length = 36;
   FileDescriptor const file(systemCalls.openat(AT_FDCWD, path, O_RDONLY | O_CLOEXEC, 0));
   if (!file.isOpen()) {
      refuse("cannot read '", path, "': ", systemText(errno), "; mount /proc");
   }
   char text[length];
   if (systemCalls.read(file.number(), text, length) != static_cast<ssize_t>(length)) {
      refuse("'", path, "' does not hold a boot id; mount /proc of this kernel");
   }
   return std::string(text, length);
}

} // namespace pinmem_lib
