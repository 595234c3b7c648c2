// What the generic interface does with collections: their sizes, walks and single elements.
#include <Kro/GenericIf.h>

#include "support/Card.h"
#include "support/MessageOf.h"

#include <Kro/Exception.h>

#include <gtest/gtest.h>

#include <array>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace Test {
namespace {

using Kro::GenericIf;

constexpr int port = 263;
constexpr int limit = 264;
constexpr int tag = 265;
constexpr int lane = 266;
constexpr int ring = 274;

class GenericIfCollectionTest : public testing::Test {
protected:
   std::size_t size(int number) const
   {
      std::size_t size = 99;
      EXPECT_EQ(sut.size(number, size), Kro::success);
      return size;
   }

   /// The keys that a walk sees; `see` is called before the next one.
   template <class Key, class See>
   std::vector<Key> walk(int number, See const& see)
   {
      std::vector<Key> keys;
      auto const note = [&](GenericIf const& key, GenericIf const& element) {
         keys.push_back(key.as<Key>());
         return see(key.as<Key>(), element);
      };
      EXPECT_EQ(sut.visit(number, note), Kro::success);
      return keys;
   }

   template <class Key>
   std::vector<Key> walk(int number)
   {
      return walk<Key>(number, [](Key const&, GenericIf const&) { return true; });
   }

