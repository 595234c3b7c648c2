#pragma once

#include "support/AllocationRecorder.h"

#include <Kro/Entity.h>
#include <Orvo/Publisher.h>
#include <Orvo/Subscriber.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace Quorvel::Core::Test {

/// Writes down the changes that a publisher publishes: "attribute(number) key"; of a key that is an entity, its name.
class ChangeRecorder final : public Orvo::Subscriber {
public:
   explicit ChangeRecorder(Orvo::Publisher& publisher) { publisher.subscribe(*this); }

   void changed(Orvo::Change const& change) override
   {
      write(change);
      if (then_) {
         then_(change);
      }
   }

   /// What is done at each change, after it has been written down.
   void thenDo(std::function<void(Orvo::Change const&)> then) { then_ = std::move(then); }

   std::vector<std::string> const& changes() const { return changes_; }

private:
   void write(Orvo::Change const& change)
   {
      AllocationRecorder::Pause const pause;
      auto const* const entity = dynamic_cast<Kro::Entity*>(change.key.entity());
      changes_.push_back(
         std::string(change.attributeName) + "(" + std::to_string(change.attribute) + ") " +
         std::string(entity != nullptr ? entity->name() : change.key.text()));
   }

   std::vector<std::string> changes_;
   std::function<void(Orvo::Change const&)> then_;
};

} // namespace Quorvel::Core::Test
