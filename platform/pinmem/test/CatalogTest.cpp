#include "src/Catalog.h"
#include <gtest/gtest.h>

using namespace pinmem_lib;

namespace {

Record arenaRecord(std::uint32_t slot, std::uint64_t capacity = 4096)
{
   Block block = {};
   block.slot = slot;
   block.generation = 1;
   block.arena = Block::noArena;
   block.capacity = capacity;
   block.addressBus = 0x8000'0001'0000'0000U + slot * 0x10000;
   return Record::make(block, "", "");
}

Record packedRecord(std::uint32_t slot, std::string_view name, std::uint32_t arena, std::uint64_t offset)
{
   Block block = {};
   block.slot = slot;
   block.generation = 1;
   block.arena = arena;
   block.offset = offset;
   block.capacity = 64;
   return Record::make(block, name, "");
}

Block likeOf(std::uint64_t capacity)
{
   Block block = {};
   block.capacity = capacity;
   return block;
}

std::optional<Catalog::Place> placeIn(Catalog& catalog, Block const& like)
{
   return catalog.placeFor(like, [](Entry&) { return true; });
}

} // namespace

TEST(Catalog, findsBlocksByNameAndArenasBySlot)
{
   Catalog sut;
   sut.add(arenaRecord(0));
   sut.add(packedRecord(1, "a", 0, 128));
   sut.settle();

   EXPECT_EQ(sut.find("a")->block.slot, 1U);
   EXPECT_EQ(sut.regionOf(*sut.find("a")), sut.arena(0));
   EXPECT_EQ(sut.find("b"), nullptr);
   EXPECT_EQ(sut.find(""), nullptr);
   EXPECT_EQ(sut.arena(1), nullptr);
   EXPECT_TRUE(sut.contradictions().empty());
}

TEST(Catalog, aBlockMayComeBeforeItsArena)
{
   Catalog sut;
   sut.add(packedRecord(0, "a", 1, 0));
   sut.add(arenaRecord(1));
   sut.settle();

   EXPECT_TRUE(sut.contradictions().empty());
   EXPECT_EQ(placeIn(sut, likeOf(64))->offset, 64U);
}

TEST(Catalog, recordsThatContradictOthersAreNamed)
{
   Catalog sut;
   sut.add(arenaRecord(0));
   sut.add(packedRecord(1, "a", 0, 0));
   sut.add(packedRecord(2, "overlaps", 0, 0));
   sut.add(packedRecord(3, "behind the end", 0, 4096));
   sut.add(packedRecord(4, "no arena", 9, 0));
   sut.add(packedRecord(5, "in a block", 1, 0));
   sut.add(packedRecord(6, "a", 0, 64));
   sut.add(packedRecord(7, "", 0, 64));
   sut.settle();

   EXPECT_EQ(sut.contradictions(), (std::set<std::uint32_t>{2, 3, 4, 5, 6, 7}));
   EXPECT_EQ(sut.find("a")->block.slot, 1U);
   EXPECT_EQ(sut.regionOf(*sut.find("in a block")), nullptr);
}

TEST(Catalog, placesAreInArenasOfTheSameKindUserAndNode)
{
   Catalog sut;
   sut.add(arenaRecord(0));

   EXPECT_EQ(placeIn(sut, likeOf(64))->arena, sut.arena(0));
   EXPECT_FALSE(placeIn(sut, likeOf(8192)));
   Block other = likeOf(64);
   other.backend = 1;
   EXPECT_FALSE(placeIn(sut, other));
   other = likeOf(64);
   other.uid = 1;
   EXPECT_FALSE(placeIn(sut, other));
   other = likeOf(64);
   other.node = 1;
   EXPECT_FALSE(placeIn(sut, other));
}

TEST(Catalog, removedBlocksGiveTheirPlaceBack)
{
   Catalog sut;
   sut.add(arenaRecord(0));
   sut.add(packedRecord(1, "a", 0, 0));
   sut.settle();
   EXPECT_TRUE(sut.emptyArenas().empty());

   sut.remove(*sut.find("a"));

   EXPECT_EQ(sut.find("a"), nullptr);
   EXPECT_EQ(sut.emptyArenas().size(), 1U);
   EXPECT_EQ(placeIn(sut, likeOf(64))->offset, 0U);
}

TEST(Catalog, forgettingKeepsWhatThisProcessUses)
{
   Catalog sut;
   sut.add(arenaRecord(0));
   sut.add(packedRecord(1, "used", 0, 0));
   sut.add(packedRecord(2, "other", 0, 64));
   sut.settle();
   Entry* const used = sut.find("used");
   used->isHeld = true;
   int memory = 0;
   sut.arena(0)->address = &memory;

   sut.forget();
   sut.add(arenaRecord(0));
   sut.add(packedRecord(1, "used", 0, 0));
   sut.settle();

   EXPECT_EQ(sut.find("used"), used);
   EXPECT_TRUE(used->isHeld);
   EXPECT_EQ(sut.arena(0)->address, &memory);
   EXPECT_EQ(sut.find("other"), nullptr);
   EXPECT_EQ(placeIn(sut, likeOf(64))->offset, 64U);
}

TEST(Catalog, aBlockThatIsAnotherOneNowIsNotHeld)
{
   Catalog sut;
   sut.add(arenaRecord(0));
   sut.add(packedRecord(1, "a", 0, 0));
   sut.settle();
   sut.find("a")->isHeld = true;

   sut.forget();
   sut.add(arenaRecord(0));
   sut.add(packedRecord(2, "a", 0, 64));

   EXPECT_FALSE(sut.find("a")->isHeld);
   EXPECT_EQ(sut.find("a")->block.slot, 2U);
}

TEST(Catalog, simulatedAddressesAreAboveAllThatWereSeen)
{
   Catalog sut;
   std::uint64_t const first = sut.addressBusNext();
   EXPECT_EQ(first >> 63, 1U);

   sut.add(arenaRecord(1));
   EXPECT_EQ(sut.addressBusNext(), 0x8000'0001'0001'1000U);
   Block real = {};
   real.addressBus = 0x1000;
   real.capacity = 4096;
   sut.addressesAreTaken(real);
   EXPECT_EQ(sut.addressBusNext(), 0x8000'0001'0001'1000U);
   sut.forget();
   EXPECT_EQ(sut.addressBusNext(), 0x8000'0001'0001'1000U);
}

TEST(Catalog, anArenaThatIsNotUsableIsPassedOver)
{
   Catalog sut;
   sut.add(arenaRecord(0));
   sut.add(arenaRecord(1));

   auto const place = sut.placeFor(likeOf(64), [&](Entry& arena) { return &arena != sut.arena(0); });

   EXPECT_EQ(place->arena, sut.arena(1));
}
