// Subscribers that come and go during a publication, and publications during others.

#include "PublisherFixture.h"

#include <Orvo/Publisher.h>

#include <memory>
#include <vector>

#include <gtest/gtest.h>

using Orvo::CallbackSubscriber;
using Orvo::Publisher;
using Orvo::Test::Calls;

namespace {

class PublisherReentry : public Orvo::Test::PublisherFixture {};

} // namespace

TEST_F(PublisherReentry, subscriberMayDestroyItself)
{
   std::unique_ptr<CallbackSubscriber> b;
   auto const a = subscriber(sut, "a");
   b = subscriber(sut, "b", [&] { b.reset(); });
   auto const c = subscriber(sut, "c");

   publish();
   publish();

   EXPECT_EQ(calls, (Calls{"a", "b", "c", "a", "c"}));
}

TEST_F(PublisherReentry, onlySubscriberMayDestroyItself)
{
   std::unique_ptr<CallbackSubscriber> a;
   a = subscriber(sut, "a", [&] { a.reset(); });

   publish();
   publish();

   EXPECT_EQ(calls, (Calls{"a"}));
}

TEST_F(PublisherReentry, subscriberMayDestroyTheNextOne)
{
   std::unique_ptr<CallbackSubscriber> b;
   auto const a = subscriber(sut, "a", [&] { b.reset(); });
   b = subscriber(sut, "b");
   auto const c = subscriber(sut, "c");

   publish();

   EXPECT_EQ(calls, (Calls{"a", "c"}));
}

TEST_F(PublisherReentry, subscriberMayDestroyTheOneBefore)
{
   auto a = subscriber(sut, "a");
   auto const b = subscriber(sut, "b", [&] { a.reset(); });
   auto const c = subscriber(sut, "c");

   publish();

   EXPECT_EQ(calls, (Calls{"a", "b", "c"}));
}

TEST_F(PublisherReentry, subscriberMayDestroyAllOthersAndItself)
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

TEST_F(PublisherReentry, whoJoinsDoesNotHearOfThePublicationUnderWay)
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

TEST_F(PublisherReentry, whoLeavesAndJoinsAgainIsNotCalledTwice)
{
   std::unique_ptr<CallbackSubscriber> a;
   a = subscriber(sut, "a", [&] { sut.subscribe(*a); });
   auto const b = subscriber(sut, "b");

   publish();
   EXPECT_EQ(calls, (Calls{"a", "b"}));
   publish();
   EXPECT_EQ(calls, (Calls{"a", "b", "b", "a"}));
}

TEST_F(PublisherReentry, whoJoinsInPlaceOfTheRestDoesNotHearOfIt)
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

TEST_F(PublisherReentry, nestedPublicationsAreDeliveredAtOnce)
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

TEST_F(PublisherReentry, subscriberDestroyedInANestedPublicationIsNotCalledByTheOuterOne)
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

TEST_F(PublisherReentry, subscriberToAnAncestorMayDestroyTheOthersThere)
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

TEST_F(PublisherReentry, subscriberDestroyedInANestedPublicationWhileTheOuterOneCallsIt)
{
   int depth = 0;
   std::unique_ptr<CallbackSubscriber> a;
   a = subscriber(sut, "a", [&] {
      if (depth++ == 0) {
         publish();
      } else {
         a.reset();
      }
   });
   auto const b = subscriber(sut, "b");

   publish();

   EXPECT_EQ(calls, (Calls{"a", "a", "b", "b"}));
}

TEST_F(PublisherReentry, onlySubscriberMayPublishAgain)
{
   int depth = 0;
   auto const a = subscriber(sut, "a", [&] {
      if (depth++ < 2) {
         publish();
      }
   });

   publish();

   EXPECT_EQ(calls, (Calls{"a", "a", "a"}));
}

TEST_F(PublisherReentry, whoJoinsTheOnlySubscriberDoesNotHearOfIt)
{
   std::unique_ptr<CallbackSubscriber> late;
   auto const a = subscriber(sut, "a", [&] { late = subscriber(sut, "late"); });

   publish();

   EXPECT_EQ(calls, (Calls{"a"}));
   EXPECT_TRUE(late->isSubscribed());
}

TEST_F(PublisherReentry, whoJoinsAnAncestorDoesNotHearOfThePublicationUnderWay)
{
   Publisher top(node);
   Publisher middle(node);
   middle.parentIs(&top);
   sut.parentIs(&middle);
   std::vector<std::unique_ptr<CallbackSubscriber>> late;
   auto const a = subscriber(sut, "a", [&] {
      late.push_back(subscriber(middle, "late"));
      late.push_back(subscriber(top, "late"));
   });
   auto const above = subscriber(top, "above");

   publish();
   EXPECT_EQ(calls, (Calls{"a", "above"}));

   calls.clear();
   publish();
   EXPECT_EQ(calls, (Calls{"a", "late", "above", "late"}));
}

TEST_F(PublisherReentry, whoMovesUpDuringItIsNotCalledThere)
{
   Publisher parent(node);
   sut.parentIs(&parent);
   std::unique_ptr<CallbackSubscriber> b;
   std::unique_ptr<CallbackSubscriber> a;
   a = subscriber(sut, "a", [&] {
      if (calls.size() == 1) {
         parent.subscribe(*a);
         parent.subscribe(*b);
      }
   });
   b = subscriber(sut, "b");
   auto const c = subscriber(sut, "c");
   auto const above = subscriber(parent, "above");

   publish();
   EXPECT_EQ(calls, (Calls{"a", "c", "above"}));

   calls.clear();
   publish();
   EXPECT_EQ(calls, (Calls{"c", "above", "a", "b"}));
}

TEST_F(PublisherReentry, lastSubscriberMayLeaveAndAnotherJoinInItsPlace)
{
   std::unique_ptr<CallbackSubscriber> late;
   std::unique_ptr<CallbackSubscriber> b;
   auto const a = subscriber(sut, "a");
   b = subscriber(sut, "b", [&] {
      late = subscriber(sut, "late");
      b.reset();
   });

   publish();
   EXPECT_EQ(calls, (Calls{"a", "b"}));

   calls.clear();
   publish();
   EXPECT_EQ(calls, (Calls{"a", "late"}));
}
