#pragma once

#include <string>
#include <vector>

namespace Plugin::Test {

/// What the plugins of the tests have done, in order: "<plugin> is initialised", "<plugin> is entered". One for the process.
__attribute__((visibility("default"))) std::vector<std::string>& journal();

} // namespace Plugin::Test
