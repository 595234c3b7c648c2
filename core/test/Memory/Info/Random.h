#pragma once

#include <cstddef>
#include <random>
#include <string>
#include <vector>

namespace Quorvel::Core::Test {

/// The same choices in every run and with every standard library, for one seed.
class Random {
public:
   explicit Random(unsigned seed) : engine_(seed) {}

   /// @return 0 up to but not including `bound`
   unsigned below(unsigned bound) { return static_cast<unsigned>(engine_() % bound); }

   /// Once in `times` calls, on average.
   bool once(unsigned times) { return below(times) == 0; }

   template <class T>
   T among(std::vector<T> const& all)
   {
      return all[below(static_cast<unsigned>(all.size()))];
   }

private:
   std::mt19937 engine_;
};

/// Texts that meet each other often: short and long ones, the empty one, and such as look like parts of a message.
inline std::vector<std::string> const oddTexts{
   "", "a", "b", "a name that is too long to be kept in place", "' does not exist for group with id=", "a\"b\\c\n\xff"};

} // namespace Quorvel::Core::Test
