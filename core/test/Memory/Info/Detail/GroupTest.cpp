#include <Quorvel/Core/Memory/Info/Detail/Group.h>

#include <KroOrvo/Impl.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

namespace {

using Quorvel::Core::Memory::Info::Detail::Chunk;
using Quorvel::Core::Memory::Info::Detail::Group;
using testing::ElementsAre;

template <class T>
constexpr bool takesChunks = requires(T& group)
{
   group.chunkIs(Chunk());
};

template <class T>
constexpr bool givesUpChunks = requires(T& group)
{
   group.chunkDel("a");
};

template <class T>
constexpr bool givesUpAllChunks = requires(T& group)
{
   group.chunkDelAll();
};

template <class T>
constexpr bool takesByNumber = requires(T& group)
{
   group.chunkInternalIs(1, Chunk());
};

template <class T>
constexpr bool givesUpByNumber = requires(T& group)
{
   group.chunkInternalDel(1);
};

template <class T>
constexpr bool givesUpAtAPlace = requires(T& group)
{
   group.chunkInternalDel(group.chunkInternal().begin());
};

template <class T>
constexpr bool givesUpAllByNumber = requires(T& group)
{
   group.chunkInternalDelAll();
};

static_assert(takesChunks<Group> && givesUpChunks<Group> && givesUpAllChunks<Group> && takesByNumber<Group>);
static_assert(givesUpByNumber<Group> && givesUpAtAPlace<Group> && givesUpAllByNumber<Group>);
static_assert(!takesChunks<Group const> && !givesUpChunks<Group const> && !givesUpAllChunks<Group const>);
static_assert(!takesByNumber<Group const> && !givesUpByNumber<Group const> && !givesUpAtAPlace<Group const>);
static_assert(!givesUpAllByNumber<Group const>);
static_assert(std::is_same_v<Group::Chunks::tag, Group::HN_Chunk>);

Chunk chunkOf(std::string const& nameAttribute, std::string const& name = "block")
{
   Chunk chunk;
   chunk.nameAttributeIs(nameAttribute);
   chunk.nameIs(name);
   chunk.sizeIs(64);
   return chunk;
}

Group groupOf(int chunks)
{
   Group group(1, 2, 3);
   for (int i = 0; i < chunks; ++i) {
      group.chunkIs(chunkOf("field " + std::to_string(i)));
   }
   return group;
}

std::vector<int> internalKeysOf(Group const& group)
{
   std::vector<int> keys;
   for (auto at = group.chunkInternal().begin(); at != group.chunkInternal().end(); ++at) {
      keys.push_back(at.key());
   }
   return keys;
}

TEST(InfoGroup, takesIdHeadAndSizeInThisOrderAndHasNoChunks)
{
   Group const sut(1, 2, 4294967295U);

   EXPECT_EQ(sut.id(), 1U);
   EXPECT_EQ(sut.head(), 2U);
   EXPECT_EQ(sut.size(), 4294967295U);
   EXPECT_TRUE(sut.chunk().empty());
   EXPECT_TRUE(sut.chunkInternal().empty());
}

TEST(InfoGroup, isTrueAsSoonAsItDiffersFromTheDefault)
{
   Group chunk(0, 0, 0);
   chunk.chunkIs(Chunk());
   Group chunkInternal(0, 0, 0);
   chunkInternal.chunkInternalIs(0, Chunk());

   EXPECT_FALSE(static_cast<bool>(Group(0, 0, 0)));
   EXPECT_TRUE(static_cast<bool>(Group(1, 0, 0)));
   EXPECT_TRUE(static_cast<bool>(Group(0, 1, 0)));
   EXPECT_TRUE(static_cast<bool>(Group(0, 0, 1)));
   EXPECT_TRUE(static_cast<bool>(chunk));
   EXPECT_TRUE(static_cast<bool>(chunkInternal));
}

TEST(InfoGroup, chunkIsInsertsUnderTheNameAttribute)
{
   Group sut(0, 0, 0);

   sut.chunkIs(chunkOf("a"));
   sut.chunkIs(chunkOf("b"));

   EXPECT_EQ(sut.chunk().size(), 2U);
   EXPECT_EQ(sut.chunk("a"), chunkOf("a"));
   EXPECT_EQ(sut.chunk("b"), chunkOf("b"));
}

TEST(InfoGroup, chunkIsReplacesTheChunkOfTheSameNameAttribute)
{
   Group sut(0, 0, 0);
   sut.chunkIs(chunkOf("a", "first"));
   auto second = chunkOf("a", "second");
   second.sizeIs(1);
   second.isIncapableDmaIs(true);

   sut.chunkIs(second);

   EXPECT_EQ(sut.chunk().size(), 1U);
   EXPECT_EQ(sut.chunk("a"), second);
}

TEST(InfoGroup, unknownChunksAreDefaultOnes)
{
   Group const sut(0, 0, 0);

   EXPECT_EQ(sut.chunk("a"), Chunk());
   EXPECT_EQ(sut.chunkInternal(1), Chunk());
}

TEST(InfoGroup, chunkDelRemovesAndGivesBack)
{
   auto sut = groupOf(2);

   EXPECT_EQ(sut.chunkDel("field 0"), chunkOf("field 0"));

   EXPECT_EQ(sut.chunk().size(), 1U);
   EXPECT_EQ(sut.chunk("field 0"), Chunk());
}

TEST(InfoGroup, chunkDelOfAnUnknownNameAttributeChangesNothing)
{
   auto sut = groupOf(1);

   EXPECT_EQ(sut.chunkDel("a"), Chunk());

   EXPECT_EQ(sut, groupOf(1));
}

TEST(InfoGroup, emptyCollectionsTakeEveryDeletion)
{
   Group sut(1, 2, 3);

   EXPECT_EQ(sut.chunkDel(""), Chunk());
   sut.chunkDelAll();
   EXPECT_EQ(sut.chunkInternalDel(0), Chunk());
   sut.chunkInternalDelAll();

   EXPECT_EQ(sut, Group(1, 2, 3));
}

TEST(InfoGroup, chunksThatItGivesAreCopies)
{
   auto sut = groupOf(1);
   sut.chunkInternalIs(1, chunkOf("field 0"));
   auto const before = sut;

   auto byName = sut.chunk("field 0");
   auto byNumber = sut.chunkInternal(1);
   byName.nameIs("other");
   byNumber.nameIs("other");

   EXPECT_EQ(sut, before);
}

TEST(InfoGroup, chunkIsAndChunkDelTakeWhatTheGroupItselfHolds)
{
   auto sut = groupOf(1);

   sut.chunkIs(*sut.chunk().begin());
   sut.chunkInternalIs(1, *sut.chunk().begin());
   sut.chunkInternalIs(1, *sut.chunkInternal().begin());
   sut.chunkDel(sut.chunk().begin().key());

   EXPECT_TRUE(sut.chunk().empty());
   EXPECT_EQ(sut.chunkInternal(1), chunkOf("field 0"));
}

TEST(InfoGroup, chunkInternalIsInsertsOrReplacesUnderTheNumber)
{
   Group sut(0, 0, 0);

   sut.chunkInternalIs(7, chunkOf("a", "first"));
   sut.chunkInternalIs(-3, chunkOf("a", "second"));
   sut.chunkInternalIs(0, chunkOf("b"));
   sut.chunkInternalIs(7, chunkOf("c", "third"));

   EXPECT_THAT(internalKeysOf(sut), ElementsAre(-3, 0, 7));
   EXPECT_EQ(sut.chunkInternal(7), chunkOf("c", "third"));
   EXPECT_EQ(sut.chunkInternal(-3), chunkOf("a", "second"));
}

TEST(InfoGroup, chunkInternalDelRemovesByNumber)
{
   Group sut(0, 0, 0);
   sut.chunkInternalIs(1, chunkOf("a"));
   sut.chunkInternalIs(2, chunkOf("b"));

   EXPECT_EQ(sut.chunkInternalDel(1), chunkOf("a"));
   EXPECT_EQ(sut.chunkInternalDel(1), Chunk());

   EXPECT_THAT(internalKeysOf(sut), ElementsAre(2));
}

TEST(InfoGroup, chunkInternalDelAtAnIteratorGivesTheNext)
{
   Group sut(0, 0, 0);
   for (int number : {1, 2, 3}) {
      sut.chunkInternalIs(number, chunkOf("a"));
   }

   auto const next = sut.chunkInternalDel(++sut.chunkInternal().begin());

   EXPECT_EQ(next.key(), 3);
   EXPECT_THAT(internalKeysOf(sut), ElementsAre(1, 3));
}

TEST(InfoGroup, mutatorsOfTheOneCollectionNeverTouchTheOther)
{
   Group sut(0, 0, 0);
   sut.chunkIs(chunkOf("a"));
   sut.chunkInternalIs(1, chunkOf("b"));

   sut.chunkIs(chunkOf("b", "other"));
   sut.chunkInternalIs(1, chunkOf("a", "other"));
   EXPECT_EQ(sut.chunk("a"), chunkOf("a"));
   EXPECT_EQ(sut.chunkInternal(1), chunkOf("a", "other"));

   auto copy = sut;
   copy.chunkDelAll();
   EXPECT_TRUE(copy.chunk().empty());
   EXPECT_EQ(copy.chunkInternal().size(), 1U);

   sut.chunkInternalDelAll();
   EXPECT_TRUE(sut.chunkInternal().empty());
   EXPECT_EQ(sut.chunk().size(), 2U);
}

TEST(InfoGroup, equalsWhatWasBuiltBySameCallsHoweverMany)
{
   for (int const chunks : {0, 1, 10, 1000}) {
      auto sut = groupOf(chunks);
      auto other = groupOf(chunks);
      sut.chunkDel("field 5");
      other.chunkDel("field 5");

      EXPECT_EQ(sut, other) << chunks;
      EXPECT_TRUE(Group::isEq(&sut, &other)) << chunks;
   }
}

TEST(InfoGroup, equalsWhatWalksInTheSameOrderHoweverItWasBuilt)
{
   auto const namesOf = [](Group const& group) {
      std::vector<std::string> names;
      for (auto const& chunk : group.chunk()) {
         names.emplace_back(chunk.nameAttribute());
      }
      return names;
   };
   auto const sut = groupOf(100);
   Group backwards(1, 2, 3);
   for (int i = 100; i-- > 0;) {
      backwards.chunkIs(chunkOf("field " + std::to_string(i)));
   }

   EXPECT_EQ(sut == backwards, namesOf(sut) == namesOf(backwards));
}

TEST(InfoGroup, equalsItsCopyAlsoAfterDeletions)
{
   for (int const chunks : {0, 1, 10, 1000}) {
      auto sut = groupOf(chunks);
      for (int i = 0; i < chunks; i += 3) {
         sut.chunkDel("field " + std::to_string(i));
      }

      auto const copy = sut;
      Group assigned(9, 9, 9);
      assigned = sut;

      EXPECT_EQ(copy, sut) << chunks;
      EXPECT_EQ(assigned, sut) << chunks;
   }
}

TEST(InfoGroup, differsWhenOneAttributeDiffers)
{
   auto const sut = groupOf(2);
   auto chunk = sut;
   chunk.chunkIs(chunkOf("field 0", "other"));
   auto fewer = sut;
   fewer.chunkDel("field 0");
   auto chunkInternal = sut;
   chunkInternal.chunkInternalIs(1, chunkOf("field 0"));
   auto otherKey = sut;
   otherKey.chunkInternalIs(2, chunkOf("field 0"));

   EXPECT_NE(Group(1, 2, 3), Group(0, 2, 3));
   EXPECT_NE(Group(1, 2, 3), Group(1, 0, 3));
   EXPECT_NE(Group(1, 2, 3), Group(1, 2, 0));
   EXPECT_NE(sut, chunk);
   EXPECT_NE(sut, fewer);
   EXPECT_NE(sut, chunkInternal);
   EXPECT_NE(chunkInternal, otherKey);
   EXPECT_FALSE(Group::isEq(&sut, &chunk));
}

TEST(InfoGroup, copyIsDeep)
{
   auto sut = groupOf(1);
   sut.chunkInternalIs(1, chunkOf("field 0"));
   auto const before = sut;

   auto copy = sut;
   copy.chunkIs(chunkOf("field 0", "other"));
   copy.chunkInternalIs(1, chunkOf("other"));
   copy.chunkInternalIs(2, chunkOf("field 0"));

   EXPECT_EQ(sut, before);
}

TEST(InfoGroup, nodesOfTheInternalCollectionAreTracked)
{
   auto const& tracker = Group::KroChunkInternal::memAllocationTracker_;
   auto const before = tracker.liveCount();
   {
      Group sut(0, 0, 0);
      sut.chunkInternalIs(1, chunkOf("a"));
      sut.chunkInternalIs(1, chunkOf("b"));
      EXPECT_EQ(tracker.liveCount(), before + 1);
      auto const copy = sut;
      EXPECT_EQ(tracker.liveCount(), before + 2);
   }
   EXPECT_EQ(tracker.liveCount(), before);
}

TEST(InfoGroup, writesItsCollectionsAndThenItsNumbers)
{
   Group sut(1, 2, 3);
   Chunk chunk;
   chunk.nameAttributeIs("a");
   sut.chunkIs(chunk);
   sut.chunkInternalIs(-7, Chunk());
   std::ostringstream stream;

   stream << sut;

   EXPECT_EQ(
      stream.str(),
      "Quorvel::Core::Memory::Info::Detail::Group(chunk={\"a\"=Quorvel::Core::Memory::Info::Detail::Chunk("
      "nameAttribute=\"a\", name=\"\", size=0, isIncapableDma=false)}, chunkInternal={-7=Quorvel::Core::"
      "Memory::Info::Detail::Chunk(nameAttribute=\"\", name=\"\", size=0, isIncapableDma=false)}, id=1, "
      "head=2, size=3)");
   EXPECT_EQ(stream.str(), KroOrvo::Impl::valueToStrep(Group::kroType, &sut));
}

} // namespace
