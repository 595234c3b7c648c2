#pragma once

#include <Orvo/Change.h>
#include <Orvo/Export.h>
#include <Orvo/Subscriber.h>

#include <boost/intrusive/list.hpp>

#include <cstdint>
#include <string_view>

namespace Orvo {

class Node;

/// Tells subscribers that an element of one of a node's collections has changed.
///
/// A node owns its publisher and gives it its parent, so that subscribers to an ancestor hear of the changes below it.
///
/// Ownership:   subscribers belong to their makers. Whichever of publisher and subscriber goes first leaves the other.
/// Threads:     none: the caller serialises everything about a tree of publishers.
/// During a publication a subscriber may do everything: leave, join, destroy itself or other subscribers, change and
/// publish (delivered at once), destroy the publisher, or throw. Who joins does not hear of the publication under way.
class ORVO_EXPORT Publisher {
public:
   /// @param owner  the node whose changes are published; borrowed
   explicit Publisher(Node& owner) noexcept : owner_(&owner) {}

   Publisher(Publisher const&) = delete;
   Publisher& operator=(Publisher const&) = delete;

   /// Takes leave of all subscribers. Children must have got another parent before.
   ~Publisher();

   /// Sets the publisher of the node above, or null; borrowed, must outlive this or be replaced. Must not be a
   /// descendant.
   void parentIs(Publisher* parent) noexcept { parent_ = parent; }

   Publisher* parent() const noexcept { return parent_; }

   /// Whether anybody would hear of a change: a subscriber to this publisher or to an ancestor.
   bool hasSubscribers() const noexcept
   {
      auto const* publisher = this;
      while (publisher && publisher->subscribers_.empty()) {
         publisher = publisher->parent_;
      }
      return publisher != nullptr;
   }

   /// Tells the subscribers of one change, first this publisher's in the order in which they came, then the parent's,
   /// and so on up. Returns when all have been called.
   /// @param attribute      number of the collection attribute
   /// @param attributeName  its name; borrowed by the change that is delivered, usually a literal
   /// @param key            which element was inserted, replaced or removed
   /// @throws whatever a subscriber throws; those after it are not called
   /// Cost: a few instructions per ancestor while nobody has subscribed.
   void publishChangeRecursive(std::int16_t attribute, std::string_view attributeName, ChangeKey const& key);

   /// Lets the subscriber hear of all changes from the next on. It leaves the publisher it had before, this one
   /// included.
   void subscribe(Subscriber& subscriber) noexcept;

private:
   friend class Subscriber;

   struct Cursor;

   using Subscribers = boost::intrusive::list<
      Subscriber, boost::intrusive::member_hook<Subscriber, Subscriber::Hook, &Subscriber::hook_>,
      boost::intrusive::constant_time_size<false>>;

   void unsubscribe(Subscriber& subscriber) noexcept;
   void deliver(std::int16_t attribute, std::string_view attributeName, ChangeKey const& key, Publisher* first);

   Node* owner_;
   Publisher* parent_ = nullptr;
   Subscribers subscribers_;
   Cursor* cursors_ = nullptr; // publications that stand here, the innermost first
};

} // namespace Orvo
