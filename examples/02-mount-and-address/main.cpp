// An agent for an NVMe controller: mounts two queue pairs, prints where everything lies, and works with the entries.
// Run it twice: the second process finds the commands that the first one left, at the same bus addresses.

#include "QueuePairs.h"

#include <Quorvel/Core/Memory/Entity/Manager.h>
#include <Quorvel/Core/Memory/Info/Mount.h>

#include <Kro/Dir.h>
#include <Quorvel/Utility/Affirm.h>
#include <pinmem/pinmem.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <string>

namespace {

namespace Memory = Quorvel::Core::Memory;

constexpr std::uint32_t queues = 2;
constexpr std::uint32_t depth = 8; // entries of each queue

Memory::Info::Collection describe(char const* name, char const* field, std::uint32_t entrySize)
{
   Memory::Info::Collection collection(name);
   collection.addNameAttribute(field);
   for (std::uint32_t queue = 0; queue < queues; ++queue) {
      collection.addGroup(queue, depth);
      collection.createChunk(queue, field, Orvo::join("nvme0.queue", queue, ".", name), depth * entrySize, false);
   }
   return collection;
}

Memory::Info::Mount describe()
{
   Memory::Info::Mount mount("controller/queues", "QueuePairs");
   mount.collectionIs(describe("submission", "command", sizeof(SubmissionEntry)));
   mount.collectionIs(describe("completion", "status", sizeof(CompletionEntry)));
   mount.collectionIs(describe("data", "buffer", sizeof(DataEntry)));
   return mount;
}

void printTree(Kro::Entity const& entity, int indent)
{
   auto const* name = entity.parent() != nullptr ? entity.name().c_str() : "/";
   std::printf("%*s%s (%s)\n", indent, "", name, std::string(entity.fwkType().name).c_str());
   if (auto const* directory = dynamic_cast<Kro::Dir const*>(&entity)) {
      for (auto const& child : directory->entity()) {
         printTree(*child, indent + 2);
      }
   }
}

void printTable(Memory::Info::Collection const& described, QueuePairs::Collection const& live)
{
   for (auto const& group : described.group()) {
      for (auto at = group.chunkInternal().begin(); at != group.chunkInternal().end(); ++at) {
         std::printf(
            "%-10s  %-7s  %2u to %2u  %-23s  %6u  0x%016lx  0x%012lx\n", described.name().c_str(),
            at->nameAttribute().c_str(), group.head(), group.head() + group.size() - 1, at->name().c_str(), at->size(),
            live.addressBus(at.key(), group.head()), live.addressVirtual(at.key(), group.head()));
      }
   }
}

/// What the synchronizer has found while the memory was mounted.
void printInFlight(QueuePairs const& pairs)
{
   std::printf("\n%zu commands were left in flight\n", pairs.inFlight.size());
   for (auto const entry : pairs.inFlight) {
      auto const& command = pairs.command(entry);
      auto const isInPlace = command.data[0] == pairs.data->addressBus(DataEntry::bufferNumber, entry);
      std::printf(
         "  entry %2u: command %u, data at 0x%016lx, %s\n", entry, command.identifier, command.data[0],
         isInPlace ? "where its buffer is" : "which is not its buffer");
   }
}

/// There is no device here. This plays it: it completes what is in flight.
void playDevice(QueuePairs const& pairs)
{
   for (auto const entry : pairs.inFlight) {
      pairs.status(entry).identifier = pairs.command(entry).identifier;
      std::atomic_ref(pairs.status(entry).isDone).store(1, std::memory_order_release);
   }
}

void complete(QueuePairs& pairs, std::uint32_t entry)
{
   std::printf("  entry %2u: command %u is completed\n", entry, pairs.status(entry).identifier);
   pairs.submission->reset(entry); // all fields of the entry are zero, and it is free again
   pairs.completion->reset(entry);
   pairs.inFlight.erase(entry);
}

/// The hot loop looks at every status. It asks for memory once for each run, not for each entry.
void poll(QueuePairs& pairs)
{
   std::puts("poll");
   for (auto const run : pairs.completion->runs<Status>(CompletionEntry::statusNumber)) {
      for (std::uint32_t i = 0; i < run.count; ++i) {
         if (std::atomic_ref(run.memory.get()[i].isDone).load(std::memory_order_acquire) != 0) {
            complete(pairs, run.first + i);
         }
      }
      std::printf("  entries %u to %u are looked at\n", run.first, run.first + run.count - 1);
   }
}

/// Single entries are looked up: the virtual address to write the command, the bus address for what the device reads.
void submit(QueuePairs& pairs, std::uint32_t entry)
{
   auto& command = pairs.command(entry);
   command.opcode = 2; // read
   command.data[0] = pairs.data->addressBus(DataEntry::bufferNumber, entry);
   command.identifier = ++pairs.lastIdentifier; // last: from now on the entry counts as in flight
   pairs.inFlight.insert(entry);
   std::printf("  entry %2u: command %u, data at 0x%016lx\n", entry, command.identifier, command.data[0]);
}

void run()
{
   auto const mount = describe();
   auto const manager = Memory::Entity::Manager::instantiate("nvme0");
   manager->mount(mount);
   auto const pairs = Orvo::dynamicCast<QueuePairs>(manager->entify(mount.path()));

   printTree(*Kro::globalDir(), 0);
   std::printf(
      "\ncollection  field    entries   chunk                      size  bus address         virtual address\n");
   printTable(mount.collectionInternal(1), *pairs->submission); // by the number in the mount type's table
   printTable(mount.collectionInternal(2), *pairs->completion);
   printTable(mount.collectionInternal(3), *pairs->data);

   printInFlight(*pairs);
   playDevice(*pairs);
   poll(*pairs);
   std::puts("submit, and die before the device is done");
   submit(*pairs, depth - 1);
   submit(*pairs, queues * depth - 1);
}

} // namespace

int main()
{
   try {
      run();
      return 0;
   } catch (Quorvel::Utility::AffirmException const&) { // the memory cannot be had; the library under it knows why
      std::fprintf(stderr, "%s\n", pinmem_last_error());
   } catch (std::exception const& error) {
      std::fprintf(stderr, "%s\n", error.what());
   }
   return 1;
}
