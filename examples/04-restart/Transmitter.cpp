#include "Transmitter.h"

#include <Kro/KroModule.h>
#include <Kro/Table.h>

#include <algorithm>
#include <atomic>

namespace {

extern Kro::KroModule module;

} // namespace

Transmitter::Transmitter(Orvo::String const& name) : Entity(name), ring(Orvo::make<Collection>(nullptr))
{
   ring->attributesIs(RingEntry::kroType);
   ring->synchronizerIs([this](std::uint32_t entry) { synchronize(entry); });
}

Descriptor& Transmitter::descriptor(std::uint32_t entry) const
{
   return *reinterpret_cast<Descriptor*>(ring->addressVirtual(RingEntry::descriptorNumber, entry));
}

std::span<char> Transmitter::packet(std::uint32_t entry) const
{
   auto* const first = reinterpret_cast<char*>(ring->addressVirtual(RingEntry::packetNumber, entry));
   return {first, sizeof(RingEntry::packet)};
}

void Transmitter::queue(std::uint32_t entry, std::function<std::uint32_t(std::span<char>)> const& fill)
{
   auto& written = descriptor(entry);
   written.address = ring->addressBus(RingEntry::packetNumber, entry);
   written.length = fill(packet(entry));
   // Release: no write above may come behind this one. It is what makes the entry whole.
   std::atomic_ref(written.sequence).store(++lastSequence, std::memory_order_release);
   queued.emplace(lastSequence, entry);
}

void Transmitter::release(std::uint32_t entry)
{
   auto& sent = descriptor(entry);
   queued.erase(sent.sequence);
   // The sequence goes first, so that a process that dies at `reset` leaves no entry that looks whole.
   std::atomic_ref(sent.sequence).store(0);
   std::atomic_thread_fence(std::memory_order_seq_cst);
   ring->reset(entry);
}

void Transmitter::synchronize(std::uint32_t entry)
{
   auto const sequence = std::atomic_ref(descriptor(entry).sequence).load(std::memory_order_acquire);
   if (sequence != 0) {
      queued.emplace(sequence, entry);
      lastSequence = std::max(lastSequence, sequence);
   } else if (!isFree(entry)) {
      ring->reset(entry);
      repaired.push_back(entry);
   }
}

bool Transmitter::isFree(std::uint32_t entry) const
{
   auto const& found = descriptor(entry);
   auto const bytes = packet(entry);
   return found.address == 0 && found.length == 0 &&
          std::all_of(bytes.begin(), bytes.end(), [](char byte) { return byte == 0; });
}

// clang-format off
struct RingEntry::Declaration {
   static constexpr auto table = Kro::table<RingEntry>(
      Kro::field<descriptorNumber, &RingEntry::descriptor>("descriptor"),
      Kro::field<packetNumber, &RingEntry::packet>("packet"));
};

struct Transmitter::Declaration {
   static constexpr auto table = Kro::table<Transmitter, Kro::Entity>(
      Kro::entries<1, RingEntry>("ring"),
      Kro::value<2, &Transmitter::ring>("ringControl", Kro::readOnly));
};

// clang-format on

constinit Kro::KroType const RingEntry::kroType =
   Kro::entryType<RingEntry, RingEntry::Declaration>("RingEntry", &module);
constinit Kro::KroType const Transmitter::kroType =
   Kro::entityType<Transmitter, Transmitter::Declaration>("Transmitter", &module);

namespace {

constexpr Kro::KroType const* types[] = {&RingEntry::kroType, &Transmitter::kroType};
constinit Kro::KroModule module{"Nic", "examples/04-restart", types, {}};

[[maybe_unused]] bool const isRegistered = (Kro::kroModuleIs(module), true);

} // namespace
