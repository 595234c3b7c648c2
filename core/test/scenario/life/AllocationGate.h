#pragma once

#include <cstdint>

namespace Quorvel::Core::Test {

/// Stands before the slab allocator and `operator new` in the program that links it: refuses one allocation on command, and
/// hands every other on to the real ones. Threads: one while a refusal is due.
class AllocationGate {
public:
   /// Lets the n-th allocation from now on fail; 1 is the next, 0 none.
   static void refuse(std::uint64_t nth) noexcept;

   /// Whether it has come to that.
   static bool hasRefused() noexcept;

   /// While one lives, nothing is counted or refused: for what belongs to the test.
   class Open {
   public:
      Open() noexcept;
      Open(Open const&) = delete;
      Open& operator=(Open const&) = delete;
      ~Open();

   private:
      std::uint64_t due_;
   };
};

} // namespace Quorvel::Core::Test
