// An agent with three mounts of two types looks at its memory: as text, and, in the file that is named as its argument, as a
// drawing. One mount is unmounted, two share a chunk, one has memory that no device reaches, and one places its fields itself.

#include "look/MemoryMap.h"
#include "look/SvgMap.h"
#include "look/TextMap.h"

#include <Quorvel/Core/Memory/Control/Collection.h>
#include <Quorvel/Core/Memory/Entity/Manager.h>
#include <Quorvel/Core/Memory/Info/Mount.h>

#include <Kro/KroModule.h>
#include <Kro/Table.h>
#include <Quorvel/Utility/Affirm.h>
#include <pinmem/pinmem.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace Memory = Quorvel::Core::Memory;
using Memory::Control::Collection;

namespace {

extern Kro::KroModule module;

// The entries: what they consist of, field by field.

struct SubmissionEntry {
   std::array<std::byte, 64> command;
   struct Declaration;
   static Kro::KroType const kroType;
};

struct CompletionEntry {
   std::array<std::byte, 16> status;
   struct Declaration;
   static Kro::KroType const kroType;
};

struct DataEntry {
   std::array<std::byte, 4096> buffer;
   struct Declaration;
   static Kro::KroType const kroType;
};

struct ListEntry { // where the data of a command lies, in both of its parts
   std::array<std::byte, 192> segments;
   std::array<std::byte, 64> metadata;
   struct Declaration;
   static Kro::KroType const kroType;
};

struct DoorbellEntry { // a cache line for each queue of the controller
   std::array<std::byte, 64> positions;
   struct Declaration;
   static Kro::KroType const kroType;
};

struct RequestEntry { // what software notes about a command; the device never sees it
   std::array<std::byte, 48> state;
   struct Declaration;
   static Kro::KroType const kroType;
};

struct SubmissionEntry::Declaration {
   static constexpr auto table = Kro::table<SubmissionEntry>(Kro::field<2, &SubmissionEntry::command>("command"));
};

struct CompletionEntry::Declaration {
   static constexpr auto table = Kro::table<CompletionEntry>(Kro::field<2, &CompletionEntry::status>("status"));
};

struct DataEntry::Declaration {
   static constexpr auto table = Kro::table<DataEntry>(Kro::field<2, &DataEntry::buffer>("buffer"));
};

struct ListEntry::Declaration {
   static constexpr auto table = Kro::table<ListEntry>(
      Kro::field<2, &ListEntry::segments>("segments"), Kro::field<3, &ListEntry::metadata>("metadata"));
};

struct DoorbellEntry::Declaration {
   static constexpr auto table = Kro::table<DoorbellEntry>(Kro::field<2, &DoorbellEntry::positions>("positions"));
};

struct RequestEntry::Declaration {
   static constexpr auto table = Kro::table<RequestEntry>(Kro::field<2, &RequestEntry::state>("state"));
};

constinit Kro::KroType const SubmissionEntry::kroType =
   Kro::entryType<SubmissionEntry, SubmissionEntry::Declaration>("SubmissionEntry", &module);
constinit Kro::KroType const CompletionEntry::kroType =
   Kro::entryType<CompletionEntry, CompletionEntry::Declaration>("CompletionEntry", &module);
constinit Kro::KroType const DataEntry::kroType =
   Kro::entryType<DataEntry, DataEntry::Declaration>("DataEntry", &module);
constinit Kro::KroType const ListEntry::kroType =
   Kro::entryType<ListEntry, ListEntry::Declaration>("ListEntry", &module);
constinit Kro::KroType const DoorbellEntry::kroType =
   Kro::entryType<DoorbellEntry, DoorbellEntry::Declaration>("DoorbellEntry", &module);
constinit Kro::KroType const RequestEntry::kroType =
   Kro::entryType<RequestEntry, RequestEntry::Declaration>("RequestEntry", &module);

// Both fields of a command's list stand side by side in one chunk.
std::uint32_t inList(std::uint32_t head, std::uint32_t index, std::uint32_t size)
{
   constexpr std::uint32_t stride = sizeof(ListEntry);
   constexpr std::uint32_t toMetadata = offsetof(ListEntry, metadata);
   return (index - head) * stride + (size == sizeof(ListEntry::metadata) ? toMetadata : 0);
}

// All queues of the controller have their doorbells in one chunk, each where the number of the queue says.
std::uint32_t byQueue(std::uint32_t /*head*/, std::uint32_t index, std::uint32_t size)
{
   return index * size;
}

Orvo::Ptr<Collection> live(Kro::KroType const& entryType, Memory::Control::Offsetter offsetter = nullptr)
{
   auto collection = Orvo::make<Collection>(offsetter);
   collection->attributesIs(entryType);
   collection->synchronizerIs([](std::uint32_t /*index*/) {}); // nothing in software to bring in step
   return collection;
}

// The mount types.

struct AdminQueue : Kro::Entity {
   explicit AdminQueue(Orvo::String const& name) : Entity(name) {}

   ~AdminQueue() override { nodeFlagSet(flagDeleteOnLastUser, false); }

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   static Kro::KroType const kroType;
   struct Declaration;

   Orvo::Ptr<Collection> submission = live(SubmissionEntry::kroType);
   Orvo::Ptr<Collection> completion = live(CompletionEntry::kroType);
   Orvo::Ptr<Collection> doorbell = live(DoorbellEntry::kroType, byQueue);
};

struct AdminQueue::Declaration {
   // clang-format off
   static constexpr auto table = Kro::table<AdminQueue, Kro::Entity>(
      Kro::entries<1, SubmissionEntry>("submission"),
      Kro::entries<2, CompletionEntry>("completion"),
      Kro::entries<3, DoorbellEntry>("doorbell"),
      Kro::value<11, &AdminQueue::submission>("submissionControl", Kro::readOnly),
      Kro::value<12, &AdminQueue::completion>("completionControl", Kro::readOnly),
      Kro::value<13, &AdminQueue::doorbell>("doorbellControl", Kro::readOnly));
   // clang-format on
};

constinit Kro::KroType const AdminQueue::kroType =
   Kro::entityType<AdminQueue, AdminQueue::Declaration>("AdminQueue", &module);

struct QueuePairs : AdminQueue {
   explicit QueuePairs(Orvo::String const& name) : AdminQueue(name) {}

