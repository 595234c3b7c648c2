#include "look/MemoryMap.h"

#include "support/ManagerTest.h"

#include <Kro/Table.h>

#include <gmock/gmock.h>

namespace {

using namespace Look;
using namespace Quorvel::Core::Test;
using testing::ElementsAre;
using testing::IsEmpty;
namespace Control = Quorvel::Core::Memory::Control;
namespace Managers = Quorvel::Core::Memory::Entity;

extern Kro::KroModule module;

/// Holds its live collection by a plain pointer, and says nothing about its entries.
struct BorrowingMount final : OddMount<BorrowingMount> {
   using OddMount::OddMount;
   struct Declaration;
   static Kro::KroType const kroType;
   Control::Collection* ring = nullptr;
};

struct BorrowingMount::Declaration {
   static constexpr auto table =
      Kro::table<BorrowingMount, Kro::Entity>(Kro::value<301, &BorrowingMount::ring>("ringControl"));
};

constinit Kro::KroType const BorrowingMount::kroType =
   Kro::entityType<BorrowingMount, BorrowingMount::Declaration>("BorrowingMount", &module);

/// Has a collection besides those of its base, and hides one of them by another of that name.
struct DerivedMount final : TestMount {
   explicit DerivedMount(Orvo::String const& name) : TestMount(name) {}

   ~DerivedMount() override { nodeFlagSet(flagDeleteOnLastUser, false); }

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   struct Declaration;
   static Kro::KroType const kroType;
   Orvo::Ptr<Control::Collection> own = Orvo::make<Control::Collection>(nullptr);
   Orvo::Ptr<Control::Collection> hiding;
};

struct DerivedMount::Declaration {
   static constexpr auto table = Kro::table<DerivedMount, TestMount>(
      Kro::value<400, &DerivedMount::own>("ownControl"), Kro::value<401, &DerivedMount::hiding>("bufferControl"));
};

constinit Kro::KroType const DerivedMount::kroType =
   Kro::entityType<DerivedMount, DerivedMount::Declaration>("DerivedMount", &module);

constexpr Kro::KroType const* types[] = {&BorrowingMount::kroType, &DerivedMount::kroType};
constinit Kro::KroModule module{"LookTest", "examples/08-look/test", types, {}};
[[maybe_unused]] bool const isRegistered = (Kro::kroModuleIs(module), true);

class LookGather : public ManagerTest {
protected:
   /// Makes an entity in the manager's directory, mounted by nobody.
   template <class Mount>
   Orvo::Ptr<Mount> made(char const* type, char const* name = "a")
   {
      return Orvo::dynamicCast<Mount>(sut->directory()->createEntity(type, name));
   }

   /// Gives the field storage for a group.
   static void place(
      Control::Collection& live, std::int32_t field, Group const& group, Orvo::Ptr<Control::Detail::Chunk> const& chunk)
   {
      live.attribute(field)->groupIs(live.groupIs(group.id, group.head, group.size));
      live.attribute(field)->chunkIs(group.id, chunk);
   }

