#pragma once

#include <Quorvel/Core/Export.h>
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
/// Ownership: keeps its directory and copies of the descriptions that it mounted; a manager made by `instantiate` lives
/// until the process exits. Threads: used, like the registry, from one thread at a time.
class QUORVEL_CORE_EXPORT Manager final : public Orvo::Node, public Kro::SlabAllocated<Manager> {
   struct PathOf {
      Orvo::String const& operator()(Info::Mount const& mount) const noexcept { return mount.path(); }
   };

public:
   struct HN_InfoMount {};

   using InfoMounts = Kro::HashMap<HN_InfoMount, Orvo::String, Info::Mount, PathOf>;

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

   /// Builds the described entities, live collections and chunks. Mounting an equal description again does nothing, also
   /// when the first time failed half-way: what was built then is taken for the whole.
   ///
   /// @param mount must not change while it is mounted: subscribers and synchronizers run meanwhile
   /// @throws std::invalid_argument when something else stands at the path; nothing has changed. Otherwise like
   ///         `mountInternal`.
   void mount(Info::Mount const& mount);

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

   InfoMounts infoMount_;
   Orvo::Ptr<Kro::Dir> directory_;
   Orvo::String sysname_;
};

/// @return a new manager, unknown to the registry
QUORVEL_CORE_EXPORT Orvo::Ptr<Manager> managerFactory(Orvo::String const& name);

} // namespace Quorvel::Core::Memory::Entity
