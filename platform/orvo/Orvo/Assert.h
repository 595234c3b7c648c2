#pragma once

#include <Orvo/Export.h>

namespace Orvo {

/// Ends the process: prints "<file>:<line>: assertion failed: <message>" to the standard error output, then aborts.
/// Allocates nothing.
[[noreturn]] ORVO_EXPORT void assertionFailed(char const* message, char const* file, int line) noexcept;

/// Ends the process like `assertionFailed` unless the condition holds; in every build. The location is the caller's.
inline void assertThat(
   bool condition, char const* message, char const* file = __builtin_FILE(), int line = __builtin_LINE()) noexcept
{
   if (!condition) [[unlikely]] {
      assertionFailed(message, file, line);
   }
}

} // namespace Orvo

/// `assertThat` for a condition of any type that converts to bool.
#define ORVO_ASSERT(condition, message) ::Orvo::assertThat(static_cast<bool>(condition), message)
