#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace Quorvel::Core::Test {

/// Stands in for the allocators of the program that links SlabStandIn.cpp and HeapStandIn.cpp, the slab allocator and
/// `operator new`: counts what they are asked for, writes it down, refuses on command, and gives memory of the C library's.
///
/// What is freed must be live and given back the way it was taken, with the size it was taken with; anything else stops the
/// process. Threads: one.
class AllocationRecorder {
public:
   enum class Allocator : std::uint32_t { slab, slabOrMalloc, heap };

   static AllocationRecorder& instance() noexcept { return instance_; }

   static constexpr std::uint64_t allThatFollow = std::numeric_limits<std::uint64_t>::max();

   /// Which of the allocations from now on fail.
   struct Failures {
      std::uint64_t first = 0;                           ///< 1 is the next, 0 stands for none
      std::uint64_t count = 1;                           ///< how many fail, one after the other
      std::optional<Allocator> allocator = std::nullopt; ///< where only what this one is asked for counts, and fails
   };

   /// Lets those fail, and none of those that an earlier call named.
   void failAllocations(Failures const& failures) noexcept
   {
      failures_ = failures;
      hasFailed_ = false;
   }

   /// Whether it has come to one of the failures that were asked for last.
   bool hasFailed() const noexcept { return hasFailed_; }

   /// Allocations so far that succeeded.
   std::uint64_t allocations() const noexcept { return allocations_; }

   /// Those of them that have not been freed.
   std::uint64_t live() const noexcept { return live_; }

   /// From now on each release of memory sets errno to that, as it may; 0 lets it alone.
   void errnoOnFreeIs(int error) noexcept { errnoOnFree_ = error; }

   /// Begins to write down the calls.
   void startCalls() noexcept;

   /// @return the calls since startCalls, in order: "slabAlloc 72", "slabFree 72", "slabAllocOrStdMalloc 40",
   ///         "slabFreeOrStdFree 40", "new 8", "delete 8". From here on none is written down.
   std::vector<std::string> takeCalls();

   /// While one lives, what is allocated is neither counted nor refused: for what belongs to the test.
   class Pause {
   public:
      Pause() noexcept { ++instance_.pauses_; }

      Pause(Pause const&) = delete;
      Pause& operator=(Pause const&) = delete;

      ~Pause() { --instance_.pauses_; }
   };

   /// For the stand-ins.
   void* allocate(Allocator allocator, std::size_t size);
   void free(Allocator allocator, void* object, std::size_t size) noexcept;
   /// Like free, for a caller that does not know the size.
   void free(Allocator allocator, void* object) noexcept;

private:
   struct Call {
      Allocator allocator;
      bool isFree;
      std::size_t size;
   };

   bool isToFail(Allocator allocator) noexcept;
   void record(Call const& call) noexcept;

   static AllocationRecorder instance_;

   Failures failures_;
   std::uint64_t allocations_ = 0;
   std::uint64_t live_ = 0;
   int pauses_ = 0;
   int errnoOnFree_ = 0;
   bool hasFailed_ = false;
   bool isRecording_ = false;
   std::size_t callCount_ = 0;
   std::array<Call, 1024> calls_{};
};

} // namespace Quorvel::Core::Test
