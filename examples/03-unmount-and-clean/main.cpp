// An agent lets two mounts go and takes one of them back. A watcher removes what is left for good, when it suits it.

#include "../02-mount-and-address/QueuePairs.h"

#include <Quorvel/Core/Memory/Control/Detail/StoreChunk.h>
#include <Quorvel/Core/Memory/Entity/Destructor.h>
#include <Quorvel/Core/Memory/Entity/Manager.h>
#include <Quorvel/Core/Memory/Info/Mount.h>

#include <Kro/Dir.h>
#include <Orvo/Subscriber.h>
#include <Quorvel/Utility/Affirm.h>
#include <pinmem/pinmem.h>

#include <cstdint>
#include <cstdio>
#include <exception>
#include <string>
#include <utility>
#include <vector>

namespace {

namespace Memory = Quorvel::Core::Memory;
using Memory::Control::Detail::StoreChunk;
using Memory::Entity::Manager;

constexpr std::uint32_t depth = 8;

/// A mount of one submission queue, whose commands lie in one chunk.
Memory::Info::Mount describe(char const* path, char const* chunk)
{
   Memory::Info::Collection submission("submission");
   submission.addNameAttribute("command");
   submission.addGroup(0, depth);
   submission.createChunk(0, "command", chunk, depth * sizeof(SubmissionEntry), false);
   Memory::Info::Mount mount(path, "QueuePairs");
   mount.collectionIs(submission);
   return mount;
}

/// Hears of orphans as they come and go, and cleans up those that still are orphans when its turn has come.
class Watcher {
public:
   Watcher() : subscriber_(*orphanage_->publisher(), [this](Orvo::Change const& change) { hear(change); }) {}

   void cleanUp()
   {
      for (auto const& entity : std::exchange(waiting_, {})) {
         if (auto const record = orphanage_->info(entity.get())) { // it may have been adopted meanwhile
            std::printf("  watcher: cleans up %s\n", record.path().c_str());
            Memory::Entity::Destructor::cleanup(entity.get());
         }
      }
   }

private:
   /// Called in the middle of `unmount`, `mount` and `cleanup`. The record says which way the entity went.
   void hear(Orvo::Change const& change)
   {
      auto* const entity = static_cast<Kro::Entity*>(change.key.entity()); // every key of the orphanage is an entity
      if (auto const record = orphanage_->info(entity)) {
         std::printf("  watcher: %s of '%s' is an orphan\n", record.path().c_str(), record.sysname().c_str());
         waiting_.emplace_back(entity);
      } else {
         std::printf("  watcher: %s is no orphan any more\n", entity->fullName().c_str());
      }
   }

   Orvo::Ptr<Memory::Entity::Detail::Orphanage> orphanage_ = Manager::orphanage();
   std::vector<Orvo::Ptr<Kro::Entity>> waiting_; // references, so that none of them goes before its turn
   Orvo::CallbackSubscriber subscriber_;
};

void printTree(Kro::Entity const& entity, int indent = 2)
{
   auto const* name = entity.parent() != nullptr ? entity.name().c_str() : "/";
   std::printf("%*s%s (%s)\n", indent, "", name, std::string(entity.fwkType().name).c_str());
   if (auto const* directory = dynamic_cast<Kro::Dir const*>(&entity)) {
      for (auto const& child : directory->entity()) {
         printTree(*child, indent + 2);
      }
   }
}

void printWhatIsLeft(Manager const& manager)
{
   for (auto const* chunk : {"nvme0.admin", "nvme0.io"}) {
      auto const isMapped = StoreChunk::instance()->chunk(chunk) != nullptr;
      std::printf("  chunk %s: %s\n", chunk, isMapped ? "in the store, mapped" : "not in the store");
   }
   for (auto const* path : {"controller/admin/queues", "controller/io/queues"}) {
      auto const isStored = manager.infoMount().contains(path);
      std::printf("  description of %s: %s\n", path, isStored ? "stored" : "not stored");
   }
}

void printCommand(QueuePairs const& pairs, std::uint32_t entry)
{
   auto const bus = pairs.submission->addressBus(SubmissionEntry::commandNumber, entry);
   std::printf(
      "  entry %u at bus address 0x%016lx: command %u; %zu in flight\n", entry, bus, pairs.command(entry).identifier,
      pairs.inFlight.size());
}

void run()
{
   auto const admin = describe("controller/admin/queues", "nvme0.admin");
   auto const io = describe("controller/io/queues", "nvme0.io");
   auto const manager = Manager::instantiate("nvme0");
   auto const queues = [&] { return Orvo::dynamicCast<QueuePairs>(manager->entify(io.path())); };
   Watcher watcher;

   std::puts("mount both");
   manager->mount(admin);
   manager->mount(io);
   printTree(*Kro::globalDir());
   queues()->command(3).identifier = 41;
   queues()->inFlight = {3};
   printCommand(*queues(), 3);

   std::puts("unmount both: nothing is destroyed");
   auto const* const before = queues().get();
   manager->unmount(admin.path());
   manager->unmount(io.path());
   printTree(*Kro::globalDir());

   std::puts("mount one of them again: it is adopted back");
   manager->mount(io);
   std::printf("  %s entity\n", queues().get() == before ? "the same" : "another");
   printCommand(*queues(), 3);

   std::puts("the watcher's turn: the other one is removed, and its empty directory with it");
   watcher.cleanUp();
   printTree(*Kro::globalDir());

   std::puts("unmount, and the watcher's turn: now nothing is left but the manager's own directory");
   manager->unmount(io.path());
   watcher.cleanUp();
   printTree(*Kro::globalDir());
   printWhatIsLeft(*manager);

   std::puts("take the one chunk out of the store, then all, and forget the descriptions");
   StoreChunk::instance()->chunkDel("nvme0.admin");
   printWhatIsLeft(*manager);
   StoreChunk::instance()->chunkDelAll();
   manager->infoMountDelAll();
   printWhatIsLeft(*manager);

   std::puts("mount once more: a new entity over the same memory, and the synchronizer finds the command");
   manager->mount(io);
   printCommand(*queues(), 3);
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
