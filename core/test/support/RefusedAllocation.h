#pragma once

#include "support/AllocationRecorder.h"

#include <cstdint>
#include <new>

namespace Quorvel::Core::Test {

/// How a call ended one of whose allocations was to be refused.
enum class Refusal {
   none,   ///< it had fewer allocations
   passed, ///< it ended with std::bad_alloc
   borne   ///< it came to the refusal and returned all the same
};

/// Makes the call with its n-th allocation refused, 1 being the first.
template <class Call>
Refusal refuseAllocation(std::uint64_t nth, Call const& call)
{
   auto& recorder = AllocationRecorder::instance();
   recorder.failAllocation(nth);
   bool isPassed = false;
   try {
      call();
   } catch (std::bad_alloc const&) {
      isPassed = true;
   }
   bool const isRefused = recorder.hasFailed();
   recorder.failAllocation(0);
   return isPassed ? Refusal::passed : isRefused ? Refusal::borne : Refusal::none;
}

} // namespace Quorvel::Core::Test
