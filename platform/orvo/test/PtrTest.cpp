#include "TestNode.h"

#include <Orvo/Ptr.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <type_traits>
#include <unordered_set>
#include <utility>

#include <gtest/gtest.h>

using Orvo::Node;
using Orvo::Ptr;
using Orvo::Test::TestNode;

namespace {

// Counts its references itself and is no Node.
struct Counted {
   void referenceTake() const { ++references; }

   void referenceDrop() const { --references; }

   int mutable references = 0;
};

struct Derived : TestNode {
   using TestNode::TestNode;

   int value = 7;
};

// Its constructor throws; counts its memory.
struct Refusing : TestNode {
   explicit Refusing(int& destructions) : member(Orvo::make<TestNode>(&destructions))
   {
      throw std::runtime_error("no");
   }

   static void* operator new(std::size_t size)
   {
      ++live;
      return std::malloc(size);
   }

   static void operator delete(void* memory)
   {
      --live;
      std::free(memory);
   }

   inline static int live = 0;
   Ptr<TestNode> member;
};

constinit Ptr<TestNode> constantInitialised;

// Looks, while it is destroyed, at the pointer that kept it.
struct Onlooker : TestNode {
   explicit Onlooker(bool& sawNull_) : sawNull(sawNull_) {}

   ~Onlooker() override;

   bool& sawNull;
};

Ptr<Onlooker>* keeper = nullptr;

Onlooker::~Onlooker()
{
   sawNull = *keeper == nullptr;
}

/// Gives the pointer that kept it another object when it is destroyed.
class Successor final : public TestNode {
public:
   Successor(Ptr<TestNode>& kept, Ptr<TestNode> next, int* destructions)
      : TestNode(destructions), keeper_(kept), next_(std::move(next))
   {}

   ~Successor() override
   {
      nodeFlagSet(flagDeleteOnLastUser, false);
      keeper_ = std::move(next_);
   }

private:
   Ptr<TestNode>& keeper_;
   Ptr<TestNode> next_;
};

TEST(Ptr, moveAssignmentLosesNothingWhenTheOldObjectAssignsToItAgain)
{
   int destructions = 0;
   {
      Ptr<TestNode> sut;
      auto const last = Orvo::make<TestNode>(&destructions);
      sut = Orvo::make<Successor>(sut, last, &destructions);

      sut = Orvo::make<TestNode>(&destructions);

      EXPECT_EQ(sut, last);
      EXPECT_EQ(destructions, 2);
   }
   EXPECT_EQ(destructions, 3);
}

} // namespace

static_assert(sizeof(Ptr<Node>) == sizeof(void*));
static_assert(std::is_nothrow_move_constructible_v<Ptr<Node>>);
static_assert(!std::is_convertible_v<Ptr<Node>, Ptr<TestNode>>, "no conversion down");
static_assert(!std::is_convertible_v<Ptr<Node const>, Ptr<Node>>, "no conversion that loses const");
static_assert(!std::is_convertible_v<Ptr<Node>, bool>);
static_assert(!std::is_convertible_v<Ptr<TestNode>, Ptr<Counted>>, "no conversion to what is not related");
static_assert(std::is_convertible_v<TestNode*, Ptr<Node>> && std::is_convertible_v<std::nullptr_t, Ptr<Node>>);

TEST(Ptr, isNullByDefault)
{
   EXPECT_EQ(Ptr<Node>().get(), nullptr);
   EXPECT_FALSE(constantInitialised);
   EXPECT_EQ(Ptr<Node>(nullptr), nullptr);
   EXPECT_EQ(Ptr<Node>(static_cast<Node*>(nullptr)), nullptr);
}

TEST(Ptr, makeAdoptsTheFirstReference)
{
   int destructions = 0;
   {
      auto const sut = Orvo::make<TestNode>(&destructions);
      EXPECT_EQ(sut->useCount(), 1u);
   }
   EXPECT_EQ(destructions, 1);
}

