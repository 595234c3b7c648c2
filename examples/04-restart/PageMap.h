// Where memory really is. An agent that talks to a device has no need to ask: this shows that the bus addresses are true.

#pragma once

#include <cstdint>

/// @return the physical address of the byte, as the page map of this process has it; 0 where the kernel does not show it to
///         this process
std::uint64_t physicalAddress(void const* byte);
