#include "TestNode.h"

#include <Orvo/Publisher.h>

#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

using Orvo::CallbackSubscriber;
using Orvo::Change;
using Orvo::ChangeKey;
using Orvo::Publisher;
using Orvo::Test::TestNode;

namespace {

class PublisherTest : public testing::Test {
protected:
   // A subscriber that writes its name down and then does what it is told.
   std::unique_ptr<CallbackSubscriber> subscriber(
      Publisher& publisher, std::string name, std::function<void()> action = [] {})
   {
      return std::make_unique<CallbackSubscriber>(publisher, [this, name = std::move(name), action](Change const&) {
         // What the action destroys may be this function.
         auto const doNow = action;
         calls.push_back(name);
         doNow();
      });
   }

   void publish() { sut.publishChangeRecursive(258, "chunk", "key"); }

   TestNode node;
   Publisher sut{node};
   std::vector<std::string> calls;
};

using Calls = std::vector<std::string>;

} // namespace

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

// During a publication -----------------------------------------------------------------------------------------------

TEST_F(PublisherTest, subscriberMayDestroyItself)
{
   std::unique_ptr<CallbackSubscriber> b;
   auto const a = subscriber(sut, "a");
   b = subscriber(sut, "b", [&] { b.reset(); });
   auto const c = subscriber(sut, "c");

   publish();
   publish();

   EXPECT_EQ(calls, (Calls{"a", "b", "c", "a", "c"}));
}

TEST_F(PublisherTest, onlySubscriberMayDestroyItself)
{
   std::unique_ptr<CallbackSubscriber> a;
   a = subscriber(sut, "a", [&] { a.reset(); });

   publish();
   publish();

   EXPECT_EQ(calls, (Calls{"a"}));
}

TEST_F(PublisherTest, subscriberMayDestroyTheNextOne)
{
   std::unique_ptr<CallbackSubscriber> b;
   auto const a = subscriber(sut, "a", [&] { b.reset(); });
   b = subscriber(sut, "b");
   auto const c = subscriber(sut, "c");

   publish();

   EXPECT_EQ(calls, (Calls{"a", "c"}));
}

TEST_F(PublisherTest, subscriberMayDestroyTheOneBefore)
{
   auto a = subscriber(sut, "a");
   auto const b = subscriber(sut, "b", [&] { a.reset(); });
   auto const c = subscriber(sut, "c");

   publish();

   EXPECT_EQ(calls, (Calls{"a", "b", "c"}));
}

TEST_F(PublisherTest, subscriberMayDestroyAllOthersAndItself)
{
   std::vector<std::unique_ptr<CallbackSubscriber>> all;
   all.push_back(subscriber(sut, "a"));
   all.push_back(subscriber(sut, "b", [&] { all.clear(); }));
   all.push_back(subscriber(sut, "c"));
   all.push_back(subscriber(sut, "d"));

   publish();

   EXPECT_EQ(calls, (Calls{"a", "b"}));
   EXPECT_FALSE(sut.hasSubscribers());
}

TEST_F(PublisherTest, whoJoinsDoesNotHearOfThePublicationUnderWay)
{
   std::unique_ptr<CallbackSubscriber> late;
   auto const a = subscriber(sut, "a", [&] {
      if (!late) {
         late = subscriber(sut, "late");
      }
   });
   auto const b = subscriber(sut, "b");

   publish();
   EXPECT_EQ(calls, (Calls{"a", "b"}));
   publish();
   EXPECT_EQ(calls, (Calls{"a", "b", "a", "b", "late"}));
}

TEST_F(PublisherTest, whoLeavesAndJoinsAgainIsNotCalledTwice)
{
   std::unique_ptr<CallbackSubscriber> a;
   a = subscriber(sut, "a", [&] { sut.subscribe(*a); });
   auto const b = subscriber(sut, "b");

   publish();
   EXPECT_EQ(calls, (Calls{"a", "b"}));
   publish();
   EXPECT_EQ(calls, (Calls{"a", "b", "b", "a"}));
}

