// What becomes of a publication when publishers end or get other parents during it, and when a subscriber throws.

#include "PublisherFixture.h"

#include <Orvo/Publisher.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

using Orvo::CallbackSubscriber;
using Orvo::Change;
using Orvo::ChangeKey;
using Orvo::Publisher;
using Orvo::Test::Calls;

namespace {

class PublisherInterrupted : public Orvo::Test::PublisherFixture {};

} // namespace

TEST_F(PublisherInterrupted, exceptionPassesToThePublishingCallerAndLeavesEverythingUsable)
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

TEST_F(PublisherInterrupted, endsThePublicationWhenThePublisherIsDestroyed)
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

TEST_F(PublisherInterrupted, endsThePublicationWhenAnAncestorDestroysThePublisher)
{
   Publisher parent(node);
   auto publisher = std::make_unique<Publisher>(node);
   publisher->parentIs(&parent);
   auto const first = subscriber(parent, "first", [&] { publisher.reset(); });
   auto const second = subscriber(parent, "second");

   publisher->publishChangeRecursive(1, "x", "k");

   EXPECT_EQ(calls, (Calls{"first"}));
}

TEST_F(PublisherInterrupted, endsThePublicationAtADestroyedAncestor)
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

TEST_F(PublisherInterrupted, doesNotGoUpToAParentThatWasSetMeanwhile)
{
   Publisher parent(node);
   auto const above = subscriber(parent, "above");
   auto const a = subscriber(sut, "a", [&] { sut.parentIs(&parent); });

   publish();
   EXPECT_EQ(calls, (Calls{"a"})) << "of one subscriber";

   calls.clear();
   sut.parentIs(nullptr);
   auto const b = subscriber(sut, "b");
   publish();
   EXPECT_EQ(calls, (Calls{"a", "b"})) << "of two";

   calls.clear();
   publish();
   EXPECT_EQ(calls, (Calls{"a", "b"})) << "set again";
}

TEST_F(PublisherInterrupted, doesNotGoUpToAGrandparentThatWasSetMeanwhile)
{
   Publisher top(node);
   Publisher middle(node);
   sut.parentIs(&middle);
   auto const above = subscriber(top, "above");
   auto const atMiddle = subscriber(middle, "middle");
   auto const a = subscriber(sut, "a", [&] { middle.parentIs(&top); });

   publish();

   EXPECT_EQ(calls, (Calls{"a", "middle"}));
}

TEST_F(PublisherInterrupted, endsBelowAParentThatWasTakenAway)
{
   Publisher parent(node);
   sut.parentIs(&parent);
   auto const above = subscriber(parent, "above");
   auto const a = subscriber(sut, "a", [&] { sut.parentIs(nullptr); });
   auto const b = subscriber(sut, "b");

   publish();

   EXPECT_EQ(calls, (Calls{"a", "b"}));
}

TEST_F(PublisherInterrupted, subscriberMayDestroyAPublisherBesideIt)
{
   Publisher parent(node);
   sut.parentIs(&parent);
   auto beside = std::make_unique<Publisher>(node);
   beside->parentIs(&parent);
   auto const atBeside = subscriber(*beside, "beside");
   auto const a = subscriber(sut, "a", [&] { beside.reset(); });
   auto const b = subscriber(sut, "b");
   auto const above = subscriber(parent, "above");

   publish();

   EXPECT_EQ(calls, (Calls{"a", "b", "above"}));
   EXPECT_FALSE(atBeside->isSubscribed());
}

TEST_F(PublisherInterrupted, onlySubscriberMayDestroyThePublisher)
{
   auto publisher = std::make_unique<Publisher>(node);
   auto const a = subscriber(*publisher, "a", [&] { publisher.reset(); });

   publisher->publishChangeRecursive(1, "x", "k");

   EXPECT_EQ(calls, (Calls{"a"}));
   EXPECT_FALSE(a->isSubscribed());
}

TEST_F(PublisherInterrupted, nestedPublicationThatDestroysThePublisherEndsTheOuterOnesToo)
{
   Publisher parent(node);
   auto publisher = std::make_unique<Publisher>(node);
   publisher->parentIs(&parent);
   int depth = 0;
   auto const a = subscriber(*publisher, "a", [&] {
      if (depth++ == 0) {
         publisher->publishChangeRecursive(2, "y", "k");
      } else {
         publisher.reset();
      }
   });
   auto const b = subscriber(*publisher, "b");
   auto const above = subscriber(parent, "above");

   publisher->publishChangeRecursive(1, "x", "k");

   EXPECT_EQ(calls, (Calls{"a", "a"}));
}

TEST_F(PublisherInterrupted, destroyingThePublisherFarUpLeavesThePublicationsOfOthersThereGoingOn)
{
   Publisher top(node);
   auto publisher = std::make_unique<Publisher>(node);
   publisher->parentIs(&top);
   sut.parentIs(&top);
   auto const first = subscriber(top, "first", [&] {
      if (calls.size() == 1) {
         publisher->publishChangeRecursive(1, "x", "k");
      } else {
         publisher.reset();
      }
   });
   auto const second = subscriber(top, "second");

   publish();

   EXPECT_EQ(calls, (Calls{"first", "first", "second"})) << "the second one of sut's publication alone";
}

