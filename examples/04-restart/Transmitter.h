// What a network card sends from, written so that a process may die in the middle of it.

#pragma once

#include <Quorvel/Core/Memory/Control/Collection.h>

#include <Kro/Entity.h>
#include <Kro/KroType.h>
#include <Orvo/Ptr.h>
#include <Orvo/String.h>

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <span>
#include <vector>

struct Descriptor {        // 16 bytes, which the card reads
   std::uint64_t address;  // of the packet, for the device
   std::uint32_t length;   // bytes of the packet
   std::uint32_t sequence; // written last: not 0 says that all of the entry is there
};

/// One entry of the ring: free, and all its bytes are zero; or whole, and its sequence is not zero; or neither, and
/// then a process has died at it.
struct RingEntry {
   static constexpr std::int16_t descriptorNumber = 2;
   static constexpr std::int16_t packetNumber = 3;
   Descriptor descriptor;
   std::array<char, 512> packet;
   struct Declaration;
   static Kro::KroType const kroType;
};

class Transmitter : public Kro::Entity {
public:
   using Collection = Quorvel::Core::Memory::Control::Collection;

   explicit Transmitter(Orvo::String const& name);

   ~Transmitter() override { nodeFlagSet(flagDeleteOnLastUser, false); }

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   /// Writes a packet into a free entry.
   /// @param fill writes the packet and returns its length in bytes
   void queue(std::uint32_t entry, std::function<std::uint32_t(std::span<char>)> const& fill);

   /// The card has sent the entry: it is free again.
   void release(std::uint32_t entry);

   Descriptor& descriptor(std::uint32_t entry) const;
   std::span<char> packet(std::uint32_t entry) const;

   static Kro::KroType const kroType;
   struct Declaration;

   Orvo::Ptr<Collection> ring;

   // Gone with the process; the synchronizer works it out anew.
   std::map<std::uint32_t, std::uint32_t> queued; // entries by their sequence, in which they are sent
   std::uint32_t lastSequence = 0;
   std::vector<std::uint32_t> repaired; // entries that an earlier process has left half-written

private:
   void synchronize(std::uint32_t entry);
   bool isFree(std::uint32_t entry) const;
};
