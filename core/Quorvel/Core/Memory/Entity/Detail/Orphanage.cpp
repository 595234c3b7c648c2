#include <Quorvel/Core/Memory/Entity/Detail/Orphanage.h>

#include <Quorvel/Core/Model/Modules.h>

#include <Kro/Exception.h>

namespace Quorvel::Core::Memory::Entity::Detail {

constinit Kro::AllocTrackTypeInfo Orphanage::memAllocationTracker_{
   sizeof(Orphanage), "Quorvel::Core::Memory::Entity::Detail::Orphanage"};

Orphanage::Orphanage(Orvo::String const& name) : Entity(name) {}

Orphanage::~Orphanage()
{
   nodeFlagSet(flagDeleteOnLastUser, false);
}

void Orphanage::infoIs(Kro::Entity const* entity, Info const& info)
{
   if (entity == nullptr) {
      Kro::throwMutatorArgNullPointerException(_Manager_3f1d6af35e273bc_kroModule, "info");
   }
   if (auto const* const found = info_.find(entity); found != nullptr && *found == info) {
      return;
   }
   info_.is(entity, info);
   publishInfo(entity);
}

Info Orphanage::infoDel(Kro::Entity const* entity)
{
   auto taken = info_.take(entity);
   if (!taken) {
      return {};
   }
   publishInfo(entity);
   return *std::move(taken);
}

void Orphanage::infoDelAll()
{
   if (!publisher()->hasSubscribers()) {
      info_.clear();
      return;
   }
   // Deleting advances nothing: the iterator finds its place again by key.
   for (auto at = info_.begin(); at != info_.end(); ++at) {
      infoDel(at.key());
   }
}

Info Orphanage::info(Kro::Entity const* entity) const
{
   auto const* const found = info_.find(entity);
   return found != nullptr ? *found : Info();
}

void Orphanage::publishInfo(Kro::Entity const* entity)
{
   // Subscribers get the entity so that they can clean it up.
   publisher()->publishChangeRecursive(infoNumber, "info", const_cast<Kro::Entity*>(entity));
}

} // namespace Quorvel::Core::Memory::Entity::Detail