TEST_F(PublisherTest, whoJoinsInPlaceOfTheRestDoesNotHearOfIt)
{
   std::vector<std::unique_ptr<CallbackSubscriber>> rest;
   auto const a = subscriber(sut, "a", [&] {
      rest.clear();
      rest.push_back(subscriber(sut, "new"));
   });
   rest.push_back(subscriber(sut, "b"));

   publish();

   EXPECT_EQ(calls, (Calls{"a"}));
}

TEST_F(PublisherTest, nestedPublicationsAreDeliveredAtOnce)
{
   int depth = 0;
   auto const a = subscriber(sut, "a", [&] {
      if (depth++ == 0) {
         publish();
      }
   });
   auto const b = subscriber(sut, "b");

   publish();

   EXPECT_EQ(calls, (Calls{"a", "a", "b", "b"}));
}

TEST_F(PublisherTest, subscriberDestroyedInANestedPublicationIsNotCalledByTheOuterOne)
{
   int depth = 0;
   std::unique_ptr<CallbackSubscriber> b;
   auto const a = subscriber(sut, "a", [&] {
      if (depth++ == 0) {
         publish();
      }
   });
   b = subscriber(sut, "b", [&] { b.reset(); });
   auto const c = subscriber(sut, "c");

   publish();

   EXPECT_EQ(calls, (Calls{"a", "a", "b", "c", "c"}));
}

TEST_F(PublisherTest, subscriberToAnAncestorMayDestroyTheOthersThere)
{
   Publisher parent(node);
   sut.parentIs(&parent);
   std::unique_ptr<CallbackSubscriber> second;
   auto const own = subscriber(sut, "own", [&] { second.reset(); });
   auto const first = subscriber(parent, "first");
   second = subscriber(parent, "second");

   publish();

   EXPECT_EQ(calls, (Calls{"own", "first"}));
}

TEST_F(PublisherTest, exceptionPassesToThePublishingCallerAndLeavesEverythingUsable)
{
   bool isThrowing = true;
   auto const a = subscriber(sut, "a");
   auto b = subscriber(sut, "b", [&] {
      if (isThrowing) {
         throw std::runtime_error("from b");
      }
   });
   auto const c = subscriber(sut, "c");

   EXPECT_THROW(publish(), std::runtime_error);
   EXPECT_EQ(calls, (Calls{"a", "b"}));

   calls.clear();
   isThrowing = false;
   publish();
   EXPECT_EQ(calls, (Calls{"a", "b", "c"}));
   b.reset();
   publish();
   EXPECT_EQ(calls, (Calls{"a", "b", "c", "a", "c"}));
}

TEST_F(PublisherTest, endsThePublicationWhenThePublisherIsDestroyed)
{
   Publisher parent(node);
   auto publisher = std::make_unique<Publisher>(node);
   publisher->parentIs(&parent);
   auto const a = subscriber(*publisher, "a", [&] { publisher.reset(); });
   auto const b = subscriber(*publisher, "b");
   auto const above = subscriber(parent, "above");

   publisher->publishChangeRecursive(1, "x", "k");

   EXPECT_EQ(calls, (Calls{"a"}));
   EXPECT_FALSE(b->isSubscribed());
}

TEST_F(PublisherTest, endsThePublicationWhenAnAncestorDestroysThePublisher)
{
   Publisher parent(node);
   auto publisher = std::make_unique<Publisher>(node);
   publisher->parentIs(&parent);
   auto const first = subscriber(parent, "first", [&] { publisher.reset(); });
   auto const second = subscriber(parent, "second");

   publisher->publishChangeRecursive(1, "x", "k");

   EXPECT_EQ(calls, (Calls{"first"}));
}

TEST_F(PublisherTest, endsThePublicationAtADestroyedAncestor)
{
   Publisher grandparent(node);
   auto parent = std::make_unique<Publisher>(node);
   parent->parentIs(&grandparent);
   sut.parentIs(parent.get());
   auto const middle = subscriber(*parent, "middle", [&] {
      sut.parentIs(nullptr);
      parent.reset();
   });
   auto const top = subscriber(grandparent, "top");

   publish();

   EXPECT_EQ(calls, (Calls{"middle"}));
}
