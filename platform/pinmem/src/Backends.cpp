#include "src/Backends.h"
#include "src/BlockFlags.h"
#include "src/Refusal.h"

namespace pinmem_lib {

namespace {

constexpr char noIommu[] = "it is not part of this build";

} // namespace

Backends::Backends(Settings const& settings, Directory data, std::string folder, HugetlbRoots const& roots)
   : settings_(settings),
     node_(nodeOf(settings)),
     hugetlb_(std::move(folder), roots, node_, data.sharing()),
     shm_(std::move(data), node_)
{}

Backend& Backends::of(Block const& block)
{
   switch (static_cast<BackendKind>(block.backend)) {
   case BackendKind::shm:
      return shm_;
   case BackendKind::hugetlb:
      return hugetlb_;
   }
   refuse("the block was made by backend number ", block.backend, ", which is not part of this build");
}

BackendKind Backends::kindFor(std::uint32_t flags, std::function<bool()> const& isHugetlbInUse)
{
   if (flags == BlockFlags::ordinary || settings_.backend == "shm") {
      return BackendKind::shm;
   }
   if (!chosen_) {
      chosen_ = choose(isHugetlbInUse);
   }
   return *chosen_;
}

BackendKind Backends::choose(std::function<bool()> const& isHugetlbInUse) const
{
   if (settings_.backend != "hugetlb") {
      return hugetlb_.obstacle(isHugetlbInUse()).empty() ? BackendKind::hugetlb : BackendKind::shm;
   }
   // Free pages and privilege are asked for only when they are needed.
   if (std::string const obstacle = hugetlb_.obstacle(true); !obstacle.empty()) {
      refuse("backend 'hugetlb' cannot be used: ", obstacle);
   }
   return BackendKind::hugetlb;
}

void Backends::checkUse(Block const& block, std::uint32_t flags) const
{
   char const* const made = nameOf(static_cast<BackendKind>(block.backend));
   if (flags == BlockFlags::ordinary || settings_.backend == "auto" || settings_.backend == made) {
      return;
   }
   refuse(
      "the block was made by backend '", made, "', but PINMEM_BACKEND=", settings_.backend,
      " is set; unset it, or use another name");
}

std::vector<Backends::Finding> Backends::findings(bool isHugetlbInUse) const
{
   return {{"iommu", {noIommu}}, {"hugetlb", hugetlb_.obstacles(isHugetlbInUse)}, {"shm", {}}};
}

std::vector<Backends::Finding> Backends::findingsWithoutDomain(HugetlbRoots const& roots)
{
   return {{"iommu", {noIommu}}, {"hugetlb", HugetlbBackend("", roots, {}).obstacles(false)}, {"shm", {}}};
}

} // namespace pinmem_lib
