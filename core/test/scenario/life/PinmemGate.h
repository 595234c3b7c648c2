#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace Quorvel::Core::Test {

/// Stands before the pinned-memory library in the program that links it: keeps count of what is mapped, refuses or kills on
/// command, and hands every other call on to the real library.
class PinmemGate {
public:
   /// Never destroyed, so that it also answers while the process ends.
   static PinmemGate& instance();

   /// Lets the n-th allocation or map from now on fail; 1 is the next, 0 none.
   void refuse(int nth)
   {
      toRefusal_ = nth;
      hasRefused_ = false;
   }

   /// Whether it has come to that.
   bool hasRefused() const { return hasRefused_; }

   /// Ends the process with SIGKILL at the n-th allocation, map or unmap from now on: one time before it, the next behind it.
   void killAt(int nth) { toKill_ = 2 * nth; }

   void killBehind(int nth) { toKill_ = 2 * nth + 1; }

   /// Blocks that have been mapped more often than unmapped.
   std::vector<std::string> stillMapped() const;

   /// Unmaps of what is not mapped, or not there.
   std::vector<std::string> const& mistakes() const { return mistakes_; }

   /// From now on, which is the end of the process, the file `mapped` in that folder says what is still mapped, and which unmaps
   /// were wrong, to the very last.
   void writeLastMapped(std::string const& folder);

   std::uint64_t alloc(char const* name, std::uint32_t size, char const* owner, std::uint32_t flags);
   std::uint64_t map(char const* name, int mode, std::uint64_t reserved1, std::uint64_t reserved2);
   void unmap(char const* name, std::uint64_t address, int reserved);

private:
   bool isRefused();
   void pass();
   void writeMapped() const;

   std::map<std::string, std::pair<std::uint64_t, int>> mapped_; ///< where, and how often
   std::vector<std::string> mistakes_;
   std::string lastMapped_; ///< path of the file; empty: there is none yet
   int toRefusal_ = 0;
   int toKill_ = 0; ///< two for each call: before it, and behind it
   bool hasRefused_ = false;
};

} // namespace Quorvel::Core::Test