TEST(Ptr, fromRawTakesAReference)
{
   auto const owner = Orvo::make<TestNode>();

   Ptr<TestNode> const sut(owner.get());

   EXPECT_EQ(owner->useCount(), 2u);
}

TEST(Ptr, copiesTakeAndMovesDoNot)
{
   auto first = Orvo::make<TestNode>();

   auto second = first;
   EXPECT_EQ(first->useCount(), 2u);

   auto const third = std::move(second);
   EXPECT_EQ(third->useCount(), 2u);
   EXPECT_EQ(second, nullptr);
}

TEST(Ptr, assignmentDropsWhatItHeld)
{
   int destructions = 0;
   auto sut = Orvo::make<TestNode>(&destructions);
   auto const other = Orvo::make<TestNode>();

   sut = other;
   EXPECT_EQ(destructions, 1);
   EXPECT_EQ(other->useCount(), 2u);

   sut = nullptr;
   EXPECT_EQ(other->useCount(), 1u);

   sut = other.get();
   EXPECT_EQ(other->useCount(), 2u);

   sut = Orvo::make<TestNode>(&destructions);
   EXPECT_EQ(other->useCount(), 1u);
   EXPECT_EQ(destructions, 1);
}

TEST(Ptr, assignedToItselfKeepsItsObject)
{
   int destructions = 0;
   auto sut = Orvo::make<TestNode>(&destructions);
   auto& alias = sut;

   sut = alias;
   EXPECT_EQ(sut->useCount(), 1u);
   sut = std::move(alias);
   ASSERT_NE(sut, nullptr);
   EXPECT_EQ(sut->useCount(), 1u);
   EXPECT_EQ(destructions, 0);
}

TEST(Ptr, assignmentOfAPartOfWhatItKeepsIsSafe)
{
   struct Chain : TestNode {
      using TestNode::TestNode;
      Ptr<Chain> next;
   };

   int destructions = 0;
   auto sut = Orvo::make<Chain>(&destructions);
   sut->next = Orvo::make<Chain>(&destructions);

   sut = sut->next;
   EXPECT_EQ(destructions, 1);
   EXPECT_EQ(sut->useCount(), 1u);

   sut->next = Orvo::make<Chain>(&destructions);
   sut = std::move(sut->next);
   EXPECT_EQ(destructions, 2);
   EXPECT_EQ(sut->useCount(), 1u);
}

TEST(Ptr, convertsToBaseAndToConst)
{
   auto const derived = Orvo::make<Derived>();

   Ptr<Node> base = derived;
   Ptr<Derived const> const constant = derived;
   EXPECT_EQ(derived->useCount(), 3u);
   EXPECT_EQ(base, derived);

   Ptr<Node const> const moved = std::move(base);
   EXPECT_EQ(derived->useCount(), 3u);
   EXPECT_EQ(moved, constant);
}

TEST(Ptr, isNullAlreadyWhenItsObjectIsDestroyed)
{
   bool sawNull = false;
   auto const check = [&](auto letGo) {
      sawNull = false;
      keeper = new Ptr<Onlooker>(Orvo::make<Onlooker>(sawNull));
      letGo(*keeper);
      EXPECT_TRUE(sawNull);
      operator delete(keeper);
   };

   check([](auto& sut) { std::destroy_at(&sut); });
   check([](auto& sut) { sut.reset(); });
}

TEST(Ptr, assignedAnotherShowsTheNewObjectOrNullWhileTheOldIsDestroyed)
{
   bool sawNull = false;
   auto sut = Orvo::make<Onlooker>(sawNull);
   keeper = &sut;

   sut = Ptr<Onlooker>();
   keeper = nullptr;

   EXPECT_TRUE(sawNull);
}

TEST(Ptr, releaseHandsTheReferenceOver)
{
   int destructions = 0;
   auto sut = Orvo::make<TestNode>(&destructions);

   auto* const raw = sut.release();
   EXPECT_EQ(sut, nullptr);
   EXPECT_EQ(raw->useCount(), 1u);
   EXPECT_EQ(destructions, 0);

   auto const adopted = Ptr<TestNode>::adopt(raw);
   EXPECT_EQ(raw->useCount(), 1u);
}

