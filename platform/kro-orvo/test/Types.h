#pragma once

#include <Kro/Entity.h>
#include <Kro/HashMap.h>
#include <Kro/HashSet.h>
#include <Kro/OrderedMap.h>

#include <Orvo/Ptr.h>
#include <Orvo/String.h>

#include <cstdint>

namespace Test {

/// A value with attributes of every printed type.
struct Sample {
   Orvo::String text;
   bool flag = false;
   std::int16_t small = 0;
   std::uint64_t large = 0;
   std::uint32_t lazy = 0;

   std::uint32_t half() const { return lazy / 2; }

   std::uint32_t worked() const { return lazy; }

   void work() {}

   friend bool operator==(Sample const&, Sample const&) = default;

   static Kro::KroType const kroType;

   struct Declaration;
};

/// A value type whose only attribute is no data.
struct Bare {
   static std::uint32_t instances() { return 0; }

   static Kro::KroType const kroType;

   struct Declaration;
};

/// A node that is no entity.
class Leaf : public Orvo::Node {
public:
   explicit Leaf(std::uint32_t size) : size_(size) {}

   ~Leaf() override { nodeFlagSet(flagDeleteOnLastUser, false); }

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   static Kro::KroType const kroType;

   struct Declaration;

private:
   std::uint32_t size_;
};

class KroSample final : public Kro::OrderedNode<KroSample, std::int32_t, Sample> {
public:
   using OrderedNode::OrderedNode;
   static Kro::AllocTrackTypeInfo memAllocationTracker_;
};

/// Collections of values, of pointers, and of keys alone.
class Holder : public Kro::Entity {
   struct HN_Tag {};

   struct HN_Leaf {};

public:
   explicit Holder(Orvo::String const& name) : Entity(name) {}

   ~Holder() override { nodeFlagSet(flagDeleteOnLastUser, false); }

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   static Kro::KroType const kroType;

   struct Declaration;

   Kro::OrderedMap<KroSample> sample;
   Kro::HashSet<HN_Tag, Orvo::String> tag;
   Kro::HashMap<HN_Leaf, Orvo::String, Orvo::Ptr<Leaf>> leaf;
   Orvo::Ptr<Kro::Entity> partner;
};

/// Inherits what Holder has.
class Derived : public Holder {
public:
   using Holder::Holder;

   ~Derived() override { nodeFlagSet(flagDeleteOnLastUser, false); }

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   static Kro::KroType const kroType;

   struct Declaration;

private:
   std::uint32_t extra_ = 3;
};

} // namespace Test
