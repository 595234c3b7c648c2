#pragma once

#include <Orvo/Change.h>
#include <Orvo/Export.h>
#include <Orvo/Subscriber.h>

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
/// publish (delivered at once), destroy the publisher, give publishers other parents, or throw. It is told to whoever
/// had subscribed when it began and still does when the turn comes: who joins or moves meanwhile, wherever in the tree,
/// does not hear of it, and it does not go up to a parent that was set meanwhile. It ends where a publisher is destroyed
/// that it started from or has reached.
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
   void parentIs(Publisher* parent) noexcept;

   Publisher* parent() const noexcept { return parent_; }

   /// Whether anybody would hear of a change: a subscriber to this publisher or to an ancestor.
   bool hasSubscribers() const noexcept { return first_ || nextAbove(anyTime); }

   /// Tells the subscribers of one change, first this publisher's in the order in which they came, then the parent's,
   /// and so on up. Returns when all have been called.
   /// @param attribute      number of the collection attribute
   /// @param attributeName  its name; borrowed by the change that is delivered, usually a literal
   /// @param key            which element was inserted, replaced or removed
   /// @throws whatever a subscriber throws; those after it are not called
   /// Cost: a few instructions per ancestor while nobody has subscribed; never allocates.
   void publishChangeRecursive(std::int16_t attribute, std::string_view attributeName, ChangeKey const& key);

   /// Lets the subscriber hear of all changes from the next on. It leaves the publisher it had before, this one
   /// included.
   void subscribe(Subscriber& subscriber) noexcept;

private:
   friend class Subscriber;

   struct Publication;
   struct Cursor;
   class Visit;

   static constexpr std::uint64_t anyTime = ~std::uint64_t{0};

   // The nearest ancestor that has subscribers, by way of parents that were set at the given time or before; or null.
   Publisher* nextAbove(std::uint64_t time) const noexcept
   {
      auto const* publisher = this;
      do {
         publisher = publisher->parentSince_ <= time ? publisher->parent_ : nullptr;
      } while (publisher && !publisher->first_);
      return const_cast<Publisher*>(publisher);
   }

   void unsubscribe(Subscriber& subscriber) noexcept;
   [[gnu::visibility("hidden")]] void
   deliver(std::int16_t attribute, std::string_view attributeName, ChangeKey const& key, Publisher& first);
   [[gnu::visibility("hidden")]] void
   deliverToOne(std::int16_t attribute, std::string_view attributeName, ChangeKey const& key, Subscriber& subscriber);
   [[gnu::visibility("hidden"), gnu::noinline]] static void
   deliverAbove(Change const& change, Publication& publication, Publisher& first);

   Node* owner_;
   Publisher* parent_ = nullptr;
   Subscriber* first_ = nullptr; // in the order of subscription
   Subscriber* last_ = nullptr;
   Cursor* cursors_ = nullptr; // publications that stand here, the innermost first
   std::uint64_t parentSince_ = 0;
};

} // namespace Orvo
