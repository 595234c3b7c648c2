#pragma once

/// What the descriptions of the kinds of collections share. A test speaks of elements by small numbers; `key(number)` of
/// a kind is what its collection knows them by.
namespace Kro::Test {

constexpr int elementCount = 400; ///< numbers are 0 to elementCount - 1

/// A value that counts how many of its like exist.
class Witness {
public:
   static inline int live = 0;

   Witness(int theNumber, int theContent) : number(theNumber), content(theContent) { ++live; }

   Witness(Witness const& other) : number(other.number), content(other.content) { ++live; }

   Witness& operator=(Witness const&) = default;

   ~Witness() { --live; }

   friend bool operator==(Witness const&, Witness const&) = default;

   int number;
   int content;
};

} // namespace Kro::Test
