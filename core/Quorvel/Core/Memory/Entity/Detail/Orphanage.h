#pragma once

#include <Quorvel/Core/Export.h>
#include <Quorvel/Core/Memory/Entity/Detail/Info.h>

#include <Kro/AllocTrackTypeInfo.h>
#include <Kro/Entity.h>
#include <Kro/HashMap.h>
#include <Kro/SlabAllocated.h>
#include <Orvo/String.h>

#include <cstdint>

namespace Quorvel::Core::Memory::Entity::Detail {

/// The process's one list of orphans: entities that a manager has unmounted and that nobody has cleaned up yet.
///
/// Changes of `info` are published under the entity, so a watcher subscribes to `publisher()` and decides when an orphan
/// goes (`Destructor::cleanup`). `Manager::orphanage()` gives it.
///
/// Ownership: keeps the records, not the entities; these are keys, and are never looked into. An entity that goes otherwise
/// than by cleaning up leaves its record behind: call `infoDel` first, or the removal is published later under an address
/// where nothing lives. A subscriber that may meet this looks at the record before it touches the entity.
/// Threads: used from one thread at a time.
class QUORVEL_CORE_EXPORT Orphanage final : public Kro::Entity, public Kro::SlabAllocated<Orphanage> {
public:
   struct HN_Info {};

   using Infos = Kro::HashMap<HN_Info, Kro::Entity const*, Info>;

   explicit Orphanage(Orvo::String const& name);
   ~Orphanage() override;

   /// Records an orphan, or replaces its record, and publishes that; an equal record changes and publishes nothing.
   /// @throws Kro::ArgNullPointerException when `entity` is null; nothing has changed. What a subscriber throws passes
   ///         through, and the record stays.
   void infoIs(Kro::Entity const* entity, Info const& info);

   /// Removes the record of that entity and publishes that.
   /// @return the record; a default one, and nothing published, when there was none
   Info infoDel(Kro::Entity const* entity);

   /// Removes all records, one after the other so that each removal is published; at once where nobody has subscribed.
   void infoDelAll();

   /// The records, in an order that depends on the entities' addresses.
   Infos const& info() const noexcept { return info_; }

   /// @return a copy of the record of that entity, or a default one
   Info info(Kro::Entity const* entity) const;

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   static Kro::KroType const kroType;
   static Kro::AllocTrackTypeInfo memAllocationTracker_;

private:
   struct Declaration;
   static constexpr std::int16_t infoNumber = 258;

   void publishInfo(Kro::Entity const* entity);

   Infos info_;
};

} // namespace Quorvel::Core::Memory::Entity::Detail
