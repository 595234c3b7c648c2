#pragma once

#include <functional>
#include <string>
#include <vector>

namespace Plugin::Test {

/// What the plugins of the tests have done, in order: "<plugin> is initialised", "<plugin> is entered". One for the process.
__attribute__((visibility("default"))) std::vector<std::string>& journal();

/// What PluginWithEntryPoint does when it is entered, after it has noted that; nothing where it is empty.
__attribute__((visibility("default"))) std::function<void()>& whenEntered();

} // namespace Plugin::Test