   ~QueuePairs() override { nodeFlagSet(flagDeleteOnLastUser, false); }

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   static Kro::KroType const kroType;
   struct Declaration;

   Orvo::Ptr<Collection> data = live(DataEntry::kroType);
   Orvo::Ptr<Collection> list = live(ListEntry::kroType, inList);
   Orvo::Ptr<Collection> request = live(RequestEntry::kroType);
};

struct QueuePairs::Declaration {
   // clang-format off
   static constexpr auto table = Kro::table<QueuePairs, AdminQueue>(
      Kro::entries<21, DataEntry>("data"),
      Kro::entries<22, ListEntry>("list"),
      Kro::entries<23, RequestEntry>("request"),
      Kro::value<31, &QueuePairs::data>("dataControl", Kro::readOnly),
      Kro::value<32, &QueuePairs::list>("listControl", Kro::readOnly),
      Kro::value<33, &QueuePairs::request>("requestControl", Kro::readOnly));
   // clang-format on
};

constinit Kro::KroType const QueuePairs::kroType =
   Kro::entityType<QueuePairs, QueuePairs::Declaration>("QueuePairs", &module);

constexpr Kro::KroType const* types[] = {&SubmissionEntry::kroType, &CompletionEntry::kroType, &DataEntry::kroType,
                                         &ListEntry::kroType,       &DoorbellEntry::kroType,   &RequestEntry::kroType,
                                         &AdminQueue::kroType,      &QueuePairs::kroType};
constinit Kro::KroModule module{"NvmeLook", "examples/08-look", types, {}};

// The agent.

constexpr std::uint32_t depth = 8; // entries of each queue

/// A collection with a group for each queue, and for each group a chunk of its own, which all the fields share.
Memory::Info::Collection describe(
   Orvo::String const& name, std::vector<Orvo::String> const& fields, std::uint32_t entrySize,
   std::vector<Orvo::String> const& queues, bool isIncapableDma = false)
{
   Memory::Info::Collection collection(name);
   for (auto const& field : fields) {
      collection.addNameAttribute(field);
   }
   std::uint32_t id = 0;
   for (auto const& queue : queues) {
      collection.addGroup(id, depth);
      for (auto const& field : fields) {
         collection.createChunk(id, field, Orvo::join("nvme0.", queue, ".", name), depth * entrySize, isIncapableDma);
      }
      ++id;
   }
   return collection;
}

/// The doorbells of so many queues from number `first` on.
Memory::Info::Collection describeDoorbells(std::uint32_t first, std::uint32_t queues)
{
   Memory::Info::Collection collection("doorbell");
   collection.addNameAttribute("positions");
   collection.addGroup(0, queues, first);
   collection.createChunk(0, "positions", "nvme0.doorbells", 8 * sizeof(DoorbellEntry), false);
   return collection;
}

Memory::Info::Mount describeAdminQueue(Orvo::String const& path, Orvo::String const& queue, std::uint32_t number)
{
   Memory::Info::Mount mount(path, "AdminQueue");
   mount.collectionIs(describe("submission", {"command"}, sizeof(SubmissionEntry), {queue}));
   mount.collectionIs(describe("completion", {"status"}, sizeof(CompletionEntry), {queue}));
   mount.collectionIs(describeDoorbells(number, 1));
   return mount;
}

Memory::Info::Mount describeQueuePairs()
{
   std::vector<Orvo::String> const queues{"queue0", "queue1"};
   Memory::Info::Mount mount("controller/queues", "QueuePairs");
   mount.collectionIs(describe("submission", {"command"}, sizeof(SubmissionEntry), queues));
   mount.collectionIs(describe("completion", {"status"}, sizeof(CompletionEntry), queues));
   mount.collectionIs(describe("data", {"buffer"}, sizeof(DataEntry), queues));
   mount.collectionIs(describe("list", {"segments", "metadata"}, sizeof(ListEntry), queues));
   mount.collectionIs(describe("request", {"state"}, sizeof(RequestEntry), queues, true));
   mount.collectionIs(describeDoorbells(1, 2));
   return mount;
}

void run(char const* drawing)
{
   Kro::kroModuleIs(module);
   auto const manager = Memory::Entity::Manager::instantiate("nvme0");
   manager->mount(describeAdminQueue("controller/admin", "admin", 0));
   manager->mount(describeQueuePairs());
   manager->mount(describeAdminQueue("controller/spare", "spare", 3));
   manager->unmount("controller/spare");

   auto const map = Look::gather(*manager);
   std::fputs(Look::textMap(map).c_str(), stdout);
   if (drawing != nullptr) {
      std::ofstream file(drawing);
      file << Look::svgMap(map) << std::flush;
      if (!file) {
         throw std::runtime_error(std::string("cannot write ") + drawing);
      }
   }
}

} // namespace

int main(int count, char** arguments)
{
   try {
      run(count > 1 ? arguments[1] : nullptr);
      return 0;
   } catch (Quorvel::Utility::AffirmException const&) { // the memory cannot be had; the library under it knows why
      std::fprintf(stderr, "%s\n", pinmem_last_error());
   } catch (std::exception const& error) {
      std::fprintf(stderr, "%s\n", error.what());
   }
   return 1;
}
