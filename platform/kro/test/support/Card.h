#pragma once

#include "Values.h"

#include <Kro/Entity.h>
#include <Kro/HashMap.h>
#include <Kro/HashSet.h>
#include <Kro/OrderedEntities.h>
#include <Kro/OrderedMap.h>
#include <Kro/SlabAllocated.h>

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <vector>

namespace Test {

/// Comes first in an object that it is a base of.
class Interface {
public:
   Interface() = default;
   Interface(Interface const&) = delete;
   Interface& operator=(Interface const&) = delete;
   virtual ~Interface() = default;
};

/// A member of an intrusive collection. Neither its node nor its hook lies at the object's address.
class Lane : public Interface,
             public Kro::RbTreeNode<std::int32_t>,
             public Orvo::Node,
             public Kro::SlabAllocated<Lane> {
public:
   Lane(std::int32_t id, std::uint32_t speed) : RbTreeNode(id), speed_(speed) {}

   ~Lane() override { nodeFlagSet(flagDeleteOnLastUser, false); }

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   static Kro::KroType const kroType;
   static Kro::AllocTrackTypeInfo memAllocationTracker_;

private:
   struct Declaration;

   std::uint32_t speed_;
};

class KroLimit final : public Kro::OrderedNode<KroLimit, std::int32_t, std::uint32_t> {
public:
   using OrderedNode::OrderedNode;
   static Kro::AllocTrackTypeInfo memAllocationTracker_;
};

/// An entity type with an attribute of every kind, and collections of every kind.
class Card : public Kro::Entity, public Kro::SlabAllocated<Card> {
   struct NameOf {
      Orvo::String const& operator()(Port const& port) const noexcept { return port.name(); }
   };

   struct HN_Port {};

   struct HN_Tag {};

public:
   using Ports = Kro::HashMap<HN_Port, Orvo::String, Port, NameOf>;

   static inline int live = 0;

   explicit Card(Orvo::String const& name);
   ~Card() override;

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   void handleParent() noexcept override
   {
      parents.push_back(parent());
      if (whenParentChanges) {
         whenParentChanges();
      }
   }

   static inline std::function<void()> whenParentChanges;

   Orvo::String label() const { return Orvo::join("card ", name()); }

   Card* borrowed() { return this; }

   void portIs(Port const& port);
   void portDel(Orvo::String const& name);
   void portDelAll();

   void handlePort(Orvo::String const& name) { handled.push_back(name); }

   void limitIs(std::int32_t id, std::uint32_t limit) { limit_.is(id, limit); }

   std::uint32_t limitDel(std::int32_t id) { return limit_.take(id).value_or(0); }

   void tagIs(Orvo::String const& tag) { tag_.is(tag); }

   void laneIs(std::int32_t id, std::uint32_t speed) { lane_.insert(Orvo::make<Lane>(id, speed)); }

   Orvo::Ptr<Lane> laneDel(std::int32_t id) { return lane_.take(id); }

   void scale(std::uint32_t factor) { speed_ *= factor; }

   std::uint32_t scale(std::uint32_t numerator, std::uint32_t denominator)
   {
      speed_ = speed_ * numerator / denominator;
      return speed_;
   }

   void fail(Orvo::String const& text) { throw std::runtime_error(text.c_str()); }

   std::uint64_t total() const { return std::uint64_t{speed_} * limit_.size(); }

   std::uint32_t sum(std::uint32_t a, std::uint32_t b) const { return a + b + speed_; }

   std::uint32_t sumOfNine(
      std::uint32_t a, std::uint32_t b, std::uint32_t c, std::uint32_t d, std::uint32_t e, std::uint32_t f,
      std::uint32_t g, std::uint32_t h, std::uint32_t i) const
   {
      return a + b + c + d + e + f + g + h + i;
   }

   static std::int32_t liveCards() { return live; }

   static Kro::KroType const kroType;
   static Kro::AllocTrackTypeInfo memAllocationTracker_;

   std::vector<Kro::Dir*> parents;    ///< what each handleParent() saw
   std::vector<Orvo::String> handled; ///< what each handlePort() was told

private:
   struct Declaration;

   std::uint32_t speed_ = 1;
   std::int64_t serial_ = -5;
   Orvo::Ptr<Kro::Entity> partner_;
   Ports port_;
   Kro::OrderedMap<KroLimit> limit_;
   Kro::HashSet<HN_Tag, Orvo::String> tag_;
   Kro::OrderedEntities<Lane, std::int32_t> lane_;
};

/// Inherits the attributes of Card and has another `nameString` and another attribute 258.
class FastCard : public Card {
public:
   using Card::Card;

   ~FastCard() override { nodeFlagSet(flagDeleteOnLastUser, false); }

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   Orvo::String nameString() const { return Orvo::join("fast ", name()); }

   static Kro::KroType const kroType;

private:
   struct Declaration;

   std::uint16_t boost_ = 7;
};

/// An entity that cannot be made from a name alone.
class Fixed : public Kro::Entity {
public:
   Fixed(Orvo::String const& name, int) : Entity(name) {}

   ~Fixed() override { nodeFlagSet(flagDeleteOnLastUser, false); }

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   static Kro::KroType const kroType;

private:
   struct Declaration;
};

/// Throws when its name is "bad"; takes another name when its name is "alias".
class Picky : public Kro::Entity {
public:
   explicit Picky(Orvo::String const& name);
   ~Picky() override;

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   static inline int live = 0;
   static Kro::KroType const kroType;

private:
   struct Declaration;
};

extern Kro::KroModule testModule;

} // namespace Test
