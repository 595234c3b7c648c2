#pragma once

#include <Kro/Entity.h>
#include <Kro/SlabAllocated.h>

#include <cstdint>
#include <utility>

namespace Test {

/// A value that counts itself, and is aligned beyond what `operator new` gives unasked.
class alignas(64) Witness {
public:
   static inline int live = 0;

   Witness() { ++live; }

   Witness(Orvo::String label, std::uint32_t number) : label_(std::move(label)), number_(number) { ++live; }

   /// @throws Kro::RangeException when `number` is 13
   explicit Witness(std::uint32_t number);

   /// @throws Kro::RangeException when the number is 14
   Witness(Witness const& other);

   Witness& operator=(Witness const&) = default;

   ~Witness() { --live; }

   Orvo::String const& label() const noexcept { return label_; }

   std::uint32_t number() const noexcept { return number_; }

   static Kro::KroType const kroType;

private:
   struct Declaration;

   Orvo::String label_;
   std::uint32_t number_ = 0;
};

/// An entity that is made by constructors and by a function.
class Engine : public Kro::Entity, public Kro::SlabAllocated<Engine> {
public:
   static inline int live = 0;

   /// @throws Kro::RangeException when `power` is 13
   Engine(Orvo::String const& name, std::uint32_t power);

   Engine(Orvo::String const& name, Orvo::Ptr<Engine> const& like) : Engine(name, like != nullptr ? like->power_ : 0) {}

   ~Engine() override;

   /// @return null when there is no original
   static Orvo::Ptr<Engine> twin(Engine* original);

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   std::uint32_t power() const noexcept { return power_; }

   static Kro::KroType const kroType;
   static Kro::AllocTrackTypeInfo memAllocationTracker_;

private:
   struct Declaration;

   std::uint32_t power_;
};

} // namespace Test
