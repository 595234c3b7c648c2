// An agent is killed in the middle of a write; its next process finds the same bytes at the same bus addresses, takes over
// what is whole and clears what is not. The program is both processes, one after the other.

#include "PageMap.h"
#include "Transmitter.h"

#include <Quorvel/Core/Memory/Entity/Manager.h>
#include <Quorvel/Core/Memory/Info/Mount.h>

#include <Quorvel/Utility/Affirm.h>
#include <pinmem/pinmem.h>

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <span>
#include <string>

#include <sys/wait.h>
#include <unistd.h>

namespace {

namespace Memory = Quorvel::Core::Memory;

/// Eight entries, in two groups of four; each field of a group in a chunk of its own.
Memory::Info::Mount describe()
{
   Memory::Info::Collection ring("ring");
   ring.addNameAttribute("descriptor");
   ring.addNameAttribute("packet");
   for (std::uint32_t group = 0; group < 2; ++group) {
      ring.addGroup(group, 4);
      ring.createChunk(group, "descriptor", Orvo::join("nic0.descriptor.", group), 4 * sizeof(Descriptor), false);
      ring.createChunk(group, "packet", Orvo::join("nic0.packet.", group), 4 * sizeof(RingEntry::packet), false);
   }
   Memory::Info::Mount mount("transmitter", "Transmitter");
   mount.collectionIs(ring);
   return mount;
}

/// Both processes begin alike: they mount one description.
Orvo::Ptr<Transmitter> mounted()
{
   auto const manager = Memory::Entity::Manager::instantiate("nic0");
   manager->mount(describe());
   return Orvo::dynamicCast<Transmitter>(manager->entify("transmitter"));
}

void queue(Transmitter& transmitter, std::uint32_t entry, std::string const& text)
{
   transmitter.queue(entry, [&](std::span<char> packet) {
      return static_cast<std::uint32_t>(text.copy(packet.data(), packet.size()));
   });
   std::printf(
      "  entry %u: packet %u \"%s\", at bus address 0x%016lx\n", entry, transmitter.lastSequence, text.c_str(),
      transmitter.descriptor(entry).address);
}

void firstProcess()
{
   auto const transmitter = mounted();
   constexpr char const* texts[] = {"to be", "or not", "to be", "that is", "the question"};
   std::uint32_t entry = 0;
   for (auto const* text : texts) {
      queue(*transmitter, entry++, text);
   }
   transmitter->queue(entry, [&](std::span<char> packet) -> std::uint32_t {
      std::string("whether 'tis").copy(packet.data(), packet.size());
      std::printf("  entry %u: packet 6 \"%s", entry, packet.data());
      std::puts(" ... and is killed here, half-way through the packet");
      return static_cast<std::uint32_t>(std::raise(SIGKILL)); // the process does not come back from this
   });
}

/// Looks up where the entries' packets are now, unless their bus addresses are simulated.
void showPageMap(Transmitter const& transmitter)
{
   constexpr auto simulatedBit = std::uint64_t{1} << 63;
   std::uint32_t same = 0;
   std::uint32_t other = 0;
   std::uint32_t hidden = 0; // from a process without privilege
   for (auto const& [sequence, entry] : transmitter.queued) {
      auto const addressBus = transmitter.descriptor(entry).address;
      if ((addressBus & simulatedBit) != 0) {
         std::puts("page map: not asked, these bus addresses are simulated");
         return;
      }
      auto const physical = physicalAddress(transmitter.packet(entry).data());
      ++(physical == addressBus ? same : physical == 0 ? hidden : other);
   }
   std::printf(
      "page map: packets at the physical addresses that the card was given: %u, at others: %u, not shown: %u\n", same,
      other, hidden);
}

void secondProcess()
{
   auto const transmitter = mounted(); // runs the synchronizer for every entry
   std::uint32_t inPlace = 0;
   for (auto const& [sequence, entry] : transmitter->queued) {
      auto const& found = transmitter->descriptor(entry);
      auto const now = transmitter->ring->addressBus(RingEntry::packetNumber, entry);
      inPlace += found.address == now ? 1 : 0;
      std::printf(
         "  entry %u: packet %u \"%.*s\", at bus address 0x%016lx, before 0x%016lx\n", entry, sequence,
         static_cast<int>(found.length), transmitter->packet(entry).data(), now, found.address);
   }
   for (auto const entry : transmitter->repaired) {
      std::printf("  entry %u: half-written, has no sequence: cleared\n", entry);
   }
   std::printf(
      "entries recovered: %zu, at the same bus addresses as before: %u, half-written and cleared: %zu\n",
      transmitter->queued.size(), inPlace, transmitter->repaired.size());
   showPageMap(*transmitter);

   std::puts("the second process goes on where the first one was");
   for (auto const entry : transmitter->repaired) {
      queue(*transmitter, entry, "whether 'tis nobler");
   }
   std::printf("the card sends");
   while (!transmitter->queued.empty()) { // in the order of the sequence; there is no card here
      auto const [sequence, entry] = *transmitter->queued.begin();
      std::printf(" %u", sequence);
      transmitter->release(entry);
   }
   std::puts(", and the ring is free");
}

int run(void (*process)())
{
   try {
      process();
      return 0;
   } catch (Quorvel::Utility::AffirmException const&) { // the memory cannot be had; the library under it knows why
      std::fprintf(stderr, "%s\n", pinmem_last_error());
   } catch (std::exception const& error) {
      std::fprintf(stderr, "%s\n", error.what());
   }
   return 1;
}

} // namespace

int main()
{
   std::setvbuf(stdout, nullptr, _IOLBF, 0); // a killed process does not print what is in its buffers
   std::puts("the first process mounts and writes");
   auto const first = ::fork();
   if (first == 0) {
      return run(firstProcess);
   }
   int status = 0;
   if (first < 0 || ::waitpid(first, &status, 0) != first || !WIFSIGNALED(status) || WTERMSIG(status) != SIGKILL) {
      std::fprintf(stderr, "the first process was not killed: status %d\n", status);
      return 1;
   }
   std::puts("the first process is dead (SIGKILL); the second mounts the same description");
   return run(secondProcess);
}
