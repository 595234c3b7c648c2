#pragma once

#include <Kro/Export.h>
#include <Kro/KroType.h>

#include <Orvo/Node.h>
#include <Orvo/Publisher.h>
#include <Orvo/String.h>

namespace Kro {

class Dir;

/// A named, reference-counted node that can stand in the process's entity tree and publishes its changes.
///
/// Ownership: its directory keeps one reference. Threads: used from one thread at a time, the agent's framework thread.
/// A class derived from it clears the node flag first thing in its destructor, as Orvo::Node says.
class KRO_EXPORT Entity : public Orvo::Node {
public:
   ~Entity() override;

   /// @return the publisher of this entity's changes (borrowed)
   Orvo::Publisher* publisher() const noexcept override { return &publisher_; }

   /// Called after the parent of this entity has changed. Does nothing here.
   virtual void handleParent() noexcept;

   // No virtual function may stand before this line: derived classes' slots would move.

   Orvo::String const& name() const noexcept { return name_; }

   /// The name, as the attribute `nameString` of every entity type gives it.
   Orvo::String nameString() const { return name_; }

   /// @return the directory that holds this entity, or null (borrowed)
   Dir* parent() const noexcept { return parent_; }

   /// @return "/" and the names from below the root down, joined by "/"; of an entity outside the tree, the names from
   ///         its topmost directory down without a leading "/". Allocates.
   Orvo::String fullName() const;

   KroType const& fwkType() const noexcept { return Kro::fwkType(*this); }

   /// @return the living singleton of that name, or null; never creates one
   static Orvo::Ptr<Entity> singletonExists(Orvo::String const& name);

   /// Finds or creates a singleton: the entity type of `module` whose full name is `name`, made from that name. The
   /// framework keeps no reference: the singleton lives as long as its users do.
   ///
   /// @param flags 1: create it when there is none; 0: only look
   /// @return the singleton; null when the module has no such type, or the type cannot be made from a name or gives its
   ///         entities another one. What the type's constructor throws passes through; there is no singleton of that
   ///         name then.
   static Orvo::Ptr<Entity> singletonIs(KroModule const& module, int flags, Orvo::String const& name);

   /// @return the living singleton of that name
   /// @throws EntityNotFoundException naming it
   static Orvo::Ptr<Entity> singleton(Orvo::String const& name);

   static KroType const kroType;

protected:
   explicit Entity(Orvo::String const& name);

private:
   friend class Dir;
   struct Declaration;

   void parentIs(Dir* parent) noexcept;

   mutable Orvo::Publisher publisher_;
   Orvo::String name_;
   Dir* parent_ = nullptr;
   bool isSingleton_ = false;
};

/// @return the entity's own name (borrowed: valid while the entity lives)
inline Orvo::String const& fetchName(Entity const& entity) noexcept
{
   return entity.name();
}

} // namespace Kro
