#pragma once

#include "src/Backend.h"
#include "src/HugePages.h"
#include "src/Node.h"
#include "src/PageMap.h"
#include "src/PageRun.h"
#include "src/RegionFiles.h"
#include <optional>
#include <string>
#include <vector>

namespace pinmem_lib {

/// Memory in files of a hugetlbfs, whose pages the kernel never moves: bus addresses are the physical ones that the
/// page map of the process shows. Needs privilege to make a region, none to use one.
///
/// Pages of 2 MiB come first; where no run of neighbours is long enough, or it comes in more pieces than a record holds,
/// an arena is made of pages of 1 GiB.
class HugetlbBackend final : public Backend {
public:
   /// @param folder   of the domain, below `<mount>/pinmem-<uid>/`; unique on the machine
   /// @param sharing  the domain's
   HugetlbBackend(std::string folder, HugetlbRoots roots, NodeWish wish, Sharing const& sharing = {});

   std::uint64_t unit() const override { return pageSize; }

   void* create(Block& region, Reserve reserve) override;
   bool isThere(Block const& region) override;
   void* attach(Block const& region) override;
   std::uint64_t resolve(Block const& region, void* address) override;
   void provide(Block const& arena, void* address, std::uint64_t offset, std::uint64_t size) override;
   void destroy(Block const& region) override;

   /// Why no block can be made here, each reason with its cure; none when one can.
   ///
   /// @param isInUse  the domain has such memory already: neither free pages nor privilege are asked for then
   std::vector<std::string> obstacles(bool isInUse) const;

   /// The first of them; "" when there is none.
   std::string obstacle(bool isInUse) const;

   /// The folders with this domain's files that are there already, for looking after them.
   /// @throws Shortage  when they cannot all be looked for
   std::vector<RegionFiles> folders() const;

   /// Removes the domain's folders, which are empty.
   void removeFolders() const;

   static constexpr std::uint64_t pageSize = 2U << 20;
   static constexpr std::uint64_t giantPageSize = 1U << 30;

private:
   /// The folder of the domain's user on a mount.
   std::string userFolder() const;
   std::optional<HugetlbMount> mountOf(std::uint64_t size) const;
   /// Why the mount cannot be used; "" when it can.
   std::string mountObstacle() const;
   /// The domain's folder on the mount of that page size.
   /// @throws Refusal  when there is no such mount or folder
   RegionFiles& filesOf(std::uint64_t size, Directory::Missing missing);
   void* createOf(std::uint64_t size, Block& region);
   /// Adds pages to the file until it has `count`; fewer only when there are no more.
   std::uint32_t
   addPages(FileDescriptor const& file, std::uint64_t size, std::uint32_t have, std::uint32_t count) const;
   /// Picks neighbours among the file's pages and gives the others back; enters extents and bus address.
   /// @return how many pages the longest run has
   std::size_t pick(FileDescriptor const& file, Block& region, std::uint32_t candidates) const;
   void* map(FileDescriptor const& file, Block const& region) const;
   /// @param have    pages that were taken before there were no more
   /// Refuses for the reason why there are only so many pages.
   [[noreturn]] void
   refuseShortage(FileDescriptor const& file, std::uint64_t size, std::uint32_t have, std::uint32_t wanted) const;

   std::string folder_;
   HugetlbRoots roots_;
   PageMap pageMap_;
   NodeWish wish_;
   Sharing sharing_;
   Directory::Missing missing_; ///< what becomes of folders that are not there
   std::optional<RegionFiles> files_;
   std::optional<RegionFiles> giantFiles_;
};

} // namespace pinmem_lib
