#pragma once

#include "src/Directory.h"
#include "src/Record.h"
#include <cstdint>
#include <optional>
#include <string>

namespace pinmem_lib {

/// The files that hold the memory of a domain's regions, one for each, in one folder. Their names are generated: a
/// block's name never reaches the file system.
///
/// Each file that is open or mapped is locked (`flock`, shared): other programs that clear a hugetlbfs when they start
/// spare such files, and so does `tryCollect`.
class RegionFiles {
public:
   /// @param directory  the domain's folder for the files
   explicit RegionFiles(Directory directory) : directory_(std::move(directory)) {}

   /// Makes the region's file, empty, in place of one that a process left there that died before it wrote its record.
   /// @throws Refusal
   FileDescriptor create(Block const& region) const;

   /// Notes in `region` which file it has.
   /// @throws Refusal
   void identify(FileDescriptor const& file, Block& region) const;

   /// Whether the region's file is in its place; false also for memory of an earlier boot.
   /// @throws Refusal  when another file is
   bool isThere(Block const& region) const;

   /// Opens the region's file and makes sure that it is the one that was made for it, and at least `size` bytes long.
   /// @throws Refusal
   FileDescriptor open(Block const& region, std::uint64_t size) const;

   void remove(Block const& region) const;

   /// Removes a file that has no record, unless a process has it open or mapped.
   /// @return the bytes of memory that were in it; nothing when it is still there
   std::optional<std::uint64_t> tryCollect(std::string const& name) const;

   /// Maps the first `size` bytes of a file, readable and writable, left out of core dumps.
   /// @throws Refusal
   static void* map(FileDescriptor const& file, std::uint64_t size);

   std::string pathOf(Block const& region) const;

   Directory const& directory() const { return directory_; }

   static std::string nameOf(Block const& region);

   /// Whether a name could have come from `nameOf`.
   static bool isName(std::string const& name);

   /// The slot in such a name.
   static std::uint32_t slotOf(std::string const& name);

private:
   Directory directory_;
};

} // namespace pinmem_lib
