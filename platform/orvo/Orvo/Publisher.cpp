#include <Orvo/Publisher.h>

#include <utility>

namespace Orvo {

/// Where one publication stands in the list of one publisher. Lives on the stack of the call that publishes; whoever
/// takes a subscriber out of the list, or ends the publisher, puts it right.
struct Publisher::Cursor {
   explicit Cursor(Publisher& at) noexcept : publisher(&at), outer(std::exchange(at.cursors_, this))
   {
      if (!at.subscribers_.empty()) {
         next = &at.subscribers_.front();
         last = &at.subscribers_.back();
      }
   }

   Cursor(Cursor const&) = delete;
   Cursor& operator=(Cursor const&) = delete;

   ~Cursor()
   {
      if (publisher) {
         publisher->cursors_ = outer;
      }
   }

   /// Calls those who had subscribed when the cursor was made and still do.
   void deliver(Change const& change)
   {
      auto* subscriber = next;
      while (subscriber) {
         auto* following = after(*subscriber); // before the call, which may destroy the subscriber
         next = following;
         subscriber->changed(change);
         // Mostly the next one is as before the call; waiting for it to come back from memory would cost more.
         if (isDisturbed) [[unlikely]] {
            isDisturbed = false;
            following = next;
         }
         subscriber = following;
      }
   }

   Subscriber* after(Subscriber& subscriber) const noexcept
   {
      return &subscriber == last ? nullptr : &*++publisher->subscribers_.iterator_to(subscriber);
   }

   /// The subscriber is about to leave the list.
   void leave(Subscriber& subscriber) noexcept
   {
      if (!next) {
         return;
      }
      if (next == &subscriber) {
         isDisturbed = true;
         next = after(subscriber);
      } else if (last == &subscriber) {
         last = &*--publisher->subscribers_.iterator_to(subscriber);
      }
   }

   /// The publisher is about to go: nobody is called any more, at an ancestor neither.
   void end() noexcept
   {
      publisher = nullptr;
      stop();
      if (above) {
         above->stop();
      }
   }

   void stop() noexcept
   {
      next = nullptr;
      isDisturbed = true;
   }

   Publisher* publisher; // null when it was destroyed
   Cursor* outer;
   Subscriber* next = nullptr; // null when all were called
   Subscriber* last = nullptr; // whoever comes after has joined during the publication
   bool isDisturbed = false;   // `next` was changed by somebody else
   Cursor* above = nullptr;    // of the same publication, at an ancestor
};

Publisher::~Publisher()
{
   for (auto* cursor = cursors_; cursor; cursor = cursor->outer) {
      cursor->end();
   }
   subscribers_.clear_and_dispose([](Subscriber* subscriber) { subscriber->publisher_ = nullptr; });
}

void Publisher::subscribe(Subscriber& subscriber) noexcept
{
   subscriber.unsubscribe();
   subscriber.publisher_ = this;
   subscribers_.push_back(subscriber);
}

void Publisher::unsubscribe(Subscriber& subscriber) noexcept
{
   for (auto* cursor = cursors_; cursor; cursor = cursor->outer) {
      cursor->leave(subscriber);
   }
   subscribers_.erase(subscribers_.iterator_to(subscriber));
   subscriber.publisher_ = nullptr;
}

void Publisher::publishChangeRecursive(std::int16_t attribute, std::string_view attributeName, ChangeKey const& key)
{
   auto* publisher = this;
   while (publisher->subscribers_.empty()) {
      publisher = publisher->parent_;
      if (!publisher) {
         return;
      }
   }
   deliver(attribute, attributeName, key, publisher);
}

void Publisher::deliver(std::int16_t attribute, std::string_view attributeName, ChangeKey const& key, Publisher* first)
{
   Change const change{owner_, attribute, attributeName, key};
   Cursor origin(*this); // tells when the changed node itself has gone, while ancestors are served
   origin.deliver(change);
   auto* publisher = first;
   if (publisher == this) {
      publisher = origin.publisher ? parent_ : nullptr;
   }
   while (publisher) {
      Cursor cursor(*publisher);
      origin.above = &cursor;
      cursor.deliver(change);
      if (!cursor.publisher || !origin.publisher) {
         return;
      }
      publisher = publisher->parent_;
   }
}

} // namespace Orvo
