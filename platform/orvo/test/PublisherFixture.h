#pragma once

#include "TestNode.h"

#include <Orvo/Publisher.h>
#include <Orvo/Subscriber.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace Orvo::Test {

using Calls = std::vector<std::string>;

/// A publisher, and subscribers that write down who is called.
class PublisherFixture : public testing::Test {
protected:
   /// A subscriber that writes its name down and then does what it is told.
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
   Calls calls;
};

} // namespace Orvo::Test
