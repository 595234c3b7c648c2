#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace Quorvel::Core::Test {

/// How a child process ended.
struct ChildResult {
   std::string output; ///< of its standard output
   std::string errors; ///< of its standard error output
   int status = 0;     ///< its exit status, or 256 plus the signal that ended it
};

using Environment = std::map<std::string, std::string>;

/// Runs `body` in a child of this process, with the variables added to its environment. The child ends like a program that
/// returns from `main`; what `body` throws is written to its standard error output and makes the status 1.
ChildResult inChild(Environment const& environment, std::function<void()> const& body);

/// Runs a program with just that environment.
ChildResult runProgram(std::vector<std::string> const& arguments, Environment const& environment);

} // namespace Quorvel::Core::Test
