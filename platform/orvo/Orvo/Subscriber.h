#pragma once

#include <Orvo/Change.h>
#include <Orvo/Export.h>

#include <cstdint>
#include <functional>
#include <utility>

namespace Orvo {

class Publisher;

/// Hears of the changes of one publisher and of those below it. Derive from it, or use `CallbackSubscriber`.
///
/// Life time: leaves its publisher when it is destroyed, which may be during a call to it.
class ORVO_EXPORT Subscriber {
public:
   Subscriber() noexcept = default;
   Subscriber(Subscriber const&) = delete;
   Subscriber& operator=(Subscriber const&) = delete;
   virtual ~Subscriber();

   /// A change has happened. What it throws passes to the caller who made the change; the change stays.
   virtual void changed(Change const& change) = 0;

   /// Leaves the publisher; nothing is delivered any more. Without a publisher nothing happens.
   void unsubscribe() noexcept;

   bool isSubscribed() const noexcept { return publisher_ != nullptr; }

private:
   friend class Publisher;

   Subscriber* next_ = nullptr; // in the publisher's list
   Subscriber* previous_ = nullptr;
   Publisher* publisher_ = nullptr;
   std::uint64_t since_ = 0; // when it subscribed, in the publishers' time
};

/// Hands each change to a function. The function may destroy its own subscriber, if it uses none of its captures after.
class ORVO_EXPORT CallbackSubscriber final : public Subscriber {
public:
   explicit CallbackSubscriber(std::function<void(Change const&)> callback) : callback_(std::move(callback)) {}

   /// Subscribes at once.
   CallbackSubscriber(Publisher& publisher, std::function<void(Change const&)> callback);

   ~CallbackSubscriber() override;

   void changed(Change const& change) override;

private:
   std::function<void(Change const&)> callback_;
};

} // namespace Orvo
