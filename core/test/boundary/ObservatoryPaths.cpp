#include "boundary/Observatory.h"

namespace Quorvel::Core::Test {

constinit ObservatoryPaths const observatoryPaths{OPENER, OBSERVATORY, SAME_MODULE, SAME_TYPE, SAME_TYPE_LATE};

} // namespace Quorvel::Core::Test