   Orvo::Ptr<Card> const card = Orvo::make<FastCard>("a");
   GenericIf const sut = GenericIf::ofNode(*card);
};

TEST_F(GenericIfCollectionTest, sizeCountsTheElementsOfEveryKind)
{
   for (int const number : {port, limit, tag, lane}) {
      EXPECT_EQ(size(number), 0U);
   }
   card->portIs(Port("p"));
   card->limitIs(1, 10);
   card->limitIs(2, 20);
   card->tagIs("t");
   card->laneIs(1, 0);
   card->laneIs(2, 0);
   card->laneIs(3, 0);

   EXPECT_EQ(size(port), 1U);
   EXPECT_EQ(size(limit), 2U);
   EXPECT_EQ(size(tag), 1U);
   EXPECT_EQ(size(lane), 3U);
}

TEST_F(GenericIfCollectionTest, whatIsNoStoredCollectionGivesCodesAndChangesNothing)
{
   std::size_t size = 99;
   std::int32_t key = 1;
   auto const see = [](GenericIf const&, GenericIf const&) -> bool { throw std::logic_error("was called"); };
   auto const seeOne = [](GenericIf const&) { throw std::logic_error("was called"); };
   auto const refuses = [&](GenericIf const& object, int number, Kro::AccessResult code) {
      EXPECT_EQ(object.size(number, size), code) << number;
      EXPECT_EQ(object.visit(number, see), code) << number;
      EXPECT_EQ(object.find(number, GenericIf::of(key), seeOne), code) << number;
   };

   for (int const number : {258, 259, 260, 267, 269, 272, 273}) {
      refuses(sut, number, Kro::notAllowed);
   }
   refuses(sut, ring, Kro::notAllowed);
   refuses(Card::kroType.genericIf(), limit, Kro::notAllowed);
   refuses(sut, 131, Kro::noSuchAttribute);
   refuses(GenericIf(Kro::TypeRef{}), limit, Kro::noSuchAttribute);
   EXPECT_EQ(size, 99U);
}

TEST_F(GenericIfCollectionTest, visitShowsKeysAndElementsOfAnOrderedCollectionAscending)
{
   card->limitIs(32767, 3);
   card->limitIs(-32768, 1);
   card->limitIs(0, 2);
   std::vector<std::uint32_t> limits;

   auto const keys = walk<std::int32_t>(limit, [&](std::int32_t, GenericIf const& element) {
      limits.push_back(element.as<std::uint32_t>());
      return true;
   });

   EXPECT_EQ(keys, (std::vector<std::int32_t>{-32768, 0, 32767}));
   EXPECT_EQ(limits, (std::vector<std::uint32_t>{1, 2, 3}));
}

TEST_F(GenericIfCollectionTest, visitShowsEveryElementOfAHashCollectionOnce)
{
   std::set<std::string> wanted;
   std::set<std::string> seen;
   for (int i = 0; i < 40; ++i) {
      auto const name = Orvo::join("port ", std::to_string(i));
      card->portIs(Port(name));
      wanted.insert(name.c_str());
   }

   auto const keys = walk<Orvo::String>(port, [&](Orvo::String const& name, GenericIf const& element) {
      EXPECT_EQ(element.as<Port>().name(), name);
      seen.insert(name.c_str());
      return true;
   });

   EXPECT_EQ(seen, wanted);
   EXPECT_EQ(keys.size(), 40U);
}

TEST_F(GenericIfCollectionTest, visitShowsTheKeysOfASetAndNoElement)
{
   card->tagIs("t");
   bool isBound = true;

   auto const keys = walk<Orvo::String>(tag, [&](Orvo::String const&, GenericIf const& element) {
      isBound = element.voidPtr() != nullptr;
      return true;
   });

   EXPECT_EQ(keys, std::vector<Orvo::String>{"t"});
   EXPECT_FALSE(isBound);
}

TEST_F(GenericIfCollectionTest, visitShowsEntitiesByTheirOwnType)
{
   card->laneIs(5, 100);
   Kro::TypeRef type;
   std::uint32_t speed = 0;

   auto const keys = walk<std::int32_t>(lane, [&](std::int32_t, GenericIf const& element) {
      type = element.type();
      EXPECT_EQ(element.get("speed", GenericIf::of(speed)), Kro::success);
      return true;
   });

   EXPECT_EQ(keys, std::vector<std::int32_t>{5});
   EXPECT_EQ(type, Kro::typeRefOf<Lane>());
   EXPECT_EQ(speed, 100U);
}

TEST_F(GenericIfCollectionTest, visitEndsWhenEnoughIsSeen)
{
   card->limitIs(1, 0);
   card->limitIs(2, 0);

   auto const keys = walk<std::int32_t>(limit, [](std::int32_t, GenericIf const&) { return false; });

   EXPECT_EQ(keys, std::vector<std::int32_t>{1});
}

TEST_F(GenericIfCollectionTest, visitLetsAnExceptionPassAndTheCollectionAsItIs)
{
   card->limitIs(1, 0);
   auto const fail = [](GenericIf const&, GenericIf const&) -> bool { throw std::runtime_error("enough"); };

   EXPECT_EQ(messageOf<std::runtime_error>([&] { static_cast<void>(sut.visit(limit, fail)); }), "enough");
   EXPECT_EQ(size(limit), 1U);
}

TEST_F(GenericIfCollectionTest, visitGoesOnBehindAnElementThatIsRemovedMeanwhile)
{
   for (std::int32_t id = 1; id <= 4; ++id) {
      card->limitIs(id, 0);
   }

   auto const keys = walk<std::int32_t>(limit, [&](std::int32_t id, GenericIf const&) {
      card->limitDel(id);
      card->limitDel(id + 1);
      return true;
   });

   EXPECT_EQ(keys, (std::vector<std::int32_t>{1, 3})) << "the one behind is gone before it is reached";
   EXPECT_EQ(size(limit), 0U);
}

TEST_F(GenericIfCollectionTest, visitOfAnOrderedCollectionReachesWhatIsAddedAhead)
{
   card->limitIs(2, 0);

   auto const keys = walk<std::int32_t>(limit, [&](std::int32_t id, GenericIf const&) {
      if (id == 2) {
         card->limitIs(3, 0);
         card->limitIs(1, 0);
      }
      return true;
   });

   EXPECT_EQ(keys, (std::vector<std::int32_t>{2, 3}));
}

TEST_F(GenericIfCollectionTest, visitOfAHashCollectionSurvivesThatItIsEmptied)
{
   for (int i = 0; i < 20; ++i) {
      card->portIs(Port(Orvo::String(std::to_string(i))));
   }

   auto const keys = walk<Orvo::String>(port, [&](Orvo::String const&, GenericIf const&) {
      card->portDelAll();
      return true;
   });

   EXPECT_EQ(keys.size(), 1U);
}

TEST_F(GenericIfCollectionTest, visitOfEntitiesSurvivesThatTheOneItShowsIsRemoved)
{
   for (std::int32_t id = 1; id <= 3; ++id) {
      card->laneIs(id, 0);
   }
   auto const before = Lane::memAllocationTracker_.liveCount();

   auto const keys = walk<std::int32_t>(lane, [&](std::int32_t id, GenericIf const&) {
      card->laneDel(id);
      return true;
   });

   EXPECT_EQ(keys, (std::vector<std::int32_t>{1, 2, 3}));
   EXPECT_EQ(Lane::memAllocationTracker_.liveCount(), before - 3);
}

TEST_F(GenericIfCollectionTest, findShowsTheElementUnderAKeyAndNothingElse)
{
   card->portIs(Port("p", 4));
   card->limitIs(1, 10);
   card->tagIs("t");
   card->laneIs(1, 100);
   std::int32_t id = 1;
   Orvo::String name = "p";
   Orvo::String label = "t";
   int found = 0;
   std::uint32_t value = 0;

   EXPECT_EQ(
      sut.find(port, GenericIf::of(name), [&](GenericIf const& one) { found += one.as<Port>().lanes() == 4; }), 0);
   EXPECT_EQ(sut.find(limit, GenericIf::of(id), [&](GenericIf const& one) { value = one.as<std::uint32_t>(); }), 0);
   EXPECT_EQ(sut.find(tag, GenericIf::of(label), [&](GenericIf const& one) { found += one.voidPtr() == nullptr; }), 0);
   EXPECT_EQ(sut.find(lane, GenericIf::of(id), [&](GenericIf const& one) { found += one.as<Lane>().key() == 1; }), 0);
   EXPECT_EQ(found, 3);
   EXPECT_EQ(value, 10U);

   id = 2;
   name = "q";
   auto const see = [](GenericIf const&) { throw std::logic_error("was called"); };
   EXPECT_EQ(sut.find(port, GenericIf::of(name), see), Kro::success) << "there is none, and that is no wrong access";
   EXPECT_EQ(sut.find(limit, GenericIf::of(id), see), Kro::success);
   EXPECT_EQ(sut.find(tag, GenericIf::of(name), see), Kro::success);
   EXPECT_EQ(sut.find(lane, GenericIf::of(id), see), Kro::success);
}

TEST_F(GenericIfCollectionTest, findRefusesAKeyOfAnotherType)
{
   std::uint32_t id = 1;

   EXPECT_EQ(
      messageOf<Kro::TypeException>(
         [&] { static_cast<void>(sut.find(limit, GenericIf::of(id), [](GenericIf const&) {})); }),
      "a slot of type 'uint32' cannot be used as 'int32'");
}

TEST_F(GenericIfCollectionTest, collectionsChangeByTheOwnersMutators)
{
   Port one("p", 4);
   std::uint32_t removed = 0;
   std::int32_t id = 5;
   std::uint32_t value = 50;
   Orvo::String name = "p";

   EXPECT_EQ(sut.collectionIs(port, std::array{GenericIf::of(one)}), Kro::success);
   EXPECT_EQ(sut.collectionDel(port, std::array{GenericIf::of(name)}, GenericIf(Kro::TypeRef{})), Kro::success);
   EXPECT_EQ(sut.collectionIs(limit, std::array{GenericIf::of(id), GenericIf::of(value)}), Kro::success);
   EXPECT_EQ(sut.collectionDel(limit, std::array{GenericIf::of(id)}, GenericIf::of(removed)), Kro::success);
   EXPECT_EQ(sut.collectionIs(port, std::array{GenericIf::of(one)}), Kro::success);
   EXPECT_EQ(sut.collectionDelAll(port), Kro::success);

   EXPECT_EQ(removed, 50U);
   EXPECT_EQ(card->handled, (std::vector<Orvo::String>{"p", "p", "p"})) << "the owner's reactor was called";
}

TEST_F(GenericIfCollectionTest, collectionMutatorsWithOtherArgumentsAreNotAllowed)
{
   Orvo::String name = "p";

   EXPECT_EQ(sut.collectionIs(port, std::array{GenericIf::of(name)}), Kro::notAllowed);
   EXPECT_EQ(sut.collectionDel(tag, std::array{GenericIf::of(name)}, GenericIf(Kro::TypeRef{})), Kro::notAllowed);
   EXPECT_TRUE(card->handled.empty());
}

TEST_F(GenericIfCollectionTest, collectionDelGivesThePointerThatItRemoved)
{
   std::int32_t id = -3;
   card->laneIs(id, 10);
   Orvo::Ptr<Lane> removed;

   EXPECT_EQ(sut.collectionDel(lane, std::array{GenericIf::of(id)}, GenericIf::of(removed)), Kro::success);

   ASSERT_NE(removed, nullptr);
   EXPECT_EQ(removed->useCount(), 1U);
   EXPECT_EQ(removed->key(), -3);
}

TEST_F(GenericIfCollectionTest, mutatorsGiveTheirResults)
{
   std::int32_t id = 1;
   std::uint32_t value = 10;
   std::uint32_t removed = 0;
   std::uint64_t wrong = 77;
   card->limitIs(1, 10);

   EXPECT_THROW(
      static_cast<void>(sut.collectionDel(limit, std::array{GenericIf::of(id)}, GenericIf::of(wrong))),
      Kro::TypeException);
   EXPECT_EQ(size(limit), 1U) << "a wrong slot for the result is noticed first";
   EXPECT_EQ(wrong, 77U);
   EXPECT_THROW(
      static_cast<void>(
         sut.collectionIs(limit, std::array{GenericIf::of(id), GenericIf::of(value)}, GenericIf::of(wrong))),
      Kro::TypeException);
   EXPECT_EQ(sut.collectionDel(limit, std::array{GenericIf::of(id)}, GenericIf::of(removed)), Kro::success);
   EXPECT_EQ(removed, 10U);
   EXPECT_EQ(size(limit), 0U);
}

} // namespace
} // namespace Test
