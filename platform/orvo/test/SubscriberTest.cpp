#include "TestNode.h"

#include <Orvo/Publisher.h>
#include <Orvo/Subscriber.h>

#include <memory>
#include <stdexcept>

#include <gtest/gtest.h>

using Orvo::CallbackSubscriber;
using Orvo::Change;
using Orvo::Publisher;
using Orvo::Subscriber;
using Orvo::Test::TestNode;

namespace {

struct CountingSubscriber : Subscriber {
   void changed(Change const&) override { ++count; }

   int count = 0;
};

class SubscriberTest : public testing::Test {
protected:
   void publish() { publisher.publishChangeRecursive(5, "info", "key"); }

   TestNode node;
   Publisher publisher{node};
};

} // namespace

TEST_F(SubscriberTest, hasNoPublisherAtFirst)
{
   CountingSubscriber sut;

   publish();

   EXPECT_FALSE(sut.isSubscribed());
   EXPECT_EQ(sut.count, 0);
}

TEST_F(SubscriberTest, unsubscribingWithoutAPublisherDoesNothing)
{
   CountingSubscriber sut;

   sut.unsubscribe();

   EXPECT_FALSE(sut.isSubscribed());
   publisher.subscribe(sut);
   EXPECT_TRUE(sut.isSubscribed());
}

TEST_F(SubscriberTest, hearsFromSubscribingToUnsubscribing)
{
   CountingSubscriber sut;

   publisher.subscribe(sut);
   publish();
   publish();
   EXPECT_EQ(sut.count, 2);

   sut.unsubscribe();
   publish();
   EXPECT_EQ(sut.count, 2);
   EXPECT_FALSE(sut.isSubscribed());

   publisher.subscribe(sut);
   publish();
   EXPECT_EQ(sut.count, 3);
}

TEST_F(SubscriberTest, leavesWhenItIsDestroyed)
{
   {
      CountingSubscriber sut;
      publisher.subscribe(sut);
      EXPECT_TRUE(publisher.hasSubscribers());
   }

   EXPECT_FALSE(publisher.hasSubscribers());
   publish();
}

TEST_F(SubscriberTest, leavesWhenItIsDestroyedAsWhatItDerivesFrom)
{
   std::unique_ptr<Subscriber> sut = std::make_unique<CallbackSubscriber>(publisher, [](Change const&) {});

   sut.reset();

   EXPECT_FALSE(publisher.hasSubscribers());
}

TEST_F(SubscriberTest, callbackWithoutAPublisherHearsOnceItIsSubscribed)
{
   int calls = 0;
   CallbackSubscriber sut([&](Change const&) { ++calls; });
   publish();
   EXPECT_EQ(calls, 0);

   publisher.subscribe(sut);
   publish();

   EXPECT_EQ(calls, 1);
}

TEST_F(SubscriberTest, callbackIsHandedTheChangeItself)
{
   Change const change{&node, 7, "control", "name"};
   Change const* seen = nullptr;
   CallbackSubscriber sut([&](Change const& given) { seen = &given; });

   sut.changed(change);

   EXPECT_EQ(seen, &change);
}

TEST_F(SubscriberTest, callbackStaysSubscribedAfterItHasThrown)
{
   CallbackSubscriber const sut(publisher, [](Change const&) { throw std::runtime_error("no"); });

   EXPECT_THROW(publish(), std::runtime_error);

   EXPECT_TRUE(sut.isSubscribed());
   EXPECT_THROW(publish(), std::runtime_error);
}
