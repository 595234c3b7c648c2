#include "TestNode.h"

#include <Orvo/Node.h>
#include <Orvo/Ptr.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include <gtest/gtest.h>

using Orvo::Node;
using Orvo::Test::TestNode;

namespace {

int classDeletes = 0;

// A class with memory of its own.
struct OwnMemory : TestNode {
   static void* operator new(std::size_t size) { return std::malloc(size); }

   static void operator delete(void* memory)
   {
      ++classDeletes;
      std::free(memory);
   }
};

// Its destructor has others take and drop references to it.
struct SharedWhileDestroyed : TestNode {
   using TestNode::TestNode;

   ~SharedWhileDestroyed() override
   {
      nodeFlagSet(flagDeleteOnLastUser, false);
      Orvo::Ptr<Node> first(this);
      Orvo::Ptr<Node> const second = first;
      first.reset();
   }
};

// Its destructor forgets to clear the flag.
struct ForgetfulDestructor : Node {
   explicit ForgetfulDestructor(int& destructions_) : destructions(destructions_) {}

   ~ForgetfulDestructor() override
   {
      ++destructions;
      Orvo::Ptr<Node> const user(this);
   }

   Kro::TypeData const& typeData() const noexcept override
   {
      static Kro::TypeData const data;
      return data;
   }

   int& destructions;
};

// Lives on, once, when its last user goes.
struct Survivor : TestNode {
   using TestNode::TestNode;

   void lastUserGone() override
   {
      if (++rescues == 1) {
         referenceTake();
      } else {
         TestNode::lastUserGone();
      }
   }

   int rescues = 0;
};

} // namespace

TEST(Node, startsWithOneReferenceAndTheFlagSet)
{
   auto* const sut = new TestNode;

   EXPECT_EQ(sut->useCount(), 1u);
   EXPECT_FALSE(sut->isBeingDestroyed());
   EXPECT_EQ(sut->publisher(), nullptr);
   sut->referenceDrop();
}

TEST(Node, isDestroyedOnceWithItsLastReference)
{
   int destructions = 0;
   Node const* const sut = new TestNode(&destructions);
   sut->referenceTake();

   sut->referenceDrop();
   EXPECT_EQ(destructions, 0);
   sut->referenceDrop();
   EXPECT_EQ(destructions, 1);
}

TEST(Node, isFreedByItsClassesOwnOperatorDelete)
{
   classDeletes = 0;
   Node const* const sut = new OwnMemory;

   sut->referenceDrop();

   EXPECT_EQ(classDeletes, 1);
}

TEST(Node, isDestroyedOnceThoughItIsSharedDuringItsDestruction)
{
   int destructions = 0;
   Node const* const sut = new SharedWhileDestroyed(&destructions);

   sut->referenceDrop();

   EXPECT_EQ(destructions, 1);
}

TEST(Node, isDestroyedOnceThoughItsDestructorForgetsTheFlag)
{
   int destructions = 0;
   Node const* const sut = new ForgetfulDestructor(destructions);

   sut->referenceDrop();

   EXPECT_EQ(destructions, 1);
}

TEST(Node, livesOnWhenLastUserGoneTakesAReference)
{
   int destructions = 0;
   auto* const sut = new Survivor(&destructions);

   sut->referenceDrop();
   EXPECT_EQ(destructions, 0);
   EXPECT_EQ(sut->useCount(), 1u);
   sut->referenceDrop();
   EXPECT_EQ(destructions, 1);
}

TEST(Node, withoutTheFlagIsNotDestroyedByItsLastReference)
{
   int destructions = 0;
   auto* const sut = new TestNode(&destructions);
   sut->nodeFlagSet(Node::flagDeleteOnLastUser, false);
   EXPECT_TRUE(sut->isBeingDestroyed());

   sut->referenceDrop();

   EXPECT_EQ(destructions, 0);
   delete sut;
   EXPECT_EQ(destructions, 1);
}

TEST(Node, keepsOtherFlagsOutOfTheDecisionToDelete)
{
   int destructions = 0;
   auto* const sut = new TestNode(&destructions);
   sut->nodeFlagSet(0x40000000, true);
   sut->nodeFlagSet(0x80000000, true);

   sut->referenceDrop();

   EXPECT_EQ(destructions, 1);
}

TEST(Node, withTheFlagSetAgainIsDestroyedByItsLastReference)
{
   int destructions = 0;
   auto* const sut = new TestNode(&destructions);
   sut->nodeFlagSet(Node::flagDeleteOnLastUser, false);
   sut->nodeFlagSet(Node::flagDeleteOnLastUser, false);
   sut->nodeFlagSet(Node::flagDeleteOnLastUser, true);
   sut->nodeFlagSet(Node::flagDeleteOnLastUser, true);
   EXPECT_FALSE(sut->isBeingDestroyed());
   EXPECT_EQ(sut->useCount(), 1u);

   sut->referenceDrop();

   EXPECT_EQ(destructions, 1);
}

TEST(Node, isDestroyedWithManyReferencesOnlyByTheLastOfThem)
{
   int destructions = 0;
   auto* const sut = new TestNode(&destructions);
   for (int i = 0; i < 100'000; ++i) {
      sut->referenceTake();
   }
   EXPECT_EQ(sut->useCount(), 100'001u);

   for (int i = 0; i < 100'000; ++i) {
      sut->referenceDrop();
   }
   EXPECT_EQ(destructions, 0);
   sut->referenceDrop();

   EXPECT_EQ(destructions, 1);
}

TEST(Node, keepsTheOrderOfItsVirtualFunctions)
{
   // The address of a virtual function, in the Itanium ABI: one plus its offset in the table.
   auto const offsetOf = [](auto member) {
      std::uintptr_t word = 0;
      std::memcpy(&word, &member, sizeof word);
      return (word - 1) / sizeof(void*);
   };

   EXPECT_EQ(offsetOf(&Node::lastUserGone), 2u) << "after the two destructors";
   EXPECT_EQ(offsetOf(&Node::publisher), 3u);
   EXPECT_EQ(offsetOf(&Node::typeData), 4u);
}
