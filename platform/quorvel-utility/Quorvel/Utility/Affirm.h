#pragma once

#include <Quorvel/Utility/Export.h>

#include <stdexcept>

namespace Quorvel::Utility {

/// A promise of the library itself was broken. `what()` is "<source file>:<line>: affirmation failed".
class QUORVEL_UTILITY_EXPORT AffirmException : public std::logic_error {
public:
   /// @param file  source file name; borrowed for as long as the exception and its copies live, usually a literal
   AffirmException(char const* file, int line);
   AffirmException(AffirmException const&) = default;
   AffirmException& operator=(AffirmException const&) = default;
   ~AffirmException() override;

   char const* file() const noexcept { return file_; }

   int line() const noexcept { return line_; }

private:
   char const* file_;
   int line_;
};

/// What `affirm` does when the condition does not hold.
/// @throws AffirmException  always
[[noreturn]] QUORVEL_UTILITY_EXPORT void affirmFailed(char const* file, int line);

/// Checks a promise of the library itself; one compare and branch when it holds. The location is the caller's.
/// @throws AffirmException  when the condition is false; inside a destructor this ends the process
inline void affirm(bool condition, char const* file = __builtin_FILE(), int line = __builtin_LINE())
{
   if (!condition) [[unlikely]] {
      affirmFailed(file, line);
   }
}

} // namespace Quorvel::Utility
