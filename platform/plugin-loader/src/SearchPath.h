#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Plugin::Detail {

/// @param own  directories of the caller's, before those of the process
/// @return the directories of the search path that are not empty, in order; those that stand there twice, twice
std::vector<std::string> searchPath(std::string_view own);

/// Whether the name of a family leads from a directory to one below it: pieces parted by single '/', none of them "." or
/// "..", no NUL.
bool isFamilyName(std::string_view name) noexcept;

} // namespace Plugin::Detail
