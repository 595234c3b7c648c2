#pragma once

#include <Quorvel/Core/Export.h>

#include <Kro/Entity.h>

namespace Quorvel::Core::Memory::Entity {

/// Removes unmounted entities for good. For whoever watches the orphanage; the library itself never calls it.
struct QUORVEL_CORE_EXPORT Destructor {
   /// Removes an orphan: its record in the orphanage (published first of all), what its manager keeps of it, the entity
   /// itself from its directory, and upwards every directory that became empty, up to the manager's own. The manager is
   /// the one that `Manager::instantiate` gives for the record's name.
   ///
   /// Chunks stay in the chunk store, mapped. The description stays with the manager where the mount path differs from
   /// the entity's full name, which is nearly always; a later mount replaces it.
   ///
   /// A subscriber that hears of the removed record and mounts the path again mounts in vain: the entity goes all the same.
   ///
   /// Clean up only what the orphanage lists. An entity without record is removed all the same, in the name of the manager
   /// named "": pruning then stops at no other manager's directory, and takes the empty `/<sysname>/zumem` of a living
   /// manager with it, whose later mounts are outside the tree until its `initialize` is called.
   ///
   /// @param entity lives at least until this returns
   /// @throws Kro::ArgNullPointerException when `entity` is null; Utility::AffirmException when the process's exit
   ///         handlers have destroyed the orphanage. Nothing has changed then. What a subscriber throws passes through:
   ///         what was removed before stays removed, the rest stays.
   /// Cost: does not depend on how much else is mounted.
   static void cleanup(Kro::Entity* entity);
};

} // namespace Quorvel::Core::Memory::Entity
