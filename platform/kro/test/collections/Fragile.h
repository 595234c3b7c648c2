#pragma once

#include <stdexcept>

namespace Kro::Test {

/// A value that counts how many of its like exist, and can be copied `copiesLeft` times.
class Fragile {
public:
   static inline int copiesLeft = 0;
   static inline int live = 0;

   Fragile() { ++live; }

   Fragile(Fragile const&)
   {
      if (copiesLeft-- == 0) {
         throw std::runtime_error("no more copies");
      }
      ++live;
   }

   Fragile& operator=(Fragile const&) = default;

   ~Fragile() { --live; }
};

} // namespace Kro::Test
