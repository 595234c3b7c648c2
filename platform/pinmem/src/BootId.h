#pragma once

#include <string>

namespace pinmem_lib {

/// The kernel's name for the time since the machine was started, 36 bytes; another one means that all memory is gone.
///
/// @throws Refusal  when the kernel does not tell
std::string bootId(char const* path = "/proc/sys/kernel/random/boot_id");

} // namespace pinmem_lib
