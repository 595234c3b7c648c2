#pragma once

#include "support/TestMount.h"

#include <Quorvel/Core/Memory/Entity/Manager.h>

#include <cstdint>
#include <functional>
#include <map>
#include <string>

namespace Quorvel::Core::Test {

/// The agent of the story: three managers with a mount each.
///
///     nic    ring of 2 x 4 entries; a buffer of 1 MiB, which has memory of its own
///     disk   ring of 2 x 4 entries with a gap between them, whose statuses are those of the nic and whose tails lie in
///            ordinary memory; a buffer of one entry, which is the same memory as the commands of the first group
///     plug   a queue of 4 entries, of a type that comes with a plugin and lays them out itself
struct Agent {
   /// @param path of the nic's mount
   explicit Agent(Orvo::String const& path);

   void mountAll() const;

   Orvo::Ptr<TestMount> nicMount() const;
   Orvo::Ptr<TestMount> diskMount() const;

   /// Nothing is mounted, orphaned, described or mapped any more.
   void dropAll() const;

   Orvo::Ptr<Memory::Entity::Manager> nic = Memory::Entity::Manager::instantiate("nic");
   Orvo::Ptr<Memory::Entity::Manager> disk = Memory::Entity::Manager::instantiate("disk");
   Orvo::Ptr<Memory::Entity::Manager> plug = Memory::Entity::Manager::instantiate("plug");
   Memory::Info::Mount nicDescription;
   Memory::Info::Mount diskDescription;
   Memory::Info::Mount plugDescription;
};

/// A field of an entry, where the description says that it is and where the live collection says so.
struct Place {
   std::string block;
   std::uint32_t offset; ///< in the block, in bytes
   Memory::Control::Collection const* live;
   std::int32_t attribute;
   std::uint32_t entry;

   std::uint32_t& word() const { return *reinterpret_cast<std::uint32_t*>(live->addressVirtual(attribute, entry)); }
};

/// Calls for every field of every entry that is described and mounted.
void forEachPlace(
   Memory::Entity::Manager const& manager, Memory::Info::Mount const& described,
   std::function<void(Place const& place)> const& call);

void forEachPlace(Agent const& agent, std::function<void(Place const& place)> const& call);

/// Every address of the mount is the block's and the offset, and behind the last entry there is none.
void expectAddresses(Memory::Entity::Manager const& manager, Memory::Info::Mount const& described);

/// What the story leaves in the first word of every field; the same for all who share it.
std::uint32_t stampOf(Place const& place);

void stampAll(Agent const& agent);
void expectStamps(Agent const& agent, std::function<bool(Place const& place)> const& isExcepted = {});

/// Name and bus address of every block that is described.
std::map<std::string, std::uint64_t> addressesOf(Agent const& agent);

/// Takes the orphan records one by one and cleans up.
void cleanUpOrphans();

/// Live collection of that name, found by reflection as a mount finds it.
Orvo::Ptr<Memory::Control::Collection> liveOf(Kro::Entity& entity, Orvo::String const& name);

} // namespace Quorvel::Core::Test
