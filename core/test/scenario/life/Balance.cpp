#include "scenario/life/Balance.h"

#include "scenario/life/PinmemGate.h"

#include <Quorvel/Core/Loader.h>
#include <Quorvel/Core/Memory/Control/Collection.h>
#include <Quorvel/Core/Memory/Control/Detail/StoreChunk.h>
#include <Quorvel/Core/Memory/Entity/Manager.h>

#include <TolSlab/Slab.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace Quorvel::Core::Test {
namespace {

void countObjects(Balance& balance)
{
   namespace Control = Memory::Control;
   namespace Entity = Memory::Entity;
   namespace Info = Memory::Info;
   Kro::AllocTrackTypeInfo const* const trackers[] = {
      &Info::Detail::Group::KroChunkInternal::memAllocationTracker_,
      &Info::Collection::KroGroup::memAllocationTracker_,
      &Info::Mount::KroCollectionInternal::memAllocationTracker_,
      &Control::Detail::Chunk::memAllocationTracker_,
      &Control::Detail::StoreChunk::memAllocationTracker_,
      &Control::Detail::Group::memAllocationTracker_,
      &Control::Detail::Attribute::memAllocationTracker_,
      &Control::Detail::Attribute::KroGroup::memAllocationTracker_,
      &Control::Detail::Attribute::KroChunk::memAllocationTracker_,
      &Control::Collection::memAllocationTracker_,
      &Control::Collection::KroGroup::memAllocationTracker_,
      &Entity::Manager::memAllocationTracker_,
      &Entity::Detail::Orphanage::memAllocationTracker_,
      &Loader::Singleton::memAllocationTracker_,
      &Kro::Dir::memAllocationTracker_,
      &Kro::HashMapGeneric::memAllocationTracker_};
   for (auto const* tracker : trackers) {
      balance[tracker->name] = tracker->liveCount();
      balance[std::string("arrays of ") + tracker->name] = tracker->liveArrayElements();
   }
}

/// Mappings of files below the folder that domain and hugetlbfs are in.
std::uint64_t domainMappings()
{
   std::string const folder = std::getenv("LIFE_FOLDER");
   std::uint64_t count = 0;
   std::ifstream mappings("/proc/self/maps");
   for (std::string line; std::getline(mappings, line);) {
      count += line.find(folder) != line.npos ? 1U : 0U;
   }
   return count;
}

} // namespace

Balance balanceNow()
{
   Balance balance;
   countObjects(balance);
   balance["objects of the slab allocator"] = TolSlab::slabCountersTotal().live;
   balance["blocks that are mapped"] = PinmemGate::instance().stillMapped().size();
   balance["wrong unmaps"] = PinmemGate::instance().mistakes().size();
   balance["mappings of the domain"] = domainMappings();
   std::filesystem::directory_iterator const files("/proc/self/fd");
   balance["open files"] = static_cast<std::uint64_t>(std::distance(begin(files), end(files)));
   return balance;
}

void expectBalance(Balance const& before)
{
   auto const now = balanceNow();
   for (auto const& [what, count] : before) {
      EXPECT_EQ(now.at(what), count) << what;
   }
}

std::size_t ownMemory()
{
   std::ifstream status("/proc/self/status");
   for (std::string word; status >> word;) {
      if (word == "RssAnon:") {
         std::size_t kilobytes = 0;
         status >> kilobytes;
         return kilobytes * 1024;
      }
   }
   return 0;
}

} // namespace Quorvel::Core::Test
