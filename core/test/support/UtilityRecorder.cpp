#include "support/UtilityRecorder.h"

#include "support/AllocationRecorder.h"
#include "support/TypeName.h"

#include <Quorvel/Utility/Affirm.h>
#include <Quorvel/Utility/Raise.h>

#include <utility>

namespace Quorvel::Core::Test {

UtilityRecorder& UtilityRecorder::instance()
{
   static UtilityRecorder instance;
   return instance;
}

std::vector<std::string> UtilityRecorder::takeCalls()
{
   return std::exchange(calls_, {});
}

} // namespace Quorvel::Core::Test

// In the place of those of the utility library: the program's own definitions come first.

namespace Test = Quorvel::Core::Test;

void Quorvel::Utility::noteRaise(std::type_info const& exceptionType) noexcept
{
   Test::AllocationRecorder::Pause const pause;
   Test::UtilityRecorder::instance().record("raise " + Test::typeName(exceptionType));
}

void Quorvel::Utility::affirmFailed(char const* file, int line)
{
   {
      Test::AllocationRecorder::Pause const pause;
      std::string_view const path = file;
      std::string_view const top = "Quorvel/Core/";
      auto const at = path.rfind(top);
      Test::UtilityRecorder::instance().record(
         "affirm " + std::string(at == path.npos ? path : path.substr(at + top.size())));
   }
   throw AffirmException(file, line);
}