TEST_F(PublisherInterrupted, keyOutlivesItsOwner)
{
   std::string const name = "a name of more than fifteen characters";
   auto key = std::make_unique<ChangeKey>(Orvo::String(name));
   std::vector<std::string> seen;
   auto const look = [&](Change const& change) {
      key.reset();
      seen.emplace_back(change.key.text());
   };
   CallbackSubscriber const a(sut, look);
   sut.publishChangeRecursive(1, "x", *key);
   EXPECT_EQ(seen, (std::vector<std::string>{name}));

   CallbackSubscriber const b(sut, look);
   key = std::make_unique<ChangeKey>(Orvo::String(name));
   sut.publishChangeRecursive(1, "x", *key);
   EXPECT_EQ(seen, (std::vector<std::string>{name, name, name}));
}

TEST_F(PublisherInterrupted, exceptionOfTheOnlySubscriberPassesToThePublishingCaller)
{
   auto const a = subscriber(sut, "a", [] { throw std::runtime_error("from a"); });

   EXPECT_THROW(publish(), std::runtime_error);
   EXPECT_THROW(publish(), std::runtime_error);

   EXPECT_EQ(calls, (Calls{"a", "a"}));
}

TEST_F(PublisherInterrupted, exceptionOfAnAncestorsSubscriberKeepsThoseAboveFromHearing)
{
   Publisher top(node);
   Publisher middle(node);
   middle.parentIs(&top);
   sut.parentIs(&middle);
   bool isThrowing = true;
   auto const own = subscriber(sut, "own");
   auto const atMiddle = subscriber(middle, "middle", [&] {
      if (isThrowing) {
         throw std::runtime_error("from the middle");
      }
   });
   auto const above = subscriber(top, "above");

   EXPECT_THROW(publish(), std::runtime_error);
   EXPECT_EQ(calls, (Calls{"own", "middle"}));

   calls.clear();
   isThrowing = false;
   publish();
   EXPECT_EQ(calls, (Calls{"own", "middle", "above"}));
}

TEST_F(PublisherInterrupted, exceptionOfANestedPublicationThatIsCaughtLeavesTheOuterOneGoingOn)
{
   int depth = 0;
   auto const a = subscriber(sut, "a", [&] {
      if (depth++ == 0) {
         EXPECT_THROW(publish(), std::runtime_error);
      }
   });
   std::unique_ptr<CallbackSubscriber> c;
   auto const b = subscriber(sut, "b", [&] {
      if (c) {
         c.reset();
         throw std::runtime_error("from b");
      }
   });
   c = subscriber(sut, "c");
   auto const d = subscriber(sut, "d");

   publish();

   EXPECT_EQ(calls, (Calls{"a", "a", "b", "b", "d"}));
}

TEST_F(PublisherInterrupted, subscriberMayDestroyThePublisherAndThrow)
{
   auto publisher = std::make_unique<Publisher>(node);
   auto const a = subscriber(*publisher, "a", [&] {
      publisher.reset();
      throw std::runtime_error("from a");
   });
   auto const b = subscriber(*publisher, "b");

   EXPECT_THROW(publisher->publishChangeRecursive(1, "x", "k"), std::runtime_error);

   EXPECT_EQ(calls, (Calls{"a"}));
   EXPECT_FALSE(b->isSubscribed());
}

TEST_F(PublisherInterrupted, endsBelowHigherAncestorsWhenOneDestroysThePublisher)
{
   Publisher top(node);
   Publisher middle(node);
   middle.parentIs(&top);
   auto publisher = std::make_unique<Publisher>(node);
   publisher->parentIs(&middle);
   auto const atMiddle = subscriber(middle, "middle", [&] { publisher.reset(); });
   auto const above = subscriber(top, "above");

   publisher->publishChangeRecursive(1, "x", "k");

   EXPECT_EQ(calls, (Calls{"middle"}));
}

TEST_F(PublisherInterrupted, endsWhenThePublisherIsDestroyedAfterOthersHaveComeAndGone)
{
   auto publisher = std::make_unique<Publisher>(node);
   std::unique_ptr<CallbackSubscriber> late;
   auto const a = subscriber(*publisher, "a", [&] { late = subscriber(*publisher, "late"); });
   auto const b = subscriber(*publisher, "b", [&] { publisher.reset(); });
   auto const c = subscriber(*publisher, "c");

   publisher->publishChangeRecursive(1, "x", "k");

   EXPECT_EQ(calls, (Calls{"a", "b"}));
   EXPECT_FALSE(c->isSubscribed());
}

TEST_F(PublisherInterrupted, endsAtAnAncestorThatOthersHaveJoinedWhenThePublisherIsDestroyed)
{
   Publisher parent(node);
   auto publisher = std::make_unique<Publisher>(node);
   publisher->parentIs(&parent);
   std::unique_ptr<CallbackSubscriber> late;
   auto const own = subscriber(*publisher, "own", [&] { late = subscriber(parent, "late"); });
   auto const above = subscriber(parent, "above", [&] { publisher.reset(); });
   auto const second = subscriber(parent, "second");

   publisher->publishChangeRecursive(1, "x", "k");

   EXPECT_EQ(calls, (Calls{"own", "above"}));
}
