#pragma once

#include <Kro/KroType.h>

#include <Orvo/String.h>

#include <cstdint>
#include <utility>

namespace Test {

/// A value type with private members: writable, read-only, constant and not compared.
class Port {
public:
   Port() = default;

   explicit Port(Orvo::String name, std::uint32_t lanes = 0, bool isOpen = false)
      : name_(std::move(name)), lanes_(lanes), isOpen_(isOpen)
   {}

   Orvo::String const& name() const noexcept { return name_; }

   std::uint32_t lanes() const noexcept { return lanes_; }

   void noteIs(Orvo::String note) { note_ = std::move(note); }

   std::uint64_t hash() const noexcept { return name_.hash() + lanes_; }

   friend bool operator==(Port const& a, Port const& b);

   static Kro::KroType const kroType;

private:
   struct Declaration;

   Orvo::String name_;
   std::uint32_t lanes_ = 0;
   bool isOpen_ = false;
   Orvo::String note_;
};

/// Numbers of both signs, too far apart for a table that is indexed by number.
struct Wide {
   std::int16_t lowest = 0;
   std::int32_t minus = 0;
   std::int64_t zero = 0;
   std::uint16_t two = 0;
   std::uint64_t highest = 0;

   static Kro::KroType const kroType;

   struct Declaration;
};

/// An entry in device memory, with a field that no framework type describes.
struct Descriptor {
   std::uint64_t address;
   std::uint16_t length;
   std::uint8_t reserved[6];

   static Kro::KroType const kroType;

   struct Declaration;
};

/// Has no hash, an attribute by getter, and two that cannot take part in equality.
class Odd {
public:
   std::uint32_t content = 0;
   Descriptor withoutEquality{};
   std::uint32_t const fixed = 9;

   Odd() = default;
   Odd(Odd const&) = default;

   Odd& operator=(Odd const& other)
   {
      content = other.content;
      return *this;
   }

   std::uint32_t half() const { return content / 2; }

   /// Not const: it counts.
   std::uint32_t reads() { return ++reads_; }

   static std::uint32_t forAll() { return 42; }

   static Kro::KroType const kroType;

   struct Declaration;

private:
   std::uint32_t reads_ = 0;
};

} // namespace Test
