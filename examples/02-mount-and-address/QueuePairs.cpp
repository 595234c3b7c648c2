#include "QueuePairs.h"

#include <Kro/KroModule.h>
#include <Kro/Table.h>

#include <algorithm>

namespace {

extern Kro::KroModule module;

/// A live collection, densely packed, with the fields that the type of its entries declares.
Orvo::Ptr<QueuePairs::Collection> live(Kro::KroType const& entryType)
{
   auto collection = Orvo::make<QueuePairs::Collection>(nullptr);
   collection->attributesIs(entryType);
   return collection;
}

} // namespace

// What happens when there is memory.

QueuePairs::QueuePairs(Orvo::String const& name)
   : Entity(name),
     submission(live(SubmissionEntry::kroType)),
     completion(live(CompletionEntry::kroType)),
     data(live(DataEntry::kroType))
{
   submission->synchronizerIs([this](std::uint32_t entry) { synchronize(entry); });
   completion->synchronizerIs([](std::uint32_t /*entry*/) {}); // nothing to bring in step
   data->synchronizerIs([](std::uint32_t /*entry*/) {});
}

void QueuePairs::synchronize(std::uint32_t entry)
{
   auto const identifier = command(entry).identifier;
   if (identifier != 0) {
      inFlight.insert(entry);
      lastIdentifier = std::max(lastIdentifier, identifier);
   }
}

Command& QueuePairs::command(std::uint32_t entry) const
{
   return *reinterpret_cast<Command*>(submission->addressVirtual(SubmissionEntry::commandNumber, entry));
}

Status& QueuePairs::status(std::uint32_t entry) const
{
   return *reinterpret_cast<Status*>(completion->addressVirtual(CompletionEntry::statusNumber, entry));
}

// How the types are declared.

// clang-format off
struct SubmissionEntry::Declaration {
   static constexpr auto table = Kro::table<SubmissionEntry>(
      Kro::field<commandNumber, &SubmissionEntry::command>("command"));
};

struct CompletionEntry::Declaration {
   static constexpr auto table = Kro::table<CompletionEntry>(
      Kro::field<statusNumber, &CompletionEntry::status>("status"));
};

struct DataEntry::Declaration {
   static constexpr auto table = Kro::table<DataEntry>(
      Kro::field<bufferNumber, &DataEntry::buffer>("buffer"));
};

struct QueuePairs::Declaration {
   static constexpr auto table = Kro::table<QueuePairs, Kro::Entity>(
      Kro::entries<1, SubmissionEntry>("submission"),
      Kro::entries<2, CompletionEntry>("completion"),
      Kro::entries<3, DataEntry>("data"),
      Kro::value<4, &QueuePairs::submission>("submissionControl", Kro::readOnly),
      Kro::value<5, &QueuePairs::completion>("completionControl", Kro::readOnly),
      Kro::value<6, &QueuePairs::data>("dataControl", Kro::readOnly));
};

// clang-format on

constinit Kro::KroType const SubmissionEntry::kroType =
   Kro::entryType<SubmissionEntry, SubmissionEntry::Declaration>("SubmissionEntry", &module);
constinit Kro::KroType const CompletionEntry::kroType =
   Kro::entryType<CompletionEntry, CompletionEntry::Declaration>("CompletionEntry", &module);
constinit Kro::KroType const DataEntry::kroType =
   Kro::entryType<DataEntry, DataEntry::Declaration>("DataEntry", &module);
constinit Kro::KroType const QueuePairs::kroType =
   Kro::entityType<QueuePairs, QueuePairs::Declaration>("QueuePairs", &module);

static_assert(sizeof(SubmissionEntry) == 64 && sizeof(CompletionEntry) == 16 && sizeof(DataEntry) == 4096);

namespace {

constexpr Kro::KroType const* types[] = {
   &SubmissionEntry::kroType, &CompletionEntry::kroType, &DataEntry::kroType, &QueuePairs::kroType};
constinit Kro::KroModule module{"Nvme", "examples/02-mount-and-address", types, {}};

[[maybe_unused]] bool const isRegistered = (Kro::kroModuleIs(module), true);

} // namespace
