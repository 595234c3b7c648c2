#pragma once

#include "support/AllocationRecorder.h"

#include <cstdint>
#include <new>

namespace Quorvel::Core::Test {

/// How a call ended some of whose allocations were to be refused.
enum class Refusal {
   none,   ///< it had fewer allocations
   passed, ///< it ended with std::bad_alloc
   borne   ///< it came to the refusal and returned all the same
};

/// Makes the call with those of its allocations refused.
template <class Call>
Refusal refuseAllocations(AllocationRecorder::Failures const& failures, Call const& call)
{
   auto& recorder = AllocationRecorder::instance();
   recorder.failAllocations(failures);
   bool isPassed = false;
   try {
      call();
   } catch (std::bad_alloc const&) {
      isPassed = true;
   }
   bool const isRefused = recorder.hasFailed();
   recorder.failAllocations({});
   return isPassed ? Refusal::passed : isRefused ? Refusal::borne : Refusal::none;
}

/// Makes the call with its n-th allocation refused, 1 being the first.
template <class Call>
Refusal refuseAllocation(std::uint64_t nth, Call const& call)
{
   return refuseAllocations({.first = nth}, call);
}

} // namespace Quorvel::Core::Test
