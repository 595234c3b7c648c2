#include "scenario/life/Cast.h"

#include "support/MessageOf.h"

#include <Quorvel/Core/Memory/Control/Detail/StoreChunk.h>
#include <Quorvel/Core/Memory/Entity/Destructor.h>

#include <Kro/Exception.h>
#include <Kro/GenericIf.h>

#include <gtest/gtest.h>

#include <vector>

namespace Quorvel::Core::Test {

using Memory::Control::Detail::StoreChunk;
using Memory::Entity::Destructor;
using Memory::Entity::Manager;

namespace {

Memory::Info::Mount describeNic(Orvo::String const& path)
{
   Memory::Info::Collection buffer("buffer");
   buffer.addGroup(0, (1U << 20U) / sizeof(BufferEntry));
   buffer.addNameAttribute("bytes");
   buffer.createChunk(0, "bytes", "nic.bytes", 1U << 20U, false);
   Memory::Info::Mount mount(path, "TestMount");
   mount.collectionIs(describeRing("nic"));
   mount.collectionIs(buffer);
   return mount;
}

Memory::Info::Mount describeDisk()
{
   Memory::Info::Collection ring("ring");
   ring.addGroup(0, 4);
   ring.addGroup(1, 4, 8);
   for (auto const* field : {"command", "status", "tail"}) {
      ring.addNameAttribute(field);
   }
   for (std::uint32_t group = 0; group < 2; ++group) {
      ring.createChunk(group, "command", Orvo::join("disk.command.", group), 4 * sizeof(RingEntry::command), false);
      ring.createChunk(group, "status", Orvo::join("nic.status.", group), 4 * sizeof(RingEntry::status), false);
      ring.createChunk(group, "tail", Orvo::join("disk.tail.", group), 4 * sizeof(RingEntry::tail), true);
   }
   Memory::Info::Collection buffer("buffer");
   buffer.addGroup(0, 1);
   buffer.addNameAttribute("bytes");
   buffer.createChunk(0, "bytes", "disk.command.0", sizeof(BufferEntry), false);
   Memory::Info::Mount mount("queues", "TestMount");
   mount.collectionIs(ring);
   mount.collectionIs(buffer);
   return mount;
}

Memory::Info::Mount describePlug()
{
   Memory::Info::Collection queue("queue");
   queue.addGroup(0, 4);
   queue.addNameAttribute("descriptor");
   queue.createChunk(0, "descriptor", "plug.descriptor", 512, false);
   Memory::Info::Mount mount("/bay/0/queues", "PluginMount"); // below a directory without name
   mount.collectionIs(queue);
   return mount;
}

} // namespace

Agent::Agent(Orvo::String const& path)
   : nicDescription(describeNic(path)), diskDescription(describeDisk()), plugDescription(describePlug())
{}

void Agent::mountAll() const
{
   nic->mount(nicDescription);
   disk->mount(diskDescription);
   plug->mount(plugDescription);
}

Orvo::Ptr<TestMount> Agent::nicMount() const
{
   return Orvo::dynamicCast<TestMount>(nic->entify(nicDescription.path()));
}

Orvo::Ptr<TestMount> Agent::diskMount() const
{
   return Orvo::dynamicCast<TestMount>(disk->entify(diskDescription.path()));
}

void Agent::dropAll() const
{
   nic->unmount(nicDescription.path());
   disk->unmount(diskDescription.path());
   plug->unmount(plugDescription.path());
   cleanUpOrphans();
   for (auto const& manager : {nic, disk, plug}) {
      manager->infoMountDelAll();
   }
   StoreChunk::instance()->chunkDelAll();
   EXPECT_TRUE(StoreChunk::instance()->chunk().empty());
}

Orvo::Ptr<Memory::Control::Collection> liveOf(Kro::Entity& entity, Orvo::String const& name)
{
   Orvo::Ptr<Memory::Control::Collection> live;
   auto const& attribute = entity.fwkType().attr(Memory::Control::Collection::composeName(name));
   Kro::GenericIf::ofNode(entity).get(attribute.number, Kro::GenericIf::of(live));
   return live;
}

void forEachPlace(
   Manager const& manager, Memory::Info::Mount const& described, std::function<void(Place const& place)> const& call)
{
   auto const entity = manager.entify(described.path());
   for (auto const& collection : described.collectionInternal()) {
      auto const live = liveOf(*entity, collection.name());
      for (auto const& group : collection.group()) {
         auto const& chunks = group.chunkInternal();
         for (auto at = chunks.begin(); at != chunks.end(); ++at) {
            auto const size = live->attribute(at.key())->size();
            for (std::uint32_t i = 0; i < group.size(); ++i) {
               auto const entry = group.head() + i;
               auto const offsetter = live->offsetter();
               auto const offset = offsetter != nullptr ? offsetter(group.head(), entry, size) : i * size;
               call({std::string(at->name()), offset, live.get(), at.key(), entry});
            }
         }
      }
   }
}

void forEachPlace(Agent const& agent, std::function<void(Place const& place)> const& call)
{
   forEachPlace(*agent.nic, agent.nicDescription, call);
   forEachPlace(*agent.disk, agent.diskDescription, call);
   forEachPlace(*agent.plug, agent.plugDescription, call);
}

void expectAddresses(Manager const& manager, Memory::Info::Mount const& described)
{
   auto const store = StoreChunk::instance();
   forEachPlace(manager, described, [&](Place const& place) {
      auto const chunk = store->chunk(place.block);
      bool const isRight =
         chunk != nullptr &&
         place.live->addressVirtual(place.attribute, place.entry) == chunk->addressVirtual() + place.offset &&
         place.live->addressBus(place.attribute, place.entry) ==
            (chunk->isIncapableDma() ? 0 : chunk->addressBus() + place.offset);
      EXPECT_TRUE(isRight) << place.block << " entry " << place.entry;
   });
   auto const entity = manager.entify(described.path());
   for (auto const& collection : described.collectionInternal()) {
      auto const live = liveOf(*entity, collection.name());
      std::uint32_t entries = 0;
      std::uint32_t end = 0;
      for (auto const& group : collection.group()) {
         entries += group.size();
         end = group.head() + group.size();
      }
      EXPECT_EQ(live->capacity(), entries) << collection.name();
      for (auto const& attribute : live->attribute()) {
         EXPECT_EQ(
            messageOf<Kro::RangeException>([&] { live->addressBus(attribute.id(), end); }),
            "index " + std::to_string(end) + " is out of range.");
      }
   }
}

std::uint32_t stampOf(Place const& place)
{
   auto const stamp = std::hash<std::string>()(place.block + '+' + std::to_string(place.offset));
   return static_cast<std::uint32_t>(stamp) | 1U; // never 0, which is free
}

void stampAll(Agent const& agent)
{
   forEachPlace(agent, [](Place const& place) { place.word() = stampOf(place); });
}

void expectStamps(Agent const& agent, std::function<bool(Place const& place)> const& isExcepted)
{
   forEachPlace(agent, [&](Place const& place) {
      if (!isExcepted || !isExcepted(place)) {
         EXPECT_EQ(place.word(), stampOf(place)) << place.block << " at " << place.offset;
      }
   });
}

std::map<std::string, std::uint64_t> addressesOf(Agent const& agent)
{
   std::map<std::string, std::uint64_t> addresses;
   forEachPlace(agent, [&](Place const& place) {
      if (place.offset == 0) {
         addresses[place.block] = StoreChunk::instance()->chunk(place.block)->addressBus();
      }
   });
   return addresses;
}

void cleanUpOrphans()
{
   std::vector<Orvo::Ptr<Kro::Entity>> orphans;
   auto const orphanage = Manager::orphanage();
   for (auto at = orphanage->info().begin(); at != orphanage->info().end(); ++at) {
      orphans.emplace_back(const_cast<Kro::Entity*>(at.key()));
   }
   for (auto const& orphan : orphans) {
      Destructor::cleanup(orphan.get());
   }
}

} // namespace Quorvel::Core::Test
