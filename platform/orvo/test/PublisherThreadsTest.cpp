#include "TestNode.h"

#include <Orvo/Publisher.h>
#include <Orvo/Subscriber.h>

#include <memory>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

using Orvo::CallbackSubscriber;
using Orvo::Change;
using Orvo::Publisher;
using Orvo::Test::TestNode;

namespace {

struct Tree {
   Tree() { leaf.parentIs(&root); }

   TestNode node;
   Publisher root{node};
   Publisher leaf{node};
};

} // namespace

TEST(PublisherThreads, haveTreesOfTheirOwn)
{
   std::vector<std::thread> threads;
   for (int i = 0; i < 4; ++i) {
      threads.emplace_back([] {
         Tree tree;
         int calls = 0;
         for (int round = 0; round < 1000; ++round) {
            std::unique_ptr<CallbackSubscriber> late;
            CallbackSubscriber const own(tree.leaf, [&](Change const&) {
               late = std::make_unique<CallbackSubscriber>(tree.root, [&](Change const&) { calls += 1000; });
            });
            CallbackSubscriber const above(tree.root, [&](Change const&) { ++calls; });
            tree.leaf.publishChangeRecursive(1, "x", "k");
         }
         EXPECT_EQ(calls, 1000);
      });
   }
   for (auto& thread : threads) {
      thread.join();
   }
}

TEST(PublisherThreads, mayTakeATreeOverFromEachOther)
{
   Tree tree;
   int calls = 0;
   std::unique_ptr<CallbackSubscriber> subscriber;

   std::thread([&] {
      subscriber = std::make_unique<CallbackSubscriber>(tree.root, [&](Change const&) { ++calls; });
   }).join();
   tree.leaf.publishChangeRecursive(1, "x", "k");
   std::thread([&] { tree.leaf.publishChangeRecursive(1, "x", "k"); }).join();

   EXPECT_EQ(calls, 2);
}
