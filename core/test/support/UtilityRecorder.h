#pragma once

#include <string>
#include <vector>

namespace Quorvel::Core::Test {

/// Stands in for the functions of the utility library through which refusals and broken promises go, in the program that
/// links it: writes them down, and throws what the library throws. Threads: one.
class UtilityRecorder {
public:
   static UtilityRecorder& instance();

   /// @return what was thrown by `raise` or a failed `affirm` since the last call to here, in order: "raise
   ///         Kro::RangeException", "affirm Memory/Control/Detail/Chunk.cpp"
   std::vector<std::string> takeCalls();

   void record(std::string call) { calls_.push_back(std::move(call)); }

private:
   std::vector<std::string> calls_;
};

} // namespace Quorvel::Core::Test