TEST(Ptr, swapExchangesWithoutCounting)
{
   auto const first = Orvo::make<TestNode>();
   auto const second = Orvo::make<TestNode>();
   auto left = first;
   auto right = second;

   swap(left, right);

   EXPECT_EQ(left, second);
   EXPECT_EQ(right, first);
   EXPECT_EQ(first->useCount(), 2u);
}

TEST(Ptr, comparesWithPointersOfAllKinds)
{
   auto const sut = Orvo::make<Derived>();
   Ptr<Node> const same = sut;
   auto const other = Orvo::make<Derived>();

   EXPECT_TRUE(sut == same);
   EXPECT_TRUE(sut == sut.get());
   EXPECT_TRUE(sut.get() == same);
   EXPECT_TRUE(sut != other);
   EXPECT_TRUE(sut != nullptr);
   EXPECT_TRUE(nullptr != sut);
   EXPECT_EQ(sut < other, sut.get() < other.get());
   EXPECT_EQ(sut > other.get(), sut.get() > other.get());
   EXPECT_TRUE(sut > nullptr);
}

TEST(Ptr, hashesByAddress)
{
   auto const sut = Orvo::make<TestNode>();
   std::unordered_set<Ptr<TestNode>> const set{sut, sut};

   EXPECT_EQ(set.size(), 1u);
   EXPECT_TRUE(set.contains(sut));
   EXPECT_FALSE(set.contains(Orvo::make<TestNode>()));
}

TEST(Ptr, dynamicCastKeepsOnlyObjectsOfTheType)
{
   Ptr<Node> const derived = Orvo::make<Derived>();
   Ptr<Node> const plain = Orvo::make<TestNode>();

   auto const cast = Orvo::dynamicCast<Derived>(derived);

   ASSERT_NE(cast, nullptr);
   EXPECT_EQ(cast->value, 7);
   EXPECT_EQ(derived->useCount(), 2u);
   EXPECT_EQ(Orvo::dynamicCast<Derived>(plain), nullptr);
   EXPECT_EQ(Orvo::dynamicCast<Derived>(Ptr<Node>()), nullptr);
   EXPECT_EQ(plain->useCount(), 1u);
}

TEST(Ptr, copiesMovesAndDropsOfNullDoNothing)
{
   Ptr<TestNode> sut;
   Ptr<TestNode> const copy = sut;
   Ptr<Node> const converted = sut;
   auto moved = std::move(sut);

   moved = copy;
   moved.reset();
   moved.reset();

   EXPECT_EQ(moved, nullptr);
   EXPECT_EQ(converted, nullptr);
   EXPECT_EQ(moved.release(), nullptr);
   EXPECT_EQ(Ptr<TestNode>::adopt(nullptr), nullptr);
}

TEST(Ptr, makeLeavesNothingBehindWhenTheConstructorThrows)
{
   int destroyedMembers = 0;

   EXPECT_THROW(static_cast<void>(Orvo::make<Refusing>(destroyedMembers)), std::runtime_error);

   EXPECT_EQ(Refusing::live, 0);
   EXPECT_EQ(destroyedMembers, 1);
}

TEST(Ptr, swapsWithNullAndWithItself)
{
   auto const node = Orvo::make<TestNode>();
   auto sut = node;
   Ptr<TestNode> null;

   sut.swap(sut);
   EXPECT_EQ(sut, node);
   sut.swap(null);

   EXPECT_EQ(sut, nullptr);
   EXPECT_EQ(null, node);
   EXPECT_EQ(node->useCount(), 2u);
}

TEST(Ptr, keepsObjectsThatAreNoNodes)
{
   Counted object;
   {
      Ptr<Counted> const sut(&object);
      Ptr<Counted const> const copy = sut;
      EXPECT_EQ(object.references, 2);
   }
   EXPECT_EQ(object.references, 0);
}