   Chunk seen(char const* name, std::uint32_t size) const
   {
      return {name, size, false, pinmem.addressBus(name), reinterpret_cast<std::uint64_t>(pinmem.bytes(name).data())};
   }
};

TEST_F(LookGather, findsNothingBelowANewManager)
{
   auto const map = gather(*sut);

   EXPECT_EQ(map, (MemoryMap{"m", "/m/zumem", {}, {}}));
}

TEST_F(LookGather, findsNoDirectoryWhereSomethingElseHasItsName)
{
   Kro::globalDir()->createEntity("TestMount", "n");
   auto const manager = Managers::managerFactory("n");

   EXPECT_EQ(gather(*manager), (MemoryMap{"n", {}, {}, {}}));
}

TEST_F(LookGather, findsFieldsGroupsPartsAndChunksOfAMount)
{
   auto description = Quorvel::Core::Memory::Info::Mount("a", "TestMount");
   description.collectionIs(describeBuffer("b"));
   sut->mount(description);

   auto const map = gather(*sut);

   ASSERT_EQ(map.entities.size(), 1U);
   auto const& entity = map.entities[0];
   EXPECT_EQ(entity.name, "a");
   EXPECT_EQ(entity.path, "a");
   EXPECT_EQ(entity.type, "TestMount");
   EXPECT_FALSE(entity.isDirectory);
   EXPECT_FALSE(entity.isOrphan);
   ASSERT_EQ(entity.collections.size(), 2U);
   Collection expected;
   expected.name = "buffer";
   expected.capacity = 2;
   expected.fields = {{2, "bytes", 64}};
   expected.groups = {{0, 0, 2}};
   expected.parts = {{0, 0, Group{0, 0, 2}, 0, {{0, 128}}}};
   EXPECT_EQ(entity.collections[1], expected);
   EXPECT_EQ(entity.collections[0].name, "ring");
   EXPECT_THAT(entity.collections[0].parts, IsEmpty());
   EXPECT_THAT(
      entity.collections[0].fields, ElementsAre(Field{2, "command", 16}, Field{3, "status", 4}, Field{9, "tail", 12}));
   EXPECT_THAT(map.chunks, ElementsAre(seen("b.bytes.0", 128)));
}

TEST_F(LookGather, ordersPartsByFieldThenByGroup)
{
   sut->mount(describeMount("a", "r"));

   auto const map = gather(*sut);

   std::vector<std::string> parts;
   for (auto const& part : map.entities.at(0).collections.at(0).parts) {
      parts.push_back(
         std::to_string(part.field) + " " + std::to_string(part.groupId) + " " + map.chunks.at(part.chunk).name);
   }
   EXPECT_THAT(
      parts,
      ElementsAre(
         "0 0 r.command.0", "0 1 r.command.1", "1 0 r.status.0", "1 1 r.status.1", "2 0 r.tail.0", "2 1 r.tail.1"));
}

TEST_F(LookGather, ordersEntitiesByNameAndGoesIntoDirectories)
{
   for (auto const* path : {"b", "d/z", "d/e/y", "a"}) {
      sut->mount(describeMount(path, path));
   }

   auto const map = gather(*sut);

   ASSERT_EQ(map.entities.size(), 3U);
   EXPECT_EQ(map.entities[0].name, "a");
   EXPECT_EQ(map.entities[1].name, "b");
   auto const& directory = map.entities[2];
   EXPECT_TRUE(directory.isDirectory);
   EXPECT_THAT(directory.collections, IsEmpty());
   ASSERT_EQ(directory.entities.size(), 2U);
   EXPECT_EQ(directory.entities[0].entities.at(0).path, "d/e/y");
   EXPECT_EQ(directory.entities[0].entities.at(0).name, "y");
   EXPECT_EQ(directory.entities[1].path, "d/z");
}

TEST_F(LookGather, findsTheCollectionsOfADirectoryAndWhatIsInIt)
{
   sut->mount(describeOddMount("d", "DirectoryMount"));
   sut->mount(describeMount("d/a", "r"));

   auto const map = gather(*sut);

   EXPECT_TRUE(map.entities.at(0).isDirectory);
   EXPECT_EQ(map.entities[0].collections.at(0).parts.size(), 2U);
   EXPECT_EQ(map.entities[0].entities.at(0).path, "d/a");
}

TEST_F(LookGather, marksOrphansUntilTheyAreAdopted)
{
   auto const description = describeMount("a", "r");
   sut->mount(description);
   sut->mount(describeMount("b", "s"));
   auto const before = gather(*sut);
   sut->unmount("a");

   EXPECT_TRUE(gather(*sut).entities.at(0).isOrphan);
   EXPECT_FALSE(gather(*sut).entities.at(1).isOrphan);
   EXPECT_EQ(gather(*sut).chunks, before.chunks);

   sut->mount(description);
   EXPECT_EQ(gather(*sut), before);
}

TEST_F(LookGather, namesASharedChunkOnce)
{
   sut->mount(describeMount("a", "r"));
   sut->mount(describeMount("b", "r"));

   auto const map = gather(*sut);

   EXPECT_EQ(map.chunks.size(), 7U);
   EXPECT_EQ(map.entities.at(0).collections, map.entities.at(1).collections);
}

TEST_F(LookGather, givesOrdinaryMemoryNoBusAddress)
{
   auto const entity = made<TestMount>("TestMount");
   place(*entity->buffer, 2, {0, 0, 2}, store().chunkIs("o", 128, true));

   auto const map = gather(*sut);

   ASSERT_EQ(map.chunks.size(), 1U);
   EXPECT_TRUE(map.chunks[0].isIncapableDma);
   EXPECT_EQ(map.chunks[0].addressBus, 0U);
   EXPECT_EQ(map.chunks[0].addressVirtual, reinterpret_cast<std::uint64_t>(pinmem.bytes("o").data()));
}

TEST_F(LookGather, takesNothingButLiveCollections)
{
   made<Kro::Entity>("MountWithoutControl", "a");
   made<Kro::Entity>("MountWithTextAsControl", "b");

   auto const map = gather(*sut);

   EXPECT_THAT(map.entities.at(0).collections, IsEmpty());
   EXPECT_THAT(map.entities.at(1).collections, IsEmpty());
}

TEST_F(LookGather, tellsOfALiveCollectionThatIsMissing)
{
   made<Kro::Entity>("MountWithNullControl");

   auto const map = gather(*sut);

   Collection missing;
   missing.name = "ring";
   missing.isLive = false;
   EXPECT_THAT(map.entities.at(0).collections, ElementsAre(missing));
}

TEST_F(LookGather, readsABorrowedCollectionWhoseEntriesAreNotDeclared)
{
   auto const live = Orvo::make<Control::Collection>(nullptr);
   live->attributeIs(5, 8);
   auto const entity = made<BorrowingMount>("BorrowingMount");
   entity->ring = live.get();

   auto const map = gather(*sut);
   entity->ring = nullptr;

   EXPECT_THAT(map.entities.at(0).collections.at(0).fields, ElementsAre(Field{5, "", 8}));
   EXPECT_FALSE(gather(*sut).entities.at(0).collections.at(0).isLive);
}

TEST_F(LookGather, readsInheritedCollectionsFirstAndNoHiddenOnes)
{
   auto const entity = made<DerivedMount>("DerivedMount");

   auto const map = gather(*sut);

   std::vector<std::string> names;
   for (auto const& collection : map.entities.at(0).collections) {
      names.push_back(collection.name + (collection.isLive ? "" : " missing"));
   }
   EXPECT_THAT(names, ElementsAre("ring", "own", "buffer missing"));
}

TEST_F(LookGather, takesGroupsAsTheyAre)
{
   auto const entity = made<TestMount>("TestMount");
   auto& live = *entity->buffer;
   auto const chunk = store().chunkIs("c", 512, false);
   place(live, 2, {0, 0, 8}, chunk);
   place(live, 2, {1, 4, 8}, chunk);          // overlaps the one before it
   place(live, 2, {2, 4, 0}, chunk);          // covers nothing
   place(live, 2, {3, 0xfffffff8, 8}, chunk); // its end wraps
   live.groupIs(4, 100, 1);                   // no field has a chunk for it
   live.attribute(2)->chunkIs(5, chunk);      // no such group

   auto const map = gather(*sut);
   live.attribute(2)->chunkDel(5);

   auto const& found = map.entities.at(0).collections.at(1);
   EXPECT_THAT(
      found.groups,
      ElementsAre(Group{0, 0, 8}, Group{1, 4, 8}, Group{2, 4, 0}, Group{3, 0xfffffff8, 8}, Group{4, 100, 1}));
   EXPECT_THAT(
      found.parts,
      ElementsAre(
         Part{0, 0, Group{0, 0, 8}, 0, {{0, 512}}}, Part{0, 1, Group{1, 4, 8}, 0, {{0, 512}}},
         Part{0, 2, Group{2, 4, 0}, 0, {}}, Part{0, 3, Group{3, 0xfffffff8, 8}, 0, {}}, Part{0, 5, {}, 0, {}}));
}

TEST_F(LookGather, takesTheSmallestAndTheLargestChunk)
{
   auto const entity = made<TestMount>("TestMount");
   entity->ring = Orvo::make<Control::Collection>(nullptr);
   entity->ring->attributeIs(2, 0xffffffff);
   entity->ring->attributeIs(3, 0);
   place(*entity->ring, 2, {0, 0, 0xfffffffe}, store().chunkIs("large", 0xffffffff, false));
   place(*entity->ring, 3, {0, 0, 0xfffffffe}, store().chunkIs("none", 0, false));

   auto const map = gather(*sut);

   EXPECT_THAT(map.chunks, ElementsAre(seen("large", 0xffffffff), seen("none", 0)));
   auto const& parts = map.entities.at(0).collections.at(0).parts;
   EXPECT_THAT(parts.at(0).spans, ElementsAre(Span{0, 0xfffffffd00000002})); // without a wrap
   EXPECT_THAT(parts.at(1).spans, IsEmpty());
}

std::uint32_t interleaved(std::uint32_t head, std::uint32_t index, std::uint32_t size)
{
   return (index - head) * 64 + (size == 8 ? 0 : 8);
}

TEST_F(LookGather, asksTheOffsetterWhereEntriesLie)
{
   auto const entity = made<TestMount>("TestMount");
   entity->ring = Orvo::make<Control::Collection>(interleaved);
   entity->ring->attributeIs(2, 8);
   entity->ring->attributeIs(3, 56);
   auto const chunk = store().chunkIs("c", 192, false);
   place(*entity->ring, 2, {0, 100, 3}, chunk);
   place(*entity->ring, 3, {0, 100, 3}, chunk);

   auto const map = gather(*sut);

   auto const& found = map.entities.at(0).collections.at(0);
   EXPECT_TRUE(found.hasOffsetter);
   EXPECT_THAT(found.parts.at(0).spans, ElementsAre(Span{0, 8}, Span{64, 72}, Span{128, 136}));
   EXPECT_THAT(found.parts.at(1).spans, ElementsAre(Span{8, 64}, Span{72, 128}, Span{136, 192}));
   EXPECT_EQ(entity->ring->addressVirtual(3, 102), map.chunks.at(0).addressVirtual + 136);
}

TEST_F(LookGather, joinsWhatAnOffsetterPutsSideBySideInAnyOrder)
{
   auto const entity = made<TestMount>("TestMount");
   entity->ring = Orvo::make<Control::Collection>(
      [](std::uint32_t, std::uint32_t index, std::uint32_t) noexcept -> std::uint32_t { return 56 - index % 8 * 8; });
   entity->ring->attributeIs(2, 8);
   place(*entity->ring, 2, {0, 0, 16}, store().chunkIs("c", 128, false));

   EXPECT_THAT(gather(*sut).entities.at(0).collections.at(0).parts.at(0).spans, ElementsAre(Span{0, 64}));
}

TEST_F(LookGather, takesALargeGroupWithAnOffsetterToFillItsChunk)
{
   auto const entity = made<TestMount>("TestMount");
   entity->ring = Orvo::make<Control::Collection>(interleaved);
   entity->ring->attributeIs(2, 8);
   auto const chunk = store().chunkIs("c", 4096, false);
   place(*entity->ring, 2, {0, 0, mostAskedEntries}, chunk);
   place(*entity->ring, 2, {1, mostAskedEntries, mostAskedEntries + 1}, chunk);

   auto const map = gather(*sut);

   auto const& parts = map.entities.at(0).collections.at(0).parts;
   EXPECT_EQ(parts.at(0).spans.size(), mostAskedEntries);
   EXPECT_THAT(parts.at(1).spans, ElementsAre(Span{0, 4096}));
}

TEST_F(LookGather, keepsNothingOfTheTree)
{
   sut->mount(describeMount("a", "r"));
   auto const before = sut->entify("a")->useCount();

   auto const map = gather(*sut);

   EXPECT_EQ(sut->entify("a")->useCount(), before);
   EXPECT_EQ(map.entities.size(), 1U);
}

} // namespace
