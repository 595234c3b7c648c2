#pragma once

#include <Kro/Entity.h>
#include <Kro/HashMap.h>
#include <Kro/SlabAllocated.h>

#include <string_view>

namespace Kro {

/// A directory of named entities.
///
/// Ownership: keeps one reference to each entity in it; an entity that leaves loses its parent. Names are plain texts:
/// the empty text is a name like any other, and so are "." and "..". Membership is published as the collection
/// `entity`. Directories may be nested as deep as memory allows; each change walks up to the root, to publish it.
class KRO_EXPORT Dir : public Entity, public SlabAllocated<Dir> {
   struct NameOf {
      Orvo::String const& operator()(Orvo::Ptr<Entity> const& entity) const noexcept { return entity->name(); }
   };

   struct HN_Entity {};

public:
   using Entities = HashMap<HN_Entity, Orvo::String, Orvo::Ptr<Entity>, NameOf>;

   explicit Dir(Orvo::String const& name);
   ~Dir() override;

   TypeData const& typeData() const noexcept override { return kroType; }

   /// Finds or creates an entity in this directory.
   ///
   /// @return the entity of that name, whatever its type, if there is one; else a new one of the named type
   /// @throws TypeNotFoundException when no registered type has that name
   /// @throws NewEntityArgsException when the type cannot be made from a name, or gives its entities another one, or
   ///         when the name holds a '/' (it could never be found by a path). What the type's constructor throws passes
   ///         through. Nothing is created then. What a subscriber throws passes through as well; the entity stays.
   Orvo::Ptr<Entity> createEntity(Orvo::String const& typeName, Orvo::String const& name);

   /// Takes the entity of that name out of this directory and drops the directory's reference. Its parent is null then.
   /// An unknown name is no error. What a subscriber throws passes through; the entity is taken out.
   void deleteEntity(Orvo::String const& name);

   /// Resolves a path relative to this directory, piece by piece as it stands between the '/'.
   /// @return the entity, or null when anything on the way is missing or is no directory
   Orvo::Ptr<Entity> entity2Impl(std::string_view path) const;

   /// @return the entities, in an order that depends on their names alone
   Entities const& entity() const noexcept { return entity_; }

   /// @return the entity of that name, or null
   Orvo::Ptr<Entity> entity(Orvo::String const& name) const;

   static KroType const kroType;
   static AllocTrackTypeInfo memAllocationTracker_;

private:
   struct Declaration;

   void publishEntity(Orvo::String const& name);

   Entities entity_;
};

/// @return the root of the process's entity tree; it has the empty name and no parent. Null once the process's exit
///         handlers have destroyed it.
KRO_EXPORT Orvo::Ptr<Dir> globalDir() noexcept;

} // namespace Kro
