#include "TestNode.h"

#include <Orvo/Ptr.h>
#include <Orvo/String.h>

#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

using Orvo::Node;
using Orvo::Ptr;
using Orvo::String;
using Orvo::Test::TestNode;

namespace {

constexpr int threadCount = 4;
constexpr int rounds = 20'000;

// Made before any thread: plain counting, which the threads take over.
int destructions = 0;
Ptr<Node> sharedSinceStart = Orvo::make<TestNode>(&destructions);

template <class Function>
void runThreads(Function function)
{
   std::vector<std::thread> threads;
   for (int i = 0; i < threadCount; ++i) {
      threads.emplace_back(function);
   }
   for (auto& thread : threads) {
      thread.join();
   }
}

} // namespace

TEST(UseCountThreads, copiesAndDropsLeaveAnExactCount)
{
   runThreads([] {
      for (int i = 0; i < rounds; ++i) {
         Ptr<Node> const copy = sharedSinceStart;
         Ptr<Node const> const second = copy;
      }
   });

   EXPECT_EQ(sharedSinceStart->useCount(), 1u);
   EXPECT_EQ(destructions, 0);
   sharedSinceStart.reset();
   EXPECT_EQ(destructions, 1);
}

TEST(UseCountThreads, nodeIsDestroyedOnceByWhicheverThreadDropsLast)
{
   for (int i = 0; i < 200; ++i) {
      int destroyed = 0;
      auto node = Orvo::make<TestNode>(&destroyed);
      std::vector<std::thread> threads;
      for (int k = 0; k < threadCount; ++k) {
         threads.emplace_back([copy = node]() mutable { copy.reset(); });
      }
      node.reset();
      for (auto& thread : threads) {
         thread.join();
      }
      ASSERT_EQ(destroyed, 1);
   }
}

TEST(UseCountThreads, flagsAndCountsDoNotDisturbEachOther)
{
   auto const node = Orvo::make<TestNode>();

   runThreads([&] {
      for (int i = 0; i < rounds; ++i) {
         Ptr<Node> const copy = node;
         node->nodeFlagSet(0x40000000, i % 2 == 0);
      }
   });

   EXPECT_EQ(node->useCount(), 1u);
   EXPECT_FALSE(node->isBeingDestroyed());
}

TEST(StringThreads, shareLongTexts)
{
   std::string const characters = "a text of more than fifteen characters";
   String const text(characters);

   runThreads([&] {
      for (int i = 0; i < rounds; ++i) {
         String const copy = text;
         ASSERT_EQ(copy.data(), text.data());
         String const other = Orvo::join(copy, static_cast<unsigned>(i));
         ASSERT_GT(other.size(), copy.size());
      }
   });

   EXPECT_EQ(text, characters);
}
