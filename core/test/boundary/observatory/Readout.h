#pragma once

#include <Quorvel/Core/Memory/Control/Collection.h>

#include <Kro/Entity.h>

#include <array>
#include <cstdint>

namespace Observatory {

/// What a detector writes for each exposure: 64 bytes.
struct FrameEntry {
   std::uint64_t exposure;
   std::array<std::byte, 56> pixels;
   struct Declaration;
   static Kro::KroType const kroType;
};

struct StatusEntry {
   std::uint32_t code;
   struct Declaration;
   static Kro::KroType const kroType;
};

/// A mount type with two collections, of which one is laid out sparsely.
class Readout final : public Kro::Entity {
   using Collection = Quorvel::Core::Memory::Control::Collection;

public:
   explicit Readout(Orvo::String const& name);

   ~Readout() override { nodeFlagSet(flagDeleteOnLastUser, false); }

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   static Kro::KroType const kroType;

private:
   struct Declaration;

   Orvo::Ptr<Collection> frame_;
   Orvo::Ptr<Collection> status_;
   std::uint32_t synchronized_ = 0;
};

} // namespace Observatory
