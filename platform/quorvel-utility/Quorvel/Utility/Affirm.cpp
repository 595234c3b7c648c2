#include <Quorvel/Utility/Affirm.h>

#include <string>

namespace Quorvel::Utility {

AffirmException::AffirmException(char const* file, int line)
   : std::logic_error(std::string(file) + ":" + std::to_string(line) + ": affirmation failed"), file_(file), line_(line)
{}

AffirmException::~AffirmException() = default;

void affirmFailed(char const* file, int line)
{
   throw AffirmException(file, line);
}

} // namespace Quorvel::Utility
