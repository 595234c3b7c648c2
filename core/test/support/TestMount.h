#pragma once

#include <Quorvel/Core/Memory/Control/Collection.h>
#include <Quorvel/Core/Memory/Info/Mount.h>

#include <Kro/Dir.h>
#include <Kro/KroModule.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace Quorvel::Core::Test {

/// An entry of a ring: three fields of 16, 4 and 12 bytes, under numbers that are not dense.
struct RingEntry {
   std::array<std::uint64_t, 2> command;
   std::uint32_t status;
   std::array<std::uint32_t, 3> tail;

   static constexpr int commandNumber = 2;
   static constexpr int statusNumber = 3;
   static constexpr int tailNumber = 9;
   struct Declaration;
   static Kro::KroType const kroType;
};

/// An entry that has a field of its own besides those of a ring's.
struct LongRingEntry : RingEntry {
   std::uint64_t extra;

   static constexpr int extraNumber = 12;
   struct Declaration;
   static Kro::KroType const kroType;
};

/// An entry of a data buffer: one field of 64 bytes.
struct BufferEntry {
   std::array<std::byte, 64> bytes;

   static constexpr int bytesNumber = 2;
   struct Declaration;
   static Kro::KroType const kroType;
};

/// The mount type of the tests: the collections `ring` (number 7) and `buffer` (number -3), which come to life densely
/// packed, and `note`, which is no collection.
class TestMount : public Kro::Entity {
public:
   using Collection = Memory::Control::Collection;
   static constexpr int ringNumber = 7;
   static constexpr int bufferNumber = -3;

   explicit TestMount(Orvo::String const& name);
   ~TestMount() override;

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   static Kro::KroType const kroType;

   /// The synchronizer's calls: "ring 3", and behind it the capacities of buffer and ring at that time: " (4, 8)".
   std::vector<std::string> synchronized;

   Orvo::Ptr<Collection> ring;
   Orvo::Ptr<Collection> buffer;

private:
   struct Declaration;
   Orvo::Ptr<Collection> live(Kro::KroType const& entryType, char const* name);

   Orvo::String note_;
};

/// Mount types that cannot be mounted, each named after what it lacks. Their one collection is `ring`.
template <class Derived>
class OddMount : public Kro::Entity {
public:
   explicit OddMount(Orvo::String const& name) : Entity(name) {}

   ~OddMount() override { nodeFlagSet(flagDeleteOnLastUser, false); }

   Kro::TypeData const& typeData() const noexcept override { return Derived::kroType; }
};

struct MountWithoutControl final : OddMount<MountWithoutControl> {
   using OddMount::OddMount;
   struct Declaration;
   static Kro::KroType const kroType;
};

struct MountWithTextAsControl final : OddMount<MountWithTextAsControl> {
   using OddMount::OddMount;
   struct Declaration;
   static Kro::KroType const kroType;
   Orvo::String ring = "no live collection";
};

struct MountWithNullControl final : OddMount<MountWithNullControl> {
   using OddMount::OddMount;
   struct Declaration;
   static Kro::KroType const kroType;
   Orvo::Ptr<Memory::Control::Collection> ring;
};

/// Its live collection has `command` alone.
struct MountWithoutStatus final : OddMount<MountWithoutStatus> {
   explicit MountWithoutStatus(Orvo::String const& name);
   struct Declaration;
   static Kro::KroType const kroType;
   Orvo::Ptr<Memory::Control::Collection> ring;
};

struct MountWithoutSynchronizer final : OddMount<MountWithoutSynchronizer> {
   explicit MountWithoutSynchronizer(Orvo::String const& name);
   struct Declaration;
   static Kro::KroType const kroType;
   Orvo::Ptr<Memory::Control::Collection> ring;
};

/// @throws std::runtime_error  "no device" whenever it is made
struct MountThatThrows final : OddMount<MountThatThrows> {
   explicit MountThatThrows(Orvo::String const& name);
   struct Declaration;
   static Kro::KroType const kroType;
};

/// A directory that carries a live collection, so that more can be mounted below it.
class DirectoryMount final : public Kro::Dir {
public:
   explicit DirectoryMount(Orvo::String const& name);

   ~DirectoryMount() override { nodeFlagSet(flagDeleteOnLastUser, false); }

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   static Kro::KroType const kroType;
   struct Declaration;
   Orvo::Ptr<Memory::Control::Collection> ring;
};

/// Holds all of the above; registered before `main`.
extern Kro::KroModule testModule;

/// A collection `ring` of `groups` groups of 4 entries each, every field in a chunk "<prefix>.<field>.<group>".
Memory::Info::Collection describeRing(Orvo::String const& prefix, std::uint32_t groups = 2);

/// A collection `buffer` of one group of 2 entries, in the chunk "<prefix>.bytes.0".
Memory::Info::Collection describeBuffer(Orvo::String const& prefix);

/// Both of them, mounted as a TestMount.
Memory::Info::Mount describeMount(Orvo::String const& path, Orvo::String const& prefix);

/// A ring of one group of 4 entries, fields `command` and `status`, mounted as the type of that name.
Memory::Info::Mount describeOddMount(Orvo::String const& path, Orvo::String const& type);

} // namespace Quorvel::Core::Test
