#include <Kro/AllocTrackTypeInfo.h>

namespace Kro {

namespace {

std::uint64_t read(std::uint64_t const& counter) noexcept
{
   // atomic_ref takes no const object in C++20; a relaxed load writes nothing.
   return std::atomic_ref(const_cast<std::uint64_t&>(counter)).load(std::memory_order_relaxed);
}

// Taking their addresses puts the inline functions into the library as symbols.
[[gnu::used]] constexpr void (AllocTrackTypeInfo::*exported[])() noexcept = {
   &AllocTrackTypeInfo::trackAllocation, &AllocTrackTypeInfo::trackDeallocation};

} // namespace

void AllocTrackTypeInfo::trackArrayAllocation(std::size_t count) noexcept
{
   add(arrayAllocations_, 1);
   add(liveArrayElements_, count);
}

void AllocTrackTypeInfo::trackArrayDeallocation(std::size_t count) noexcept
{
   add(arrayDeallocations_, 1);
   add(liveArrayElements_, std::uint64_t{0} - count); // wraps: a subtraction
}

std::uint64_t AllocTrackTypeInfo::liveCount() const noexcept
{
   return allocations() - deallocations();
}

std::uint64_t AllocTrackTypeInfo::allocations() const noexcept
{
   return read(allocations_);
}

std::uint64_t AllocTrackTypeInfo::deallocations() const noexcept
{
   return read(deallocations_);
}

std::uint64_t AllocTrackTypeInfo::liveArrayCount() const noexcept
{
   return arrayAllocations() - arrayDeallocations();
}

std::uint64_t AllocTrackTypeInfo::liveArrayElements() const noexcept
{
   return read(liveArrayElements_);
}

std::uint64_t AllocTrackTypeInfo::arrayAllocations() const noexcept
{
   return read(arrayAllocations_);
}

std::uint64_t AllocTrackTypeInfo::arrayDeallocations() const noexcept
{
   return read(arrayDeallocations_);
}

} // namespace Kro
