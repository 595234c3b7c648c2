#pragma once

#include "src/Backend.h"
#include "src/Directory.h"
#include <string>

namespace pinmem_lib {

/// Memory in files of a tmpfs, one for each block; needs no privilege. Its pages may move, so no device may be given
/// their addresses: bus addresses are the simulated ones that the domain has chosen.
class ShmBackend final : public Backend {
public:
   /// @param data  the domain's folder for the files
   explicit ShmBackend(Directory data) : data_(std::move(data)) {}

   void create(Block& block) override;
   std::uint64_t resolve(Block const& block) override;
   void* attach(Block const& block) override;
   void destroy(Block const& block) override;

   /// The file of one block. Generated: the block's name never reaches the file system.
   static std::string fileNameOf(Block const& block);

   /// Whether a name could have come from `fileNameOf`.
   static bool isFileName(std::string const& name);

private:
   std::string pathOf(Block const& block) const;
   void reserve(FileDescriptor const& file, Block const& block);

   Directory data_;
};

} // namespace pinmem_lib
