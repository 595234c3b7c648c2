// Where packed blocks lie physically when their arena changes.
#include "test/support/PretendedHugePages.h"
#include <cstring>

using namespace pinmem_lib;
using namespace pinmem_test;

namespace {

constexpr std::uint64_t page = HugetlbBackend::pageSize;

class ArenaAddressTest : public PretendedHugePages {
protected:
   static char* memoryOf(Domain& domain, std::string_view name)
   {
      return reinterpret_cast<char*>(static_cast<std::uintptr_t>(domain.map(name)));
   }
};

} // namespace

TEST_F(ArenaAddressTest, blocksKeepTheirPlacesInAnArenaThatComesBackInALargerPage)
{
   {
      // Records of an earlier boot, in which two neighbours were found.
      open();
      Index index = Index::open(Directory::open(temporary_ / "default", Directory::Trust::guarded));
      Block arena = {};
      arena.generation = 1;
      arena.backend = static_cast<std::uint32_t>(BackendKind::hugetlb);
      arena.capacity = arena.size = 2 * page;
      arena.addressBus = page;
      arena.arena = Block::noArena;
      arena.node = -1;
      arena.uid = ::geteuid();
      index.write(Record::make(arena, "", ""));
      Block block = arena;
      block.slot = 1;
      block.capacity = block.size = page + 64;
      block.arena = 0;
      block.arenaGeneration = 1;
      index.write(Record::make(block, "kept", ""));
   }
   auto const sut = open();

   sut->allocate("kept", page + 64, "", 0);
   sut->allocate("new", page, "", 0);

   EXPECT_EQ(sut->arenas().at(0).block.capacity, HugetlbBackend::giantPageSize);
   std::strcpy(memoryOf(*sut, "kept"), "kept");
   std::strcpy(memoryOf(*sut, "new"), "new");
   EXPECT_STREQ(memoryOf(*sut, "kept"), "kept");
   EXPECT_TRUE(open()->damaged().empty());
}
