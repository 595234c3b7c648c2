#pragma once

#include <functional>
#include <utility>

namespace Kro::Test {

/// A value that calls back when it is destroyed, unless it was moved from.
class Farewell {
public:
   Farewell() = default;

   explicit Farewell(std::function<void()> call) : call_(std::move(call)) {}

   Farewell(Farewell&& other) noexcept : call_(std::exchange(other.call_, nullptr)) {}

   Farewell& operator=(Farewell&& other) noexcept
   {
      std::swap(call_, other.call_);
      return *this;
   }

   ~Farewell()
   {
      if (call_) {
         call_();
      }
   }

private:
   std::function<void()> call_;
};

} // namespace Kro::Test
