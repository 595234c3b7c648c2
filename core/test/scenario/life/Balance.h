#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

namespace Quorvel::Core::Test {

/// What a process has in its hands: how many of each kind of object are alive, how many files are open, how many mappings of
/// the domain's memory there are.
using Balance = std::map<std::string, std::uint64_t>;

Balance balanceNow();

/// Fails the test for each that is not as it was.
void expectBalance(Balance const& before);

/// Bytes of memory of the process's own, which is no file's.
std::size_t ownMemory();

} // namespace Quorvel::Core::Test
