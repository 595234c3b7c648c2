#pragma once

#include "src/Backend.h"
#include "src/Node.h"
#include "src/RegionFiles.h"

namespace pinmem_lib {

/// Memory in files of a tmpfs; needs no privilege. Its pages may move, so no device may be given their addresses: bus
/// addresses are the simulated ones that the domain has chosen.
class ShmBackend final : public Backend {
public:
   /// @param data  the domain's folder for the files
   explicit ShmBackend(Directory data, NodeWish wish = {}) : files_(std::move(data)), wish_(wish) {}

   std::uint64_t unit() const override;
   void* create(Block& region, Reserve reserve) override;
   bool isThere(Block const& region) override;
   void* attach(Block const& region) override;
   std::uint64_t resolve(Block const& region, void* address) override;
   void provide(Block const& arena, void* address, std::uint64_t offset, std::uint64_t size) override;
   void destroy(Block const& region) override;

   RegionFiles const& files() const { return files_; }

private:
   void checkNodeOrUnmap(void* address, std::uint64_t size) const;
   FileDescriptor const& fileOf(Block const& arena);
   void reserve(FileDescriptor const& file, std::uint64_t offset, std::uint64_t size) const;

   RegionFiles files_;
   NodeWish wish_;
   FileDescriptor last_; ///< the file of the arena that `provide` was called for last
};

} // namespace pinmem_lib
