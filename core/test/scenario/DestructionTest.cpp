// How live objects go: each clears its flag of a node that its last user deletes before anything that it holds goes.

#include "support/CallRecorder.h"
#include "support/MemoryDomain.h"

#include <Quorvel/Core/Loader.h>
#include <Quorvel/Core/Memory/Control/Collection.h>
#include <Quorvel/Core/Memory/Control/Detail/StoreChunk.h>
#include <Quorvel/Core/Memory/Entity/Manager.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <string>

namespace {

using Quorvel::Core::Memory::Control::Collection;
using Quorvel::Core::Memory::Control::Detail::StoreChunk;
using Quorvel::Core::Memory::Entity::Manager;
using Quorvel::Core::Memory::Entity::Detail::Orphanage;
using Quorvel::Core::Test::CallRecorder;
using Quorvel::Core::Test::MemoryDomain;

/// A family of plugins, which says nothing of its own when it goes.
class Family final : public Quorvel::Core::Loader::Singleton {
public:
   using Singleton::Singleton;

   Orvo::String prefixPath() const override { return "Family"; }
};

/// @return which objects of the core's clear their flag when the last user of what is made lets go of it, in order
std::string destroyedWith(std::function<Orvo::Ptr<Orvo::Node>()> const& make)
{
   MemoryDomain const domain;
   auto const result = domain.run([&] {
      auto made = make();
      CallRecorder::start();
      made.reset();
      for (auto const& call : CallRecorder::calls(CallRecorder::Kind::destruction, "libQuorvelCore.so")) {
         std::printf("%s\n", call.c_str());
      }
   });
   return result.output + result.errors;
}

TEST(Destruction, ofALiveCollectionGoesBeforeItsFieldsAndThoseBeforeTheirGroups)
{
   auto const destroyed = destroyedWith([]() -> Orvo::Ptr<Orvo::Node> {
      auto ring = Orvo::make<Collection>(nullptr);
      auto const field = ring->attributeIs(2, 16);
      field->groupIs(ring->groupIs(0, 0, 4));
      return ring;
   });

   EXPECT_EQ(
      destroyed, "destroy Quorvel::Core::Memory::Control::Collection\n"
                 "destroy Quorvel::Core::Memory::Control::Detail::Attribute\n"
                 "destroy Quorvel::Core::Memory::Control::Detail::Group\n");
}

TEST(Destruction, ofAStoreGoesBeforeItsChunks)
{
   auto const destroyed = destroyedWith([]() -> Orvo::Ptr<Orvo::Node> {
      auto store = Orvo::make<StoreChunk>("own");
      store->chunkIs("c", 64, true);
      return store;
   });

   EXPECT_EQ(
      destroyed, "destroy Quorvel::Core::Memory::Control::Detail::StoreChunk\n"
                 "destroy Quorvel::Core::Memory::Control::Detail::Chunk\n");
}

TEST(Destruction, ofManagersOrphanagesAndFamiliesClearsTheirFlag)
{
   EXPECT_EQ(
      destroyedWith([] { return Orvo::make<Manager>("own"); }), "destroy Quorvel::Core::Memory::Entity::Manager\n");
   EXPECT_EQ(
      destroyedWith([] { return Orvo::make<Orphanage>("own"); }),
      "destroy Quorvel::Core::Memory::Entity::Detail::Orphanage\n");
   EXPECT_EQ(destroyedWith([] { return Orvo::make<Family>("own"); }), "destroy Quorvel::Core::Loader::Singleton\n");
}

} // namespace
