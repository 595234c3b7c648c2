#include <Orvo/Assert.h>

#include <cstdio>
#include <cstdlib>

namespace Orvo {

void assertionFailed(char const* message, char const* file, int line) noexcept
{
   std::fprintf(stderr, "%s:%d: assertion failed: %s\n", file, line, message);
   std::abort();
}

} // namespace Orvo
