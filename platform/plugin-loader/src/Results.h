#pragma once

#include <Plugin/Result.h>

namespace Plugin::Detail {

/// Adds to the process's list.
void report(Result result);

} // namespace Plugin::Detail
