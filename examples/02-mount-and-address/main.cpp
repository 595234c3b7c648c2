// An agent that declares a mount type for NVMe queue pairs, mounts two of them and prints where everything lies.
// Run it twice: the second process finds the bus addresses and the bytes of the first.

#include <Quorvel/Core/Memory/Control/Collection.h>
#include <Quorvel/Core/Memory/Entity/Manager.h>
#include <Quorvel/Core/Memory/Info/Mount.h>

#include <Kro/Dir.h>
#include <Kro/KroModule.h>
#include <Kro/Table.h>
#include <Quorvel/Utility/Affirm.h>
#include <pinmem/pinmem.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <string>

namespace Memory = Quorvel::Core::Memory;
using Memory::Control::Collection;

namespace {

extern Kro::KroModule module;

// What the device reads and writes.

struct SubmissionEntry { // 64 bytes

   struct Command {
      std::uint8_t opcode;
      std::uint8_t flags;
      std::uint16_t identifier;
      std::uint32_t nameSpace;
      std::uint64_t reserved;
      std::uint64_t metadata;
      std::array<std::uint64_t, 2> data; // bus addresses
      std::array<std::uint32_t, 6> arguments;
   } command;
   struct Declaration;
   static Kro::KroType const kroType;
};

struct SubmissionEntry::Declaration {
   static constexpr auto table = Kro::table<SubmissionEntry>(Kro::field<2, &SubmissionEntry::command>("command"));
};

static_assert(sizeof(SubmissionEntry) == 64);

struct CompletionEntry { // 16 bytes
   std::array<std::uint32_t, 4> status;
   struct Declaration;
   static Kro::KroType const kroType;
};

struct CompletionEntry::Declaration {
   static constexpr auto table = Kro::table<CompletionEntry>(Kro::field<2, &CompletionEntry::status>("status"));
};

struct DataEntry { // 4096 bytes
   std::array<std::byte, 4096> buffer;
   struct Declaration;
   static Kro::KroType const kroType;
};

struct DataEntry::Declaration {
   static constexpr auto table = Kro::table<DataEntry>(Kro::field<2, &DataEntry::buffer>("buffer"));
};

constinit Kro::KroType const SubmissionEntry::kroType =
   Kro::entryType<SubmissionEntry, SubmissionEntry::Declaration>("SubmissionEntry", &module);
constinit Kro::KroType const CompletionEntry::kroType =
   Kro::entryType<CompletionEntry, CompletionEntry::Declaration>("CompletionEntry", &module);
constinit Kro::KroType const DataEntry::kroType =
   Kro::entryType<DataEntry, DataEntry::Declaration>("DataEntry", &module);

// The mount type: for each collection N its live collection, the attribute N + "Control".

class QueuePairs : public Kro::Entity {
public:
   explicit QueuePairs(Orvo::String const& name) : Entity(name) {}

   ~QueuePairs() override { nodeFlagSet(flagDeleteOnLastUser, false); }

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   static Kro::KroType const kroType;
   struct Declaration;

   Orvo::Ptr<Collection> submission = live(SubmissionEntry::kroType);
   Orvo::Ptr<Collection> completion = live(CompletionEntry::kroType);
   Orvo::Ptr<Collection> data = live(DataEntry::kroType);

private:
   static Orvo::Ptr<Collection> live(Kro::KroType const& entryType)
   {
      auto collection = Orvo::make<Collection>(nullptr); // densely packed
      collection->attributesIs(entryType);
      collection->synchronizerIs([](std::uint32_t /*index*/) {}); // nothing in software to bring in step
      return collection;
   }
};

struct QueuePairs::Declaration {
   // clang-format off
   static constexpr auto table = Kro::table<QueuePairs, Kro::Entity>(
      Kro::entries<1, SubmissionEntry>("submission"),
      Kro::entries<2, CompletionEntry>("completion"),
      Kro::entries<3, DataEntry>("data"),
      Kro::value<4, &QueuePairs::submission>("submissionControl", Kro::readOnly),
      Kro::value<5, &QueuePairs::completion>("completionControl", Kro::readOnly),
      Kro::value<6, &QueuePairs::data>("dataControl", Kro::readOnly));
   // clang-format on
};

constinit Kro::KroType const QueuePairs::kroType =
   Kro::entityType<QueuePairs, QueuePairs::Declaration>("QueuePairs", &module);

constexpr Kro::KroType const* types[] = {
   &SubmissionEntry::kroType, &CompletionEntry::kroType, &DataEntry::kroType, &QueuePairs::kroType};
constinit Kro::KroModule module{"Nvme", "examples/02-mount-and-address", types, {}};

// The agent.

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

void printTable(Memory::Info::Collection const& described, Collection const& live)
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

void run()
{
   Kro::kroModuleIs(module);

   Memory::Info::Mount mount("controller/queues", "QueuePairs");
   mount.collectionIs(describe("submission", "command", sizeof(SubmissionEntry)));
   mount.collectionIs(describe("completion", "status", sizeof(CompletionEntry)));
   mount.collectionIs(describe("data", "buffer", sizeof(DataEntry)));

   auto const manager = Memory::Entity::Manager::instantiate("nvme0");
   manager->mount(mount);
   auto const pairs = Orvo::dynamicCast<QueuePairs>(manager->entify("controller/queues"));

   printTree(*Kro::globalDir(), 0);
   std::printf(
      "\ncollection  field    entries   chunk                      size  bus address         virtual address\n");
   for (auto const& collection : mount.collectionInternal()) {
      auto const& live = collection.name() == "submission"   ? pairs->submission
                         : collection.name() == "completion" ? pairs->completion
                                                             : pairs->data;
      printTable(collection, *live);
   }

   // The last command of the second queue: what an earlier process left in it, and what this one writes.
   constexpr std::uint32_t last = queues * depth - 1;
   auto& command = *reinterpret_cast<SubmissionEntry::Command*>(pairs->submission->addressVirtual(2, last));
   auto const buffer = pairs->data->addressBus(2, last);
   std::printf(
      "\ncommand %u was left with identifier %u, data at 0x%016lx\n", last, command.identifier, command.data[0]);
   std::printf("data buffer %u is at 0x%016lx%s\n", last, buffer, command.data[0] == buffer ? ", as it was" : "");
   command.opcode = 2; // read
   ++command.identifier;
   command.data[0] = buffer;
   std::printf("command %u is written with identifier %u\n", last, command.identifier);
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
