#pragma once

#include "src/HugetlbBackend.h"
#include "src/Settings.h"
#include "src/ShmBackend.h"
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace pinmem_lib {

/// The backends of one domain, and which of them a new block gets.
class Backends {
public:
   /// @param data    the domain's folder for memory in a tmpfs
   /// @param folder  the name of its folder below a hugetlbfs
   Backends(Settings const& settings, Directory data, std::string folder, HugetlbRoots const& roots);

   /// The backend that made the block.
   /// @throws Refusal  when this library does not have it
   Backend& of(Block const& block);

   /// The backend for a new block with these flags. What DMA memory gets is decided once, unless it is refused.
   ///
   /// @param isHugetlbInUse  whether the domain has memory in huge pages; called when `auto` decides
   /// @throws Refusal  when the one that was asked for cannot work
   BackendKind kindFor(std::uint32_t flags, std::function<bool()> const& isHugetlbInUse);

   /// Refuses to use a block as DMA memory when another backend was asked for than the one that made it.
   void checkUse(Block const& block, std::uint32_t flags) const;

   /// What was found out about one backend.
   struct Finding {
      std::string backend;
      std::vector<std::string> obstacles; ///< why it cannot be used; none when it can
   };

   /// What `auto` looks at, in that order; it takes the first without obstacles.
   std::vector<Finding> findings(bool isHugetlbInUse) const;

   /// The same where there is no domain yet.
   static std::vector<Finding> findingsWithoutDomain(HugetlbRoots const& roots = {});

   HugetlbBackend& hugetlb() { return hugetlb_; }

   /// Where new memory is wanted.
   NodeWish const& node() const { return node_; }

   RegionFiles const& shmFiles() const { return shm_.files(); }

private:
   BackendKind choose(std::function<bool()> const& isHugetlbInUse) const;

   Settings settings_;
   NodeWish node_;
   HugetlbBackend hugetlb_;
   ShmBackend shm_;
   std::optional<BackendKind> chosen_; ///< for DMA memory
};

} // namespace pinmem_lib
