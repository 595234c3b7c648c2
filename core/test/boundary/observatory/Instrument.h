#pragma once

#include "boundary/observatory/Values.h"

#include <Kro/Entity.h>
#include <Kro/Exception.h>
#include <Kro/HashMap.h>
#include <Kro/OrderedEntities.h>
#include <Kro/SlabAllocated.h>

#include <cstdint>

namespace Observatory {

/// A node that is its own element in a collection, and no entity. Its Orvo::Node does not lie at its address.
class Lens final : public Kro::RbTreeNode<std::uint32_t>, public Orvo::Node, public Kro::SlabAllocated<Lens> {
public:
   Lens(std::uint32_t id, std::int64_t focus) : RbTreeNode(id), focus_(focus) {}

   ~Lens() override { nodeFlagSet(flagDeleteOnLastUser, false); }

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   static Kro::KroType const kroType;
   static Kro::AllocTrackTypeInfo memAllocationTracker_;

private:
   struct Declaration;

   std::int64_t focus_;
};

/// An exception of the plugin's own, whose type nobody else knows.
class InstrumentException final : public Kro::Exception {
public:
   using Exception::Exception;
};

/// An entity with an attribute of every kind.
class Instrument : public Kro::Entity {
   struct HN_Weight {};

public:
   /// @throws std::runtime_error when the name is "broken"
   explicit Instrument(Orvo::String const& name);
   ~Instrument() override;

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   virtual Orvo::String label() const { return Orvo::join("instrument ", name()); }

   Instrument* itself() { return this; }

   Orvo::Ptr<Lens> lensIs(std::uint32_t id, std::int64_t focus);

   Orvo::Ptr<Lens> lensDel(std::uint32_t id) { return lens_.take(id); }

   void lensDelAll() { lens_.clear(); }

   void handleLens(std::uint32_t id) { lastLens_ = id; }

   /// @throws Kro::ArgNullPointerException when the entity is null
   void weightIs(Kro::Entity* entity, std::uint32_t weight);

   bool weightDel(Kro::Entity* entity) { return weight_.erase(entity); }

   std::uint32_t total() const;

   std::uint32_t sum(std::uint32_t a, std::uint32_t b) const { return a + b + exposure_; }

   static std::uint32_t living() { return living_; }

   void scale(std::uint32_t factor) { exposure_ *= factor; }

   std::uint32_t scale(std::uint32_t numerator, std::uint32_t denominator)
   {
      return exposure_ = exposure_ * numerator / denominator;
   }

   void fail(Orvo::String const& text) { throw Kro::RangeException(text); }

   void failAsItself(Orvo::String const& text) { throw InstrumentException(text); }

   static Kro::KroType const kroType;

private:
   struct Declaration;
   static inline std::uint32_t living_ = 0;

   std::uint32_t exposure_ = 1;
   Orvo::Ptr<Kro::Entity> partner_;
   Instrument* mentor_ = nullptr;
   Reading last_;
   Kro::OrderedEntities<Lens, std::uint32_t> lens_;
   Kro::HashMap<HN_Weight, Kro::Entity*, std::uint32_t> weight_;
   std::uint32_t lastLens_ = 0;
};

/// Inherits, takes the place of inherited numbers, and is made in three ways.
class Camera final : public Instrument {
public:
   explicit Camera(Orvo::String const& name) : Instrument(name) {}

   Camera(Orvo::String const& name, std::uint64_t pixels) : Instrument(name), pixels_(pixels) {}

   ~Camera() override { nodeFlagSet(flagDeleteOnLastUser, false); }

   /// A camera of as many pixels as another one.
   /// @throws Kro::EntityNotFoundException when there is no other one
   static Orvo::Ptr<Camera> twinOf(Orvo::Ptr<Camera> const& other);

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   Orvo::String label() const override { return Orvo::join("camera ", name()); }

   Orvo::String nameString() const { return Orvo::join("camera-", name()); }

   static Kro::KroType const kroType;

private:
   struct Declaration;

   std::uint64_t pixels_ = 0;
};

} // namespace Observatory
