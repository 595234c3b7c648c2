#pragma once

#include <Quorvel/Utility/Export.h>

#include <typeinfo>

namespace Quorvel::Utility {

/// Called by `raise` before it throws; does nothing. One place for a breakpoint on every refusal, and for a library in
/// place of this one to count them.
QUORVEL_UTILITY_EXPORT void noteRaise(std::type_info const& exceptionType) noexcept;

/// Throws a copy of `exception`, with its own type. Every refusal of a caller's mistake goes this way.
///
///     Utility::raise(std::invalid_argument("head=7 is not covered."));
template <class Exception>
[[noreturn]] void raise(Exception const& exception)
{
   noteRaise(typeid(Exception));
   throw exception;
}

} // namespace Quorvel::Utility
