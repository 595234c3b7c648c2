#pragma once

#include <Quorvel/Utility/Affirm.h>
#include <Quorvel/Utility/Export.h>

#include <typeinfo>

namespace Quorvel::Utility {

/// Called by `raise` before it throws; does nothing. One place for a breakpoint on every refusal, and for a library in
/// place of this one to count them.
QUORVEL_UTILITY_EXPORT void noteRaise(std::type_info const& exceptionType) noexcept;

/// Throws a copy of `exception`, with its own type. Every refusal of a caller's mistake goes this way.
///
///     Utility::raise(std::invalid_argument("head=7 is not covered."));
///
/// What is thrown has the type by which the object is named here, so that must be its whole type: to pass an exception
/// on that is known by a base class, write `throw;` where it was caught.
/// @throws Exception        a copy of the object
/// @throws AffirmException  with the caller's location, when the object is of a class derived from `Exception`: a copy
///                          would lose what that class adds, and no handler for it would run
template <class Exception>
[[noreturn]] void raise(Exception const& exception, char const* file = __builtin_FILE(), int line = __builtin_LINE())
{
   affirm(typeid(exception) == typeid(Exception), file, line);
   noteRaise(typeid(Exception));
   throw exception;
}

} // namespace Quorvel::Utility
