#include "support/TestMount.h"

#include <Kro/Table.h>

#include <stdexcept>

namespace Quorvel::Core::Test {

using Memory::Control::Collection;

struct RingEntry::Declaration {
   static constexpr auto table = Kro::table<RingEntry>(
      Kro::field<commandNumber, &RingEntry::command>("command"), Kro::field<statusNumber, &RingEntry::status>("status"),
      Kro::field<tailNumber, &RingEntry::tail>("tail"));
};

constinit Kro::KroType const RingEntry::kroType =
   Kro::entryType<RingEntry, RingEntry::Declaration>("RingEntry", &testModule);

struct LongRingEntry::Declaration {
   static constexpr auto table =
      Kro::table<LongRingEntry, RingEntry>(Kro::field<extraNumber, &LongRingEntry::extra>("extra"));
};

constinit Kro::KroType const LongRingEntry::kroType =
   Kro::entryType<LongRingEntry, LongRingEntry::Declaration>("LongRingEntry", &testModule);

struct BufferEntry::Declaration {
   static constexpr auto table = Kro::table<BufferEntry>(Kro::field<bytesNumber, &BufferEntry::bytes>("bytes"));
};

constinit Kro::KroType const BufferEntry::kroType =
   Kro::entryType<BufferEntry, BufferEntry::Declaration>("BufferEntry", &testModule);

struct TestMount::Declaration {
   static constexpr auto table = Kro::table<TestMount, Kro::Entity>(
      Kro::entries<bufferNumber, BufferEntry>("buffer"), Kro::entries<ringNumber, RingEntry>("ring"),
      Kro::value<300, &TestMount::note_>("note"), Kro::value<301, &TestMount::ring>("ringControl", Kro::readOnly),
      Kro::value<302, &TestMount::buffer>("bufferControl", Kro::readOnly));
};

constinit Kro::KroType const TestMount::kroType =
   Kro::entityType<TestMount, TestMount::Declaration>("TestMount", &testModule);

TestMount::TestMount(Orvo::String const& name)
   : Entity(name), ring(live(RingEntry::kroType, "ring")), buffer(live(BufferEntry::kroType, "buffer"))
{}

TestMount::~TestMount()
{
   nodeFlagSet(flagDeleteOnLastUser, false);
}

Orvo::Ptr<Collection> TestMount::live(Kro::KroType const& entryType, char const* name)
{
   auto collection = Orvo::make<Collection>(nullptr);
   collection->attributesIs(entryType);
   collection->synchronizerIs([this, name](std::uint32_t index) {
      synchronized.push_back(
         std::string(name) + " " + std::to_string(index) + " (" + std::to_string(buffer->capacity()) + ", " +
         std::to_string(ring->capacity()) + ")");
   });
   return collection;
}

struct MountWithoutControl::Declaration {
   static constexpr auto table = Kro::table<MountWithoutControl, Kro::Entity>(Kro::entries<7, RingEntry>("ring"));
};

constinit Kro::KroType const MountWithoutControl::kroType =
   Kro::entityType<MountWithoutControl, MountWithoutControl::Declaration>("MountWithoutControl", &testModule);

struct MountWithTextAsControl::Declaration {
   static constexpr auto table = Kro::table<MountWithTextAsControl, Kro::Entity>(
      Kro::entries<7, RingEntry>("ring"), Kro::value<301, &MountWithTextAsControl::ring>("ringControl"));
};

constinit Kro::KroType const MountWithTextAsControl::kroType =
   Kro::entityType<MountWithTextAsControl, MountWithTextAsControl::Declaration>("MountWithTextAsControl", &testModule);

struct MountWithNullControl::Declaration {
   static constexpr auto table = Kro::table<MountWithNullControl, Kro::Entity>(
      Kro::entries<7, RingEntry>("ring"), Kro::value<301, &MountWithNullControl::ring>("ringControl"));
};

constinit Kro::KroType const MountWithNullControl::kroType =
   Kro::entityType<MountWithNullControl, MountWithNullControl::Declaration>("MountWithNullControl", &testModule);

struct MountWithoutStatus::Declaration {
   static constexpr auto table = Kro::table<MountWithoutStatus, Kro::Entity>(
      Kro::entries<7, RingEntry>("ring"), Kro::value<301, &MountWithoutStatus::ring>("ringControl"));
};

constinit Kro::KroType const MountWithoutStatus::kroType =
   Kro::entityType<MountWithoutStatus, MountWithoutStatus::Declaration>("MountWithoutStatus", &testModule);

MountWithoutStatus::MountWithoutStatus(Orvo::String const& name) : OddMount(name), ring(Orvo::make<Collection>(nullptr))
{
   ring->attributeIs(RingEntry::commandNumber, sizeof(RingEntry::command));
   ring->synchronizerIs([](std::uint32_t /*index*/) {});
}

struct MountWithoutSynchronizer::Declaration {
   static constexpr auto table = Kro::table<MountWithoutSynchronizer, Kro::Entity>(
      Kro::entries<7, RingEntry>("ring"), Kro::value<301, &MountWithoutSynchronizer::ring>("ringControl"));
};

constinit Kro::KroType const MountWithoutSynchronizer::kroType =
   Kro::entityType<MountWithoutSynchronizer, MountWithoutSynchronizer::Declaration>(
      "MountWithoutSynchronizer", &testModule);

MountWithoutSynchronizer::MountWithoutSynchronizer(Orvo::String const& name)
   : OddMount(name), ring(Orvo::make<Collection>(nullptr))
{
   ring->attributesIs(RingEntry::kroType);
}

struct MountThatThrows::Declaration {
   static constexpr auto table = Kro::table<MountThatThrows, Kro::Entity>(Kro::entries<7, RingEntry>("ring"));
};

constinit Kro::KroType const MountThatThrows::kroType =
   Kro::entityType<MountThatThrows, MountThatThrows::Declaration>("MountThatThrows", &testModule);

MountThatThrows::MountThatThrows(Orvo::String const& name) : OddMount(name)
{
   throw std::runtime_error("no device");
}

struct DirectoryMount::Declaration {
   static constexpr auto table = Kro::table<DirectoryMount, Kro::Dir>(
      Kro::entries<7, RingEntry>("ring"), Kro::value<301, &DirectoryMount::ring>("ringControl"));
};

constinit Kro::KroType const DirectoryMount::kroType =
   Kro::entityType<DirectoryMount, DirectoryMount::Declaration>("DirectoryMount", &testModule);

DirectoryMount::DirectoryMount(Orvo::String const& name) : Dir(name), ring(Orvo::make<Collection>(nullptr))
{
   ring->attributesIs(RingEntry::kroType);
   ring->synchronizerIs([](std::uint32_t /*index*/) {});
}

namespace {

constexpr Kro::KroType const* types[] = {
   &RingEntry::kroType,
   &LongRingEntry::kroType,
   &BufferEntry::kroType,
   &TestMount::kroType,
   &MountWithoutControl::kroType,
   &MountWithTextAsControl::kroType,
   &MountWithNullControl::kroType,
   &MountWithoutStatus::kroType,
   &MountWithoutSynchronizer::kroType,
   &MountThatThrows::kroType,
   &DirectoryMount::kroType};

} // namespace

constinit Kro::KroModule testModule{"CoreTest", "core/test/support/TestMount", types, {}};

namespace {

[[maybe_unused]] bool const isRegistered = [] {
   Kro::kroModuleIs(testModule);
   return true;
}();

void addField(
   Memory::Info::Collection& collection, Orvo::String const& prefix, Orvo::String const& field, std::uint32_t size)
{
   collection.addNameAttribute(field);
   for (auto const& group : collection.group()) {
      collection.createChunk(
         group.id(), field, Orvo::join(prefix, ".", field, ".", group.id()), group.size() * size, false);
   }
}

} // namespace

Memory::Info::Collection describeRing(Orvo::String const& prefix, std::uint32_t groups)
{
   Memory::Info::Collection collection("ring");
   for (std::uint32_t id = 0; id < groups; ++id) {
      collection.addGroup(id, 4);
   }
   addField(collection, prefix, "command", sizeof(RingEntry::command));
   addField(collection, prefix, "status", sizeof(RingEntry::status));
   addField(collection, prefix, "tail", sizeof(RingEntry::tail));
   return collection;
}

Memory::Info::Collection describeBuffer(Orvo::String const& prefix)
{
   Memory::Info::Collection collection("buffer");
   collection.addGroup(0, 2);
   addField(collection, prefix, "bytes", sizeof(BufferEntry::bytes));
   return collection;
}

Memory::Info::Mount describeMount(Orvo::String const& path, Orvo::String const& prefix)
{
   Memory::Info::Mount mount(path, "TestMount");
   mount.collectionIs(describeRing(prefix));
   mount.collectionIs(describeBuffer(prefix));
   return mount;
}

Memory::Info::Mount describeOddMount(Orvo::String const& path, Orvo::String const& type)
{
   Memory::Info::Collection collection("ring");
   collection.addGroup(0, 4);
   addField(collection, "odd", "command", sizeof(RingEntry::command));
   addField(collection, "odd", "status", sizeof(RingEntry::status));
   Memory::Info::Mount mount(path, type);
   mount.collectionIs(collection);
   return mount;
}

} // namespace Quorvel::Core::Test
