#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace pinmem_lib {

/// What the kernel tells this process about where its memory lies physically.
class PageMap {
public:
   enum class Sight {
      seen,      ///< all addresses are known
      closed,    ///< the page map cannot be opened: privilege was dropped
      hidden,    ///< it can be read, but without addresses: there never was the privilege
      notPresent ///< a page was never touched by this process
   };

   struct Answer {
      Sight sight;
      std::vector<std::uint64_t> physical; ///< of each page, in bytes; empty unless `seen`
   };

   explicit PageMap(std::string path) : path_(std::move(path)) {}

   /// Touches the pages and reads where they are.
   ///
   /// @param address   of the first page, mapped and readable
   /// @param pageSize  of each page, in bytes
   Answer read(void const* address, std::size_t count, std::uint64_t pageSize) const;

   /// What this process would see of its own memory.
   Sight sight() const;

   /// Cause and cure, for a person.
   static char const* describe(Sight sight);

private:
   std::string path_;
};

} // namespace pinmem_lib
