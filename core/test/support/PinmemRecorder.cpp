#include "support/PinmemRecorder.h"

#include "support/AllocationRecorder.h"

#include <pinmem/pinmem.h>

#include <algorithm>
#include <cstdlib>

#include <utility>

#include <sys/mman.h>
#include <unistd.h>

namespace Quorvel::Core::Test {
namespace {

void require(bool condition)
{
   if (!condition) {
      std::abort();
   }
}

bool isDue(int& countdown)
{
   return countdown > 0 && --countdown == 0;
}

} // namespace

PinmemRecorder& PinmemRecorder::instance()
{
   static auto* const instance = new PinmemRecorder;
   return *instance;
}

void PinmemRecorder::reset()
{
   require(stillMapped().empty());
   for (auto const& [name, block] : blocks_) {
      ::close(block.file);
   }
   blocks_.clear();
   calls_.clear();
   mistakes_.clear();
   allocationsToFailure_ = 0;
   mapsToFailure_ = 0;
}

std::vector<std::string> PinmemRecorder::takeCalls()
{
   return std::exchange(calls_, {});
}

std::span<std::byte> PinmemRecorder::bytes(std::string const& name) const
{
   auto const& block = blocks_.at(name);
   require(block.mapCount > 0);
   return {static_cast<std::byte*>(block.address), block.capacity};
}

std::vector<std::string> PinmemRecorder::stillMapped() const
{
   std::vector<std::string> names;
   for (auto const& [name, block] : blocks_) {
      if (block.mapCount != 0) {
         names.push_back(name);
      }
   }
   return names;
}

void PinmemRecorder::record(std::string call)
{
   if (traceDescriptor_ >= 0) {
      auto const line = call + '\n';
      require(::write(traceDescriptor_, line.data(), line.size()) == static_cast<ssize_t>(line.size()));
   }
   calls_.push_back(std::move(call));
}

std::uint64_t PinmemRecorder::alloc(char const* name, std::uint32_t size, char const* owner, std::uint32_t flags)
{
   record(std::string("alloc '") + name + "' " + std::to_string(size) + " '" + owner + "' " + std::to_string(flags));
   if (isDue(allocationsToFailure_)) {
      return 0;
   }
   if (auto const known = blocks_.find(name); known != blocks_.end()) {
      return size <= known->second.capacity ? known->second.addressBus : 0;
   }
   constexpr std::size_t page = 4096;
   auto const capacity = (std::size_t{size} + page) / page * page;
   int const file = ::memfd_create(name, MFD_CLOEXEC);
   require(file >= 0 && ::ftruncate(file, static_cast<off_t>(capacity)) == 0);
   // A block of gigabytes is only ever looked at in its first pages.
   std::vector<std::byte> const content(std::min(capacity, 16 * page), fresh);
   require(::pwrite(file, content.data(), content.size(), 0) == static_cast<ssize_t>(content.size()));
   blocks_.emplace(name, Block{nextAddressBus_, capacity, file});
   return std::exchange(nextAddressBus_, nextAddressBus_ + 0x100000000 + capacity);
}

std::uint64_t PinmemRecorder::map(char const* name, int mode, std::uint64_t reserved1, std::uint64_t reserved2)
{
   auto call = std::string("map '") + name + "'";
   if (mode != 1 || reserved1 != 0 || reserved2 != 0) {
      call += " " + std::to_string(mode) + " " + std::to_string(reserved1) + " " + std::to_string(reserved2);
   }
   record(std::move(call));
   auto const known = blocks_.find(name);
   if (isDue(mapsToFailure_) || known == blocks_.end()) {
      return 0;
   }
   auto& block = known->second;
   if (block.mapCount++ == 0) {
      block.address = ::mmap(nullptr, block.capacity, PROT_READ | PROT_WRITE, MAP_SHARED, block.file, 0);
      require(block.address != MAP_FAILED);
   }
   return reinterpret_cast<std::uint64_t>(block.address);
}

void PinmemRecorder::unmap(char const* name, std::uint64_t address, int reserved)
{
   auto call = std::string("unmap '") + name + "'" + (reserved != 0 ? " " + std::to_string(reserved) : "");
   auto const known = blocks_.find(name);
   if (
      known == blocks_.end() || known->second.mapCount == 0 ||
      reinterpret_cast<std::uint64_t>(known->second.address) != address) {
      mistakes_.push_back(call);
   } else if (--known->second.mapCount == 0) {
      ::munmap(known->second.address, known->second.capacity);
   }
   record(std::move(call));
}

} // namespace Quorvel::Core::Test

// In the place of those of the pinned-memory library: the program's own definitions come first. What the recorder itself
// allocates is not the business of the code under test.

using Quorvel::Core::Test::AllocationRecorder;
using Quorvel::Core::Test::PinmemRecorder;

std::uint64_t pinmem_alloc_func(char const* name, std::uint32_t size, char const* owner, std::uint32_t flags)
{
   AllocationRecorder::Pause const pause;
   return PinmemRecorder::instance().alloc(name, size, owner, flags);
}

std::uint64_t pinmem_map(char const* name, int mode, std::uint64_t reserved1, std::uint64_t reserved2)
{
   AllocationRecorder::Pause const pause;
   return PinmemRecorder::instance().map(name, mode, reserved1, reserved2);
}

void pinmem_unmap(char const* name, std::uint64_t virtualAddress, int reserved)
{
   AllocationRecorder::Pause const pause;
   PinmemRecorder::instance().unmap(name, virtualAddress, reserved);
}
