#pragma once

#include <Kro/CharRange.h>
#include <Kro/HashMap.h>
#include <Kro/HashSet.h>
#include <Kro/OrderedMap.h>
#include <Kro/TypeOf.h>

#include <cstdint>

namespace Observatory {

/// A value that stands in other values, is made from its attributes, and refuses texts of its own.
class Angle {
public:
   Angle() = default;

   Angle(std::int32_t degrees, bool isNorth) : degrees_(degrees), isNorth_(isNorth) {}

   /// @throws Kro::ParseException also when the angle is beyond half a circle
   explicit Angle(Kro::CharRange& text);

   std::uint64_t hash() const noexcept;
   friend bool operator==(Angle const& a, Angle const& b);

   static Kro::KroType const kroType;

private:
   struct Declaration;

   std::int32_t degrees_ = 0;
   bool isNorth_ = true;
};

/// A value with an attribute of every leaf type, under numbers from the lowest to the highest that there is.
class Reading {
public:
   Reading() = default;

   Reading(Orvo::String const& label, Angle const& direction) : label_(label), direction_(direction) {}

   std::uint64_t hash() const noexcept { return label_.hash() ^ direction_.hash(); }

   friend bool operator==(Reading const& a, Reading const& b);

   static Kro::KroType const kroType;

private:
   struct Declaration;

   std::int16_t offset_ = 0;
   std::int32_t weight_ = 0;
   std::int64_t flux_ = 0;
   bool isValid_ = false;
   Orvo::String label_;
   std::uint16_t count_ = 0;
   std::uint32_t exposure_ = 0;
   std::uint64_t photons_ = 0;
   Angle direction_;
   Orvo::String note_;
};

class KroReading final : public Kro::OrderedNode<KroReading, std::int32_t, Reading> {
public:
   using OrderedNode::OrderedNode;
   static Kro::AllocTrackTypeInfo memAllocationTracker_;
};

/// A value with a collection of every kind that values have. It has no hash and no text constructor.
class Night {
   struct HN_Place {};

   struct HN_Observer {};

public:
   Orvo::String title() const;

   void readingIs(std::int32_t id, Reading const& reading);
   Reading readingDel(std::int32_t id);

   void readingDelAll() { reading_.clear(); }

   void handleReading(std::int32_t /*id*/) { ++changes_; }

   void placeIs(Orvo::String const& name, Angle const& angle) { place_.is(name, angle); }

   bool placeDel(Orvo::String const& name) { return place_.erase(name); }

   bool observerIs(Orvo::String const& name) { return observer_.is(name); }

   friend bool operator==(Night const& a, Night const& b);

   static Kro::KroType const kroType;

private:
   struct Declaration;

   Kro::OrderedMap<KroReading> reading_;
   Kro::HashMap<HN_Place, Orvo::String, Angle> place_;
   Kro::HashSet<HN_Observer, Orvo::String> observer_;
   std::uint32_t changes_ = 0;
};

} // namespace Observatory
