#include <Quorvel/Utility/Raise.h>

namespace Quorvel::Utility {

void noteRaise(std::type_info const&) noexcept {}

} // namespace Quorvel::Utility
