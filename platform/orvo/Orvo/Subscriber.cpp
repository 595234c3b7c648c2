#include <Orvo/Subscriber.h>

#include <Orvo/Publisher.h>

namespace Orvo {

Subscriber::~Subscriber()
{
   unsubscribe();
}

void Subscriber::unsubscribe() noexcept
{
   if (publisher_) {
      publisher_->unsubscribe(*this);
   }
}

CallbackSubscriber::CallbackSubscriber(Publisher& publisher, std::function<void(Change const&)> callback)
   : callback_(std::move(callback))
{
   publisher.subscribe(*this);
}

CallbackSubscriber::~CallbackSubscriber() = default;

void CallbackSubscriber::changed(Change const& change)
{
   callback_(change);
}

} // namespace Orvo
