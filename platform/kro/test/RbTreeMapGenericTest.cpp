#include <Kro/RbTreeMapGeneric.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <numeric>
#include <random>
#include <utility>
#include <vector>

namespace Kro::Test {

namespace {

using enum RbTreeMapGeneric::Side;
using Link = RbTreeMapGeneric::Link;

struct Keyed : Link {
   explicit Keyed(int theKey) : key(theKey) {}

   int key;
};

int keyOf(Link const* link)
{
   return static_cast<Keyed const*>(link)->key;
}

/// The tree with links that have keys, each put where its key belongs.
class Tree : public testing::Test {
protected:
   static void add(RbTreeMapGeneric& tree, Keyed& link)
   {
      Link* parent = nullptr;
      auto side = smaller;
      for (auto* at = tree.root(); at != nullptr; at = at->child[side]) {
         parent = at;
         side = keyOf(at) < link.key ? greater : smaller;
      }
      tree.insert(link, parent, side);
   }

   void addAll(std::vector<int> const& keys)
   {
      for (int const key : keys) {
         add(sut, links.emplace_back(key));
      }
   }

   void remove(int key)
   {
      auto const found = std::find_if(links.begin(), links.end(), [key](Keyed const& link) { return link.key == key; });
      sut.remove(*found);
   }

   static std::vector<int> walk(RbTreeMapGeneric const& tree)
   {
      std::vector<int> keys;
      for (auto const* link = tree.first(); link != nullptr; link = tree.next(link)) {
         keys.push_back(keyOf(link));
      }
      return keys;
   }

   /// Red-black: a red link has no red child, and every way down has as many black ones.
   /// @return the number of black links on each way down
   static int blackHeight(Link const* link, Link const* parent)
   {
      if (link == nullptr) {
         return 0;
      }
      EXPECT_EQ(link->parent(), parent);
      EXPECT_TRUE(link->isBlack() || parent->isBlack());
      int const below = blackHeight(link->child[smaller], link);
      EXPECT_EQ(below, blackHeight(link->child[greater], link));
      return below + (link->isBlack() ? 1 : 0);
   }

   static void expectTree(RbTreeMapGeneric const& tree, std::vector<int> keys)
   {
      std::sort(keys.begin(), keys.end());
      ASSERT_EQ(walk(tree), keys);
      ASSERT_EQ(tree.size(), keys.size());
      ASSERT_EQ(tree.empty(), keys.empty());
      if (keys.empty()) {
         ASSERT_EQ(tree.root(), nullptr);
         ASSERT_EQ(tree.last(), nullptr);
         return;
      }
      ASSERT_EQ(keyOf(tree.last()), keys.back());
      ASSERT_TRUE(tree.root()->isBlack());
      blackHeight(tree.root(), tree.root()->parent());
   }

   static std::vector<int> upTo(int count)
   {
      std::vector<int> keys(static_cast<std::size_t>(count));
      std::iota(keys.begin(), keys.end(), 0);
      return keys;
   }

   std::deque<Keyed> links;
   RbTreeMapGeneric sut;
};

TEST_F(Tree, isEmptyAtFirst)
{
   expectTree(sut, {});
   EXPECT_EQ(sut.first(), nullptr);
}

TEST_F(Tree, staysBalancedWhateverTheOrderOfInsertionAndRemoval)
{
   auto const keys = upTo(6);
   auto insertion = keys;
   do {
      for (std::size_t shift = 0; shift < keys.size(); ++shift) {
         links.clear();
         addAll(insertion);
         ASSERT_NO_FATAL_FAILURE(expectTree(sut, keys));
         auto removal = keys;
         std::rotate(removal.begin(), removal.begin() + static_cast<std::ptrdiff_t>(shift), removal.end());
         while (!removal.empty()) {
            remove(removal.back());
            removal.pop_back();
            ASSERT_NO_FATAL_FAILURE(expectTree(sut, removal));
         }
      }
   } while (!HasFailure() && std::next_permutation(insertion.begin(), insertion.end()));
}

TEST_F(Tree, staysBalancedWhileKeysAscend)
{
   for (int key = 0; key < 300; ++key) {
      addAll({key});
      ASSERT_NO_FATAL_FAILURE(expectTree(sut, upTo(key + 1)));
   }
}

TEST_F(Tree, staysBalancedWhileKeysDescend)
{
   for (int count = 1; count <= 300; ++count) {
      addAll({300 - count});
      auto keys = upTo(300);
      keys.erase(keys.begin(), keys.end() - count);
      ASSERT_NO_FATAL_FAILURE(expectTree(sut, keys));
   }
}

TEST_F(Tree, staysBalancedThroughRandomChanges)
{
   for (unsigned const seed : {1U, 2U, 3U}) {
      SCOPED_TRACE(testing::Message() << "seed " << seed);
      std::mt19937 random(seed);
      RbTreeMapGeneric tree;
      std::deque<Keyed> all;
      for (int key = 0; key < 100; ++key) {
         all.emplace_back(key);
      }
      std::vector<int> present;
      for (int step = 0; step < 2'000; ++step) {
         auto& link = all[random() % all.size()];
         if (link.isLinked()) {
            tree.remove(link);
            std::erase(present, link.key);
         } else {
            add(tree, link);
            present.push_back(link.key);
         }
         ASSERT_EQ(link.isLinked(), std::count(present.begin(), present.end(), link.key) == 1);
         ASSERT_NO_FATAL_FAILURE(expectTree(tree, present));
      }
   }
}

TEST_F(Tree, movingTakesTheLinksOverAndLeavesAnEmptyTree)
{
   addAll(upTo(10));

   RbTreeMapGeneric const moved(std::move(sut));

   expectTree(moved, upTo(10));
   expectTree(sut, {});
   RbTreeMapGeneric const empty(std::move(sut));
   expectTree(empty, {});
   addAll({7});
   expectTree(sut, {7});
}

TEST_F(Tree, swappingExchangesTheLinksAndRaisesBothVersions)
{
   addAll(upTo(10));
   RbTreeMapGeneric other;
   Keyed link(5);
   for (auto const& keys : {std::vector<int>{}, std::vector<int>{5}}) {
      if (!keys.empty()) {
         add(other, link);
      }
      auto const version = sut.version();
      auto const otherVersion = other.version();

      sut.swap(other);
      expectTree(other, upTo(10));
      expectTree(sut, keys);
      EXPECT_GT(sut.version(), version);
      EXPECT_GT(other.version(), otherVersion);

      sut.swap(other);
      expectTree(sut, upTo(10));
      expectTree(other, keys);
   }
}

TEST_F(Tree, everyChangeRaisesTheVersion)
{
   auto last = sut.version();
   auto const isRaised = [&] { return std::exchange(last, sut.version()) < last; };

   addAll({1});
   EXPECT_TRUE(isRaised());
   remove(1);
   EXPECT_TRUE(isRaised());
   sut.noteReplaced();
   EXPECT_TRUE(isRaised());
   RbTreeMapGeneric const moved(std::move(sut));
   EXPECT_TRUE(isRaised());
}

TEST(TreeDeathTest, assertDupKeyEndsTheProcess)
{
   EXPECT_DEATH(RbTreeMapGeneric::assertDupKey(), ": assertion failed: duplicate key in an ordered map\n$");
}

TEST(TreeDeathTest, assertMemberTwiceEndsTheProcess)
{
   EXPECT_DEATH(
      RbTreeMapGeneric::assertMemberTwice(),
      ": assertion failed: element is already a member of an ordered collection\n$");
}

} // namespace

} // namespace Kro::Test
