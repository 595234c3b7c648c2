#pragma once

#include <string_view>

namespace pinmem_lib {

/// Keeps the text for this thread's `lastError()`. A text of more than 2047 bytes is cut and ends in "...".
/// Plain storage without a destructor, so that it answers also while static objects are being destroyed.
void lastErrorIs(std::string_view text) noexcept;

/// The text kept last on this thread; "" when there is none.
char const* lastError() noexcept;

} // namespace pinmem_lib
