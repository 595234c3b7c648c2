// Subscribers that do at random what they may do during a publication. What every publication must keep to is checked at
// each call and at its end.

#include "TestNode.h"

#include <Orvo/Publisher.h>
#include <Orvo/Subscriber.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <random>
#include <stdexcept>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

using Orvo::Change;
using Orvo::Publisher;
using Orvo::Subscriber;

namespace {

struct Stop : std::runtime_error {
   Stop() : std::runtime_error("stop") {}
};

/// Three publishers, one above the other, and up to twelve subscribers.
class Churn {
public:
   explicit Churn(unsigned seed) : random_(seed)
   {
      publishers_[0].parentIs(&publishers_[1]);
      publishers_[1].parentIs(&publishers_[2]);
   }

   /// Some subscribers more, and a publication.
   void step()
   {
      for (int i = 0; i < 4; ++i) {
         join(below(seats_.size()));
      }
      publish();
   }

   int calls() const { return calls_; }

private:
   struct Actor final : Subscriber {
      Actor(Churn& churn_, std::size_t seat_) : churn(churn_), seat(seat_) {}

      void changed(Change const& change) override { churn.called(seat, change); } // may destroy this

      Churn& churn;
      std::size_t seat;
   };

   struct Seat {
      std::unique_ptr<Actor> actor;
      bool isSubscribed = false;
      std::size_t level = 0;
      int since = 0;
   };

   struct Publication {
      std::size_t level;
      int begin;
      std::vector<std::pair<std::size_t, int>> called; // level and time of subscription
   };

   void publish()
   {
      auto const level = below(publishers_.size());
      underWay_.push_back({level, ++time_, {}});
      try {
         publishers_[level].publishChangeRecursive(static_cast<std::int16_t>(underWay_.size()), "x", "k");
      } catch (Stop const&) {
         underWay_.pop_back();
         throw;
      }
      checkAllWereCalled();
      underWay_.pop_back();
   }

   std::size_t below(std::size_t limit) { return random_() % limit; }

   void join(std::size_t index)
   {
      auto& seat = seats_[index];
      if (!seat.actor) {
         seat.actor = std::make_unique<Actor>(*this, index);
      }
      seat.isSubscribed = true;
      seat.level = below(publishers_.size());
      seat.since = ++time_;
      publishers_[seat.level].subscribe(*seat.actor);
   }

   void leave(std::size_t index)
   {
      auto& seat = seats_[index];
      seat.isSubscribed = false;
      if (below(2) == 0) {
         seat.actor.reset();
      } else if (seat.actor) {
         seat.actor->unsubscribe();
      }
   }

   void called(std::size_t index, Change const& change)
   {
      ++calls_;
      auto const& seat = seats_[index];
      ASSERT_EQ(change.attribute, static_cast<int>(underWay_.size())) << "the innermost publication";
      auto& publication = underWay_.back();
      ASSERT_TRUE(seat.isSubscribed);
      ASSERT_GE(seat.level, publication.level);
      ASSERT_LT(seat.since, publication.begin) << "who joined meanwhile does not hear of it";
      std::pair const place(seat.level, seat.since);
      ASSERT_TRUE(publication.called.empty() || publication.called.back() < place) << "in order, and once";
      publication.called.push_back(place);
      act(index);
   }

   void act(std::size_t self)
   {
      switch (below(12)) {
      case 0:
         leave(self);
         break;
      case 1:
      case 2:
         leave(below(seats_.size()));
         break;
      case 3:
         join(self);
         break;
      case 4:
      case 5:
         join(below(seats_.size()));
         break;
      case 6:
         for (std::size_t i = 0; i < seats_.size(); ++i) {
            leave(i);
         }
         join(below(seats_.size()));
         break;
      case 7:
         if (underWay_.size() < 4) {
            publish();
         }
         break;
      case 8:
         if (below(4) == 0) {
            throw Stop();
         }
         break;
      default:
         break;
      }
   }

   void checkAllWereCalled() const
   {
      auto const& publication = underWay_.back();
      for (auto const& seat : seats_) {
         if (seat.isSubscribed && seat.level >= publication.level && seat.since < publication.begin) {
            ASSERT_TRUE(std::ranges::binary_search(publication.called, std::pair(seat.level, seat.since)));
         }
      }
   }

   std::minstd_rand random_;
   Orvo::Test::TestNode node_;
   std::array<Publisher, 3> publishers_{Publisher(node_), Publisher(node_), Publisher(node_)};
   std::array<Seat, 12> seats_;
   std::vector<Publication> underWay_;
   int time_ = 0;
   int calls_ = 0;
};

} // namespace

TEST(PublisherChurn, callsWhoeverWasThereAtTheBeginningAndStillIsOnceAndInOrder)
{
   int calls = 0;
   for (unsigned seed = 1; seed <= 200; ++seed) {
      Churn sut(seed);
      for (int i = 0; i < 30 && !testing::Test::HasFatalFailure(); ++i) {
         try {
            sut.step();
         } catch (Stop const&) { // the next publication shows that everything is in order
         }
      }
      ASSERT_FALSE(testing::Test::HasFatalFailure()) << "seed " << seed;
      calls += sut.calls();
   }
   EXPECT_GT(calls, 10'000);
}
