// The mount type of the pages about memory, and the description that docs/describing-memory.md builds.

#pragma once

#include <Quorvel/Core/Memory/Control/Collection.h>
#include <Quorvel/Core/Memory/Info/Mount.h>

#include <Kro/Entity.h>
#include <Kro/KroType.h>
#include <Orvo/Ptr.h>
#include <Orvo/String.h>

#include <array>
#include <cstddef>
#include <cstdint>

struct Receive {
   std::array<std::byte, 16> descriptor;
   std::array<std::byte, 2048> packet;
   std::uint64_t state;
   struct Declaration;
   static Kro::KroType const kroType;
};

class Rings : public Kro::Entity {
public:
   explicit Rings(Orvo::String const& name);

   ~Rings() override { nodeFlagSet(flagDeleteOnLastUser, false); }

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   struct Declaration;
   static Kro::KroType const kroType;

   Orvo::Ptr<Quorvel::Core::Memory::Control::Collection> receive;
};

/// Three groups, the entries 0 to 3, 4 and 5, 8 to 11, mounted as Rings.
Quorvel::Core::Memory::Info::Mount describe(Orvo::String const& path = "rings");
