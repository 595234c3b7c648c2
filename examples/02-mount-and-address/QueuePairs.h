// What an NVMe controller reads and writes, and the mount type that gives it memory.

#pragma once

#include <Quorvel/Core/Memory/Control/Collection.h>

#include <Kro/Entity.h>
#include <Kro/KroType.h>
#include <Orvo/Ptr.h>
#include <Orvo/String.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <set>

struct Command { // 64 bytes
   std::uint8_t opcode;
   std::uint8_t flags;
   std::uint16_t identifier; // here 0 in an entry that is free
   std::uint32_t nameSpace;
   std::uint64_t reserved;
   std::uint64_t metadata;
   std::array<std::uint64_t, 2> data; // bus addresses
   std::array<std::uint32_t, 6> arguments;
};

struct Status { // 16 bytes
   std::uint64_t result;
   std::uint32_t queue;
   std::uint16_t identifier;
   std::uint16_t isDone; // the device writes it last
};

// One entry of each collection. A field's number is what addresses are asked by; its size comes from the member.

struct SubmissionEntry {
   static constexpr std::int16_t commandNumber = 2;
   Command command;
   struct Declaration;
   static Kro::KroType const kroType;
};

struct CompletionEntry {
   static constexpr std::int16_t statusNumber = 2;
   Status status;
   struct Declaration;
   static Kro::KroType const kroType;
};

struct DataEntry {
   static constexpr std::int16_t bufferNumber = 2;
   std::array<std::byte, 4096> buffer;
   struct Declaration;
   static Kro::KroType const kroType;
};

// The mount type: a live collection for each kind of entry, and what software knows besides.
class QueuePairs : public Kro::Entity {
public:
   using Collection = Quorvel::Core::Memory::Control::Collection;

   explicit QueuePairs(Orvo::String const& name);

   ~QueuePairs() override { nodeFlagSet(flagDeleteOnLastUser, false); }

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   Command& command(std::uint32_t entry) const;
   Status& status(std::uint32_t entry) const;

   static Kro::KroType const kroType;
   struct Declaration;

   Orvo::Ptr<Collection> submission;
   Orvo::Ptr<Collection> completion;
   Orvo::Ptr<Collection> data;

   // Not in the named memory, so it is gone with the process; the synchronizer works it out anew.
   std::set<std::uint32_t> inFlight;
   std::uint16_t lastIdentifier = 0;

private:
   void synchronize(std::uint32_t entry);
};
