#pragma once

#include <Kro/CharRange.h>
#include <Kro/KroType.h>

#include <Orvo/String.h>

#include <cstdint>

namespace Test {

// Value types whose text form can be read back: together they have every leaf type, values in values, a value alone and
// a value without attributes, first, in the middle and last.

struct Label {
   Orvo::String text;

   friend bool operator==(Label const&, Label const&) = default;

   static Kro::KroType const kroType;

   struct Declaration;
};

/// Its text is empty.
struct Nothing {
   static std::uint32_t instances() { return 0; }

   friend bool operator==(Nothing const&, Nothing const&) = default;

   static Kro::KroType const kroType;

   struct Declaration;
};

struct Leaves {
   bool flag = false;
   std::int16_t int16 = 0;
   std::int32_t int32 = 0;
   std::int64_t int64 = 0;
   std::uint16_t uint16 = 0;
   std::uint32_t uint32 = 0;
   std::uint64_t uint64 = 0;
   Orvo::String text;

   friend bool operator==(Leaves const&, Leaves const&) = default;

   static Kro::KroType const kroType;

   struct Declaration;
};

/// Read by a constructor of its own.
class Frame {
public:
   Frame() = default;
   explicit Frame(Kro::CharRange& range);

   Nothing before;
   Leaves leaves;
   Label label;
   Nothing between;
   Orvo::String name;

   friend bool operator==(Frame const&, Frame const&) = default;

   static Kro::KroType const kroType;

   struct Declaration;
};

struct Nest {
   Frame frame;
   std::uint32_t id = 0;
   Label label;
   Nothing after;

   friend bool operator==(Nest const&, Nest const&) = default;

   static Kro::KroType const kroType;

   struct Declaration;
};

} // namespace Test
