#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

namespace Quorvel::Core::Test {

/// Stands in for the pinned-memory library's allocation, map and unmap functions in the program that links it: records how
/// they are called, fails on command, and gives real memory.
///
/// Blocks live on when they are unmapped and keep address and bytes. Fresh ones hold 0xa5, so that zeroing shows. What is not
/// mapped is not there: an access to it faults.
class PinmemRecorder {
public:
   static constexpr std::byte fresh{0xa5};

   /// Never destroyed, so that it also answers while the process ends.
   static PinmemRecorder& instance();

   /// Forgets blocks, calls and commands. Nothing may be mapped.
   void reset();

   /// @return the calls since the last one to here, in order: "alloc 'name' size 'owner' flags", "map 'name'", "unmap 'name'";
   ///         with what is passed besides only where that is not 1, 0, 0
   std::vector<std::string> takeCalls();

   /// Writes each call as a line to that descriptor too, at once.
   void traceTo(int descriptor) { traceDescriptor_ = descriptor; }

   /// Lets the n-th allocation, or map, from now on fail; 1 is the next.
   void failAlloc(int nth) { allocationsToFailure_ = nth; }

   void failMap(int nth) { mapsToFailure_ = nth; }

   /// @return the bus address of a block
   std::uint64_t addressBus(std::string const& name) const { return blocks_.at(name).addressBus; }

   /// @return where a block is mapped, which it must be
   std::span<std::byte> bytes(std::string const& name) const;

   /// Names of the blocks that have been mapped more often than unmapped.
   std::vector<std::string> stillMapped() const;

   /// Unmaps of what is not mapped, or not there.
   std::vector<std::string> const& mistakes() const { return mistakes_; }

   std::uint64_t alloc(char const* name, std::uint32_t size, char const* owner, std::uint32_t flags);
   std::uint64_t map(char const* name, int mode, std::uint64_t reserved1, std::uint64_t reserved2);
   void unmap(char const* name, std::uint64_t address, int reserved);

private:
   struct Block {
      std::uint64_t addressBus;
      std::size_t capacity; // whole pages
      int file;
      void* address = nullptr;
      int mapCount = 0;
   };

   void record(std::string call);

   std::map<std::string, Block> blocks_;
   std::vector<std::string> calls_;
   std::vector<std::string> mistakes_;
   std::uint64_t nextAddressBus_ = 0x1000000000;
   int allocationsToFailure_ = 0;
   int mapsToFailure_ = 0;
   int traceDescriptor_ = -1;
};

} // namespace Quorvel::Core::Test
