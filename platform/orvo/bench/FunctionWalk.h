#pragma once

#include <Orvo/Change.h>

#include <functional>
#include <vector>

using ChangeFunctions = std::vector<std::function<void(Orvo::Change const&)>>;

/// Calls all of them, from a library other than the caller's: the floor for a publication, whose publisher is in a
/// library and whose subscribers are in the program.
__attribute__((visibility("default"))) void
callAll(ChangeFunctions const& functions, Orvo::Node* entity, Orvo::ChangeKey const& key);
