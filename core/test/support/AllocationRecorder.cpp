#include "support/AllocationRecorder.h"

#include <cerrno>
#include <cstdlib>
#include <new>

namespace Quorvel::Core::Test {
namespace {

/// Stands in front of each object.
struct alignas(16) Header {
   std::size_t size;
   AllocationRecorder::Allocator allocator;
   std::uint32_t state;
};

static_assert(sizeof(Header) == 16);

constexpr std::uint32_t counted = 0xa110c8ed;
constexpr std::uint32_t uncounted = 0x5e1f0a5e;
constexpr std::uint32_t freed = 0xf4eedf4e;

void require(bool condition)
{
   if (!condition) {
      std::abort();
   }
}

Header& headerOf(void* object) noexcept
{
   return static_cast<Header*>(object)[-1];
}

} // namespace

constinit AllocationRecorder AllocationRecorder::instance_{};

void* AllocationRecorder::allocate(Allocator allocator, std::size_t size)
{
   bool const isCounted = pauses_ == 0;
   if (isCounted && isToFail(allocator)) {
      hasFailed_ = true;
      throw std::bad_alloc();
   }
   auto* const memory = std::malloc(sizeof(Header) + size);
   if (memory == nullptr) {
      throw std::bad_alloc();
   }
   auto* const header = new (memory) Header{size, allocator, isCounted ? counted : uncounted};
   if (isCounted) {
      ++allocations_;
      ++live_;
      record({allocator, false, size});
   }
   return header + 1;
}

void AllocationRecorder::free(Allocator allocator, void* object, std::size_t size) noexcept
{
   require(object == nullptr || headerOf(object).size == size);
   free(allocator, object);
}

void AllocationRecorder::free(Allocator allocator, void* object) noexcept
{
   if (object == nullptr) {
      return;
   }
   auto& header = headerOf(object);
   require(header.allocator == allocator);
   require(header.state == counted || header.state == uncounted);
   if (header.state == counted) {
      --live_;
      record({allocator, true, header.size});
   }
   header.state = freed;
   std::free(&header);
   if (errnoOnFree_ != 0) {
      errno = errnoOnFree_;
   }
}

void AllocationRecorder::startCalls() noexcept
{
   callCount_ = 0;
   isRecording_ = true;
}

std::vector<std::string> AllocationRecorder::takeCalls()
{
   isRecording_ = false;
   Pause const pause;
   constexpr char const* names[][2] = {
      {"slabAlloc ", "slabFree "}, {"slabAllocOrStdMalloc ", "slabFreeOrStdFree "}, {"new ", "delete "}};
   std::vector<std::string> lines;
   for (std::size_t i = 0; i < callCount_; ++i) {
      auto const& call = calls_[i];
      lines.push_back(names[static_cast<std::size_t>(call.allocator)][call.isFree ? 1 : 0] + std::to_string(call.size));
   }
   return lines;
}

bool AllocationRecorder::isToFail(Allocator allocator) noexcept
{
   if (failures_.first == 0 || failures_.count == 0 || failures_.allocator.value_or(allocator) != allocator) {
      return false;
   }
   if (failures_.first > 1) {
      --failures_.first;
      return false;
   }
   --failures_.count;
   return true;
}

void AllocationRecorder::record(Call const& call) noexcept
{
   if (isRecording_) {
      require(callCount_ < calls_.size());
      calls_[callCount_++] = call;
   }
}

} // namespace Quorvel::Core::Test
