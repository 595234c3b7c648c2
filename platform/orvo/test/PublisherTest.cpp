#include "PublisherFixture.h"

#include <Orvo/Publisher.h>

#include <memory>
#include <optional>
#include <type_traits>

#include <gtest/gtest.h>

using Orvo::CallbackSubscriber;
using Orvo::Change;
using Orvo::ChangeKey;
using Orvo::Publisher;
using Orvo::Test::Calls;
using Orvo::Test::TestNode;

namespace {

class PublisherTest : public Orvo::Test::PublisherFixture {};

} // namespace

static_assert(!std::is_copy_constructible_v<Publisher> && !std::is_copy_assignable_v<Publisher>);

TEST_F(PublisherTest, withoutSubscribersTellsNobody)
{
   EXPECT_FALSE(sut.hasSubscribers());

   publish();

   EXPECT_EQ(calls, Calls{});
}

TEST_F(PublisherTest, tellsWhatChangedByTextKey)
{
   std::optional<Change> seen;
   CallbackSubscriber const subscriber(sut, [&](Change const& change) { seen = change; });

   sut.publishChangeRecursive(-3, "info", Orvo::String("/a/zumem/a name of more than fifteen characters"));

   ASSERT_TRUE(seen);
   EXPECT_EQ(seen->entity, &node);
   EXPECT_EQ(seen->attribute, -3);
   EXPECT_EQ(seen->attributeName, "info");
   EXPECT_EQ(seen->key.text(), "/a/zumem/a name of more than fifteen characters");
   EXPECT_EQ(seen->key.entity(), nullptr);
}

TEST_F(PublisherTest, tellsWhatChangedByEntityKey)
{
   TestNode key;
   std::optional<Change> seen;
   CallbackSubscriber const subscriber(sut, [&](Change const& change) { seen = change; });

   sut.publishChangeRecursive(258, "chunk", &key);

   ASSERT_TRUE(seen);
   EXPECT_EQ(seen->key.entity(), &key);
   EXPECT_TRUE(seen->key.text().empty());
   EXPECT_EQ(seen->key, ChangeKey(&key));
   EXPECT_NE(seen->key, ChangeKey("chunk"));
}

TEST_F(PublisherTest, callsInTheOrderOfSubscription)
{
   auto const a = subscriber(sut, "a");
   auto const b = subscriber(sut, "b");
   auto const c = subscriber(sut, "c");

   publish();
   publish();

   EXPECT_EQ(calls, (Calls{"a", "b", "c", "a", "b", "c"}));
}

TEST_F(PublisherTest, callsTheSubscribersOfAncestorsAfterItsOwn)
{
   Publisher grandparent(node);
   Publisher parent(node);
   parent.parentIs(&grandparent);
   sut.parentIs(&parent);
   auto const top = subscriber(grandparent, "grandparent");
   auto const middle = subscriber(parent, "parent");
   auto const own = subscriber(sut, "own");

   publish();
   EXPECT_EQ(calls, (Calls{"own", "parent", "grandparent"}));

   calls.clear();
   parent.publishChangeRecursive(1, "x", "k");
   EXPECT_EQ(calls, (Calls{"parent", "grandparent"}));
}

TEST_F(PublisherTest, tellsAncestorsTheNodeThatChanged)
{
   TestNode above;
   Publisher parent(above);
   sut.parentIs(&parent);
   Orvo::Node* seen = nullptr;
   CallbackSubscriber const subscriber(parent, [&](Change const& change) { seen = change.entity; });

   publish();

   EXPECT_EQ(seen, &node);
}

TEST_F(PublisherTest, hasSubscribersWhenAnAncestorHasOne)
{
   Publisher grandparent(node);
   Publisher parent(node);
   parent.parentIs(&grandparent);
   sut.parentIs(&parent);
   EXPECT_FALSE(sut.hasSubscribers());

   auto top = subscriber(grandparent, "grandparent");
   EXPECT_TRUE(sut.hasSubscribers());
   top.reset();
   EXPECT_FALSE(sut.hasSubscribers());

   auto const own = subscriber(sut, "own");
   EXPECT_TRUE(sut.hasSubscribers());
   EXPECT_FALSE(parent.hasSubscribers());
}

TEST_F(PublisherTest, followsANewParent)
{
   Publisher first(node);
   Publisher second(node);
   auto const atFirst = subscriber(first, "first");
   auto const atSecond = subscriber(second, "second");
   sut.parentIs(&first);
   sut.parentIs(&second);

   publish();
   sut.parentIs(nullptr);
   publish();

   EXPECT_EQ(calls, (Calls{"second"}));
}

TEST_F(PublisherTest, callsNobodyWhoLeft)
{
   auto const a = subscriber(sut, "a");
   auto b = subscriber(sut, "b");
   a->unsubscribe();
   a->unsubscribe();
   EXPECT_FALSE(a->isSubscribed());

   publish();
   b.reset();
   publish();

   EXPECT_EQ(calls, (Calls{"b"}));
   EXPECT_FALSE(sut.hasSubscribers());
}

TEST_F(PublisherTest, movesASubscriberThatSubscribesAgainToTheEndOrToAnotherPublisher)
{
   Publisher other(node);
   auto const a = subscriber(sut, "a");
   auto const b = subscriber(sut, "b");

   sut.subscribe(*a);
   publish();
   EXPECT_EQ(calls, (Calls{"b", "a"}));

   calls.clear();
   other.subscribe(*b);
   publish();
   EXPECT_EQ(calls, (Calls{"a"}));
   EXPECT_TRUE(other.hasSubscribers());
}

TEST_F(PublisherTest, lettingGoOfSubscribersWhenItEndsLeavesThemUsable)
{
   auto other = std::make_unique<Publisher>(node);
   auto const a = subscriber(*other, "a");
   auto const b = subscriber(*other, "b");

   other.reset();

   EXPECT_FALSE(a->isSubscribed());
   EXPECT_FALSE(b->isSubscribed());
   sut.subscribe(*a);
   publish();
   EXPECT_EQ(calls, (Calls{"a"}));
}

TEST_F(PublisherTest, keepsTheOrderOfTheRestWhoeverLeaves)
{
   Calls const names{"a", "b", "c", "d"};
   for (unsigned leaving = 0; leaving < 16; ++leaving) {
      std::vector<std::unique_ptr<CallbackSubscriber>> all;
      for (auto const& name : names) {
         all.push_back(subscriber(sut, name));
      }
      Calls expected;
      for (unsigned i = 0; i < 4; ++i) {
         if ((leaving >> i & 1) != 0) {
            all[i]->unsubscribe();
         } else {
            expected.push_back(names[i]);
         }
      }
      auto const last = subscriber(sut, "last");
      expected.push_back("last");

      calls.clear();
      publish();

      EXPECT_EQ(calls, expected) << leaving;
   }
}

TEST_F(PublisherTest, leavesOutAncestorsWithoutSubscribers)
{
   Publisher top(node);
   Publisher middle(node);
   middle.parentIs(&top);
   sut.parentIs(&middle);
   auto const first = subscriber(top, "first");
   publish();
   EXPECT_EQ(calls, (Calls{"first"}));

   calls.clear();
   auto const second = subscriber(top, "second");
   publish();
   EXPECT_EQ(calls, (Calls{"first", "second"}));

   calls.clear();
   auto const own = subscriber(sut, "own");
   publish();
   EXPECT_EQ(calls, (Calls{"own", "first", "second"}));
}
