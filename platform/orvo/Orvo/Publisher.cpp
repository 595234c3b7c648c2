#include <Orvo/Publisher.h>

#include <Orvo/ThreadControl.h>

#include <atomic>

namespace Orvo {

namespace {

// The time by which a publication knows what was there when it began: advances with every subscription and every new
// parent. One for the process, since a subscriber may move between trees and a tree between threads.
constinit std::uint64_t treeTime = 0;

std::uint64_t currentTime() noexcept
{
   return std::atomic_ref(treeTime).load(std::memory_order_relaxed);
}

std::uint64_t nextTime() noexcept
{
   if (ThreadControl::threadsInUse()) {
      return std::atomic_ref(treeTime).fetch_add(1, std::memory_order_relaxed) + 1;
   }
   return ++treeTime;
}

} // namespace

/// What happened to one publication while a subscriber was called. Lives on the stack of the call that publishes.
struct Publisher::Publication {
   std::uint64_t begin = currentTime();
   bool isDisturbed = false; // somebody has joined or left where it stands, or it is over
   bool isOver = false;      // a publisher is gone that it started from or stands at
};

/// Where a publication stands in the list of one publisher. Lives on the stack like it; whoever takes a subscriber out
/// of the list, or ends the publisher, puts it right.
struct Publisher::Cursor {
   /// The subscriber is about to leave the list.
   void leave(Subscriber& subscriber) noexcept
   {
      if (next == &subscriber) {
         next = subscriber.next_;
      }
      publication->isDisturbed = true;
   }

   /// The publisher is about to go.
   void end() noexcept
   {
      isPublisherGone = true;
      publication->isDisturbed = true;
      publication->isOver = true;
   }

   Publication* publication;
   Cursor* outer;              // of the publication during which this one began
   Subscriber* next = nullptr; // null when all were called
   bool isPublisherGone = false;
};

/// Makes a cursor known to its publisher for as long as this lives. Nobody else sees this object, so that the compiler
/// keeps it in registers: a cursor's own members would have to come back from memory, from one publication to the next.
class Publisher::Visit {
public:
   Visit(Publisher& publisher, Cursor& cursor) noexcept : publisher_(publisher), cursor_(cursor), outer_(cursor.outer)
   {
      publisher.cursors_ = &cursor;
   }

   Visit(Visit const&) = delete;
   Visit& operator=(Visit const&) = delete;

   ~Visit()
   {
      if (!cursor_.isPublisherGone) {
         publisher_.cursors_ = outer_;
      }
   }

   /// Calls all subscribers, none of whom has come since the publication began; from the first change among them on like
   /// `deliverToOlder`.
   /// @return whether the publication goes on
   bool deliverToAll(Change const& change, Publication& publication)
   {
      // Whoever comes or goes says so in the publication: to read the next subscriber back from the cursor each time, or
      // the time of each subscription, would cost more than the flag does.
      publication.isDisturbed = false;
      auto* subscriber = publisher_.first_;
      while (subscriber) {
         auto* const following = subscriber->next_; // before the call, which may destroy the subscriber
         cursor_.next = following;
         subscriber->changed(change);
         if (publication.isDisturbed) [[unlikely]] {
            return !publication.isOver && deliverToOlder(change, publication, cursor_.next);
         }
         subscriber = following;
      }
      return true;
   }

   /// Calls those, from the given one on, who had subscribed when the publication began and still do.
   /// @return whether the publication goes on
   bool deliverToOlder(Change const& change, Publication const& publication, Subscriber* subscriber)
   {
      while (subscriber && subscriber->since_ <= publication.begin) {
         cursor_.next = subscriber->next_;
         subscriber->changed(change);
         if (publication.isOver) {
            return false;
         }
         subscriber = cursor_.next;
      }
      return true;
   }

private:
   Publisher& publisher_;
   Cursor& cursor_;
   Cursor* const outer_;
};

Publisher::~Publisher()
{
   for (auto* cursor = cursors_; cursor; cursor = cursor->outer) {
      cursor->end();
   }
   for (auto* subscriber = first_; subscriber; subscriber = subscriber->next_) {
      subscriber->publisher_ = nullptr;
   }
}

void Publisher::parentIs(Publisher* parent) noexcept
{
   parent_ = parent;
   parentSince_ = nextTime();
}

void Publisher::subscribe(Subscriber& subscriber) noexcept
{
   subscriber.unsubscribe();
   subscriber.publisher_ = this;
   subscriber.since_ = nextTime();
   subscriber.previous_ = last_;
   subscriber.next_ = nullptr;
   (last_ ? last_->next_ : first_) = &subscriber;
   last_ = &subscriber;
   for (auto* cursor = cursors_; cursor; cursor = cursor->outer) {
      cursor->publication->isDisturbed = true;
   }
}

void Publisher::unsubscribe(Subscriber& subscriber) noexcept
{
   for (auto* cursor = cursors_; cursor; cursor = cursor->outer) {
      cursor->leave(subscriber);
   }
   (subscriber.previous_ ? subscriber.previous_->next_ : first_) = subscriber.next_;
   (subscriber.next_ ? subscriber.next_->previous_ : last_) = subscriber.previous_;
   subscriber.publisher_ = nullptr;
}

void Publisher::publishChangeRecursive(std::int16_t attribute, std::string_view attributeName, ChangeKey const& key)
{
   auto* const first = first_ ? this : nextAbove(anyTime);
   if (!first) {
      return;
   }
   if (first->first_ == first->last_ && !first->nextAbove(anyTime)) {
      deliverToOne(attribute, attributeName, key, *first->first_);
      return;
   }
   deliver(attribute, attributeName, key, *first);
}

// Nothing is touched after the call, so it does not matter what the subscriber does.
void Publisher::deliverToOne(
   std::int16_t attribute, std::string_view attributeName, ChangeKey const& key, Subscriber& subscriber)
{
   Change const change{owner_, attribute, attributeName, key};
   subscriber.changed(change);
}

void Publisher::deliver(std::int16_t attribute, std::string_view attributeName, ChangeKey const& key, Publisher& first)
{
   Change const change{owner_, attribute, attributeName, key};
   Publication publication;
   Cursor origin{&publication, cursors_}; // tells when the changed node itself has gone, while ancestors are served
   Visit visit(*this, origin);
   auto* above = &first;
   if (above == this) {
      if (!visit.deliverToAll(change, publication)) {
         return;
      }
      above = nextAbove(publication.begin);
   }
   if (above) {
      deliverAbove(change, publication, *above);
   }
}

void Publisher::deliverAbove(Change const& change, Publication& publication, Publisher& first)
{
   for (auto* publisher = &first; publisher; publisher = publisher->nextAbove(publication.begin)) {
      Cursor cursor{&publication, publisher->cursors_};
      Visit visit(*publisher, cursor);
      bool const isAnyNew = publisher->last_->since_ > publication.begin;
      bool const goesOn = isAnyNew ? visit.deliverToOlder(change, publication, publisher->first_)
                                   : visit.deliverToAll(change, publication);
      if (!goesOn) {
         return;
      }
   }
}

} // namespace Orvo
