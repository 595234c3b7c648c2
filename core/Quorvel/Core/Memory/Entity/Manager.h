#pragma once

#include <Quorvel/Core/Export.h>
#include <Quorvel/Core/Memory/Entity/Detail/Orphanage.h>
#include <Quorvel/Core/Memory/Info/Mount.h>

#include <Kro/AllocTrackTypeInfo.h>
#include <Kro/Dir.h>
#include <Kro/HashMap.h>
#include <Kro/SlabAllocated.h>
#include <Orvo/Node.h>
#include <Orvo/Ptr.h>
#include <Orvo/String.h>

namespace Quorvel::Core::Memory::Entity {

/// Turns descriptions of memory into live entities, below its own directory `/<sysname>/zumem` of the entity tree.
///
/// A path is unmounted, mounted, or holds an orphan: an entity that was unmounted and is still alive. `mount` of an orphan's
/// path adopts it back; `Destructor::cleanup` removes it.
///
/// Ownership: keeps its directory and copies of the descriptions that it mounted; orphans are borrowed from the tree. A
/// manager made by `instantiate` lives until the process exits; what it mounted outlives it. Threads: used, like the
/// registry and the orphanage, from one thread at a time.
class QUORVEL_CORE_EXPORT Manager final : public Orvo::Node, public Kro::SlabAllocated<Manager> {
   struct PathOf {
      Orvo::String const& operator()(Info::Mount const& mount) const noexcept { return mount.path(); }
   };

public:
   struct HN_InfoMount {};

   struct HN_Orphan {};

   using InfoMounts = Kro::HashMap<HN_InfoMount, Orvo::String, Info::Mount, PathOf>;
   using Orphans = Kro::HashMap<HN_Orphan, Orvo::String, Kro::Entity*>;

   /// Makes a manager that the registry does not know; `instantiate` is what agents call.
   /// @throws Kro::NewEntityArgsException when `sysname` holds a '/'
   explicit Manager(Orvo::String const& sysname);
   ~Manager() override;

   /// @return a new manager, unknown to the registry
   static Orvo::Ptr<Manager> ManagerIs(Orvo::String const& name);

   /// @return the process's one manager of that name, made by the first call. Once the process's exit handlers have destroyed
   ///         the registry: a manager of its own for each call.
   /// @throws like the constructor; nothing is registered then
   static Orvo::Ptr<Manager> instantiate(Orvo::String const& name);

   /// Finds or makes the manager's directory. Called by the constructor.
   void initialize();

   /// Builds the described entities, live collections and chunks.
   ///
   /// An orphan at the path is adopted back first, whatever follows: it leaves `orphan` and the orphanage, which publishes
   /// that. Then an equal description changes nothing, also when mounting it the first time failed half-way: what was
   /// built then is taken for the whole. `isZeroedMemoryOnMounting` takes no part in that comparison.
   ///
   /// @param mount must not change while it is mounted: subscribers and synchronizers run meanwhile
   /// @throws std::invalid_argument when something else stands at the path; nothing but the adoption has happened.
   ///         Utility::AffirmException when `orphan` holds another entity under the found one's name (see `orphan`); it
   ///         has been taken out. Otherwise like `mountInternal`.
   /// Cost: of an equal description a walk over both, without a copy.
   void mount(Info::Mount const& mount);

   /// Makes the entity at the path an orphan: it enters `orphan`, and the orphanage, which publishes that. Nothing is
   /// destroyed: entity, directories, live collections, chunks and the stored description stay as they are. Does nothing
   /// where there is no entity, or where one of that full name is an orphan already. Whoever made the entity: what is
   /// unmounted need not have been mounted.
   /// @throws Utility::AffirmException when the process's exit handlers have destroyed the orphanage, std::bad_alloc; nothing
   ///         has changed. What a subscriber throws passes through, and the entity is an orphan.
   void unmount(Orvo::String const& path);

   /// Builds the entities of one mount without asking what is there.
   ///
   /// @throws std::invalid_argument when a piece of the path is no directory; Kro::AttrNotFoundException, Kro::TypeException
   ///         when the mounted type has no attribute N + "Control" that holds a Control::Collection for a collection N, or
   ///         that lacks a described field. What the chunk store, the live collections and the framework throw passes
   ///         through. The description and what was built so far stay.
   void mountInternal(Info::Mount const& mount);

   /// @return the entity at the path below the manager's directory
   /// @throws Kro::EntityNotFoundException when there is none
   Orvo::Ptr<Kro::Entity> entify(Orvo::String const& path) const;

   /// The descriptions mounted through this manager, by path, in hash order.
   InfoMounts const& infoMount() const noexcept { return infoMount_; }

   /// @return a copy of the description mounted at the path, or `Info::Mount("", "")`
   Info::Mount infoMount(Orvo::String const& path) const;
   /// Stores a copy under the description's path.
   void infoMountIs(Info::Mount const& mount);
   /// @return the removed description, or `Info::Mount("", "")`
   Info::Mount infoMountDel(Orvo::String const& path);
   void infoMountDelAll();

   /// The entities unmounted through this manager and not yet adopted or cleaned up, by full name, in hash order.
   ///
   /// Borrowed, and not told when an entity goes otherwise than by `Destructor::cleanup`: then another entity of that name
   /// counts as unmounted already, and mounting on it fails once.
   Orphans const& orphan() const noexcept { return orphan_; }

   /// @return the orphan of that full name (borrowed), or null
   Kro::Entity* orphan(Orvo::String const& name) const;
   /// Sets the orphan of that full name; null removes it. Publishes nothing, and leaves the orphanage as it is.
   void orphanIs(Orvo::String const& name, Kro::Entity* entity);
   /// @return the removed orphan (borrowed), or null. Leaves the orphanage as it is.
   Kro::Entity* orphanDel(Orvo::String const& name);
   void orphanDelAll();

   /// @return the process's one orphanage, made by the first call; null once the process's exit handlers have destroyed it
   static Orvo::Ptr<Detail::Orphanage> orphanage();

   /// The manager's directory. Null when something that is no directory has its name in the tree.
   Orvo::Ptr<Kro::Dir> const& directory() const noexcept { return directory_; }

   Orvo::String const& sysname() const noexcept { return sysname_; }

   /// @return "zumem"
   Orvo::String nameDirectory() const;

   Kro::TypeData const& typeData() const noexcept override { return kroType; }

   Kro::KroType const& fwkType() const noexcept { return kroType; }

   static Kro::KroType const kroType;
   static Kro::AllocTrackTypeInfo memAllocationTracker_;

private:
   struct Declaration;

   Orvo::Ptr<Kro::Entity> lookup(Orvo::String const& path) const;
   void adopt(Kro::Entity& entity);

   InfoMounts infoMount_;
   Orphans orphan_;
   Orvo::Ptr<Kro::Dir> directory_;
   Orvo::String sysname_;
};

/// @return a new manager, unknown to the registry
QUORVEL_CORE_EXPORT Orvo::Ptr<Manager> managerFactory(Orvo::String const& name);

} // namespace Quorvel::Core::Memory::Entity
